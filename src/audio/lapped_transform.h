// The modified discrete cosine transform over blocks of 2 N samples that overlap
// by N, with a sine window on both sides (J. Princen and A. Bradley, 1986).
//
//   X[k] = sum over n = 0..2N-1 of w[n] x[n] cos(pi / N (n + 1/2 + N / 2) (k + 1/2))
//
// N / 2 is the real number, also for odd N. The sum stays a direct one, but each
// cosine stands for two samples of the block: about pi N / 2 it repeats up to its
// sign. So the windowed block is folded to N values first, and what is left is a
// product with an N x N matrix, for many blocks at once. The matrix has only 4 N
// different entries, so that its columns are gathered from a table in pieces that
// stay in the first cache instead of being kept.
//
// The same bits for any number of threads, processor level and grouping of blocks
// into calls: a window product is rounded to float, the one or two products of a
// folded value are added in double, and each matrix product is a sum in double
// over the folded values in ascending order.
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

  // How many blocks a call takes at most, and with how many it works best.
  size_t batch_blocks() const { return batch_blocks_; }

  // Block j is samples[j * N .. (j + 2) * N); `samples` holds a frame more than
  // there are blocks. Writes N coefficients a block.
  void Forward(std::span<const int16_t> samples, std::span<double> coefficients) const;

  // From N coefficients a block, its 2 N samples, windowed and scaled so that
  // adding the halves in which two blocks overlap gives the signal.
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
  std::vector<uint32_t> fold_to_;  // of each sample of a block, the folded value
  std::vector<double> fold_sign_;  // and its sign; 0 where all cosines are 0
};

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_LAPPED_TRANSFORM_H_
