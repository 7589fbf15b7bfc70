// SPDX-License-Identifier: MIT
//
// Runs an encoder session on synthetic pictures and reads its output.
#ifndef QOLM_TESTS_ENCODER_SESSION_RUN_H_
#define QOLM_TESTS_ENCODER_SESSION_RUN_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "container/container_reader.h"
#include "container/layout.h"
#include "encoder/encode_settings.h"
#include "encoder/encoder_session.h"
#include "support/record_words.h"
#include "support/temporary_folder.h"
#include "video/picture/video_frame.h"

namespace qolm::encoder {

// A picture of one grey. Its luma is ((220 * grey + 128) >> 8) + 16.
inline VideoFrame GreyFrame(int32_t width, int32_t height, uint8_t grey) {
  VideoFrame frame{.width = width, .height = height, .pixels = {}};
  frame.pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, grey);
  for (size_t i = 3; i < frame.pixels.size(); i += 4) frame.pixels[i] = 255;
  return frame;
}

inline EncodeSettings SettingsFor(int32_t width, int32_t height) {
  EncodeSettings settings;
  settings.width = width;
  settings.height = height;
  settings.fps_numerator = 25;
  settings.fps_denominator = 1;
  return settings;
}

class SessionRun : public ::testing::Test {
 protected:
  // Encodes `count` frames into path() and opens the result with reader().
  void Encode(const EncodeSettings& settings, int32_t count,
              const std::function<VideoFrame(int32_t)>& frame) {
    EncoderSession session(settings);
    ASSERT_TRUE(session.open_output(path()));
    for (int32_t i = 0; i < count; ++i) ASSERT_TRUE(session.encode_frame(frame(i)));
    skipped_ = session.frames_skipped();
    ASSERT_TRUE(session.finish());
    ASSERT_FALSE(session.stream_error());
    ASSERT_TRUE(reader_.open(path()));
    ASSERT_EQ(reader_.header().frame_count, static_cast<uint32_t>(count));
  }

  std::string Records() const { return test::RecordWords(reader_); }

  std::vector<uint32_t> KeyFrameNumbers() const {
    std::vector<uint32_t> numbers;
    for (const auto& entry : reader_.keyframes()) numbers.push_back(entry.frame_number);
    return numbers;
  }

  std::vector<uint8_t> Payload(size_t record_index) const {
    container::RecordHeader record;
    std::vector<uint8_t> payload;
    const uint64_t offset = reader_.index().at(record_index);
    EXPECT_TRUE(reader_.read_record_header(offset, record));
    EXPECT_TRUE(reader_.read_payload(offset, record, payload));
    return payload;
  }

  std::filesystem::path path() const { return folder_ / "out.qolm"; }
  const container::ContainerReader& reader() const { return reader_; }
  int32_t skipped() const { return skipped_; }
  const test::TemporaryFolder& folder() const { return folder_; }

 private:
  const test::TemporaryFolder folder_;
  container::ContainerReader reader_;
  int32_t skipped_ = 0;
};

}  // namespace qolm::encoder

#endif  // QOLM_TESTS_ENCODER_SESSION_RUN_H_
