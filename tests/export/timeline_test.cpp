// SPDX-License-Identifier: MIT
#include "export/timeline.h"

#include <gtest/gtest.h>

#include <limits>

namespace qolm::exporter {
namespace {

TEST(TimelineTest, SampleThatStartsWithAFrame) {
  EXPECT_EQ(SampleAtFrame(0, {25, 1}, 48000), 0U);
  EXPECT_EQ(SampleAtFrame(1, {25, 1}, 48000), 1920U);
  EXPECT_EQ(SampleAtFrame(30, {30000, 1001}, 48000), 48048U);
  // 1001 / 30000 * 32000 = 1067.73…: the next sample starts later than the frame.
  EXPECT_EQ(SampleAtFrame(1, {30000, 1001}, 32000), 1067U);
  EXPECT_EQ(SampleAtFrame(1, {60, 1}, 0), 0U);
}

TEST(TimelineTest, TenHoursDoNotDrift) {
  // Frame 1,078,921 at 30000/1001 starts 2.6 ms before ten hours are over.
  EXPECT_EQ(SampleAtFrame(1'078'921, {30000, 1001}, 48000), 1'727'999'873U);
  EXPECT_EQ(SampleAtFrame(2'160'000, {60, 1}, 44100), 1'587'600'000U);
  // Every frame of ten hours against the definition: the sample starts no later
  // than the frame, the next one later.
  constexpr FrameRate kRate{24000, 1001};
  for (uint32_t frame = 0; frame < 863'136; ++frame) {
    const uint64_t sample = SampleAtFrame(frame, kRate, 44100);
    const uint64_t frame_ticks = uint64_t{frame} * kRate.denominator * 44100;
    ASSERT_LE(sample * kRate.numerator, frame_ticks) << frame;
    ASSERT_GT((sample + 1) * kRate.numerator, frame_ticks) << frame;
  }
}

TEST(TimelineTest, NumbersOfAnySizeDoNotWrap) {
  constexpr uint32_t kMost = std::numeric_limits<uint32_t>::max();
  EXPECT_EQ(SampleAtFrame(kMost, {kMost, kMost}, kMost), uint64_t{kMost} * kMost);
  EXPECT_EQ(SampleAtFrame(kMost, {kMost, 1}, 48000), 48000U);
  EXPECT_EQ(SampleAtFrame(kMost, {1, kMost}, 48000), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(SampleAtFrame(1, {kMost, 1}, kMost), 1U);
}

}  // namespace
}  // namespace qolm::exporter
