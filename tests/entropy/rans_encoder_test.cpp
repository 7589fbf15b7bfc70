// SPDX-License-Identifier: MIT
//
// The multiplication that replaces the division must be exact, the interleaved
// run must change nothing, and the size bound must hold.
#include "entropy/rans_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "entropy/rans.h"
#include "entropy/sample_inputs.h"

namespace qolm::entropy {
namespace {

uint32_t DividingStep(uint32_t state, uint32_t freq, uint32_t start) {
  return (state / freq) * 4096 + state % freq + start;
}

// The quotient can only go wrong next to a multiple of f, and the error grows
// with the state, so every multiple is tried from both sides.
TEST(RansStep, MatchesDivisionNextToEveryMultiple) {
  uint64_t failures = 0;
  for (uint32_t freq = 1; freq <= 4096; ++freq) {
    const RansEncodeSymbol symbol = MakeRansEncodeSymbol(freq, 4096 - freq);
    for (uint32_t quotient = 1; quotient <= 4096; ++quotient) {
      const uint32_t multiple = quotient * freq;
      failures +=
          RansEncodeStep(multiple - 1, symbol) != DividingStep(multiple - 1, freq, 4096 - freq);
      if (multiple >= freq * 4096) continue;
      failures += RansEncodeStep(multiple, symbol) != DividingStep(multiple, freq, 4096 - freq);
    }
  }
  EXPECT_EQ(failures, 0u);
}

TEST(RansStep, MatchesDivisionForRandomStates) {
  std::mt19937 random(1);
  for (int i = 0; i < 1000000; ++i) {
    const uint32_t freq = 1 + random() % 4096u;
    const uint32_t start = static_cast<uint32_t>(random() % (4097u - freq));
    const uint32_t state = static_cast<uint32_t>(random() % (freq * 4096u));
    ASSERT_EQ(RansEncodeStep(state, MakeRansEncodeSymbol(freq, start)),
              DividingStep(state, freq, start))
        << "state " << state << " freq " << freq;
  }
}

TEST(RansStep, LimitIsTheFrequencyShiftedByThePrecision) {
  EXPECT_EQ(MakeRansEncodeSymbol(1, 0).limit, 4096u);
  EXPECT_EQ(MakeRansEncodeSymbol(4096, 0).limit, 1u << 24);
}

TEST(RansStreamSizeLowerBound, IsTightLowerBound) {
  for (const size_t size : samples::Sizes()) {
    if (size == 0) continue;
    for (const auto& [name, input] : samples::ByteSamples(size, static_cast<uint32_t>(size))) {
      const size_t bound = RansStreamSizeLowerBound(CountBytes(input));
      const size_t true_size = RansEncodeBytes(input).size();
      EXPECT_LE(bound, true_size) << name << " of " << size;
      // The bound is at most an eighth of a bit per value and a few bytes too low.
      EXPECT_GE(bound + size / 64 + 8, true_size) << name << " of " << size;
    }
  }
}

// The growth of the state per step depends on the state, so an order of values chosen by
// the state costs less than the counts suggest.
TEST(RansStreamSizeLowerBound, HoldsForFavourableOrderOfValues) {
  std::vector<uint8_t> input(90000);
  std::fill_n(input.begin(), 30000, uint8_t{1});
  const ByteCounts counts = CountBytes(input);
  const RansFrequencyTable table = BuildRansFrequencyTable(counts);
  std::array<uint32_t, 2> left = {60000, 30000};
  uint32_t state = kRansLowerBound;
  for (size_t i = input.size(); i-- > 0;) {
    // The second value starts at two thirds of the range. This offset is added to the new
    // state and matters less for large states.
    const bool is_large = state >= kRansLowerBound << 3;
    const uint8_t value = left[0] == 0 || (is_large && left[1] > 0) ? 1 : 0;
    --left[value];
    input[i] = value;
    while (state >= uint32_t{table.freq[value]} << 12) state >>= 8;
    state = DividingStep(state, table.freq[value], table.cum[value]);
  }
  const size_t true_size = RansEncodeBytes(input).size();
  const double entropy = (60000 * std::log2(1.5) + 30000 * std::log2(3.0)) / 8;
  ASSERT_LT(static_cast<double>(true_size), entropy);
  EXPECT_LE(RansStreamSizeLowerBound(counts), true_size);
}

TEST(RansStreamEncoder, InterleavedRunMatchesSingleRuns) {
  for (const size_t other_size : {0u, 1u, 500u, 1000u, 3000u}) {
    const auto firsts = samples::ByteSamples(1000, 3);
    const auto seconds = samples::ByteSamples(other_size, 4);
    for (size_t i = 0; i < firsts.size(); ++i) {
      const auto& a = firsts[i].bytes;
      const auto& b = seconds[seconds.size() - 1 - i].bytes;
      RansStreamEncoder first(a, CountBytes(a)), second(b, CountBytes(b));
      ASSERT_TRUE(RansStreamEncoder::RunInterleaved(first, second, nullptr));
      std::vector<uint8_t> first_stream, second_stream;
      first.AppendTo(first_stream);
      second.AppendTo(second_stream);
      EXPECT_EQ(first_stream, RansEncodeBytes(a));
      EXPECT_EQ(second_stream, RansEncodeBytes(b));
      EXPECT_EQ(first.StreamSize(), first_stream.size());
      EXPECT_EQ(second.StreamSize(), second_stream.size());
    }
  }
}

}  // namespace
}  // namespace qolm::entropy
