// SPDX-License-Identifier: MIT
//
// The header of a type 2 or type 4 payload, little-endian:
//
//   0  u16 width   2  u16 height   4  u8 quality
//   5  u16 macroblock columns      7  u16 macroblock rows
//   9  u32 sizes of five streams, which follow in this order:
//      record type 2: split map, motion,  Y, Cb, Cr
//      record type 4: modes,     vectors, Y, Cb, Cr
#ifndef QOLM_VIDEO_INTER_INTER_PAYLOAD_H_
#define QOLM_VIDEO_INTER_INTER_PAYLOAD_H_

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

inline constexpr size_t kInterStreams = 5;

// Encoder and decoder derive their quantiser tables from `quality`.
std::vector<uint8_t> AssembleInterPayload(
    const YuvPlanes& picture, uint8_t quality,
    const std::array<std::vector<uint8_t>, kInterStreams>& streams);

struct InterPayload {
  uint8_t quality = 0;
  std::array<std::span<const uint8_t>, kInterStreams> streams;  // views into the payload
};

// False unless the payload is exactly as long as its header declares and the picture has
// the size of the reference, which must not be empty.
[[nodiscard]] bool ParseInterPayload(std::span<const uint8_t> payload, const YuvPlanes& reference,
                                     InterPayload& parsed);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_INTER_PAYLOAD_H_
