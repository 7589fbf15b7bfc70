// SPDX-License-Identifier: MIT
//
// Files of sessions with held frames decode in source order. Each frame shows its own
// number, or that of the frame that it repeats.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "container/container_reader.h"
#include "container/layout.h"
#include "decoder/frame_decoder.h"
#include "encoder/encode_settings.h"
#include "encoder/encoder_session.h"
#include "support/numbered_picture.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using container::RecordHeader;
using container::RecordType;
using test::NumberedFrame;
using test::ReadNumber;

encoder::EncodeSettings Settings() {
  encoder::EncodeSettings settings;
  settings.width = test::kNumberedWidth;
  settings.height = test::kNumberedHeight;
  settings.fps_numerator = 25;
  settings.fps_denominator = 1;
  settings.quality = 80;
  settings.bidirectional = true;
  return settings;
}

// As many numbers as frames: about one frame in `change_every` shows a new one.
std::vector<uint32_t> Pattern(unsigned seed, size_t frames, unsigned change_every) {
  std::mt19937 random(seed);
  std::vector<uint32_t> numbers;
  while (numbers.size() < frames) {
    const bool changes = numbers.empty() || random() % change_every == 0;
    numbers.push_back(changes ? static_cast<uint32_t>(numbers.size()) : numbers.back());
  }
  return numbers;
}

class SessionOrder : public testing::Test {
 protected:
  void Encode(const encoder::EncodeSettings& settings, const std::vector<uint32_t>& numbers) {
    numbers_ = numbers;
    encoder::EncoderSession session(settings);
    ASSERT_TRUE(session.open_output(folder_ / "a.qolm"));
    VideoFrame frame;
    for (size_t i = 0; i < numbers.size(); ++i) {
      if (i == 0 || numbers[i] != numbers[i - 1]) frame = NumberedFrame(numbers[i]);
      ASSERT_TRUE(session.encode_frame(frame));
    }
    ASSERT_TRUE(session.finish());
    ASSERT_FALSE(session.stream_error());
    ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
    ASSERT_EQ(reader_.header().frame_count, numbers.size());
  }

  void ExpectFrames(FrameDecoder& decoder, size_t first, size_t end) {
    for (size_t number = first; number < end; ++number) {
      ASSERT_TRUE(decoder.next_planes()) << number;
      ASSERT_EQ(ReadNumber(decoder.planes()), numbers_[number]) << number;
    }
  }

  void ExpectAllFrames() {
    FrameDecoder decoder(reader_);
    ExpectFrames(decoder, 0, numbers_.size());
    EXPECT_FALSE(decoder.next_planes());
    EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
  }

  size_t RecordsOf(RecordType type) const {
    size_t records = 0;
    RecordHeader header;
    for (const uint64_t offset : reader_.index()) {
      EXPECT_TRUE(reader_.read_record_header(offset, header));
      if (header.type == type) ++records;
    }
    return records;
  }

  const test::TemporaryFolder folder_;
  std::vector<uint32_t> numbers_;
  container::ContainerReader reader_;
};

TEST_F(SessionOrder, EveryMixtureOfStaticAndChangedFrames) {
  for (const unsigned change_every : {1U, 2U, 6U, 40U}) {
    for (const bool adaptive : {true, false}) {
      encoder::EncodeSettings settings = Settings();
      settings.adaptive_gop = adaptive;
      settings.gop_length = adaptive ? 17 : 900;
      settings.fast_start = adaptive;
      Encode(settings, Pattern(change_every, 700, change_every));
      ExpectAllFrames();
      if (!adaptive || change_every < 10) {
        EXPECT_GT(RecordsOf(RecordType::kBidirectionalFrame), 0U);
      }
      if (change_every > 1) {
        EXPECT_GT(RecordsOf(RecordType::kRepeatRun), 0U);
      }
    }
  }
}

TEST_F(SessionOrder, EveryFileLength) {
  for (size_t frames = 1; frames < 24; ++frames) {
    encoder::EncodeSettings settings = Settings();
    settings.gop_length = 7;
    Encode(settings, Pattern(3, frames, 2));
    ExpectAllFrames();
  }
}

TEST_F(SessionOrder, WithoutRepeatRuns) {
  encoder::EncodeSettings settings = Settings();
  settings.vfr = false;
  Encode(settings, Pattern(5, 200, 4));
  ExpectAllFrames();
  EXPECT_EQ(RecordsOf(RecordType::kRepeatRun), 0U);
}

TEST_F(SessionOrder, LongStaticPartsAfterHeldFrame) {
  encoder::EncodeSettings settings = Settings();
  settings.adaptive_gop = false;
  settings.gop_length = 100'000;
  // Frame 1 is held during more full runs than records can be pending.
  std::vector<uint32_t> numbers = {0};
  numbers.resize(3001, 1);
  numbers.insert(numbers.end(), {3001, 3002, 3002, 3004});
  numbers.resize(3600, 3004);  // and one to the end
  Encode(settings, numbers);
  ExpectAllFrames();
  EXPECT_GT(RecordsOf(RecordType::kRepeatRun), DisplayOrder::kMaxPending);
}

TEST_F(SessionOrder, KeyFramesAreListedUnderTheirDisplayNumbers) {
  encoder::EncodeSettings settings = Settings();
  settings.gop_length = 10;
  Encode(settings, Pattern(9, 300, 3));
  ASSERT_GT(reader_.keyframes().size(), 10U);
  FrameDecoder decoder(reader_);
  for (size_t entry = 0; entry < reader_.keyframes().size(); ++entry) {
    ASSERT_TRUE(decoder.seek_to_key_frame(entry));
    const uint32_t number = reader_.keyframes()[entry].frame_number;
    ExpectFrames(decoder, number, std::min<size_t>(number + 25, numbers_.size()));
  }
}

TEST_F(SessionOrder, SeekToEveryFrame) {
  encoder::EncodeSettings settings = Settings();
  settings.gop_length = 40;
  Encode(settings, Pattern(4, 400, 2));
  std::vector<int32_t> order(numbers_.size());
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  FrameDecoder warm(reader_);
  for (const int32_t number : order) {
    FrameDecoder cold(reader_, video::PixelOrder::kRgba, 0);
    for (FrameDecoder* decoder : {&warm, &cold}) {
      ASSERT_TRUE(decoder->seek_to_frame(number));
      const auto first = static_cast<size_t>(number);
      ExpectFrames(*decoder, first, std::min(first + 4, numbers_.size()));
    }
  }
}

// The stored numbers have 16 bits.
TEST_F(SessionOrder, NumbersWrapInLongFile) {
  std::vector<uint32_t> numbers = Pattern(2, 65'400, 200);
  for (const uint32_t number : Pattern(8, 300, 2)) numbers.push_back(65'400 + number);
  for (const uint32_t number : Pattern(6, 1'300, 100)) numbers.push_back(65'700 + number);
  for (const bool adaptive : {true, false}) {
    encoder::EncodeSettings settings = Settings();
    settings.adaptive_gop = adaptive;
    settings.gop_length = adaptive ? 60 : 70'000;  // a wrap between key frames as well
    Encode(settings, numbers);
    ExpectAllFrames();
    FrameDecoder decoder(reader_);
    for (const int32_t number : {66'990, 65'536, 65'535, 65'601, 0, 65'537}) {
      ASSERT_TRUE(decoder.seek_to_frame(number));
      ExpectFrames(decoder, static_cast<size_t>(number), static_cast<size_t>(number) + 5);
    }
  }
}

}  // namespace
}  // namespace qolm::decoder
