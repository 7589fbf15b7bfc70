// SPDX-License-Identifier: MIT
#include "video/payload/mode_packing.h"

namespace qolm::video {

std::vector<uint8_t> PackModes(std::span<const uint8_t> modes) {
  std::vector<uint8_t> packed((modes.size() + 3) / 4);
  for (size_t i = 0; i < modes.size(); ++i) {
    packed[i / 4] = static_cast<uint8_t>(packed[i / 4] | (modes[i] << (2 * (i % 4))));
  }
  return packed;
}

std::vector<uint8_t> UnpackModes(std::span<const uint8_t> packed, size_t count) {
  std::vector<uint8_t> modes(count);
  for (size_t i = 0; i < count; ++i) {
    modes[i] = static_cast<uint8_t>((packed[i / 4] >> (2 * (i % 4))) & 3);
  }
  return modes;
}

}  // namespace qolm::video
