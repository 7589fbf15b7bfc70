// The motion search and mode decision of bidirectional pictures.
//
// Each anchor is searched on its own first. Then the two predictions are
// refined together: with one held fixed, the other moves to where their mean
// comes nearest to the source (the iterated search of a jointly compensated
// prediction). Modes are chosen in raster order by distortion plus rate.
#ifndef QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_
#define QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_

#include "video/inter/bidirectional_field.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

struct BidirectionalSearchOptions {
  bool pre_analysis = true;  // estimate each anchor's global motion first
  bool prediction = true;    // vectors will be coded against a median
};

// All three pictures have the same size; `luma_dc_step` is the picture's. Every
// stored vector lies within -31..31 and moves its block to a place wholly
// inside the anchor. The result depends on the arguments alone, never on the
// threads.
BidirectionalField SearchBothWays(const YuvPlanes& source, const YuvPlanes& past,
                                  const YuvPlanes& future,
                                  const BidirectionalSearchOptions& options, float luma_dc_step);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_
