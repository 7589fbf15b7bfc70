// SPDX-License-Identifier: MIT
//
// The motion search and mode decision of bidirectional pictures.
//
// Each anchor is searched independently. The two vectors are then refined jointly: with
// one fixed, the other moves to where the mean of both predictions is closest to the
// source. Modes are chosen in raster order by rate-distortion cost.
#ifndef QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_
#define QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_

#include "video/inter/bidirectional_field.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

struct BidirectionalSearchOptions {
  bool pre_analysis = true;  // estimate each anchor's global motion first
  bool prediction = true;    // vectors are coded against a median predictor
};

// All three pictures have the same size; `luma_dc_step` is the picture's. Every coded
// vector lies within -31..31 and refers to a block entirely inside the anchor. The result
// does not depend on the number of threads.
BidirectionalField SearchBidirectional(const YuvPlanes& source, const YuvPlanes& past,
                                       const YuvPlanes& future,
                                       const BidirectionalSearchOptions& options,
                                       float luma_dc_step);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BIDIRECTIONAL_SEARCH_H_
