// SPDX-License-Identifier: MIT
//
// Sources whose pixels are not square, or brighter than a usual screen.
#include "media/ffmpeg/picture_shape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {
namespace {

using ::qolm::test::ClipOptions;
using ::qolm::test::FillPlanes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PictureShapeTest : public ::testing::Test {
 protected:
  void Write(const std::string& name, const ClipOptions& options, int luma = 120) {
    test::WriteClip(folder_ / name, options, [&](AVFrame& frame, int) {
      FillPlanes(frame, options.format == AV_PIX_FMT_YUV420P10 ? std::vector{luma, 512, 512}
                                                               : std::vector{luma, 128, 128});
    });
  }
  VideoFrame First(const std::string& name) {
    VideoFrame frame;
    EXPECT_TRUE(source_.Open(folder_ / name)) << source_.failure_reason();
    EXPECT_TRUE(source_.ReadNextFrame(frame));
    return frame;
  }
  static int LevelAt(const VideoFrame& frame, int x, int y) {
    return frame.pixels.at(
        (static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x)) * 4);
  }

  test::TemporaryFolder folder_;
  Platform platform_;
  VideoSource source_{platform_.MakeVideoFramework()};
};

TEST_F(PictureShapeTest, PixelsBecomeSquareBySizeOfTheSqueezedSide) {
  struct Case {
    AVRational pixel;
    int width, height;
  };
  for (const Case& c : {Case{{2, 1}, 40, 10},
                        {{1, 2}, 20, 20},
                        {{64, 45}, 28, 10},
                        {{4, 1}, 80, 10},
                        {{1, 4}, 20, 40},
                        {{8, 9}, 20, 11},
                        {{1, 1}, 20, 10},
                        {{1000, 1001}, 20, 10}}) {
    ClipOptions options;
    options.format = AV_PIX_FMT_YUV420P;
    options.width = 20;
    options.height = 10;
    options.pixel_shape = c.pixel;
    Write("a.mkv", options);
    const VideoFrame frame = First("a.mkv");
    EXPECT_EQ(frame.width, c.width) << c.pixel.num << ":" << c.pixel.den;
    EXPECT_EQ(frame.height, c.height) << c.pixel.num << ":" << c.pixel.den;
    EXPECT_THAT(source_.notices(), IsEmpty());
    for (const int x : {0, frame.width - 1}) {
      EXPECT_NEAR(LevelAt(frame, x, frame.height - 1), 121, 2);
    }
  }
}

TEST_F(PictureShapeTest, ThePictureMayBeAsLargeAsOneCanBe) {
  ClipOptions options;
  options.format = AV_PIX_FMT_YUV420P;
  options.width = 8192;
  options.height = 2;
  options.pixel_shape = {2, 1};
  Write("a.mkv", options);
  EXPECT_EQ(First("a.mkv").width, 16384);
  EXPECT_THAT(source_.notices(), IsEmpty());
}

TEST_F(PictureShapeTest, WhatStaysAsStoredIsReported) {
  struct Case {
    AVRational pixel;
    int width;
  };
  for (const Case& c : {Case{{16, 15}, 20}, {{10, 11}, 20}, {{5, 1}, 20}, {{3, 1}, 5462}}) {
    ClipOptions options;
    options.format = AV_PIX_FMT_YUV420P;
    options.width = c.width;
    options.height = 2;
    options.pixel_shape = c.pixel;
    Write("a.mkv", options);
    EXPECT_EQ(First("a.mkv").width, c.width);
    EXPECT_THAT(
        source_.notices(),
        ElementsAre("the source's pixels are not square (" + std::to_string(c.pixel.num) + ":" +
                    std::to_string(c.pixel.den) + "); the picture keeps its stored size"));
  }
}

TEST_F(PictureShapeTest, ATurnedPictureIsStretchedAlongItsOwnSide) {
  constexpr int32_t kOne = 1 << 16;
  ClipOptions options;
  options.codec = "png";
  options.format = AV_PIX_FMT_RGB24;
  options.width = 20;
  options.height = 10;
  options.pixel_shape = {2, 1};
  options.display_matrix = {0, kOne, 0, -kOne, 0, 0, 0, 0, 1 << 30};
  test::WriteClip(folder_ / "a.mov", options, [](AVFrame&, int) {});
  First("a.mov");
  EXPECT_EQ(source_.width(), 10);
  EXPECT_EQ(source_.height(), 40);
}

TEST_F(PictureShapeTest, AnotherShapeInMidStreamIsFittedBetweenBlackBars) {
  struct Part {
    int width, height;
  };
  for (const auto& [codec, format] :
       {std::pair{"mjpeg", AV_PIX_FMT_YUVJ420P}, {"png", AV_PIX_FMT_RGB24}}) {
    const std::string joined_name = std::string("joined.") + codec;
    std::ofstream joined(folder_ / joined_name, std::ios::binary);
    for (const Part part : {Part{64, 32}, {32, 32}, {64, 32}, {128, 32}}) {
      ClipOptions options;
      options.codec = codec;
      options.muxer = codec == std::string("png") ? "image2pipe" : "mjpeg";
      options.format = format;
      options.width = part.width;
      options.height = part.height;
      Write("part", options, 200);
      joined << std::ifstream(folder_ / "part", std::ios::binary).rdbuf();
    }
    joined.close();
    ASSERT_TRUE(source_.Open(folder_ / joined_name)) << source_.failure_reason();
    std::vector<VideoFrame> frames(4);
    for (VideoFrame& frame : frames) ASSERT_TRUE(source_.ReadNextFrame(frame));
    for (const VideoFrame& frame : frames) {
      EXPECT_EQ(frame.width, 64);
      EXPECT_NEAR(LevelAt(frame, 32, 16), 200, 3);
    }
    for (const size_t whole : {size_t{0}, size_t{2}}) {
      for (const int x : {0, 63}) EXPECT_NEAR(LevelAt(frames[whole], x, 31), 200, 3);
    }
    for (const int x : {0, 14, 49, 63}) EXPECT_EQ(LevelAt(frames[1], x, 16), 0) << x;
    for (const int x : {18, 45}) EXPECT_NEAR(LevelAt(frames[1], x, 0), 200, 3) << x;
    for (const int y : {0, 6, 25, 31}) EXPECT_EQ(LevelAt(frames[3], 32, y), 0) << y;
    for (const int y : {10, 21}) EXPECT_NEAR(LevelAt(frames[3], 0, y), 200, 3) << y;
  }
}

// The bars are made anew in every picture, whose memory held another one before.
TEST_F(PictureShapeTest, NothingOfOtherPicturesShowsInTheBars) {
  std::ofstream joined(folder_ / "joined.png", std::ios::binary);
  constexpr int kOfEachShape = 20;
  for (int part = 0; part < 2 * kOfEachShape; ++part) {
    ClipOptions options;
    options.codec = "png";
    options.muxer = "image2pipe";
    options.format = AV_PIX_FMT_RGB24;
    options.width = part < kOfEachShape ? 128 : 32;
    options.height = 32;
    Write("part", options, 100 + part);  // or it would count as the same picture
    joined << std::ifstream(folder_ / "part", std::ios::binary).rdbuf();
  }
  joined.close();
  ASSERT_TRUE(source_.Open(folder_ / "joined.png")) << source_.failure_reason();
  VideoFrame frame;
  for (int picture = 0; picture < 2 * kOfEachShape; ++picture) {
    ASSERT_TRUE(source_.ReadNextFrame(frame));
    if (picture < kOfEachShape) continue;
    // 32 of the 128 columns are the picture.
    for (int x = 0; x < 128; ++x) {
      if (x >= 47 && x <= 80) continue;
      ASSERT_EQ(LevelAt(frame, x, 16), 0) << "picture " << picture << ", column " << x;
    }
  }
}

// The share of full code of a light in cd/m2.
double PqCode(double light) {
  const double y = std::pow(light / 10000, 0.1593017578125);
  return std::pow((0.8359375 + 18.8515625 * y) / (1 + 18.6875 * y), 78.84375);
}

TEST_F(PictureShapeTest, HighDynamicRangeIsMappedToAUsualScreen) {
  const auto level = [this](AVColorTransferCharacteristic transfer, double code) {
    ClipOptions options;
    options.format = AV_PIX_FMT_YUV420P10;
    options.transfer = transfer;
    Write("a.mkv", options, static_cast<int>(std::lround(64 + code * 876)));
    const VideoFrame frame = First("a.mkv");
    EXPECT_THAT(source_.notices(), IsEmpty());
    return LevelAt(frame, 8, 8);
  };
  // Reference white at 203 cd/m2, which is three quarters of HLG's code.
  for (const auto& [transfer, white] :
       {std::pair{AVCOL_TRC_SMPTE2084, PqCode(203)}, {AVCOL_TRC_ARIB_STD_B67, 0.75}}) {
    EXPECT_NEAR(level(transfer, 0), 0, 3) << transfer;
    EXPECT_GT(level(transfer, white), 210) << transfer;
    EXPECT_GT(level(transfer, 1), level(transfer, white)) << transfer;
  }
  // A fifth of white is as dark as a usual screen shows it.
  EXPECT_NEAR(level(AVCOL_TRC_SMPTE2084, PqCode(203 * 0.2)), 255 * std::pow(0.2, 1 / 2.4), 3);
  EXPECT_NEAR(level(AVCOL_TRC_BT709, 0.5), 128, 2);
}

TEST_F(PictureShapeTest, HighDynamicRangeTooSmallToDeinterlaceIsMappedToo) {
  ClipOptions options;
  options.format = AV_PIX_FMT_YUV420P10;
  options.transfer = AVCOL_TRC_ARIB_STD_B67;
  options.width = options.height = 2;
  const auto level = [&](const char* name, bool interlaced) {
    options.interlaced = interlaced;
    Write(name, options, static_cast<int>(std::lround(64 + 0.75 * 876)));
    const VideoFrame frame = First(name);
    EXPECT_THAT(source_.notices(), IsEmpty());
    return LevelAt(frame, 0, 0);
  };
  EXPECT_EQ(level("a.mkv", true), level("b.mkv", false));
}

}  // namespace
}  // namespace qolm::media
