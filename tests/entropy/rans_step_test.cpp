// The multiplication that replaces the division must be exact.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "entropy/rans_encoder.h"

namespace qolm::entropy {
namespace {

uint32_t DividingStep(uint32_t state, uint32_t freq, uint32_t start) {
  return (state / freq) * 4096 + state % freq + start;
}

// The quotient can only go wrong next to a multiple of f, and the error grows
// with the state, so every multiple is tried from both sides.
TEST(RansStep, EqualsTheDivisionNextToEveryMultipleOfEveryFrequency) {
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

TEST(RansStep, EqualsTheDivisionForRandomStates) {
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

}  // namespace
}  // namespace qolm::entropy
