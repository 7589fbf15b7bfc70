// SPDX-License-Identifier: MIT
//
// Bidirectional frames (record type 4): a picture between two anchors, each
// macroblock predicted from the earlier one, the later one or the mean of both,
// plus a transformed residual. It is not used for reference.
#ifndef QOLM_VIDEO_INTER_BIDIRECTIONAL_FRAME_H_
#define QOLM_VIDEO_INTER_BIDIRECTIONAL_FRAME_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/inter/inter_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Returns the payload of a type 4 record for `source` (the prepared planes), predicted
// from the reconstructions of its two anchors. All three have the same size, at most
// 65535 in each direction. The payload's quality is that of the options less 4, at
// least 1.
std::vector<uint8_t> EncodeBidirectionalFrame(const YuvPlanes& source,
                                              const InterFrameOptions& options,
                                              const YuvPlanes& past, const YuvPlanes& future);

// Reconstructs a type 4 payload into `picture`, which must not be one of the anchors.
// `motion_prediction` and `deblocking` come from the file header's flag word
// (bits 14, 15). Returns false for a malformed payload or anchors of different
// sizes, with `picture` then unspecified.
[[nodiscard]] bool DecodeBidirectionalFrame(std::span<const uint8_t> payload,
                                            bool motion_prediction, bool deblocking,
                                            const YuvPlanes& past, const YuvPlanes& future,
                                            YuvPlanes& picture);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BIDIRECTIONAL_FRAME_H_
