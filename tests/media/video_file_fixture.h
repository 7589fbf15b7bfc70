// SPDX-License-Identifier: MIT
//
// Video files that a test writes, and what the video source makes of them.
#ifndef QOLM_TESTS_MEDIA_VIDEO_FILE_FIXTURE_H_
#define QOLM_TESTS_MEDIA_VIDEO_FILE_FIXTURE_H_

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {

// Every frame of one level that tells its number, as far as 8 bits go.
inline constexpr int kLevelStep = 9;
inline void PaintNumber(AVFrame& frame, int index) {
  const int level = 20 + index % 24 * kLevelStep;
  if (frame.format == AV_PIX_FMT_BGR0 || frame.format == AV_PIX_FMT_BGRA) {
    for (int y = 0; y < frame.height; ++y) {
      for (int x = 0; x < frame.width; ++x) {
        const auto value = static_cast<uint8_t>(level);
        test::SetPixel(frame, x, y, value, value, value);
      }
    }
  } else {
    test::FillPlanes(frame, {level, 128, 128});
  }
}

// The number of each frame back from its pixels, modulo 24. Limited-range gray
// is stretched by 255/219.
inline int NumberOf(const VideoFrame& frame, bool limited_range) {
  double level = frame.pixels.at(frame.pixels.size() / 8 * 4);
  if (limited_range) level = level * 219 / 255 + 16;
  return static_cast<int>(std::lround((level - 20) / kLevelStep));
}

struct Rgb {
  int red, green, blue;
};

inline Rgb PixelAt(const VideoFrame& frame, int x, int y) {
  const auto offset =
      (static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x)) * 4;
  return {frame.pixels.at(offset), frame.pixels.at(offset + 1), frame.pixels.at(offset + 2)};
}

inline void ExpectColour(const VideoFrame& frame, int x, int y, Rgb expected, int tolerance,
                         const std::string& what) {
  const Rgb actual = PixelAt(frame, x, y);
  EXPECT_NEAR(actual.red, expected.red, tolerance) << what << " red at " << x << "," << y;
  EXPECT_NEAR(actual.green, expected.green, tolerance) << what << " green at " << x << "," << y;
  EXPECT_NEAR(actual.blue, expected.blue, tolerance) << what << " blue at " << x << "," << y;
}

class FfmpegVideoTest : public ::testing::Test {
 protected:
  std::filesystem::path Write(const std::string& name, const test::ClipOptions& options,
                              const test::Painter& painter = PaintNumber) {
    const std::filesystem::path path = folder_ / name;
    test::WriteClip(path, options, painter);
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

inline std::vector<int> NumbersUpTo(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i % 24);
  return numbers;
}

}  // namespace qolm::media

#endif  // QOLM_TESTS_MEDIA_VIDEO_FILE_FIXTURE_H_
