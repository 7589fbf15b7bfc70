// SPDX-License-Identifier: MIT
//
// A lower bound on the size of a stream from its byte counts alone.
//
// Coding a value of frequency f on a renormalised state y (16 f <= y < 4096 f)
// yields 4096 q + r + cum >= (4096 / f) y - r (4096 / f - 1) with r <= f - 1, so
// it multiplies the state by at least
//   (4096 / f) * (1 - (f - 1) (4096 - f) / (4096 * 16 f)).
// Shedding bytes rounds the state down to y, which keeps at least
// 16 f / (16 f + 1) of the exact quotient. The logarithms of all factors add up to
// what the shed bytes and the final state, below 2^24, can hold beyond the 16 bits
// of the first state.
#include <cmath>

#include "entropy/rans_encoder.h"

namespace qolm::entropy {

size_t RansStreamSizeLowerBound(const ByteCounts& counts) {
  const RansFrequencyTable table = BuildRansFrequencyTable(counts);
  double bits = 0;
  for (size_t s = 0; s < counts.size(); ++s) {
    if (counts[s] == 0) continue;
    const double f = table.freq[s];
    const double step_factor = 1.0 - (f - 1.0) * (4096.0 - f) / (65536.0 * f);
    const double shed_factor = 16.0 * f / (16.0 * f + 1.0);
    bits += counts[s] * std::log2(4096.0 / f * step_factor * shed_factor);
  }
  // The margin of one millionth exceeds the rounding errors of the sum.
  const double shed_bytes = (bits * (1.0 - 1e-6) + 16.0 - 24.0) / 8.0;
  const size_t head = 8 + StoredTableSize(table);
  return shed_bytes > 1.0 ? head + static_cast<size_t>(shed_bytes - 1.0) : head;
}

}  // namespace qolm::entropy
