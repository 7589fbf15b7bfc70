// SPDX-License-Identifier: MIT
//
// The choice of the coarse search among candidates of equal cost, which affects the output
// bytes.
#include "video/inter/coarse_search.h"

#include <gtest/gtest.h>

#include <vector>

#include "video/kernels/kernel_levels.h"

namespace qolm::video {
namespace {

constexpr uint32_t kSize = 64;
constexpr LumaBlock kBlock{24, 24, 16, 16};
constexpr VectorRange kWide{-24, 24, -24, 24};

// A search with a black source, at every SIMD level.
template <typename Reference>
CoarseCandidate SearchBlackBlock(const Reference& reference_at, const VectorRange& range,
                                 const CoarseCandidate& centre) {
  const std::vector<uint8_t> source(kSize * kSize, 0);
  std::vector<uint8_t> reference(kSize * kSize);
  for (size_t i = 0; i < reference.size(); ++i) {
    reference[i] = static_cast<uint8_t>(
        reference_at(static_cast<int>(i % kSize), static_cast<int>(i / kSize)));
  }
  CoarseCandidate found;
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    const CoarseSearch search(source.data(), reference.data(), kSize, kSize);
    found = search.SearchRings(kBlock, range, centre);
  }
  return found;
}

CoarseCandidate Centre(uint32_t cost) { return {MotionVector{}, cost}; }

TEST(CoarseCandidate, FirstOfEqualCandidatesWins) {
  CoarseCandidate best;
  best.Offer({1, 1}, 70);
  best.Offer({2, 2}, 70);
  EXPECT_EQ(best.vector, (MotionVector{1, 1}));
  best.Offer({3, 3}, 69);
  EXPECT_EQ(best.vector, (MotionVector{3, 3}));
  EXPECT_EQ(best.cost, 69U);
}

// A ring is searched in the order upper, lower, left and right side.
TEST(CoarseSearch, FirstOfEqualCandidatesInRingWins) {
  const auto black = [](int, int) { return 0; };
  const auto first_of = [&](const VectorRange& range) {
    return SearchBlackBlock(black, range, Centre(600)).vector;
  };
  EXPECT_EQ(first_of(kWide), (MotionVector{-2, -2}));
  EXPECT_EQ(first_of({-1, 24, -24, 24}), (MotionVector{0, -2}));
  EXPECT_EQ(first_of({-24, 24, -1, 24}), (MotionVector{-2, 2}));
  EXPECT_EQ(first_of({-24, 24, -1, 1}), (MotionVector{-2, 0}));
  EXPECT_EQ(first_of({-1, 24, -1, 1}), (MotionVector{2, 0}));
  EXPECT_EQ(first_of({-1, 1, -1, 1}), MotionVector{}) << "no candidate is allowed";
  // At either end of a range that holds one candidate alone.
  EXPECT_EQ(first_of({1, 2, -24, -1}), (MotionVector{2, -2}));
  EXPECT_EQ(first_of({-2, -1, 1, 24}), (MotionVector{-2, 2}));
  EXPECT_EQ(first_of({-2, -1, -1, 0}), (MotionVector{-2, 0}));
  EXPECT_EQ(first_of({3, 4, 2, 2}), (MotionVector{4, 2}));
}

// One bright sample spoils the upper left candidate alone. The lower left one is its
// opposite, and so it comes before the next one above.
TEST(CoarseSearch, OppositeSidesAlternate) {
  const auto spoiled = [](int x, int y) { return x == 22 && y == 22 ? 200 : 0; };
  EXPECT_EQ(SearchBlackBlock(spoiled, kWide, Centre(600)).vector, (MotionVector{-2, 2}));
}

// Grey of 8 costs 64 * 8 = 512. From column 43 on it is black, and ring 6 is the
// first that sees it: with one column of samples on its right side.
TEST(CoarseSearch, CostBelow512EndsSearch) {
  const auto grey = [](int value) { return [value](int x, int) { return x < 43 ? value : 0; }; };
  const CoarseCandidate found = SearchBlackBlock(grey(8), kWide, Centre(10'000));
  EXPECT_EQ(found.vector, (MotionVector{6, -6}));
  EXPECT_EQ(found.cost, 7U * 64U);
  const CoarseCandidate good = SearchBlackBlock(grey(7), kWide, Centre(10'000));
  EXPECT_EQ(good.vector, (MotionVector{-2, -2}));
  EXPECT_EQ(good.cost, 7U * 64U);
}

TEST(CoarseSearch, CentreBelow512EndsSearch) {
  const auto black = [](int, int) { return 0; };
  EXPECT_EQ(SearchBlackBlock(black, kWide, Centre(511)).cost, 511U);
  EXPECT_EQ(SearchBlackBlock(black, kWide, Centre(512)).cost, 0U);
}

TEST(CoarseSearch, MaximumRadiusIs20) {
  // Black is only what 20, or 22, further down is.
  for (const int distance : {20, 22}) {
    const auto far = [distance](int, int y) { return y >= 24 + distance ? 0 : 255; };
    const CoarseCandidate found = SearchBlackBlock(far, kWide, Centre(100'000));
    EXPECT_EQ(found.cost == 0, distance == 20) << distance;
    EXPECT_EQ(found.vector.dy, 20) << distance;
  }
}

}  // namespace
}  // namespace qolm::video
