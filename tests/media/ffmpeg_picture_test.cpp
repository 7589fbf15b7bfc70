// SPDX-License-Identifier: MIT
//
// What the video source makes of a picture's samples: colour, orientation, fields.
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
#include <memory>
#include <string>
#include <vector>

#include "media/ffmpeg/picture_converter.h"
#include "media/video_file_fixture.h"

namespace qolm::media {
namespace {

using ::qolm::test::ClipOptions;
using ::qolm::test::FillPlanes;
using ::qolm::test::Painter;
using ::qolm::test::SetPixel;
using ::testing::ElementsAre;

struct Matrix {
  AVColorSpace id;
  double kr, kb;
};
constexpr Matrix k601 = {AVCOL_SPC_SMPTE170M, 0.299, 0.114};
constexpr Matrix k709 = {AVCOL_SPC_BT709, 0.2126, 0.0722};
constexpr Matrix k2020 = {AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593};
constexpr Matrix kFcc = {AVCOL_SPC_FCC, 0.30, 0.11};

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

// It differs little from BT.709, which took its place.
TEST_F(FfmpegVideoTest, TheMatrixOfEarlyHighDefinitionIsUsed) {
  constexpr Matrix k240M = {AVCOL_SPC_SMPTE240M, 0.212, 0.087};
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV444P10}) {
    ClipOptions options;
    options.format = format;
    options.matrix = k240M.id;
    options.range = AVCOL_RANGE_MPEG;
    const int scale = format == AV_PIX_FMT_YUV444P ? 1 : 4;
    const auto path = Write("a.mkv", options, [&](AVFrame& frame, int) {
      FillPlanes(frame, {60 * scale, 200 * scale, 128 * scale});
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 1u);
    ExpectColour(frames[0], 8, 8, ToRgb(k240M, false, 60, 200, 128), 1,
                 av_get_pix_fmt_name(format));
  }
}

// Each row of pixels lies a quarter of a chroma row from its own one, towards the row of
// chroma above it or below it.
TEST_F(FfmpegVideoTest, HalvedChromaIsInterpolatedBetweenItsRows) {
  constexpr int kHeight = 40;
  const auto chroma = [](int row) { return row % 2 == 0 ? 90 : 166; };
  ClipOptions options;
  options.format = AV_PIX_FMT_YUV420P;
  options.height = kHeight;
  options.matrix = k601.id;
  const auto path = Write("a.mkv", options, [&](AVFrame& frame, int) {
    FillPlanes(frame, {120, 128, 128});
    for (int row = 0; row < kHeight / 2; ++row) {
      std::memset(frame.data[1] + row * frame.linesize[1], chroma(row),
                  static_cast<size_t>(frame.width) / 2);
    }
  });
  const std::vector<VideoFrame> frames = ReadAll(path);
  ASSERT_EQ(frames.size(), 1u);
  for (int y = 0; y < kHeight; ++y) {
    const int near = y / 2;
    const int far = std::clamp(y % 2 == 0 ? near - 1 : near + 1, 0, kHeight / 2 - 1);
    const double expected = (3.0 * chroma(near) + chroma(far)) / 4;
    ExpectColour(frames[0], 7, y, ToRgb(k601, false, 120, expected, 128), 2, "row");
  }
}

// Its weights are nearly those of BT.601, so that only strong colours tell them apart.
TEST_F(FfmpegVideoTest, TheMatrixOfTheFirstColourBroadcastsIsUsed) {
  for (const int luma : {60, 70, 80, 90, 100}) {
    ClipOptions options;
    options.format = AV_PIX_FMT_YUV444P;
    options.width = 18;
    options.height = 10;
    options.matrix = kFcc.id;
    options.range = AVCOL_RANGE_MPEG;
    const auto path = Write("a.mkv", options, [&](AVFrame& frame, int) {
      FillPlanes(frame, {luma, 16, 16});
    });
    const std::vector<VideoFrame> frames = ReadAll(path);
    ASSERT_EQ(frames.size(), 1u);
    ExpectColour(frames[0], 9, 5, ToRgb(kFcc, false, luma, 16, 16), 1, std::to_string(luma));
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

// No encoder here makes this one, which some cameras' pictures have.
TEST(PictureConverter, TheOldFullRangeFormatOfHalvedRowsIsFullRange) {
  const std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
  frame->format = AV_PIX_FMT_YUVJ440P;
  frame->width = 16;
  frame->height = 16;
  ASSERT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  FillPlanes(*frame, {120, 90, 170});
  ffmpeg::PictureConverter converter(16, 16);
  const std::unique_ptr<ffmpeg::Picture> picture = converter.Convert(frame);
  ASSERT_NE(picture, nullptr);
  ASSERT_NE(picture->packed, nullptr);
  const Rgb expected = ToRgb(k601, true, 120, 90, 170);
  EXPECT_NEAR(picture->packed->data()[0], expected.blue, 2);
  EXPECT_NEAR(picture->packed->data()[1], expected.green, 2);
  EXPECT_NEAR(picture->packed->data()[2], expected.red, 2);
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

}  // namespace
}  // namespace qolm::media
