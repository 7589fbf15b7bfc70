// SPDX-License-Identifier: MIT
#include "audio/lapped_transform.h"

#include <algorithm>
#include <array>

#include "audio/cosine_table.h"
#include "audio/transform_kernels.h"
#include "base/parallel_for.h"

namespace qolm::audio {
namespace {

// Matrix rows gathered at a time: 15 KiB of the matrix and 11 KiB of a tile's blocks
// share the L1 cache.
constexpr size_t kPieceLength = 240;
constexpr size_t kMaxTiles = 32;
// Keeps the packed blocks of a batch within 2 MiB up to the highest common rates.
constexpr size_t kBatchValues = size_t{1} << 18;
// Below this many products a loop takes longer to distribute than to run.
constexpr size_t kMinParallelProducts = size_t{1} << 20;

constexpr size_t kTileSums = kTileFrames * kTileColumns;

size_t TileCount(size_t block_count) { return (block_count + kTileFrames - 1) / kTileFrames; }

size_t BatchBlocks(size_t frame_length) {
  const size_t tiles = kBatchValues / (frame_length * kTileFrames);
  return kTileFrames * std::clamp<size_t>(tiles, 1, kMaxTiles);
}

// The table index of one column's cosines: it advances by a constant from one folded
// value to the next.
struct ColumnWalk {
  uint32_t index = 0;
  uint32_t advance = 0;
};

// The next `count` rows of eight columns. `period` is the table's size.
void GatherColumns(const double* cosines, uint32_t period, size_t count,
                   std::array<ColumnWalk, kTileColumns>& walks, double* basis) {
  for (size_t c = 0; c < kTileColumns; ++c) {
    ColumnWalk walk = walks[c];
    for (size_t i = 0; i < count; ++i) {
      basis[i * kTileColumns + c] = cosines[walk.index];
      walk.index += walk.advance;
      walk.index -= walk.index >= period ? period : 0;
    }
    walks[c] = walk;
  }
}

}  // namespace

LappedTransform::LappedTransform(uint32_t frame_length)
    : frame_length_(frame_length),
      batch_blocks_(BatchBlocks(frame_length)),
      window_(2 * frame_length_),
      cosines_(4 * frame_length_),
      fold_to_(2 * frame_length_),
      fold_sign_(2 * frame_length_) {
  const size_t n = frame_length;
  for (size_t i = 0; i < n; ++i) {
    // sin(pi (2 i + 1) / (4 N)), and the window mirrors itself.
    const double sine = CosineOfPi(2 * n - (2 * i + 1), 4 * n);
    window_[i] = static_cast<float>(sine);
    window_[2 * n - 1 - i] = window_[i];
  }
  // The argument of every cosine is pi / (4 N) times an odd number for even N and
  // times an even one for odd N.
  const size_t odd = n % 2 == 0 ? 1 : 0;
  for (size_t j = 0; j < 4 * n; ++j) cosines_[j] = CosineOfPi(2 * j + odd, 4 * n);

  // In half samples a block reaches from N + 1 to 5 N - 1. The cosines are odd
  // about 2 N, where they are 0, and change their sign with a shift by 4 N, about
  // which they are even.
  for (size_t i = 0; i < 2 * n; ++i) {
    const size_t half = 2 * i + 1 + n;
    if (half < 2 * n) {
      fold_to_[i] = static_cast<uint32_t>(half / 2);
      fold_sign_[i] = 1.0;
    } else if (half > 2 * n) {
      fold_to_[i] = static_cast<uint32_t>((half <= 4 * n ? 4 * n - half : half - 4 * n) / 2);
      fold_sign_[i] = -1.0;
    }
  }
}

void LappedTransform::Forward(std::span<const int16_t> samples,
                              std::span<double> coefficients) const {
  const size_t n = frame_length_;
  const size_t block_count = coefficients.size() / n;
  const size_t tiles = TileCount(block_count);
  std::vector<double> packed(tiles * n * kTileFrames);
  ParallelFor(block_count, block_count * n >= kMinParallelSamples, [&](size_t b) {
    const int16_t* block = samples.data() + b * n;
    double* values = packed.data() + b / kTileFrames * n * kTileFrames + b % kTileFrames;
    for (size_t i = 0; i < 2 * n; ++i) {
      const float product = static_cast<float>(block[i]) * window_[i];
      values[fold_to_[i] * kTileFrames] += fold_sign_[i] * static_cast<double>(product);
    }
  });
  Multiply(packed, block_count, Direction::kForward, coefficients.data());
}

void LappedTransform::Inverse(std::span<const double> coefficients, std::span<float> blocks) const {
  const size_t n = frame_length_;
  const size_t block_count = coefficients.size() / n;
  std::vector<double> packed(TileCount(block_count) * n * kTileFrames);
  for (size_t b = 0; b < block_count; ++b) {
    const double* source = coefficients.data() + b * n;
    double* values = packed.data() + b / kTileFrames * n * kTileFrames + b % kTileFrames;
    for (size_t k = 0; k < n; ++k) values[k * kTileFrames] = source[k];
  }
  std::vector<double> folded(block_count * n);
  Multiply(packed, block_count, Direction::kInverse, folded.data());

  const double scale = 2.0 / static_cast<double>(n);
  ParallelFor(block_count, block_count * n >= kMinParallelSamples, [&](size_t b) {
    const double* values = folded.data() + b * n;
    float* block = blocks.data() + b * 2 * n;
    for (size_t i = 0; i < 2 * n; ++i) {
      const auto sample = static_cast<float>(fold_sign_[i] * values[fold_to_[i]] * scale);
      block[i] = sample * window_[i];
    }
  });
}

void LappedTransform::Multiply(const std::vector<double>& packed, size_t block_count,
                               Direction direction, double* rows) const {
  const size_t n = frame_length_;
  const size_t tiles = TileCount(block_count);
  // Silent tiles, which pauses make frequent, have sums of 0 and are skipped.
  std::array<bool, kMaxTiles> is_silent{};
  for (size_t t = 0; t < tiles; ++t) {
    const double* first = packed.data() + t * n * kTileFrames;
    is_silent[t] =
        std::all_of(first, first + n * kTileFrames, [](double value) { return value == 0.0; });
  }
  if (std::all_of(is_silent.data(), is_silent.data() + tiles, [](bool silent) { return silent; })) {
    std::fill_n(rows, block_count * n, 0.0);
    return;
  }

  const AddTileProducts add_products = AddTileProductsFor(ActiveSimdLevel());
  const bool even = n % 2 == 0;
  const auto period = static_cast<uint32_t>(4 * n);
  const size_t panels = (n + kTileColumns - 1) / kTileColumns;
  ParallelFor(panels, block_count * n * n >= kMinParallelProducts, [&](size_t p) {
    // Row i, column k holds cos(pi / N (i + o) (k + 1/2)), o being 1/2 for even N
    // and 0 for odd N; the inverse uses the transpose.
    std::array<ColumnWalk, kTileColumns> walks{};
    for (size_t c = 0; c < kTileColumns; ++c) {
      const auto column = static_cast<uint32_t>(std::min(p * kTileColumns + c, n - 1));
      if (direction == Direction::kForward) {
        walks[c] = {even ? column : 0, 2 * column + 1};
      } else {
        walks[c] = {column, even ? 2 * column + 1 : 2 * column};
      }
    }
    std::array<double, kPieceLength * kTileColumns> basis;
    std::array<double, kMaxTiles * kTileSums> sums;
    std::fill_n(sums.data(), tiles * kTileSums, 0.0);
    for (size_t start = 0; start < n; start += kPieceLength) {
      const size_t count = std::min(kPieceLength, n - start);
      GatherColumns(cosines_.data(), period, count, walks, basis.data());
      for (size_t t = 0; t < tiles; ++t) {
        if (is_silent[t]) continue;
        add_products(packed.data() + (t * n + start) * kTileFrames, basis.data(), count,
                     sums.data() + t * kTileSums);
      }
    }
    const size_t columns = std::min(kTileColumns, n - p * kTileColumns);
    for (size_t b = 0; b < block_count; ++b) {
      std::copy_n(sums.data() + b * kTileColumns, columns, rows + b * n + p * kTileColumns);
    }
  });
}

}  // namespace qolm::audio
