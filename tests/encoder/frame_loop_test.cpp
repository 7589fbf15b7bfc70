// SPDX-License-Identifier: MIT
//
// The records that the frames of a source are coded as, and their numbers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "encoder/session_run.h"
#include "encoder/temporal_filter.h"
#include "support/container_file.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"
#include "video/picture/colour_conversion.h"
#include "video/sample_planes.h"

namespace qolm::encoder {
namespace {

using ::testing::ElementsAre;

class FrameLoop : public SessionRun {};

constexpr int32_t kSize = 16;

EncodeSettings Small() { return SettingsFor(kSize, kSize); }

VideoFrame Still(int32_t /*number*/) { return GreyFrame(kSize, kSize, 100); }

// Differs from its neighbours by about 9 luma steps: neither static, nor calm, nor a
// scene change.
VideoFrame Flicker(int32_t number) { return GreyFrame(kSize, kSize, number % 2 == 0 ? 100 : 110); }

// One row of sixteen blinks: not static, but calm.
VideoFrame Blink(int32_t number) {
  VideoFrame frame = GreyFrame(kSize, kSize, 100);
  for (size_t x = 0; x < kSize * 4; ++x) {
    if (x % 4 != 3) frame.pixels[x] = number % 2 == 0 ? 100 : 140;
  }
  return frame;
}

VideoFrame Noise(int32_t width, int32_t height, uint32_t seed) {
  VideoFrame frame = GreyFrame(width, height, 0);
  std::mt19937 random(seed);
  for (size_t i = 0; i < frame.pixels.size(); ++i) {
    if (i % 4 != 3) frame.pixels[i] = static_cast<uint8_t>(random());
  }
  return frame;
}

video::YuvPlanes Converted(const VideoFrame& frame) {
  video::YuvPlanes planes;
  video::ConvertFrameToYuv(frame, planes);
  return planes;
}

TEST_F(FrameLoop, FirstFrameIsAKeyFrame) {
  Encode(Small(), 1, Still);
  EXPECT_EQ(Records(), "1@0");
}

TEST_F(FrameLoop, StaticVideoIsKeyFramesAndRepeatRuns) {
  Encode(Small(), 600, Still);
  EXPECT_EQ(Records(),
            "1@0 5x120@1 1@121 5x120@122 1@242 5x120@243 1@363 5x120@364 1@484 "
            "5x115@485");
  EXPECT_EQ(skipped(), 595);
}

TEST_F(FrameLoop, StaticVideoWithoutAdaptiveGop) {
  EncodeSettings settings = Small();
  settings.adaptive_gop = false;
  Encode(settings, 130, Still);
  EXPECT_EQ(Records(), "1@0 5x60@1 1@61 5x60@62 1@122 5x7@123");
}

TEST_F(FrameLoop, RepeatRunsHoldAtMost250Frames) {
  EncodeSettings settings = Small();
  settings.gop_length = 10'000;
  settings.adaptive_gop = false;
  Encode(settings, 1 + 250, Still);
  EXPECT_EQ(Records(), "1@0 5x250@1");
  Encode(settings, 1 + 251, Still);
  EXPECT_EQ(Records(), "1@0 5x250@1 5x1@251");
  Encode(settings, 1 + 300, Still);
  EXPECT_EQ(Records(), "1@0 5x250@1 5x50@251");
  EXPECT_EQ(skipped(), 300);
}

TEST_F(FrameLoop, RepeatRunIsClosedBeforeTheNextCodedFrame) {
  Encode(Small(), 6, [](int32_t i) { return GreyFrame(kSize, kSize, i < 4 ? 100 : 110); });
  EXPECT_EQ(Records(), "1@0 5x3@1 2@4 5x1@5");
}

TEST_F(FrameLoop, FrameNumbersKeepTheirLow16Bits) {
  EncodeSettings settings = Small();
  settings.gop_length = 100'000;
  settings.adaptive_gop = false;
  Encode(settings, 65'540, [](int32_t i) {
    return GreyFrame(kSize, kSize, i < 65'535 ? 100 : static_cast<uint8_t>(100 + 12 * (i % 2)));
  });
  const std::string records = Records();
  EXPECT_TRUE(records.ends_with("2@65535 2@0 2@1 2@2 2@3")) << records.substr(records.size() - 60);
}

TEST_F(FrameLoop, WithoutVfrEveryFrameIsCoded) {
  EncodeSettings settings = Small();
  settings.vfr = false;
  Encode(settings, 4, Still);
  EXPECT_EQ(Records(), "1@0 2@1 2@2 2@3");
  EXPECT_EQ(skipped(), 0);
}

TEST_F(FrameLoop, BusyVideoHasKeyFrameEvery61Frames) {
  Encode(Small(), 130, Flicker);
  EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0, 61, 122));
  EXPECT_EQ(reader().index().size(), 130U);
}

TEST_F(FrameLoop, CalmVideoHasKeyFrameEvery121Frames) {
  Encode(Small(), 250, Blink);
  EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0, 121, 242));
  EXPECT_EQ(reader().index().size(), 250U);
}

TEST_F(FrameLoop, LongGopIsCappedForCalmVideoOnly) {
  EncodeSettings settings = Small();
  settings.gop_length = 300;
  Encode(settings, 310, Blink);
  EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0, 181));
  Encode(settings, 310, Flicker);
  EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0, 301));
}

TEST_F(FrameLoop, SceneCutForcesKeyFrameFromEleventhFrame) {
  for (const int32_t cut : {1, 5, 10}) {
    Encode(Small(), cut + 2, [cut](int32_t i) {
      return i < cut ? Flicker(i) : GreyFrame(kSize, kSize, static_cast<uint8_t>(220 + i % 2 * 9));
    });
    EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0)) << cut;
  }
  for (const int32_t cut : {11, 12, 40}) {
    Encode(Small(), cut + 2, [cut](int32_t i) {
      return i < cut ? Flicker(i) : GreyFrame(kSize, kSize, static_cast<uint8_t>(220 + i % 2 * 9));
    });
    EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0, cut)) << cut;
  }
}

TEST_F(FrameLoop, GopOfZeroOrLessMakesEveryFrameAKeyFrame) {
  for (const int32_t gop : {0, -7}) {
    EncodeSettings settings = Small();
    settings.gop_length = gop;
    Encode(settings, 4, Still);
    EXPECT_EQ(Records(), "1@0 1@1 1@2 1@3");
  }
}

TEST_F(FrameLoop, LargestGopLeavesOneKeyFrame) {
  EncodeSettings settings = Small();
  settings.gop_length = std::numeric_limits<int32_t>::max();
  Encode(settings, 300, Flicker);
  EXPECT_THAT(KeyFrameNumbers(), ElementsAre(0));
}

TEST_F(FrameLoop, SizeChangeIsKeyFrame) {
  Encode(Small(), 8,
         [](int32_t i) { return i < 3 ? Still(i) : GreyFrame(i < 6 ? 21 : kSize, 9, 100); });
  EXPECT_EQ(Records(), "1@0 5x2@1 1@3 5x2@4 1@6 5x1@7");
}

TEST_F(FrameLoop, FirstFrameMayDifferFromTheSettings) {
  EncoderSession session(Small());
  ASSERT_TRUE(session.open_output(path()));
  EXPECT_TRUE(session.encode_frame(GreyFrame(7, 5, 10)));
  EXPECT_EQ(session.reference_planes().width, 7U);
  EXPECT_EQ(session.reference_planes().height, 5U);
}

TEST_F(FrameLoop, FramesWithoutPixelsAreIgnored) {
  EncoderSession session(Small());
  ASSERT_TRUE(session.open_output(path()));
  EXPECT_TRUE(session.encode_frame(Still(0)));
  EXPECT_FALSE(session.encode_frame(VideoFrame{}));
  VideoFrame frame = Still(0);
  frame.pixels.pop_back();
  EXPECT_FALSE(session.encode_frame(frame));
  frame.width = -kSize;
  frame.height = -kSize;
  EXPECT_FALSE(session.encode_frame(frame));
  EXPECT_TRUE(session.encode_frame(Still(1)));
  EXPECT_TRUE(session.finish());
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(path()));
  EXPECT_EQ(reader.header().frame_count, 2U);
}

TEST_F(FrameLoop, SkippedFramesAreComparedWithLastShownFrame) {
  // Luma 102, 104, 106: the second is within the filter's reach and skipped,
  // the third is four steps from the first and no longer static.
  const std::vector<uint8_t> greys = {100, 102, 105, 105};
  Encode(Small(), 4,
         [&](int32_t i) { return GreyFrame(kSize, kSize, greys[static_cast<size_t>(i)]); });
  EXPECT_EQ(Records(), "1@0 5x1@1 2@2 5x1@3");
}

// Picture numbers only save work; the output is the same.
TEST_F(FrameLoop, PictureNumbersDoNotChangeTheFile) {
  for (const bool bidirectional : {false, true}) {
    for (const bool temporal_filter : {false, true}) {
      EncodeSettings settings = Small();
      settings.bidirectional = bidirectional;
      settings.temporal_filter = temporal_filter;
      settings.gop_length = 12;
      settings.adaptive_gop = false;
      const auto picture = [](int32_t i, bool numbered) {
        // A slow fade whose pictures last one to five frames, with jumps.
        const int32_t stays = i / 40 % 5 + 1;
        const int32_t shown = i / stays * stays;
        VideoFrame frame = GreyFrame(kSize, kSize, static_cast<uint8_t>(60 + shown % 90 / 2 * 2));
        for (size_t x = 0; x < kSize * 4; x += 4) {
          frame.pixels[x] = static_cast<uint8_t>(shown % 7);
        }
        if (numbered) frame.picture_number = static_cast<uint64_t>(shown) + 1;
        return frame;
      };
      Encode(settings, 300, [&](int32_t i) { return picture(i, false); });
      const std::vector<uint8_t> expected = test::ReadBytes(path());
      EXPECT_GT(skipped(), 50);
      Encode(settings, 300, [&](int32_t i) { return picture(i, true); });
      EXPECT_EQ(test::ReadBytes(path()), expected);
    }
  }
}

TEST_F(FrameLoop, SecondOutputCodesLastSkippedPicture) {
  EncodeSettings settings = Small();
  settings.quality = 100;
  settings.temporal_filter = true;
  // The second is nearly identical to the first, and is filtered against it; the third is
  // new on its left side and close to the second on its right.
  const auto picture = [](int number) {
    VideoFrame frame = GreyFrame(kSize, kSize, static_cast<uint8_t>(97 + 2 * number));
    for (size_t i = 0; number == 3 && i < frame.pixels.size(); ++i) {
      if (i % (4 * kSize) < 2 * kSize && i % 4 != 3) frame.pixels[i] = 180;
    }
    frame.picture_number = static_cast<uint64_t>(number);
    return frame;
  };
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(folder() / "first.qolm"));
  for (const int number : {1, 2}) ASSERT_TRUE(session.encode_frame(picture(number)));
  EXPECT_EQ(session.frames_skipped(), 1);
  ASSERT_TRUE(session.open_output(folder() / "second.qolm"));
  for (const int number : {2, 3}) ASSERT_TRUE(session.encode_frame(picture(number)));
  ASSERT_TRUE(session.finish());

  Encode(settings, 2, [&](int32_t i) { return picture(i + 2); });
  EXPECT_EQ(test::ReadBytes(folder() / "second.qolm"), test::ReadBytes(path()));
}

TEST_F(FrameLoop, KeyFramesUseUnfilteredPlanes) {
  EncodeSettings settings = Small();
  settings.gop_length = 0;
  settings.quality = 95;
  settings.flat_blocks = settings.deblocking = false;
  const auto frame = [](int32_t i) { return GreyFrame(kSize, kSize, i == 0 ? 100 : 102); };
  Encode(settings, 2, frame);
  video::YuvPlanes reference;
  const video::KeyFrameOptions options{.quality = 95,
                                       .cclc = true,
                                       .flat_blocks = false,
                                       .sparse_levels = true,
                                       .deblocking = false};
  EXPECT_EQ(Payload(1), video::EncodeKeyFrame(Converted(frame(1)), options, reference));
}

TEST_F(FrameLoop, FrameAfterKeyFrameIsFilteredAgainstPreparedLuma) {
  // Frame 11 is a scene cut and thus a key frame; its right half differs from frame 10 by
  // less than the filter's threshold. Frame 12 is coded from its own filtered luma.
  EncodeSettings settings = Small();
  settings.quality = 100;
  settings.vfr = false;
  const auto halves = [](uint8_t left, uint8_t right) {
    VideoFrame frame = GreyFrame(kSize, kSize, left);
    for (size_t i = 0; i < frame.pixels.size(); ++i) {
      if (i % 4 != 3 && i / 4 % kSize >= kSize / 2) frame.pixels[i] = right;
    }
    return frame;
  };
  const VideoFrame before = halves(20, 100);
  const VideoFrame cut = halves(200, 102);
  const VideoFrame after = halves(190, 105);
  Encode(settings, 13, [&](int32_t i) { return i < 11 ? before : i == 11 ? cut : after; });
  ASSERT_THAT(KeyFrameNumbers(), ElementsAre(0, 11));

  video::YuvPlanes reference;
  const video::KeyFrameOptions key_options{
      .quality = 100, .cclc = true, .flat_blocks = true, .sparse_levels = true, .deblocking = true};
  EXPECT_EQ(Payload(11), video::EncodeKeyFrame(Converted(cut), key_options, reference));
  video::YuvPlanes prepared_cut = Converted(cut);
  FilterLuma(prepared_cut.y, Converted(before).y, prepared_cut.y);
  ASSERT_NE(prepared_cut.y, Converted(cut).y);
  video::YuvPlanes prepared_after = Converted(after);
  FilterLuma(prepared_after.y, prepared_cut.y, prepared_after.y);
  const video::InterFrameOptions options{.quality = 100,
                                         .motion_prediction = true,
                                         .deblocking = true,
                                         .sparse_levels = true,
                                         .pre_analysis = true};
  EXPECT_EQ(Payload(12), video::EncodeInterFrame(prepared_after, options, reference));
}

TEST_F(FrameLoop, PredictedFramesUseFilteredPlanes) {
  EncodeSettings settings = SettingsFor(48, 40);
  settings.quality = 80;
  settings.sparse_levels = settings.motion_prediction = settings.pre_analysis = false;
  const VideoFrame first = Noise(48, 40, 1);
  VideoFrame second = first;
  for (size_t i = 0; i < second.pixels.size(); i += 4) {
    for (size_t c = 0; c < 3; ++c) {
      const int value = second.pixels[i + c] + static_cast<int>(i / 4 % 9);
      second.pixels[i + c] = static_cast<uint8_t>(value > 255 ? 255 : value);
    }
  }
  for (const bool filter : {false, true}) {
    settings.temporal_filter = filter;
    Encode(settings, 2, [&](int32_t i) { return i == 0 ? first : second; });
    ASSERT_EQ(Records(), "1@0 2@1");

    video::YuvPlanes reference;
    const video::YuvPlanes first_planes = Converted(first);
    const video::KeyFrameOptions key_options{.quality = 80,
                                             .cclc = true,
                                             .flat_blocks = true,
                                             .sparse_levels = false,
                                             .deblocking = true};
    EXPECT_EQ(Payload(0), video::EncodeKeyFrame(first_planes, key_options, reference));
    video::YuvPlanes prepared = Converted(second);
    if (filter) FilterLuma(prepared.y, first_planes.y, prepared.y);
    const video::InterFrameOptions options{.quality = 80,
                                           .motion_prediction = false,
                                           .deblocking = true,
                                           .sparse_levels = false,
                                           .pre_analysis = false};
    EXPECT_EQ(Payload(1), video::EncodeInterFrame(prepared, options, reference));
  }
}

// The pre-analysis has no flag in the file and only affects vectors: in a pan over a scene
// with low contrast at the top, where zero motion costs little.
TEST_F(FrameLoop, PreAnalysisFollowsItsOption) {
  constexpr int32_t kWidth = 160;
  constexpr int32_t kHeight = 128;
  const auto pan = [](int32_t number) {
    VideoFrame frame = GreyFrame(kWidth, kHeight, 0);
    for (int32_t i = 0; i < kWidth * kHeight; ++i) {
      const int x = i % kWidth + 12 * number;
      const int y = i / kWidth + 8 * number;
      const int texture = test::TextureSample(x, y, 4, 6);
      const int value = y < 40 ? 128 + texture / 24 : texture;
      std::fill_n(&frame.pixels[static_cast<size_t>(4 * i)], 3, static_cast<uint8_t>(value));
    }
    return frame;
  };
  EncodeSettings settings = SettingsFor(kWidth, kHeight);
  settings.temporal_filter = false;
  settings.quality = 95;
  std::vector<std::vector<uint8_t>> payloads;
  for (const bool pre_analysis : {false, true}) {
    settings.pre_analysis = pre_analysis;
    Encode(settings, 2, pan);
    video::YuvPlanes reference;
    EXPECT_EQ(Payload(0), video::EncodeKeyFrame(Converted(pan(0)), {.quality = 95}, reference));
    const video::InterFrameOptions options{.quality = 95, .pre_analysis = pre_analysis};
    EXPECT_EQ(Payload(1), video::EncodeInterFrame(Converted(pan(1)), options, reference));
    payloads.push_back(Payload(1));
  }
  EXPECT_NE(payloads[0], payloads[1]);
}

EncodeSettings Holding() {
  EncodeSettings settings = Small();
  settings.bidirectional = true;
  return settings;
}

TEST_F(FrameLoop, EverySecondFrameIsHeld) {
  Encode(Holding(), 5, Flicker);
  EXPECT_EQ(Records(), "1@0 2@2 4@1 2@4 4@3");
  EXPECT_EQ(reader().header().flags & container::kFlagBidirectional, container::kFlagBidirectional);
  EXPECT_EQ(reader().header().frame_count, 5U);
}

TEST_F(FrameLoop, FrameHeldAtEndIsPredicted) {
  Encode(Holding(), 4, Flicker);
  EXPECT_EQ(Records(), "1@0 2@2 4@1 2@3");
}

TEST_F(FrameLoop, FrameHeldBeforeKeyFrameIsPredicted) {
  EncodeSettings settings = Holding();
  settings.gop_length = 1;
  Encode(settings, 5, Flicker);
  EXPECT_EQ(Records(), "1@0 2@1 1@2 2@3 1@4");
}

TEST_F(FrameLoop, StaticFramesAfterHeldFrameFormRunBeforeIt) {
  // Frame 1 is held, 2 to 4 repeat it, 5 is coded ahead of it.
  const auto frame = [](int32_t i) {
    return GreyFrame(kSize, kSize, i == 0 ? 100 : i < 5 ? 120 : 140);
  };
  Encode(Holding(), 6, frame);
  EXPECT_EQ(Records(), "1@0 5x3@2 2@5 4@1");
  // At the end the held frame goes first.
  Encode(Holding(), 5, frame);
  EXPECT_EQ(Records(), "1@0 2@1 5x3@2");
}

TEST_F(FrameLoop, RunOf250IsWrittenWhileFrameIsHeld) {
  EncodeSettings settings = Holding();
  settings.gop_length = 1000;
  settings.adaptive_gop = false;
  Encode(settings, 400, [](int32_t i) {
    return GreyFrame(kSize, kSize, i == 0 ? 100 : i < 399 ? 120 : 140);
  });
  EXPECT_EQ(Records(), "1@0 5x250@2 5x147@252 2@399 4@1");
}

TEST_F(FrameLoop, HeldFrameIsCodedFromPreparedPlanes) {
  EncodeSettings settings = SettingsFor(48, 40);
  settings.bidirectional = true;
  settings.vfr = false;
  std::vector<VideoFrame> frames = {Noise(48, 40, 1), {}, {}, {}, {}};
  for (size_t i = 1; i < frames.size(); ++i) {
    frames[i] = frames[i - 1];
    for (size_t at = 0; at < frames[i].pixels.size(); at += 4) {
      for (size_t c = 0; c < 3; ++c) {
        const int value = frames[i].pixels[at + c] + static_cast<int>(at / 4 % 9);
        frames[i].pixels[at + c] = static_cast<uint8_t>(value > 255 ? 255 : value);
      }
    }
  }
  Encode(settings, 5, [&](int32_t i) { return frames[static_cast<size_t>(i)]; });
  ASSERT_EQ(Records(), "1@0 2@2 4@1 2@4 4@3");

  std::vector<video::YuvPlanes> prepared;
  for (const VideoFrame& frame : frames) {
    video::YuvPlanes planes = Converted(frame);
    if (!prepared.empty()) FilterLuma(planes.y, prepared.back().y, planes.y);
    prepared.push_back(planes);
  }
  video::YuvPlanes reference;
  EXPECT_EQ(Payload(0), video::EncodeKeyFrame(prepared[0], {}, reference));
  for (const size_t held : {1U, 3U}) {
    const video::YuvPlanes past = reference;
    EXPECT_EQ(Payload(held), video::EncodeInterFrame(prepared[held + 1], {}, reference));
    EXPECT_EQ(Payload(held + 1),
              video::EncodeBidirectionalFrame(prepared[held], {}, past, reference));
  }
}

TEST_F(FrameLoop, SizeChangeFlushesHeldFrame) {
  Encode(Holding(), 3,
         [](int32_t i) { return i < 2 ? Flicker(i) : GreyFrame(2 * kSize, kSize, 50); });
  EXPECT_EQ(Records(), "1@0 2@1 1@2");
}

}  // namespace
}  // namespace qolm::encoder
