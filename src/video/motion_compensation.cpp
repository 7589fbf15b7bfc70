#include "video/motion_compensation.h"

#include <algorithm>
#include <cstring>

#include "base/team.h"

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

// Room for a 16x16 block and the extra row and column of a half position.
constexpr int kWindow = 17;

// The samples from (x, y) on, `columns` x `rows`, with clamped coordinates
// where they leave the plane.
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

void CopyBlock(const ReferenceWindow& window, int columns, int rows, uint8_t* out,
               ptrdiff_t out_stride) {
  for (int r = 0; r < rows; ++r) {
    std::memcpy(out + r * out_stride, window.samples + r * window.stride,
                static_cast<size_t>(columns));
  }
}

// Between two samples that lie `step` bytes apart.
void AverageTwo(const ReferenceWindow& window, ptrdiff_t step, int columns, int rows, uint8_t* out,
                ptrdiff_t out_stride) {
  for (int r = 0; r < rows; ++r) {
    const uint8_t* const a = window.samples + r * window.stride;
    const uint8_t* const b = a + step;
    for (int c = 0; c < columns; ++c) {
      out[r * out_stride + c] = static_cast<uint8_t>((a[c] + b[c] + 1) >> 1);
    }
  }
}

void AverageFour(const ReferenceWindow& window, int columns, int rows, uint8_t* out,
                 ptrdiff_t out_stride) {
  for (int r = 0; r < rows; ++r) {
    const uint8_t* const top = window.samples + r * window.stride;
    const uint8_t* const bottom = top + window.stride;
    for (int c = 0; c < columns; ++c) {
      out[r * out_stride + c] =
          static_cast<uint8_t>((top[c] + top[c + 1] + bottom[c] + bottom[c + 1] + 2) >> 2);
    }
  }
}

// Moves one block of a plane by a vector in whole samples, or in half samples.
void CompensateBlock(const uint8_t* reference, const PlaneGeometry& geometry,
                     const BlockRect& block, const MotionVector& vector, bool half_samples,
                     uint8_t* prediction) {
  const int columns = std::min(block.size, geometry.width - block.x);
  const int rows = std::min(block.size, geometry.height - block.y);
  if (columns <= 0 || rows <= 0) return;
  uint8_t* const out = prediction + static_cast<ptrdiff_t>(block.y) * geometry.width + block.x;

  const int half_x = half_samples ? vector.dx & 1 : 0;
  const int half_y = half_samples ? vector.dy & 1 : 0;
  const int x = block.x + (half_samples ? vector.dx >> 1 : vector.dx);
  const int y = block.y + (half_samples ? vector.dy >> 1 : vector.dy);
  uint8_t storage[kWindow * kWindow];
  const ReferenceWindow window =
      FetchWindow(reference, geometry, x, y, columns + half_x, rows + half_y, storage);
  if (half_x != 0 && half_y != 0) {
    AverageFour(window, columns, rows, out, geometry.width);
  } else if (half_x != 0) {
    AverageTwo(window, 1, columns, rows, out, geometry.width);
  } else if (half_y != 0) {
    AverageTwo(window, window.stride, columns, rows, out, geometry.width);
  } else {
    CopyBlock(window, columns, rows, out, geometry.width);
  }
}

// One plane's share of a macroblock; `size` is 16 for luma and 8 for chroma.
void CompensateMacroblock(const uint8_t* reference, const PlaneGeometry& geometry, int column,
                          int row, int size, const MacroblockMotion& motion, uint8_t* prediction) {
  const bool half_samples = size == 8;
  if (motion.split == 0) {
    CompensateBlock(reference, geometry, {column * size, row * size, size}, motion.vectors[0],
                    half_samples, prediction);
    return;
  }
  const int half = size / 2;
  for (int quarter = 0; quarter < 4; ++quarter) {
    const BlockRect block{column * size + (quarter % 2) * half, row * size + (quarter / 2) * half,
                          half};
    CompensateBlock(reference, geometry, block, motion.vectors[static_cast<size_t>(quarter)],
                    half_samples, prediction);
  }
}

}  // namespace

void CompensateMotion(const YuvPlanes& reference, const MacroblockGrid& grid,
                      std::span<const MacroblockMotion> field, YuvPlanes& prediction) {
  const PlaneGeometry luma{static_cast<int>(reference.width), static_cast<int>(reference.height)};
  const PlaneGeometry chroma{static_cast<int>(reference.ChromaWidth()),
                             static_cast<int>(reference.ChromaHeight())};
  const int rows = static_cast<int>(grid.rows);
  const int columns = static_cast<int>(grid.columns);

#pragma omp parallel for num_threads(kTeamSize) \
    schedule(static) if (reference.y.size() >= kSamplesWorthATeam)
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      const MacroblockMotion& motion =
          field[static_cast<size_t>(row) * grid.columns + static_cast<size_t>(column)];
      CompensateMacroblock(reference.y.data(), luma, column, row, 16, motion, prediction.y.data());
      CompensateMacroblock(reference.cb.data(), chroma, column, row, 8, motion,
                           prediction.cb.data());
      CompensateMacroblock(reference.cr.data(), chroma, column, row, 8, motion,
                           prediction.cr.data());
    }
  }
}

}  // namespace qolm::video
