// SPDX-License-Identifier: MIT
//
// The modified discrete cosine transform over blocks of 2 N samples that overlap
// by N, with a sine window on both sides (J. Princen and A. Bradley, 1986).
//
//   X[k] = sum over n = 0..2N-1 of w[n] x[n] cos(pi / N (n + 1/2 + N / 2) (k + 1/2))
//
// N / 2 is not rounded for odd N. The sum is evaluated directly, without a fast
// factorisation, but the symmetry of the cosine about pi N / 2 lets two samples share
// each factor: the windowed block is first folded to N values and then multiplied by an
// N x N matrix, many blocks at a time. The matrix has only 4 N distinct entries, so its
// columns are gathered from a table in pieces that fit the L1 cache instead of being
// stored.
//
// Results are bit-identical for any number of threads, SIMD level and grouping of
// blocks into calls: a window product is rounded to float, the one or two products of a
// folded value are added in double, and each element of the matrix product is a sum in
// double over the folded values in ascending order.
#ifndef QOLM_AUDIO_LAPPED_TRANSFORM_H_
#define QOLM_AUDIO_LAPPED_TRANSFORM_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qolm::audio {

class LappedTransform {
 public:
  // `frame_length` is N, 1..65535.
  explicit LappedTransform(uint32_t frame_length);

  size_t frame_length() const { return frame_length_; }

  // The largest number of blocks per call, which is also the most efficient one.
  size_t batch_blocks() const { return batch_blocks_; }

  // Block j is samples[j * N .. (j + 2) * N), so `samples` holds one frame more than
  // there are blocks. Writes N coefficients per block.
  void Forward(std::span<const int16_t> samples, std::span<double> coefficients) const;

  // Computes the 2 N samples of each block from its N coefficients, windowed and scaled
  // so that overlap-add of consecutive blocks reconstructs the signal.
  void Inverse(std::span<const double> coefficients, std::span<float> blocks) const;

 private:
  enum class Direction { kForward, kInverse };

  // rows[b] = matrix product of packed block b, for `block_count` blocks. Blocks
  // are packed by kTileFrames: value i of block b is at
  // (b / kTileFrames * N + i) * kTileFrames + b % kTileFrames.
  void Multiply(const std::vector<double>& packed, size_t block_count, Direction direction,
                double* rows) const;

  size_t frame_length_;
  size_t batch_blocks_;
  std::vector<float> window_;      // 2 N
  std::vector<double> cosines_;    // 4 N
  std::vector<uint32_t> fold_to_;  // by sample of a block: index of its folded value
  std::vector<double> fold_sign_;  // by sample: its sign, 0 where all cosines are 0
};

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_LAPPED_TRANSFORM_H_
