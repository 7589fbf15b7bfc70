// SPDX-License-Identifier: MIT
//
// Key frames (record type 1): pictures coded without reference to others.
//
// Encoder and decoder share the reconstruction functions, so the decoder's planes equal
// the encoder's reference byte for byte.
#ifndef QOLM_VIDEO_INTRA_KEY_FRAME_H_
#define QOLM_VIDEO_INTRA_KEY_FRAME_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

// The settings of the key-frame coder.
struct KeyFrameOptions {
  int32_t quality = 45;       // outside 0..255 it is clamped to 1..100
  bool cclc = true;           // chroma is predicted from the reconstructed luma
  bool flat_blocks = true;    // encoder only: drop weak high-frequency levels of flat blocks
  bool sparse_levels = true;  // encoder only: drop +-1 levels by rate-distortion cost
  bool deblocking = true;     // filter the reconstruction
};

// Returns the payload of a type 1 record for `source` (its unfiltered planes) and
// stores its reconstruction, of the source's size, in `reference`. Sizes above 65535
// keep their low 16 bits in the payload.
std::vector<uint8_t> EncodeKeyFrame(const YuvPlanes& source, const KeyFrameOptions& options,
                                    YuvPlanes& reference);

// Reconstructs a type 1 payload into `current`, resized to the payload's size.
// `cclc` and `deblocking` come from the file header's flag word (bits 11, 15).
// Returns false for a malformed payload, with `current` then unspecified but
// of a consistent size. Sizes other than 1..16384 are malformed.
[[nodiscard]] bool DecodeKeyFrame(std::span<const uint8_t> payload, bool cclc, bool deblocking,
                                  YuvPlanes& current);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTRA_KEY_FRAME_H_
