// SPDX-License-Identifier: MIT
#include "base/rounding.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qolm {
namespace {

template <typename Number>
class RoundHalfAwayOf : public testing::Test {};
using Numbers = testing::Types<float, double>;
TYPED_TEST_SUITE(RoundHalfAwayOf, Numbers);

TYPED_TEST(RoundHalfAwayOf, HalvesRoundAwayFromZero) {
  for (const TypeParam sign : {TypeParam{1}, TypeParam{-1}}) {
    for (int whole = 0; whole < 2000; ++whole) {
      const auto half = static_cast<TypeParam>(whole) + TypeParam{0.5};
      EXPECT_EQ(RoundHalfAway(sign * half), sign * static_cast<TypeParam>(whole + 1));
      EXPECT_EQ(RoundHalfAway(sign * std::nextafter(half, TypeParam{0})),
                sign * static_cast<TypeParam>(whole));
    }
  }
}

TYPED_TEST(RoundHalfAwayOf, LargeIntegersAreUnchanged) {
  const TypeParam large = std::ldexp(TypeParam{1}, 60);
  EXPECT_EQ(RoundHalfAway(large), large);
  EXPECT_EQ(RoundHalfAway(-large), -large);
}

}  // namespace
}  // namespace qolm
