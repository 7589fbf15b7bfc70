// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_compensation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/parallel_for.h"
#include "video/inter/motion_compensation.h"

namespace qolm::video {
namespace {

// Replaces `samples` by the mean of `samples` and `others`, whose stride is `size`, over
// the part of the block inside the plane.
void AverageInto(uint8_t* samples, ptrdiff_t stride, const uint8_t* others, uint32_t size,
                 uint32_t columns, uint32_t rows) {
  for (uint32_t r = 0; r < rows; ++r, samples += stride, others += size) {
    for (uint32_t c = 0; c < columns; ++c) {
      samples[c] = static_cast<uint8_t>((samples[c] + others[c] + 1) >> 1);
    }
  }
}

void CompensateMacroblockBidirectional(const YuvPlanes& past, const YuvPlanes& future,
                                       uint32_t column, uint32_t row,
                                       const MacroblockMotion& past_motion,
                                       const MacroblockMotion& future_motion,
                                       YuvPlanes& prediction) {
  const MacroblockSamples destination = MacroblockInPicture(prediction, column, row);
  CompensateMacroblock(past, column, row, past_motion, destination);

  uint8_t y[16 * 16];
  uint8_t cb[8 * 8];
  uint8_t cr[8 * 8];
  CompensateMacroblock(future, column, row, future_motion, {y, cb, cr, 16, 8});
  const uint32_t luma_columns = std::min(16U, prediction.width - 16 * column);
  const uint32_t luma_rows = std::min(16U, prediction.height - 16 * row);
  const uint32_t chroma_columns = (luma_columns + 1) / 2;
  const uint32_t chroma_rows = (luma_rows + 1) / 2;
  AverageInto(destination.y, destination.luma_stride, y, 16, luma_columns, luma_rows);
  AverageInto(destination.cb, destination.chroma_stride, cb, 8, chroma_columns, chroma_rows);
  AverageInto(destination.cr, destination.chroma_stride, cr, 8, chroma_columns, chroma_rows);
}

}  // namespace

void CompensateBidirectional(const YuvPlanes& past, const YuvPlanes& future,
                             const MacroblockGrid& grid, const BidirectionalField& field,
                             YuvPlanes& prediction) {
  ParallelFor(grid.rows, prediction.y.size() >= kMinParallelSamples, [&](size_t i) {
    const auto row = static_cast<uint32_t>(i);
    for (uint32_t column = 0; column < grid.columns; ++column) {
      const size_t index = i * grid.columns + column;
      switch (field.modes[index]) {
        case BidirectionalMode::kPast:
          CompensateMacroblock(past, column, row, field.past[index],
                               MacroblockInPicture(prediction, column, row));
          break;
        case BidirectionalMode::kFuture:
          CompensateMacroblock(future, column, row, field.future[index],
                               MacroblockInPicture(prediction, column, row));
          break;
        case BidirectionalMode::kBoth:
        case BidirectionalMode::kDirect:
          CompensateMacroblockBidirectional(past, future, column, row, field.past[index],
                                            field.future[index], prediction);
          break;
      }
    }
  });
}

}  // namespace qolm::video
