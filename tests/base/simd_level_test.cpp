#include "base/simd_level.h"

#include <gtest/gtest.h>

namespace qolm {
namespace {

class SimdLevelTest : public ::testing::Test {
 protected:
  ~SimdLevelTest() override { ForceSimdLevel(DetectedSimdLevel()); }
};

TEST_F(SimdLevelTest, StartsAtTheDetectedLevel) {
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
}

TEST_F(SimdLevelTest, CanBeLoweredAndRestored) {
  ForceSimdLevel(SimdLevel::kScalar);
  EXPECT_EQ(ActiveSimdLevel(), SimdLevel::kScalar);
  ForceSimdLevel(DetectedSimdLevel());
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
}

TEST_F(SimdLevelTest, NeverRisesAboveTheDetectedLevel) {
  ForceSimdLevel(SimdLevel::kAvx2);
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
  ForceSimdLevel(SimdLevel::kSsse3);
  EXPECT_LE(ActiveSimdLevel(), DetectedSimdLevel());
}

TEST_F(SimdLevelTest, LevelsAreOrdered) {
  EXPECT_LT(SimdLevel::kScalar, SimdLevel::kSsse3);
  EXPECT_LT(SimdLevel::kSsse3, SimdLevel::kAvx2);
}

}  // namespace
}  // namespace qolm
