// SPDX-License-Identifier: MIT
#include "video/picture/blocks.h"

#include <algorithm>

namespace qolm::video {

BlockView ViewBlock(const uint8_t* plane, const BlockGrid& grid, uint32_t x0, uint32_t y0,
                    Block8x8& storage) {
  if (grid.IsInside(x0, y0)) {
    return {plane + size_t{y0} * grid.width + x0, static_cast<ptrdiff_t>(grid.width)};
  }
  for (uint32_t r = 0; r < 8; ++r) {
    const uint8_t* row = plane + size_t{std::min(y0 + r, grid.height - 1)} * grid.width;
    for (uint32_t c = 0; c < 8; ++c) {
      storage[size_t{8} * r + c] = row[std::min(x0 + c, grid.width - 1)];
    }
  }
  return {storage.data(), 8};
}

}  // namespace qolm::video
