// SPDX-License-Identifier: MIT
//
// The video source over real files, which each test writes for itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "media/video_file_fixture.h"

namespace qolm::media {
namespace {

using ::qolm::test::ClipOptions;
using ::qolm::test::FillPlanes;
using ::qolm::test::SetPixel;
using ::testing::ElementsAre;

// --- Containers: every frame of a constant rate once, exact rate and count ---

struct ContainerCase {
  const char* name;
  const char* codec;
  AVPixelFormat format;
  bool limited_range;
  AVRational rate;
};

class FfmpegContainerTest : public FfmpegVideoTest,
                            public ::testing::WithParamInterface<ContainerCase> {};

TEST_P(FfmpegContainerTest, EveryFrameOnceWithExactRateAndCount) {
  const ContainerCase& c = GetParam();
  ClipOptions options;
  options.codec = c.codec;
  options.format = c.format;
  options.rate = c.rate;
  options.width = 64;
  options.height = 48;
  if (options.codec == "libvpx") options.codec_options = {{"deadline", "realtime"}};
  for (const int frames : {30, 120}) {
    options.frames = frames;
    const auto path = Write(c.name, options);
    EXPECT_EQ(ReadNumbers(path, c.limited_range), NumbersUpTo(frames));
    ExpectRate(c.rate.num, c.rate.den);
    EXPECT_EQ(source_.frame_count(), frames);
    EXPECT_EQ(source_.width(), 64);
    EXPECT_EQ(source_.height(), 48);
    EXPECT_NEAR(source_.duration_ms(), 1000.0 * frames * c.rate.den / c.rate.num, 1);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Files, FfmpegContainerTest,
    ::testing::Values(ContainerCase{"a.mp4", "mpeg4", AV_PIX_FMT_YUV420P, true, {25, 1}},
                      ContainerCase{"a.mp4", "mpeg4", AV_PIX_FMT_YUV420P, true, {30000, 1001}},
                      ContainerCase{"a.mp4", "mpeg4", AV_PIX_FMT_YUV420P, true, {25, 2}},
                      ContainerCase{"a.mov", "png", AV_PIX_FMT_RGB24, false, {60, 1}},
                      ContainerCase{"a.mkv", "ffv1", AV_PIX_FMT_BGR0, false, {25, 1}},
                      ContainerCase{"a.mkv", "ffv1", AV_PIX_FMT_BGR0, false, {30000, 1001}},
                      ContainerCase{"a.mkv", "ffv1", AV_PIX_FMT_BGR0, false, {60000, 1001}},
                      ContainerCase{"a.mkv", "ffv1", AV_PIX_FMT_BGR0, false, {24000, 1001}},
                      ContainerCase{"a.webm", "libvpx", AV_PIX_FMT_YUV420P, true, {30, 1}},
                      ContainerCase{"a.avi", "mjpeg", AV_PIX_FMT_YUVJ420P, false, {24000, 1001}},
                      ContainerCase{"a.avi", "rawvideo", AV_PIX_FMT_BGRA, false, {25, 2}},
                      ContainerCase{"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P, true, {25, 1}},
                      ContainerCase{"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P, true, {30000, 1001}},
                      ContainerCase{"a.flv", "flv", AV_PIX_FMT_YUV420P, true, {25, 1}},
                      ContainerCase{"a.flv", "flv", AV_PIX_FMT_YUV420P, true, {30000, 1001}},
                      ContainerCase{"a.gif", "gif", AV_PIX_FMT_GRAY8, false, {10, 1}},
                      ContainerCase{"a.gif", "gif", AV_PIX_FMT_GRAY8, false, {50, 1}},
                      ContainerCase{
                          "a.y4m", "wrapped_avframe", AV_PIX_FMT_YUV420P, true, {30000, 1001}}),
    [](const ::testing::TestParamInfo<ContainerCase>& info) {
      std::string name = info.param.name + 2 + std::string("_") + info.param.codec + "_" +
                         std::to_string(info.param.rate.num) + "_" +
                         std::to_string(info.param.rate.den);
      return name;
    });

TEST_F(FfmpegVideoTest, PicturesCodedOutOfOrderComeInDisplayOrder) {
  struct Case {
    const char* name;
    const char* codec;
  };
  for (const Case& c : {Case{"a.mp4", "mpeg4"}, Case{"a.mkv", "mpeg4"}, Case{"a.avi", "mpeg4"},
                        Case{"a.ts", "mpeg2video"}, Case{"a.mpg", "mpeg2video"}}) {
    ClipOptions options;
    options.codec = c.codec;
    options.format = AV_PIX_FMT_YUV420P;
    options.width = 64;
    options.height = 48;
    options.frames = 41;
    options.codec_options = {{"bf", "2"}};
    EXPECT_EQ(ReadNumbers(Write(c.name, options), true), NumbersUpTo(41)) << c.name;
    ExpectRate(25, 1);
    EXPECT_EQ(source_.frame_count(), 41) << c.name;
  }
}

TEST_F(FfmpegVideoTest, LongerSoundDoesNotStretchTheCount) {
  for (const char* name : {"a.mkv", "a.mov", "a.avi"}) {
    ClipOptions options;
    options.codec = std::string(name) == "a.mov" ? "png" : "ffv1";
    options.format = std::string(name) == "a.mov" ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_BGR0;
    options.frames = 25;
    options.sound_seconds = 3;
    EXPECT_EQ(ReadAll(Write(name, options)).size(), 25u) << name;
    EXPECT_EQ(source_.frame_count(), 25) << name;
  }
}

TEST_F(FfmpegVideoTest, TimestampsFollowTheRate) {
  ClipOptions options;
  options.rate = {30000, 1001};
  options.frames = 10;
  const std::vector<VideoFrame> frames = ReadAll(Write("a.mkv", options));
  ASSERT_EQ(frames.size(), 10u);
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_NEAR(static_cast<double>(frames[i].timestamp), static_cast<double>(i) * 333'666.67, 1);
  }
}

// --- Time ---

TEST_F(FfmpegVideoTest, AStartOffsetAndJitterChangeNothing) {
  ClipOptions options;
  options.time_base = {1, 1000};
  options.frames = 48;
  for (int i = 0; i < options.frames; ++i) options.timestamps.push_back(5000 + i * 40 + i * 7 % 11);
  EXPECT_EQ(ReadNumbers(Write("a.mkv", options), false), NumbersUpTo(48));
  ExpectRate(25, 1);
}

TEST_F(FfmpegVideoTest, AVariableRatePlaysInTime) {
  ClipOptions options;
  options.codec = "mpeg4";
  options.format = AV_PIX_FMT_YUV420P;
  options.width = options.height = 32;
  options.time_base = {1, 30};
  // Every tenth picture is missing, and one second stands still.
  int64_t time = 0;
  std::vector<int> expected;
  for (int i = 0; i < 90; ++i) {
    options.timestamps.push_back(time);
    const int64_t next = time + (i == 44 ? 30 : i % 10 == 3 ? 2 : 1);
    for (; time < next && (i < 89 || time == options.timestamps.back()); ++time) {
      expected.push_back(i % 24);
    }
  }
  options.frames = 90;
  // With pictures that are stored behind later ones, their order of decoding differs.
  for (const char* const bidirectional : {"0", "2"}) {
    options.codec_options = {{"bf", bidirectional}};
    EXPECT_EQ(ReadNumbers(Write("a.mp4", options), true), expected) << bidirectional;
    ExpectRate(30, 1);
    EXPECT_EQ(source_.frame_count(), static_cast<int>(expected.size()));
  }
}

TEST_F(FfmpegVideoTest, GifDelaysAndTheLongLastPictureAreHeld) {
  ClipOptions options;
  options.codec = "gif";
  options.format = AV_PIX_FMT_GRAY8;
  options.time_base = {1, 100};
  options.timestamps = {0, 10, 20, 50, 60};
  options.muxer_options = {{"final_delay", "100"}};
  options.frames = 5;
  EXPECT_THAT(ReadNumbers(Write("a.gif", options), false),
              ElementsAre(0, 1, 2, 2, 2, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4));
  ExpectRate(10, 1);
  EXPECT_EQ(source_.frame_count(), 16);
}

TEST_F(FfmpegVideoTest, ALongLastSampleIsHeld) {
  ClipOptions options;
  options.codec = "mpeg4";
  options.format = AV_PIX_FMT_YUV420P;
  options.frames = 10;
  options.last_duration = 5;
  EXPECT_THAT(ReadNumbers(Write("a.mp4", options), true),
              ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 9, 9, 9));
  ExpectRate(25, 1);
  EXPECT_EQ(source_.frame_count(), 14);
}

TEST_F(FfmpegVideoTest, ASingleFrameIsOneFrame) {
  for (const char* name : {"a.mkv", "a.avi"}) {
    ClipOptions options;
    EXPECT_EQ(ReadAll(Write(name, options)).size(), 1u) << name;
    ExpectRate(25, 1);
    EXPECT_EQ(source_.frame_count(), 1) << name;
  }
}

// --- Sizes ---

TEST_F(FfmpegVideoTest, LosslessRgbComesBackExactlyInEverySize) {
  struct Size {
    int width, height;
  };
  for (const char* name : {"a.mkv", "a.avi"}) {
    for (const Size size : {Size{1, 1}, Size{3, 5}, Size{17, 2}, Size{64, 33}, Size{1, 40}}) {
      ClipOptions options;
      options.codec = std::string(name) == "a.mkv" ? "ffv1" : "rawvideo";
      options.format = std::string(name) == "a.mkv" ? AV_PIX_FMT_BGR0 : AV_PIX_FMT_BGRA;
      options.width = size.width;
      options.height = size.height;
      options.frames = 2;
      const auto value = [](int x, int y, int index, int channel) {
        return static_cast<uint8_t>(x * 31 + y * 57 + index * 101 + channel * 83);
      };
      const auto path = Write(name, options, [&](AVFrame& frame, int index) {
        for (int y = 0; y < frame.height; ++y) {
          for (int x = 0; x < frame.width; ++x) {
            SetPixel(frame, x, y, value(x, y, index, 0), value(x, y, index, 1),
                     value(x, y, index, 2));
          }
        }
      });
      const std::vector<VideoFrame> frames = ReadAll(path);
      ASSERT_EQ(frames.size(), 2u) << name << " " << size.width << "x" << size.height;
      for (int index = 0; index < 2; ++index) {
        std::vector<uint8_t> expected;
        for (int y = 0; y < size.height; ++y) {
          for (int x = 0; x < size.width; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
              expected.push_back(value(x, y, index, channel));
            }
            expected.push_back(255);
          }
        }
        EXPECT_EQ(frames[static_cast<size_t>(index)].pixels, expected) << name;
      }
    }
  }
}

TEST_F(FfmpegVideoTest, SmallSubsampledPicturesConvert) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV410P}) {
    for (const int width : {1, 2, 3, 5}) {
      ClipOptions options;
      options.format = format;
      options.width = width;
      options.height = 4 - width / 2;
      options.frames = 3;
      EXPECT_THAT(ReadNumbers(Write("a.mkv", options), true), ElementsAre(0, 1, 2));
    }
  }
}

TEST_F(FfmpegVideoTest, ASizeThatChangesIsScaledToTheFirst) {
  // Pictures of several sizes behind one another, without timestamps.
  ClipOptions options;
  options.codec = "mjpeg";
  options.muxer = "mjpeg";
  options.format = AV_PIX_FMT_YUVJ420P;
  options.frames = 3;
  std::ofstream joined(folder_ / "joined.mjpeg", std::ios::binary);
  int part = 0;
  for (const int size : {32, 64, 16, 33}) {
    options.width = size;
    options.height = size / 2;
    const int first = part * 3;
    const auto path = Write("part.mjpeg", options, [first](AVFrame& frame, int index) {
      PaintNumber(frame, first + index);
    });
    joined << std::ifstream(path, std::ios::binary).rdbuf();
    ++part;
  }
  joined.close();
  EXPECT_EQ(ReadNumbers(folder_ / "joined.mjpeg", false), NumbersUpTo(12));
  EXPECT_EQ(source_.width(), 32);
  EXPECT_EQ(source_.height(), 16);
  EXPECT_EQ(source_.frame_count(), 12);
}

// --- Damage ---

TEST_F(FfmpegVideoTest, ADamagedPacketIsPassedOver) {
  for (const int damaged : {1, 5, 11}) {
    ClipOptions options;
    options.codec = "png";
    options.format = AV_PIX_FMT_RGB24;
    options.frames = 12;
    options.corrupt_packet = damaged;
    const auto path = Write("a.mov", options, [](AVFrame& frame, int index) {
      for (int y = 0; y < frame.height; ++y) {
        std::fill_n(frame.data[0] + y * frame.linesize[0], frame.width * 3,
                    static_cast<uint8_t>(20 + index * kLevelStep));
      }
    });
    std::vector<int> expected = NumbersUpTo(12);
    // The picture before it stands in; nothing does at the end.
    if (damaged == 11) {
      expected.pop_back();
    } else {
      expected[static_cast<size_t>(damaged)] = damaged - 1;
    }
    EXPECT_EQ(ReadNumbers(path, false), expected) << damaged;
  }
}

TEST_F(FfmpegVideoTest, ATruncatedFileEndsWhereItsBytesEnd) {
  ClipOptions options;
  options.frames = 50;
  const auto path = Write("a.mkv", options);
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  const std::vector<int> numbers = ReadNumbers(path, false);
  EXPECT_GT(numbers.size(), 10u);
  EXPECT_LT(numbers.size(), 40u);
  EXPECT_EQ(numbers, NumbersUpTo(static_cast<int>(numbers.size())));
}

TEST_F(FfmpegVideoTest, AnyTruncationIsHarmless) {
  ClipOptions options;
  options.codec = "mpeg4";
  options.format = AV_PIX_FMT_YUV420P;
  options.frames = 5;
  const auto path = Write("whole.mp4", options);
  const auto size = std::filesystem::file_size(path);
  for (std::uintmax_t length = 0; length < size; length += 41) {
    std::filesystem::copy_file(path, folder_ / "cut.mp4",
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(folder_ / "cut.mp4", length);
    if (!source_.Open(folder_ / "cut.mp4")) {
      EXPECT_NE(source_.failure_reason(), "");
      continue;
    }
    VideoFrame frame;
    int frames = 0;
    while (source_.ReadNextFrame(frame)) ++frames;
    EXPECT_LE(frames, 5);
  }
}

// --- Streams ---

TEST_F(FfmpegVideoTest, CoverArtIsNotTheVideo) {
  ClipOptions options;
  options.codec = "mpeg4";
  options.format = AV_PIX_FMT_YUV420P;
  options.frames = 6;
  options.cover_art = true;
  EXPECT_EQ(ReadNumbers(Write("a.mp4", options), true), NumbersUpTo(6));
  EXPECT_EQ(source_.width(), 16);
}

TEST_F(FfmpegVideoTest, TheFirstOfSeveralVideosIsTaken) {
  ClipOptions options;
  options.frames = 6;
  options.second_video = true;
  EXPECT_EQ(ReadNumbers(Write("a.mkv", options), false), NumbersUpTo(6));
  EXPECT_EQ(source_.width(), 16);
}

TEST_F(FfmpegVideoTest, AFileWithoutVideoIsRefused) {
  // A tenth of a second of silence.
  std::ofstream file(folder_ / "sound.wav", std::ios::binary);
  const std::array<uint8_t, 44> header = {'R', 'I', 'F',  'F', 0x64, 6,   0,    0,    'W', 'A', 'V',
                                          'E', 'f', 'm',  't', ' ',  16,  0,    0,    0,   1,   0,
                                          1,   0,   0x40, 31,  0,    0,   0x80, 62,   0,   0,   2,
                                          0,   16,  0,    'd', 'a',  't', 'a',  0x40, 6,   0,   0};
  file.write(reinterpret_cast<const char*>(header.data()), header.size());
  file << std::string(1600, '\0');
  file.close();
  EXPECT_EQ(ReasonToRefuse(folder_ / "sound.wav"), "no video stream");
}

TEST_F(FfmpegVideoTest, WhatIsNoVideoIsRefusedWithItsReason) {
  std::ofstream(folder_ / "empty.mp4").close();
  std::ofstream(folder_ / "text.mp4") << "Just a few words,\nnothing to look at.\n";
  std::ofstream(folder_ / "text.txt") << "Just a few words,\nnothing to look at.\n";
  EXPECT_EQ(ReasonToRefuse(folder_ / "missing.mp4"), "No such file or directory");
  EXPECT_EQ(ReasonToRefuse(folder_ / "missing" / "a.mp4"), "No such file or directory");
  EXPECT_EQ(ReasonToRefuse(folder_.path()), "Is a directory");
  EXPECT_EQ(ReasonToRefuse(folder_ / "empty.mp4"), "the file is empty");
  EXPECT_EQ(ReasonToRefuse(folder_ / "text.mp4"), "not a video file, or damaged");
  EXPECT_EQ(ReasonToRefuse(folder_ / "text.txt"), "not a video file, or damaged");
}

TEST_F(FfmpegVideoTest, AnyFileNameIsAFileName) {
  ClipOptions options;
  options.frames = 2;
  const auto written = Write("a.mkv", options);
  for (const char* name : {"http:a.mkv", "a b'c.mkv", "\xC3\xA9\xE6\xBC\xA2.mkv", "-i.mkv"}) {
    std::filesystem::copy_file(written, folder_ / name);
    EXPECT_EQ(ReadAll(folder_ / name).size(), 2u) << name;
  }
}

// --- Pictures that stay ---

TEST_F(FfmpegVideoTest, PicturesThatStayKeepTheirNumber) {
  const std::vector<int> shown = {0, 0, 0, 1, 2, 2, 0};
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_BGR0}) {
    ClipOptions options;
    options.codec = "ffv1";
    options.format = format;
    options.frames = static_cast<int>(shown.size());
    const auto path = Write("stays.mkv", options, [&shown](AVFrame& frame, int index) {
      PaintNumber(frame, shown.at(static_cast<size_t>(index)));
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), shown.size());
    for (size_t i = 0; i < frames.size(); ++i) {
      EXPECT_NE(frames[i].picture_number, 0u);
      EXPECT_EQ(NumberOf(frames[i], format != AV_PIX_FMT_BGR0), shown[i]) << i;
      if (i == 0) continue;
      EXPECT_EQ(frames[i].picture_number == frames[i - 1].picture_number, shown[i] == shown[i - 1])
          << i;
    }
  }
}

TEST_F(FfmpegVideoTest, APaletteThatChangesMakesAnotherPicture) {
  ClipOptions options;
  options.codec = "png";
  options.format = AV_PIX_FMT_PAL8;
  options.frames = 2;
  const auto path = Write("palettes.mov", options, [](AVFrame& frame, int index) {
    FillPlanes(frame, {5});
    reinterpret_cast<uint32_t*>(frame.data[1])[5] = index == 0 ? 0xff204080u : 0xff804020u;
  });
  const std::vector<VideoFrame> frames = ReadAll(path);
  ASSERT_EQ(frames.size(), 2u);
  ExpectColour(frames[0], 3, 3, {0x20, 0x40, 0x80}, 0, "first");
  ExpectColour(frames[1], 3, 3, {0x80, 0x40, 0x20}, 0, "second");
  EXPECT_NE(frames[0].picture_number, frames[1].picture_number);
}

TEST_F(FfmpegVideoTest, ASampleThatChangesMakesAnotherPicture) {
  // The last sample of each plane in turn.
  for (int plane = 0; plane < 3; ++plane) {
    ClipOptions options;
    options.codec = "ffv1";
    options.format = AV_PIX_FMT_YUV420P;
    options.frames = 2;
    const auto path = Write("changes.mkv", options, [plane](AVFrame& frame, int index) {
      FillPlanes(frame, {100, 128, 128});
      const int shift = plane == 0 ? 0 : 1;
      uint8_t* const last_row =
          frame.data[plane] + ptrdiff_t{(frame.height >> shift) - 1} * frame.linesize[plane];
      last_row[(frame.width >> shift) - 1] = static_cast<uint8_t>(90 + index);
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_NE(frames[0].picture_number, frames[1].picture_number) << plane;
    EXPECT_NE(frames[0].pixels, frames[1].pixels) << plane;
  }
}

// --- Life ---

TEST_F(FfmpegVideoTest, NothingOfAFailureIsLeftForTheNextSource) {
  ClipOptions options;
  options.frames = 3;
  options.pixel_shape = {16, 15};
  const auto good = Write("a.mkv", options);
  EXPECT_EQ(ReadNumbers(good, false), NumbersUpTo(3));
  EXPECT_EQ(source_.notices().size(), 1u);
  EXPECT_EQ(ReasonToRefuse(folder_ / "missing.mkv"), "No such file or directory");
  EXPECT_EQ(source_.width(), 0);
  EXPECT_EQ(source_.height(), 0);
  EXPECT_EQ(source_.frame_count(), 0);
  EXPECT_EQ(source_.duration_ms(), 0);
  ExpectRate(30, 1);
  EXPECT_TRUE(source_.notices().empty());
  VideoFrame frame;
  EXPECT_FALSE(source_.ReadNextFrame(frame));
  EXPECT_EQ(ReadNumbers(good, false), NumbersUpTo(3));
  EXPECT_EQ(source_.failure_reason(), "");
}

TEST_F(FfmpegVideoTest, ClosesCleanlyAtAnyMoment) {
  ClipOptions options;
  options.frames = 60;
  const auto path = Write("a.mkv", options);
  for (int reads = 0; reads < 30; ++reads) {
    ASSERT_TRUE(source_.Open(path));  // closes the one before
    VideoFrame frame;
    for (int i = 0; i < reads; ++i) ASSERT_TRUE(source_.ReadNextFrame(frame));
    if (reads % 2 == 0) source_.Close();
  }
  EXPECT_EQ(ReadAll(path).size(), 60u);
  VideoFrame frame;
  EXPECT_FALSE(source_.ReadNextFrame(frame));  // the end stays the end
}

}  // namespace
}  // namespace qolm::media
