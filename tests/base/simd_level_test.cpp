// SPDX-License-Identifier: MIT
#include "base/simd_level.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace qolm {
namespace {

class SimdLevelTest : public ::testing::Test {
 protected:
  ~SimdLevelTest() override { ForceSimdLevel(DetectedSimdLevel()); }
};

TEST_F(SimdLevelTest, StartsAtTheDetectedLevel) {
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
}

#if defined(__linux__) && (defined(__x86_64__) || defined(__i386__))
// All levels are bit-identical, so no other test notices a missed detection.
TEST_F(SimdLevelTest, IsHighestLevelListedBySystem) {
  std::ifstream list("/proc/cpuinfo");
  std::string line;
  while (std::getline(list, line) && !line.starts_with("flags")) {
  }
  if (line.empty()) GTEST_SKIP() << "the system lists no flags: nothing was compared";
  line += ' ';
  const auto has = [&line](const char* flag) { return line.find(flag) != std::string::npos; };
  const SimdLevel expected = has(" avx2 ") ? SimdLevel::kAvx2 : SimdLevel::kScalar;
  EXPECT_EQ(DetectedSimdLevel(), expected);
}
#endif

TEST_F(SimdLevelTest, CanBeLoweredAndRestored) {
  ForceSimdLevel(SimdLevel::kScalar);
  EXPECT_EQ(ActiveSimdLevel(), SimdLevel::kScalar);
  ForceSimdLevel(DetectedSimdLevel());
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
}

TEST_F(SimdLevelTest, NeverRisesAboveTheDetectedLevel) {
  ForceSimdLevel(SimdLevel::kAvx2);
  EXPECT_EQ(ActiveSimdLevel(), DetectedSimdLevel());
}

TEST_F(SimdLevelTest, LevelsAreOrdered) { EXPECT_LT(SimdLevel::kScalar, SimdLevel::kAvx2); }

}  // namespace
}  // namespace qolm
