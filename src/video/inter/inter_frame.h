// Predicted frames (record type 2): motion compensation from the previous
// reconstructed picture plus a transformed residual.
#ifndef QOLM_VIDEO_INTER_INTER_FRAME_H_
#define QOLM_VIDEO_INTER_INTER_FRAME_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

// What the session's settings say to the coders of predicted and bidirectional
// frames.
struct InterFrameOptions {
  int32_t quality = 45;           // outside 0..255 it is clamped to 1..100
  bool motion_prediction = true;  // vectors as differences from a median, else from the last one
  bool deblocking = true;         // filter the reconstruction
  bool sparse_levels = true;      // encoder only: drop levels that cost more than they bring
  bool pre_analysis = true;       // encoder only: look for the frame's global motion first
};

// Returns the payload of a type 2 record that codes `source` (the prepared
// planes) against `reference`, and replaces `reference` by the reconstruction.
// Both must have the same size, at most 65535 in each direction.
std::vector<uint8_t> EncodeInterFrame(const YuvPlanes& source, const InterFrameOptions& options,
                                      YuvPlanes& reference);

// Rebuilds a type 2 payload against `reference` into `picture`, which is
// another one. `motion_prediction` and `deblocking` come from the file header's
// flag word (bits 14, 15). Returns false for a malformed payload (one whose size
// differs from `reference` is), with `picture` then unspecified.
[[nodiscard]] bool DecodeInterFrame(std::span<const uint8_t> payload, bool motion_prediction,
                                    bool deblocking, const YuvPlanes& reference,
                                    YuvPlanes& picture);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_INTER_FRAME_H_
