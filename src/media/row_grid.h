// SPDX-License-Identifier: MIT
//
// The stride and the row count of a linear buffer: decoders pad rows, or add rows up to a
// multiple of their block size, without reporting it.
#ifndef QOLM_MEDIA_ROW_GRID_H_
#define QOLM_MEDIA_ROW_GRID_H_

#include <cstddef>

namespace qolm::media {

struct RowGrid {
  size_t stride = 0;  // bytes from a row to the next
  size_t rows = 0;    // of the picture and of the padding below it
};

// For `height` (at least 1) rows of `row_bytes` in `length` bytes. The reported
// stride is used only where the length is inconclusive, and the grid may then be larger
// than the buffer; 0 for none.
inline RowGrid FindRowGrid(size_t length, size_t row_bytes, size_t height, size_t reported_stride) {
  const RowGrid reported{reported_stride >= row_bytes ? reported_stride : row_bytes, height};
  if (length < height * row_bytes) return reported;
  if (length % height == 0) return {length / height, height};  // at least a row, by the length
  for (const size_t alignment : {size_t{16}, size_t{32}, size_t{64}}) {
    const size_t padded_height = (height + alignment - 1) / alignment * alignment;
    if (padded_height > height && length % padded_height == 0 &&
        length / padded_height >= row_bytes) {
      return {length / padded_height, padded_height};
    }
  }
  return reported;
}

}  // namespace qolm::media

#endif  // QOLM_MEDIA_ROW_GRID_H_
