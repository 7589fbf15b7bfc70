// SPDX-License-Identifier: MIT
#include "encoder/temporal_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"

namespace qolm::encoder {
namespace {

using Plane = std::vector<uint8_t>;
using ::testing::ElementsAre;

TEST(TemporalFilter, ThresholdsAreTwoAndFour) {
  const Plane previous(8, 100);
  const Plane current = {100, 102, 103, 104, 105, 98, 97, 95};
  Plane filtered(8);
  FilterLuma(current, previous, filtered);
  // (3 * 103 + 102) >> 2, (3 * 104 + 102) >> 2, …
  EXPECT_THAT(filtered, ElementsAre(100, 100, 102, 103, 105, 100, 98, 95));
}

TEST(TemporalFilter, EveryPairOfValuesMatchesFormula) {
  Plane current;
  Plane previous;
  Plane expected;
  for (int c = 0; c < 256; ++c) {
    for (int p = 0; p < 256; ++p) {
      const int d = std::abs(p - c);
      current.push_back(static_cast<uint8_t>(c));
      previous.push_back(static_cast<uint8_t>(p));
      int value = c;
      if (d <= 2) {
        value = p;
      } else if (d == 3 || d == 4) {
        value = (3 * c + p + 2) / 4;
      }
      expected.push_back(static_cast<uint8_t>(value));
    }
  }
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    Plane filtered(current.size());
    FilterLuma(current, previous, filtered);
    EXPECT_EQ(filtered, expected);
    Plane in_place = current;
    FilterLuma(in_place, previous, in_place);
    EXPECT_EQ(in_place, expected);
  }
}

TEST(TemporalFilter, EveryShortLengthMatchesFormula) {
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    for (size_t length = 0; length < 200; ++length) {
      const Plane previous(length, 50);
      const Plane current(length, 52);
      Plane filtered(length + 1, 7);
      FilterLuma(current, previous, std::span(filtered).first(length));
      EXPECT_EQ(std::vector(filtered.begin(), filtered.end() - 1), previous);
      EXPECT_EQ(filtered.back(), 7);
    }
  }
}

// Several parallel pieces, and a partial last one.
TEST(TemporalFilter, LargePlanesAreFilteredCompletely) {
  for (const size_t length : {16'384U, 16'385U, 32'768U, 70'001U}) {
    const Plane previous(length, 50);
    Plane filtered(length, 7);
    FilterLuma(Plane(length, 52), previous, filtered);
    EXPECT_EQ(filtered, previous) << length;
  }
}

TEST(TemporalFilter, OnlyLargePlanesUseWorkers) {
  for (const auto& [length, threads] : {std::pair{32'767U, 0U}, {32'768U, 2U}}) {
    Plane plane(length, 50);
    EXPECT_EQ(test::StartedThreads([&plane = plane] { FilterLuma(plane, plane, plane); }), threads);
  }
}

}  // namespace
}  // namespace qolm::encoder
