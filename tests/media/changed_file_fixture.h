// SPDX-License-Identifier: MIT
//
// Whole files, and what becomes of their pictures once bytes of them are changed.
#ifndef QOLM_TESTS_MEDIA_CHANGED_FILE_FIXTURE_H_
#define QOLM_TESTS_MEDIA_CHANGED_FILE_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {

using Bytes = std::vector<char>;

struct Kind {
  const char* name;
  const char* codec;
  AVPixelFormat format;
  bool declares_its_length = true;
};

inline void Overwrite(Bytes& bytes, size_t first, size_t count) {
  ASSERT_LE(first + count, bytes.size());
  std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(first), count, '\0');
}

class ChangedFileTest : public ::testing::Test {
 protected:
  test::ClipOptions OptionsOf(const Kind& kind) {
    test::ClipOptions options;
    options.codec = kind.codec;
    options.format = kind.format;
    options.width = options.height = 64;
    options.frames = 100;
    if (std::string(kind.name) == "a.mp4" || std::string(kind.name) == "a.mov") {
      options.muxer_options = {{"movflags", "+faststart"}};
    }
    return options;
  }

  Bytes Written(const std::string& name, const test::ClipOptions& options) {
    const std::filesystem::path path = folder_ / name;
    test::WriteClip(path, options, test::PaintNoise);
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // Reads a file of these bytes to its end; the number of frames.
  int Read(const std::string& name, const Bytes& bytes) {
    const std::filesystem::path path = folder_ / name;
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(source_.Open(path)) << name << ": " << source_.failure_reason();
    expected_when_opened_ = source_.frame_count();
    VideoFrame frame;
    int frames = 0;
    while (source_.ReadNextFrame(frame)) ++frames;
    return frames;
  }

  test::TemporaryFolder folder_;
  Platform platform_;
  VideoSource source_{platform_.MakeVideoFramework()};
  int expected_when_opened_ = 0;
};

}  // namespace qolm::media

#endif  // QOLM_TESTS_MEDIA_CHANGED_FILE_FIXTURE_H_
