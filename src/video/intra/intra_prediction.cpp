// SPDX-License-Identifier: MIT
#include "video/intra/intra_prediction.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace qolm::video {
namespace {

int Sum(const std::array<uint8_t, 8>& samples) {
  return std::accumulate(samples.begin(), samples.end(), 0);
}

void FillRows(const std::array<uint8_t, 8>& row, Block8x8& prediction) {
  for (size_t r = 0; r < 8; ++r) std::copy(row.begin(), row.end(), prediction.begin() + 8 * r);
}

void FillColumns(const std::array<uint8_t, 8>& column, Block8x8& prediction) {
  for (size_t r = 0; r < 8; ++r) std::fill_n(prediction.begin() + 8 * r, 8, column[r]);
}

// The corner samples are the last ones of the neighbour row and column.
void FillPlanar(const IntraNeighbours& neighbours, Block8x8& prediction) {
  const auto& top = neighbours.top;
  const auto& left = neighbours.left;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      const int sum = (7 - c) * left[static_cast<size_t>(r)] + (c + 1) * top[7] +
                      (7 - r) * top[static_cast<size_t>(c)] + (r + 1) * left[7] + 8;
      prediction[static_cast<size_t>(8 * r + c)] = static_cast<uint8_t>(sum >> 4);
    }
  }
}

}  // namespace

IntraNeighbours GatherIntraNeighbours(const uint8_t* plane, uint32_t width, uint32_t height,
                                      uint32_t x0, uint32_t y0) {
  IntraNeighbours neighbours;
  neighbours.has_left = x0 > 0;
  neighbours.has_top = y0 > 0;
  if (neighbours.has_top) {
    const uint8_t* row = plane + size_t{y0 - 1} * width;
    for (uint32_t c = 0; c < 8; ++c) neighbours.top[c] = row[std::min(x0 + c, width - 1)];
  }
  if (neighbours.has_left) {
    const uint8_t* column = plane + (x0 - 1);
    for (uint32_t r = 0; r < 8; ++r) {
      neighbours.left[r] = column[size_t{std::min(y0 + r, height - 1)} * width];
    }
  }
  return neighbours;
}

void PredictIntraBlock(uint8_t mode, const IntraNeighbours& neighbours, Block8x8& prediction) {
  const bool both = neighbours.has_left && neighbours.has_top;
  if (mode == kIntraVertical && neighbours.has_top) {
    FillRows(neighbours.top, prediction);
  } else if (mode == kIntraHorizontal && neighbours.has_left) {
    FillColumns(neighbours.left, prediction);
  } else if (mode == kIntraPlanar && both) {
    FillPlanar(neighbours, prediction);
  } else {
    int value = 128;
    if (both) {
      value = (Sum(neighbours.top) + Sum(neighbours.left) + 8) >> 4;
    } else if (neighbours.has_top) {
      value = (Sum(neighbours.top) + 4) >> 3;
    } else if (neighbours.has_left) {
      value = (Sum(neighbours.left) + 4) >> 3;
    }
    prediction.fill(static_cast<uint8_t>(value));
  }
}

}  // namespace qolm::video
