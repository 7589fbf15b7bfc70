// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace qolm::media::ffmpeg {
namespace {

using ::testing::ElementsAre;

Frame MakeFrame(int size, int64_t time, bool interlaced) {
  Frame frame(av_frame_alloc());
  frame->width = frame->height = size;
  frame->format = AV_PIX_FMT_YUV420P;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  frame->best_effort_timestamp = time;
  frame->interlaced_frame = interlaced ? 1 : 0;
  return frame;
}

// What comes out, as sizes and times, and after which picture.
struct Shown {
  int size;
  int64_t time;
  friend bool operator==(const Shown&, const Shown&) = default;
};

TEST(FrameFilter, NoPictureIsLostWhereTheSourceChanges) {
  FrameFilter filter("", {1, 25});
  std::vector<Shown> shown;
  const auto collect = [&] {
    while (const Frame frame = filter.Receive()) shown.push_back({frame->width, frame->pts});
  };
  int64_t time = 0;
  for (const int size : {32, 48, 16}) {
    // Nothing is collected before the next size comes, so that all of them wait.
    for (int i = 0; i < 3; ++i) filter.Send(MakeFrame(size, time++, true).get());
  }
  filter.Send(nullptr);
  collect();
  EXPECT_THAT(shown,
              ElementsAre(Shown{32, 0}, Shown{32, 1}, Shown{32, 2}, Shown{48, 3}, Shown{48, 4},
                          Shown{48, 5}, Shown{16, 6}, Shown{16, 7}, Shown{16, 8}));
}

TEST(FrameFilter, DeinterlacingThatBeginsInMidStreamLosesNothing) {
  FrameFilter filter("hflip", {1, 25});
  std::vector<Shown> shown;
  for (int64_t time = 0; time < 6; ++time) {
    filter.Send(MakeFrame(32, time, time >= 2).get());
    while (const Frame frame = filter.Receive()) shown.push_back({frame->width, frame->pts});
  }
  filter.Send(nullptr);
  while (const Frame frame = filter.Receive()) shown.push_back({frame->width, frame->pts});
  EXPECT_THAT(shown, ElementsAre(Shown{32, 0}, Shown{32, 1}, Shown{32, 2}, Shown{32, 3},
                                 Shown{32, 4}, Shown{32, 5}));
}

TEST(FrameFilter, HighDynamicRangeThatNoFilterTakesPassesAsItIs) {
  FrameFilter filter("", {1, 25});
  const Frame frame = MakeFrame(32, 0, false);
  frame->color_trc = AVCOL_TRC_SMPTE2084;
  frame->colorspace = AVCOL_SPC_SMPTE2085;  // from which no filter knows a way
  for (int i = 0; i < 3; ++i) filter.Send(frame.get());
  filter.Send(nullptr);
  int count = 0;
  while (filter.Receive() != nullptr) ++count;
  EXPECT_EQ(count, 3);
  EXPECT_TRUE(filter.tone_mapping_failed());
}

}  // namespace
}  // namespace qolm::media::ffmpeg
