// SPDX-License-Identifier: MIT
#include "container/layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace qolm::container {
namespace {

using ::testing::ElementsAreArray;

constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();

TEST(FileHeader, EveryFieldHasItsPlace) {
  FileHeader header;
  header.flags = 0xDF3F;
  header.width = 0x0102;
  header.height = 0x0304;
  header.fps_num = 0x05060708;
  header.fps_den = 0x090A0B0C;
  header.frame_count = 0x0D0E0F10;
  header.gop = 0x1112;
  header.coder_param_a = 0x1314;
  header.coder_param_b = 0x1516;
  header.coder_param_c = 0x1718;
  header.audio_rate = 0x191A;
  header.audio_channels = 0x1B;
  header.audio_param = 0x1C;
  header.duration_ms = 0x1D1E1F20;
  const std::array<uint8_t, 48> expected = {
      'Q',  'L',  'M',  '2',  2,    0,    0,    0,    0x3F, 0xDF, 0x02, 0x01,
      0x04, 0x03, 0x08, 0x07, 0x06, 0x05, 0x0C, 0x0B, 0x0A, 0x09, 0x10, 0x0F,
      0x0E, 0x0D, 0x12, 0x11, 0x14, 0x13, 0x16, 0x15, 0x18, 0x17, 0x1A, 0x19,
      0x1B, 0x1C, 0x20, 0x1F, 0x1E, 0x1D, 0,    0,    0,    0,    0,    0};
  EXPECT_THAT(EncodeFileHeader(header), ElementsAreArray(expected));
  EXPECT_EQ(DecodeFileHeader(expected), header);
}

TEST(FileHeader, KeepsForeignValuesForTheCaller) {
  std::array<uint8_t, 48> bytes;
  bytes.fill(0xFF);
  const FileHeader header = DecodeFileHeader(bytes);
  EXPECT_EQ(header.magic, kLargest);
  EXPECT_EQ(header.version, kLargest);
  EXPECT_EQ(header.width, 65535);
}

TEST(RecordHeader, EveryFieldHasItsPlace) {
  const RecordHeader header{RecordType::kRepeatRun, 250, 0x1234, 0x56789ABC};
  const std::array<uint8_t, 8> expected = {5, 250, 0x34, 0x12, 0xBC, 0x9A, 0x78, 0x56};
  EXPECT_THAT(EncodeRecordHeader(header), ElementsAreArray(expected));
  EXPECT_EQ(DecodeRecordHeader(expected), header);
}

TEST(RecordHeader, FramesByType) {
  const auto frames = [](int type) {
    return frames_in_record({static_cast<RecordType>(type), 7, 0, 0});
  };
  for (const int type : {1, 2, 4, 0, 6, 9, 255}) EXPECT_EQ(frames(type), 1U) << type;
  for (const int type : {3, 7, 8}) EXPECT_EQ(frames(type), 0U) << type;
  EXPECT_EQ(frames(5), 7U);
}

TEST(FlagWord, OptionsSumUpToTheKnownWords) {
  EXPECT_EQ(kFlagsAlwaysSet | kFlagFastStart | kFlagVfr, 0x053E);
  EXPECT_EQ(kFlagsAlwaysSet | kFlagGabor | kFlagVfr | kFlagSparseLevels | kFlagFastStart |
                kFlagCclc | kFlagFlatBlocks | kFlagMotionPrediction | kFlagDeblocking,
            0xDF3F);
}

TEST(IndexCapacity, GrowsWithTheExpectedFramesWithinItsLimits) {
  EXPECT_EQ(index_capacity(0), 8192U);
  EXPECT_EQ(index_capacity(6144), 8192U);
  EXPECT_EQ(index_capacity(6145), 8193U);
  EXPECT_EQ(index_capacity(100'000), 102'048U);
  EXPECT_EQ(index_capacity(997'952), 1'000'000U);
  EXPECT_EQ(index_capacity(997'953), 1'000'000U);
  EXPECT_EQ(index_capacity(kLargest), 1'000'000U);
  EXPECT_EQ(front_index_payload_bytes(8192), 65'540U);
  EXPECT_EQ(front_index_payload_bytes(1'000'000), 8'000'004U);
}

TEST(Duration, IsTruncatedMilliseconds) {
  EXPECT_EQ(duration_ms(300, 30000, 1001), 10010U);
  EXPECT_EQ(duration_ms(0, 25, 1), 0U);
  EXPECT_EQ(duration_ms(1, 3, 1), 333U);
  EXPECT_EQ(duration_ms(10, 0, 1), 0U);
  EXPECT_EQ(duration_ms(10, 25, 0), 0U);
}

TEST(Duration, KeepsTheLow32Bits) {
  EXPECT_EQ(duration_ms(4'294'968, 1, 1), 704U);      // 4294968000 - 2^32
  EXPECT_EQ(duration_ms(1U << 31, 1, 1U << 31), 0U);  // 1000 * 2^62, beyond every integer type
}

}  // namespace
}  // namespace qolm::container
