// The video source over real files, which each test writes for itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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
using ::qolm::test::Painter;
using ::qolm::test::SetPixel;
using ::qolm::test::WriteClip;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// Every frame of one level that tells its number, as far as 8 bits go.
constexpr int kLevelStep = 9;
void PaintNumber(AVFrame& frame, int index) {
  const int level = 20 + index % 24 * kLevelStep;
  if (frame.format == AV_PIX_FMT_BGR0 || frame.format == AV_PIX_FMT_BGRA) {
    for (int y = 0; y < frame.height; ++y) {
      for (int x = 0; x < frame.width; ++x) {
        const auto value = static_cast<uint8_t>(level);
        SetPixel(frame, x, y, value, value, value);
      }
    }
  } else {
    FillPlanes(frame, {level, 128, 128});
  }
}

// The number of each frame back from its pixels, modulo 24. Limited-range gray
// is stretched by 255/219.
int NumberOf(const VideoFrame& frame, bool limited_range) {
  double level = frame.pixels.at(frame.pixels.size() / 8 * 4);
  if (limited_range) level = level * 219 / 255 + 16;
  return static_cast<int>(std::lround((level - 20) / kLevelStep));
}

struct Rgb {
  int red, green, blue;
};

Rgb PixelAt(const VideoFrame& frame, int x, int y) {
  const auto offset =
      (static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x)) * 4;
  return {frame.pixels.at(offset), frame.pixels.at(offset + 1), frame.pixels.at(offset + 2)};
}

void ExpectColour(const VideoFrame& frame, int x, int y, Rgb expected, int tolerance,
                  const std::string& what) {
  const Rgb actual = PixelAt(frame, x, y);
  EXPECT_NEAR(actual.red, expected.red, tolerance) << what << " red at " << x << "," << y;
  EXPECT_NEAR(actual.green, expected.green, tolerance) << what << " green at " << x << "," << y;
  EXPECT_NEAR(actual.blue, expected.blue, tolerance) << what << " blue at " << x << "," << y;
}

class FfmpegVideoTest : public ::testing::Test {
 protected:
  std::filesystem::path Write(const std::string& name, const ClipOptions& options,
                              const Painter& painter = PaintNumber) {
    const std::filesystem::path path = folder_ / name;
    WriteClip(path, options, painter);
    return path;
  }

  std::vector<VideoFrame> ReadAll(const std::filesystem::path& path) {
    std::vector<VideoFrame> frames;
    EXPECT_TRUE(source_.Open(path)) << path << ": " << source_.failure_reason();
    VideoFrame frame;
    while (source_.ReadNextFrame(frame)) {
      EXPECT_EQ(frame.width, source_.width());
      EXPECT_EQ(frame.height, source_.height());
      for (size_t i = 3; i < frame.pixels.size(); i += 4) EXPECT_EQ(frame.pixels[i], 255);
      frames.push_back(frame);
    }
    return frames;
  }

  std::vector<int> ReadNumbers(const std::filesystem::path& path, bool limited_range) {
    std::vector<int> numbers;
    for (const VideoFrame& frame : ReadAll(path)) numbers.push_back(NumberOf(frame, limited_range));
    return numbers;
  }

  std::string ReasonToRefuse(const std::filesystem::path& path) {
    EXPECT_FALSE(source_.Open(path)) << path;
    return source_.failure_reason();
  }

  void ExpectRate(int numerator, int denominator) {
    EXPECT_EQ(source_.fps_numerator(), numerator);
    EXPECT_EQ(source_.fps_denominator(), denominator);
  }

  test::TemporaryFolder folder_;
  Platform platform_;
  VideoSource source_{platform_.MakeVideoFramework()};
};

std::vector<int> NumbersUpTo(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i % 24);
  return numbers;
}

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

// --- Colour ---

struct Matrix {
  AVColorSpace id;
  double kr, kb;
};
constexpr Matrix k601 = {AVCOL_SPC_SMPTE170M, 0.299, 0.114};
constexpr Matrix k709 = {AVCOL_SPC_BT709, 0.2126, 0.0722};
constexpr Matrix k2020 = {AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593};

Rgb ToRgb(const Matrix& matrix, bool full_range, double y, double cb, double cr) {
  const double luma = full_range ? y / 255 : (y - 16) / 219;
  const double blue_difference = (cb - 128) / (full_range ? 255 : 224);
  const double red_difference = (cr - 128) / (full_range ? 255 : 224);
  const double red = luma + 2 * (1 - matrix.kr) * red_difference;
  const double blue = luma + 2 * (1 - matrix.kb) * blue_difference;
  const double green = (luma - matrix.kr * red - matrix.kb * blue) / (1 - matrix.kr - matrix.kb);
  const auto to_byte = [](double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
  };
  return {to_byte(red), to_byte(green), to_byte(blue)};
}

TEST_F(FfmpegVideoTest, MatrixAndRangeOfTheStreamAreUsed) {
  struct Format {
    AVPixelFormat id;
    int bits;
  };
  for (const Format format :
       {Format{AV_PIX_FMT_YUV420P, 8}, Format{AV_PIX_FMT_YUV422P, 8}, Format{AV_PIX_FMT_YUV444P, 8},
        Format{AV_PIX_FMT_YUV420P10, 10}, Format{AV_PIX_FMT_YUV444P10, 10},
        Format{AV_PIX_FMT_YUV422P12, 12}, Format{AV_PIX_FMT_YUV444P16, 16}}) {
    for (const Matrix& matrix : {k601, k709, k2020}) {
      for (const bool full_range : {false, true}) {
        for (const std::array<int, 3>& colour :
             {std::array{120, 90, 170}, std::array{60, 150, 110}, std::array{200, 128, 128}}) {
          ClipOptions options;
          options.format = format.id;
          options.width = 18;
          options.height = 10;
          options.matrix = matrix.id;
          options.range = full_range ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
          const int scale = 1 << (format.bits - 8);
          const auto path = Write("a.mkv", options, [&](AVFrame& frame, int) {
            FillPlanes(frame, {colour[0] * scale, colour[1] * scale, colour[2] * scale});
          });
          const std::vector<VideoFrame> frames = ReadAll(path);
          ASSERT_EQ(frames.size(), 1u);
          const std::string what = "format " + std::to_string(format.id) + " matrix " +
                                   std::to_string(matrix.id) + (full_range ? " full" : " limited");
          ExpectColour(frames[0], 9, 5, ToRgb(matrix, full_range, colour[0], colour[1], colour[2]),
                       2, what);
        }
      }
    }
  }
}

TEST_F(FfmpegVideoTest, AnUnnamedMatrixFollowsTheSize) {
  struct Size {
    int width, height;
    Matrix matrix;
  };
  // A film of 1280x534 is high definition, a phone's upright 480x854 is not.
  for (const Size& size :
       {Size{16, 718, k601}, Size{720, 718, k601}, Size{480, 854, k601}, Size{854, 480, k601},
        Size{720, 720, k709}, Size{960, 720, k709}, Size{1280, 534, k709}, Size{534, 1280, k709}}) {
    ClipOptions options;
    options.format = AV_PIX_FMT_YUV420P;
    options.width = size.width;
    options.height = size.height;
    const auto path = Write("a.mkv", options, [](AVFrame& frame, int) {
      FillPlanes(frame, {110, 100, 190});
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 1u);
    ExpectColour(frames[0], 8, 300, ToRgb(size.matrix, false, 110, 100, 190), 2,
                 std::to_string(size.width) + "x" + std::to_string(size.height));
  }
}

TEST_F(FfmpegVideoTest, TheOldFullRangeFormatsAreFullRange) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P}) {
    ClipOptions options;
    options.codec = "mjpeg";
    options.format = format;
    options.width = 64;
    const char* const name = av_get_pix_fmt_name(format);
    // The halves differ in colour, so that chroma must have its own width.
    const auto path = Write("a.avi", options, [](AVFrame& frame, int) {
      FillPlanes(frame, {120, 90, 170});
      const AVPixFmtDescriptor* const description =
          av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
      const int width = frame.width >> description->log2_chroma_w;
      const int height = frame.height >> description->log2_chroma_h;
      for (int y = 0; y < height; ++y) {
        std::memset(frame.data[1] + y * frame.linesize[1] + width / 2, 160,
                    static_cast<size_t>(width) / 2);
        std::memset(frame.data[2] + y * frame.linesize[2] + width / 2, 80,
                    static_cast<size_t>(width) / 2);
      }
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 1u) << name;
    ExpectColour(frames[0], 16, 8, ToRgb(k601, true, 120, 90, 170), 3, name);
    ExpectColour(frames[0], 44, 8, ToRgb(k601, true, 120, 160, 80), 3, name);
  }
}

TEST_F(FfmpegVideoTest, GrayPaletteAndAlphaConvert) {
  ClipOptions options;
  options.format = AV_PIX_FMT_GRAY8;
  const auto gray =
      ReadAll(Write("a.mkv", options, [](AVFrame& frame, int) { FillPlanes(frame, {77}); }));
  ASSERT_EQ(gray.size(), 1u);
  ExpectColour(gray[0], 3, 3, {77, 77, 77}, 1, "gray");

  options.codec = "png";
  options.format = AV_PIX_FMT_PAL8;
  const auto palette = ReadAll(Write("a.mov", options, [](AVFrame& frame, int) {
    FillPlanes(frame, {5});
    reinterpret_cast<uint32_t*>(frame.data[1])[5] = 0xff204080u;
  }));
  ASSERT_EQ(palette.size(), 1u);
  ExpectColour(palette[0], 3, 3, {0x20, 0x40, 0x80}, 0, "palette");

  options.codec = "ffv1";
  options.format = AV_PIX_FMT_YUVA444P;
  const auto alpha = ReadAll(Write("a.mkv", options, [](AVFrame& frame, int) {
    FillPlanes(frame, {120, 90, 170, 40});
  }));
  ASSERT_EQ(alpha.size(), 1u);
  ExpectColour(alpha[0], 3, 3, ToRgb(k601, false, 120, 90, 170), 2, "alpha");
}

// --- Orientation ---

TEST_F(FfmpegVideoTest, TheDisplayMatrixTurnsThePictureUpright) {
  constexpr int32_t kOne = 1 << 16;
  constexpr int kWidth = 24;
  constexpr int kHeight = 16;
  // Point (x, y) is shown at (a x + c y, b x + d y), moved into view.
  struct Case {
    int a, b, c, d;
  };
  for (const Case& m :
       {Case{1, 0, 0, 1}, Case{-1, 0, 0, 1}, Case{1, 0, 0, -1}, Case{-1, 0, 0, -1},
        Case{0, 1, -1, 0}, Case{0, -1, 1, 0}, Case{0, 1, 1, 0}, Case{0, -1, -1, 0}}) {
    ClipOptions options;
    options.codec = "png";
    options.format = AV_PIX_FMT_RGB24;
    options.width = kWidth;
    options.height = kHeight;
    options.frames = 2;
    options.display_matrix = {m.a * kOne, m.b * kOne, 0, m.c * kOne, m.d * kOne, 0, 0, 0, 1 << 30};
    const auto level = [](int x, int y) { return static_cast<uint8_t>(x * 10 + y); };
    const auto path = Write("a.mov", options, [&](AVFrame& frame, int index) {
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          uint8_t* const pixel = frame.data[0] + y * frame.linesize[0] + x * 3;
          pixel[0] = level(x, y);
          pixel[1] = static_cast<uint8_t>(index * 100);
          pixel[2] = static_cast<uint8_t>(255 - level(x, y));
        }
      }
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 2u);
    const bool turned = m.a == 0;
    EXPECT_EQ(source_.width(), turned ? kHeight : kWidth);
    EXPECT_EQ(source_.height(), turned ? kWidth : kHeight);
    const std::string what =
        std::to_string(m.a) + std::to_string(m.b) + std::to_string(m.c) + std::to_string(m.d);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        int shown_x = m.a * x + m.c * y;
        int shown_y = m.b * x + m.d * y;
        if (m.a + m.c < 0) shown_x += source_.width() - 1;
        if (m.b + m.d < 0) shown_y += source_.height() - 1;
        ExpectColour(frames[1], shown_x, shown_y, {level(x, y), 100, 255 - level(x, y)}, 0, what);
      }
    }
  }
}

// --- Interlacing ---

// How much neighbouring rows differ, on average.
double Combing(const VideoFrame& frame) {
  double sum = 0;
  for (int y = 0; y + 1 < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      sum += std::abs(PixelAt(frame, x, y).green - PixelAt(frame, x, y + 1).green);
    }
  }
  return sum / (frame.width * (frame.height - 1));
}

TEST_F(FfmpegVideoTest, OnlyPicturesFlaggedInterlacedLoseTheirComb) {
  // An edge that moves by 4 pixels from field to field.
  const Painter painter = [](AVFrame& frame, int index) {
    FillPlanes(frame, {0, 128, 128});
    for (int y = 0; y < frame.height; ++y) {
      const int edge = (index * 2 + y % 2) * 4;
      for (int x = 0; x < frame.width; ++x) {
        frame.data[0][y * frame.linesize[0] + x] = x < edge ? 200 : 40;
      }
    }
  };
  ClipOptions options;
  options.codec = "mpeg2video";
  options.format = AV_PIX_FMT_YUV420P;
  options.width = 128;
  options.height = 64;
  options.frames = 12;
  options.codec_options = {{"qmin", "1"}, {"qmax", "2"}};
  const std::vector<VideoFrame> progressive = ReadAll(Write("p.ts", options, painter));
  options.interlaced = true;
  const std::vector<VideoFrame> interlaced = ReadAll(Write("i.ts", options, painter));
  ASSERT_EQ(progressive.size(), 12u);
  ASSERT_EQ(interlaced.size(), 12u);
  EXPECT_EQ(source_.frame_count(), 12);
  for (size_t i = 2; i < 10; ++i) {
    EXPECT_GT(Combing(progressive[i]), 4) << i;
    EXPECT_LT(Combing(interlaced[i]), Combing(progressive[i]) / 3) << i;
  }
}

TEST_F(FfmpegVideoTest, InterlacedPicturesTooSmallToDeinterlacePass) {
  ClipOptions options;
  options.codec = "rawvideo";
  options.format = AV_PIX_FMT_YUV420P;
  options.width = 2;
  options.height = 2;
  options.frames = 4;
  options.interlaced = true;
  EXPECT_THAT(ReadNumbers(Write("a.mkv", options), true), ElementsAre(0, 1, 2, 3));
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
