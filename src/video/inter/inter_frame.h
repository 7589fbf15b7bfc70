// SPDX-License-Identifier: MIT
//
// Predicted frames (record type 2): motion compensation from the previous
// reconstructed picture plus a transformed residual.
#ifndef QOLM_VIDEO_INTER_INTER_FRAME_H_
#define QOLM_VIDEO_INTER_INTER_FRAME_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

// The settings of the coders of predicted and bidirectional frames.
struct InterFrameOptions {
  int32_t quality = 45;           // outside 0..255 it is clamped to 1..100
  bool motion_prediction = true;  // code vectors against a median, else against the last one
  bool deblocking = true;         // filter the reconstruction
  bool sparse_levels = true;      // encoder only: choose levels by rate-distortion cost
  bool pre_analysis = true;       // encoder only: estimate the frame's global motion first
};

// Returns the payload of a type 2 record for `source` (the prepared planes), predicted
// from `reference`, and replaces `reference` by the reconstruction. Both must have the
// same size, at most 65535 in each direction.
std::vector<uint8_t> EncodeInterFrame(const YuvPlanes& source, const InterFrameOptions& options,
                                      YuvPlanes& reference);

// Reconstructs a type 2 payload from `reference` into `picture`, which must be another
// object. `motion_prediction` and `deblocking` come from the file header's flag word
// (bits 14, 15). Returns false, with `picture` unspecified, for a malformed payload,
// including one whose size differs from that of `reference`.
[[nodiscard]] bool DecodeInterFrame(std::span<const uint8_t> payload, bool motion_prediction,
                                    bool deblocking, const YuvPlanes& reference,
                                    YuvPlanes& picture);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_INTER_FRAME_H_
