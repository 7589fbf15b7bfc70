// SPDX-License-Identifier: MIT
//
// Two-bit block modes, four to a byte from the least significant bits up; the
// last byte is padded with zero bits.
#ifndef QOLM_VIDEO_PAYLOAD_MODE_PACKING_H_
#define QOLM_VIDEO_PAYLOAD_MODE_PACKING_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qolm::video {

std::vector<uint8_t> PackModes(std::span<const uint8_t> modes);

// The first `count` modes of `packed`, which holds at least (count + 3) / 4 bytes.
std::vector<uint8_t> UnpackModes(std::span<const uint8_t> packed, size_t count);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PAYLOAD_MODE_PACKING_H_
