// SPDX-License-Identifier: MIT
#include "video/inter/motion_compensation.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "base/parallel_for.h"

namespace qolm::video {
namespace {

struct PlaneGeometry {
  int width;
  int height;
};

struct BlockRect {
  int x;
  int y;
  int size;  // 16, 8 or 4; samples outside the plane are not written
};

// The side of a 16x16 block plus the extra row and column of half-sample positions.
constexpr int kWindow = 17;

// The `columns` x `rows` samples from (x, y) on, with coordinates clamped to the plane.
struct ReferenceWindow {
  const uint8_t* samples;
  ptrdiff_t stride;
};

ReferenceWindow FetchWindow(const uint8_t* plane, const PlaneGeometry& geometry, int x, int y,
                            int columns, int rows, uint8_t* storage) {
  if (x >= 0 && y >= 0 && x + columns <= geometry.width && y + rows <= geometry.height) {
    return {plane + static_cast<ptrdiff_t>(y) * geometry.width + x, geometry.width};
  }
  for (int r = 0; r < rows; ++r) {
    const ptrdiff_t row = std::clamp(y + r, 0, geometry.height - 1);
    for (int c = 0; c < columns; ++c) {
      storage[r * kWindow + c] =
          plane[row * geometry.width + std::clamp(x + c, 0, geometry.width - 1)];
    }
  }
  return {storage, kWindow};
}

// The destination of a block, cropped to the plane.
struct Destination {
  uint8_t* samples;
  ptrdiff_t stride;
  int rows;
};

// `Columns` is an integer type or an integral_constant: with a compile-time width, copies
// and averages compile to a few vector instructions per row.
template <typename Columns>
void CopyBlock(const ReferenceWindow& window, Columns columns, const Destination& out) {
  for (int r = 0; r < out.rows; ++r) {
    std::memcpy(out.samples + r * out.stride, window.samples + r * window.stride,
                static_cast<size_t>(columns));
  }
}

// Averages samples `step` bytes apart.
template <typename Columns>
void AverageTwo(const ReferenceWindow& window, ptrdiff_t step, Columns columns,
                const Destination& out) {
  for (int r = 0; r < out.rows; ++r) {
    const uint8_t* const a = window.samples + r * window.stride;
    const uint8_t* const b = a + step;
    uint8_t* const row = out.samples + r * out.stride;
    for (int c = 0; c < columns; ++c) row[c] = static_cast<uint8_t>((a[c] + b[c] + 1) >> 1);
  }
}

template <typename Columns>
void AverageFour(const ReferenceWindow& window, Columns columns, const Destination& out) {
  for (int r = 0; r < out.rows; ++r) {
    const uint8_t* const top = window.samples + r * window.stride;
    const uint8_t* const bottom = top + window.stride;
    uint8_t* const row = out.samples + r * out.stride;
    for (int c = 0; c < columns; ++c) {
      row[c] = static_cast<uint8_t>((top[c] + top[c + 1] + bottom[c] + bottom[c + 1] + 2) >> 2);
    }
  }
}

template <typename Columns>
void Interpolate(const ReferenceWindow& window, bool half_x, bool half_y, Columns columns,
                 const Destination& out) {
  if (half_x && half_y) {
    AverageFour(window, columns, out);
  } else if (half_x) {
    AverageTwo(window, 1, columns, out);
  } else if (half_y) {
    AverageTwo(window, window.stride, columns, out);
  } else {
    CopyBlock(window, columns, out);
  }
}

// Motion-compensates one block of a plane by a vector in whole or half samples.
void CompensateBlock(const uint8_t* reference, const PlaneGeometry& geometry,
                     const BlockRect& block, const MotionVector& vector, bool half_samples,
                     uint8_t* out, ptrdiff_t out_stride) {
  const int columns = std::min(block.size, geometry.width - block.x);
  const int rows = std::min(block.size, geometry.height - block.y);
  if (columns <= 0 || rows <= 0) return;

  const bool half_x = half_samples && (vector.dx & 1) != 0;
  const bool half_y = half_samples && (vector.dy & 1) != 0;
  const int x = block.x + (half_samples ? vector.dx >> 1 : vector.dx);
  const int y = block.y + (half_samples ? vector.dy >> 1 : vector.dy);
  uint8_t storage[kWindow * kWindow];
  const ReferenceWindow window = FetchWindow(reference, geometry, x, y, columns + (half_x ? 1 : 0),
                                             rows + (half_y ? 1 : 0), storage);
  const Destination destination{out, out_stride, rows};
  if (columns == 16) {
    Interpolate(window, half_x, half_y, std::integral_constant<int, 16>(), destination);
  } else if (columns == 8) {
    Interpolate(window, half_x, half_y, std::integral_constant<int, 8>(), destination);
  } else {
    Interpolate(window, half_x, half_y, columns, destination);
  }
}

// Motion-compensates one plane of a macroblock; `size` is 16 for luma and 8 for chroma.
void CompensateMacroblockPlane(const uint8_t* reference, const PlaneGeometry& geometry, int column,
                               int row, int size, const MacroblockMotion& motion, uint8_t* out,
                               ptrdiff_t out_stride) {
  const bool half_samples = size == 8;
  const int x = column * size;
  const int y = row * size;
  if (motion.split == 0) {
    CompensateBlock(reference, geometry, {x, y, size}, motion.vectors[0], half_samples, out,
                    out_stride);
    return;
  }
  const int half = size / 2;
  for (int quarter = 0; quarter < 4; ++quarter) {
    const int right = (quarter % 2) * half;
    const int down = (quarter / 2) * half;
    CompensateBlock(reference, geometry, {x + right, y + down, half},
                    motion.vectors[static_cast<size_t>(quarter)], half_samples,
                    out + down * out_stride + right, out_stride);
  }
}

bool HasZeroMotion(const MacroblockMotion& motion) {
  return motion.split == 0 && motion.vectors[0] == MotionVector{};
}

// Copies the macroblocks `first` .. `end` - 1 of a macroblock row, `size` samples high.
void CopyMacroblocks(const uint8_t* reference, const PlaneGeometry& geometry, int first, int end,
                     int row, int size, uint8_t* picture) {
  const int x = first * size;
  const int y = row * size;
  const int columns = std::min(end * size, geometry.width) - x;
  if (columns <= 0) return;
  for (int r = y; r < std::min(y + size, geometry.height); ++r) {
    const ptrdiff_t offset = ptrdiff_t{r} * geometry.width + x;
    std::memcpy(picture + offset, reference + offset, static_cast<size_t>(columns));
  }
}

PlaneGeometry LumaGeometry(const YuvPlanes& planes) {
  return {static_cast<int>(planes.width), static_cast<int>(planes.height)};
}

PlaneGeometry ChromaGeometry(const YuvPlanes& planes) {
  return {static_cast<int>(planes.ChromaWidth()), static_cast<int>(planes.ChromaHeight())};
}

}  // namespace

MacroblockSamples MacroblockInPicture(YuvPlanes& picture, uint32_t column, uint32_t row) {
  const size_t chroma_width = picture.ChromaWidth();
  const size_t luma = size_t{16} * row * picture.width + size_t{16} * column;
  const size_t chroma = size_t{8} * row * chroma_width + size_t{8} * column;
  return {picture.y.data() + luma, picture.cb.data() + chroma, picture.cr.data() + chroma,
          static_cast<ptrdiff_t>(picture.width), static_cast<ptrdiff_t>(chroma_width)};
}

void CompensateLumaMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                              const MacroblockMotion& motion, uint8_t* out, ptrdiff_t out_stride) {
  CompensateMacroblockPlane(reference.y.data(), LumaGeometry(reference), static_cast<int>(column),
                            static_cast<int>(row), 16, motion, out, out_stride);
}

void CompensateMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                          const MacroblockMotion& motion, const MacroblockSamples& out) {
  const PlaneGeometry chroma = ChromaGeometry(reference);
  const int c = static_cast<int>(column);
  const int r = static_cast<int>(row);
  CompensateLumaMacroblock(reference, column, row, motion, out.y, out.luma_stride);
  CompensateMacroblockPlane(reference.cb.data(), chroma, c, r, 8, motion, out.cb,
                            out.chroma_stride);
  CompensateMacroblockPlane(reference.cr.data(), chroma, c, r, 8, motion, out.cr,
                            out.chroma_stride);
}

void CompensateMotion(const YuvPlanes& reference, const MacroblockGrid& grid,
                      std::span<const MacroblockMotion> field, YuvPlanes& prediction) {
  const PlaneGeometry luma = LumaGeometry(reference);
  const PlaneGeometry chroma = ChromaGeometry(reference);
  ParallelFor(grid.rows, reference.y.size() >= kMinParallelSamples, [&](size_t i) {
    const std::span<const MacroblockMotion> motions = field.subspan(i * grid.columns, grid.columns);
    const auto row = static_cast<uint32_t>(i);
    for (uint32_t column = 0; column < grid.columns;) {
      // Consecutive macroblocks with zero motion are copied together.
      uint32_t end = column;
      while (end < grid.columns && HasZeroMotion(motions[end])) ++end;
      if (end > column) {
        const auto copy = [&](const std::vector<uint8_t>& from, const PlaneGeometry& geometry,
                              int size, std::vector<uint8_t>& to) {
          CopyMacroblocks(from.data(), geometry, static_cast<int>(column), static_cast<int>(end),
                          static_cast<int>(row), size, to.data());
        };
        copy(reference.y, luma, 16, prediction.y);
        copy(reference.cb, chroma, 8, prediction.cb);
        copy(reference.cr, chroma, 8, prediction.cr);
        column = end;
        continue;
      }
      CompensateMacroblock(reference, column, row, motions[column],
                           MacroblockInPicture(prediction, column, row));
      ++column;
    }
  });
}

}  // namespace qolm::video
