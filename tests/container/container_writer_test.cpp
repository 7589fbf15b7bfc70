// SPDX-License-Identifier: MIT
#include "container/container_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "base/byte_order.h"
#include "container/layout.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::container {
namespace {

using test::PlainHeader;
using test::ReadBytes;
using test::TemporaryFolder;
using ::testing::Each;
using ::testing::ElementsAre;

using Bytes = std::vector<uint8_t>;

Bytes Concatenate(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes HeaderBytes(const FileHeader& header) {
  const FileHeaderBytes bytes = EncodeFileHeader(header);
  return {bytes.begin(), bytes.end()};
}

Bytes Le64(uint64_t value) {
  Bytes bytes(8);
  StoreLe64(bytes.data(), value);
  return bytes;
}

Bytes Slice(const Bytes& bytes, size_t begin, size_t end) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
          bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

class ContainerWriterTest : public ::testing::Test {
 protected:
  void Open(const IndexPlacement& placement, const Bytes& audio_block = {}) {
    ASSERT_TRUE(writer_.open_output(path_));
    ASSERT_TRUE(writer_.write_head(header_, placement, audio_block));
  }
  Bytes Finish(uint32_t frame_count = 0) {
    header_.frame_count = frame_count;
    EXPECT_TRUE(writer_.finish(header_));
    EXPECT_FALSE(writer_.is_open());
    return ReadBytes(path_);
  }

  const TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "out.qolm";
  FileHeader header_ = PlainHeader(32, 16);
  ContainerWriter writer_;
};

TEST_F(ContainerWriterTest, MonolithicFileWithoutFramesIsHeaderAndFourZeroBytes) {
  Open({.fast_start = false});
  EXPECT_EQ(writer_.index_pos(), 0U);
  EXPECT_EQ(Finish(), Concatenate({HeaderBytes(header_), {0, 0, 0, 0}}));
  EXPECT_EQ(writer_.bytes_written(), 48U);
}

TEST_F(ContainerWriterTest, FastStartFileWithoutFramesKeepsAnEmptyReservedIndex) {
  Open({.fast_start = true});
  const Bytes bytes = Finish();
  ASSERT_EQ(bytes.size(), 48U + 8U + 65'540U);
  EXPECT_EQ(writer_.bytes_written(), bytes.size());
  header_.flags |= kFlagFastStart;
  EXPECT_EQ(Slice(bytes, 0, 48), HeaderBytes(header_));
  EXPECT_THAT(Slice(bytes, 48, 56), ElementsAre(7, 0, 0, 0, 0x04, 0x00, 0x01, 0x00));
  EXPECT_THAT(Slice(bytes, 56, bytes.size()), Each(0));
}

TEST_F(ContainerWriterTest, MonolithicFileHoldsRecordsThenOffsetsThenTheirNumber) {
  Open({.fast_start = false});
  writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{10, 11, 12});
  writer_.write_packet(RecordType::kRepeatRun, 3, 1, {});
  writer_.write_packet(RecordType::kPredictedFrame, 0, 0xABCD, Bytes{13});
  EXPECT_EQ(writer_.bytes_written(), 48U + 11U + 8U + 9U);
  EXPECT_THAT(writer_.index(), ElementsAre(48, 59, 67));
  const Bytes bytes = Finish(5);
  EXPECT_EQ(bytes, Concatenate({HeaderBytes(header_),
                                {1, 0, 0, 0, 3, 0, 0, 0, 10, 11, 12},
                                {5, 3, 1, 0, 0, 0, 0, 0},
                                {2, 0, 0xCD, 0xAB, 1, 0, 0, 0, 13},
                                Le64(48),
                                Le64(59),
                                Le64(67),
                                {3, 0, 0, 0}}));
  EXPECT_EQ(writer_.bytes_written(), bytes.size() - 3 * 8 - 4);
}

TEST_F(ContainerWriterTest, FastStartIndexFollowsTheAudioBlockAndIsFilledIn) {
  Open({.fast_start = true}, Bytes{7, 7, 7, 7, 7});
  EXPECT_EQ(writer_.index_pos(), 48U + 13U);
  EXPECT_EQ(writer_.index_capacity(), 8192U);
  writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{1, 2});
  const Bytes bytes = Finish(1);
  const size_t first_record = 48 + 13 + 8 + 65'540;
  ASSERT_EQ(bytes.size(), first_record + 10);
  EXPECT_THAT(Slice(bytes, 48, 61), ElementsAre(3, 0, 0, 0, 5, 0, 0, 0, 7, 7, 7, 7, 7));
  EXPECT_EQ(LoadLe16(&bytes[8]), kFlagsAlwaysSet | kFlagFastStart);
  EXPECT_EQ(LoadLe32(&bytes[69]), 1U);
  EXPECT_EQ(LoadLe64(&bytes[73]), first_record);
  EXPECT_THAT(Slice(bytes, 81, first_record), Each(0));
  EXPECT_THAT(Slice(bytes, first_record, bytes.size()), ElementsAre(1, 0, 0, 0, 2, 0, 0, 0, 1, 2));
  EXPECT_EQ(writer_.bytes_written(), bytes.size());
}

TEST_F(ContainerWriterTest, ExpectedFramesSizeTheReservedIndex) {
  Open({.fast_start = true, .expected_frames = 10'000});
  EXPECT_EQ(writer_.index_capacity(), 12'048U);
  const Bytes bytes = Finish();
  EXPECT_EQ(LoadLe32(&bytes[52]), 12'048U * 8 + 4);
  EXPECT_EQ(bytes.size(), 56U + 12'048U * 8 + 4);
}

TEST_F(ContainerWriterTest, HeadIsProvisionalUntilTheFileIsFinished) {
  header_.frame_count = 5;
  header_.duration_ms = 200;
  Open({.fast_start = true});
  FileHeader provisional = header_;
  provisional.frame_count = 0;
  provisional.duration_ms = 0;
  provisional.flags |= kFlagFastStart;
  EXPECT_EQ(Slice(ReadBytes(path_), 0, 48), HeaderBytes(provisional));
}

TEST_F(ContainerWriterTest, IndexThatOutgrowsItsRecordGoesToTheEnd) {
  header_.flags |= kFlagFastStart;  // only a wish: the writer decides
  Open({.fast_start = true, .expected_frames = 0});
  for (uint16_t i = 0; i < 9000; ++i) writer_.write_packet(RecordType::kRepeatRun, 1, i, {});
  const Bytes bytes = Finish(9000);
  const size_t first_record = 56 + 65'540;
  const size_t trailing = first_record + size_t{9000} * 8;
  ASSERT_EQ(bytes.size(), trailing + 9000 * 8 + 4);
  EXPECT_EQ(writer_.bytes_written(), trailing);
  EXPECT_EQ(LoadLe16(&bytes[8]), kFlagsAlwaysSet);
  EXPECT_EQ(bytes[48], 7);
  EXPECT_THAT(Slice(bytes, 56, first_record), Each(0));
  EXPECT_EQ(LoadLe64(&bytes[trailing]), first_record);
  EXPECT_EQ(LoadLe64(&bytes[bytes.size() - 12]), first_record + 8999 * 8);
  EXPECT_EQ(LoadLe32(&bytes[bytes.size() - 4]), 9000U);
}

TEST_F(ContainerWriterTest, IndexThatJustFitsStaysInFront) {
  Open({.fast_start = true});
  for (uint16_t i = 0; i < 8192; ++i) writer_.write_packet(RecordType::kRepeatRun, 1, i, {});
  const Bytes bytes = Finish(8192);
  EXPECT_EQ(bytes.size(), 56U + 65'540U + 8192U * 8);
  EXPECT_EQ(LoadLe32(&bytes[56]), 8192U);
  EXPECT_NE(LoadLe16(&bytes[8]) & kFlagFastStart, 0);
}

TEST_F(ContainerWriterTest, OpeningAgainForgetsTheEarlierFile) {
  Open({.fast_start = true, .expected_frames = 20'000});
  writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{1});
  Finish(1);
  Open({.fast_start = false});
  EXPECT_EQ(writer_.bytes_written(), 48U);
  EXPECT_TRUE(writer_.index().empty());
  EXPECT_EQ(writer_.index_pos(), 0U);
  EXPECT_EQ(writer_.index_capacity(), kMinIndexCapacity);
  EXPECT_EQ(Finish().size(), 52U);
}

TEST_F(ContainerWriterTest, PayloadOverTheLimitIsRefusedAndSticks) {
  Open({.fast_start = false});
  EXPECT_TRUE(writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{1}));
  const Bytes too_large(size_t{kMaxPayloadBytes} + 1);
  EXPECT_FALSE(writer_.write_packet(RecordType::kKeyFrame, 0, 1, too_large));
  EXPECT_EQ(writer_.stream_error(), std::errc::file_too_large);
  EXPECT_FALSE(writer_.write_packet(RecordType::kKeyFrame, 0, 1, Bytes{1}));
  EXPECT_EQ(writer_.index().size(), 1U);
  EXPECT_FALSE(writer_.finish(header_));
  EXPECT_EQ(writer_.stream_error(), std::errc::file_too_large);
}

TEST_F(ContainerWriterTest, PayloadOfTheLimitIsWrittenAndReadBack) {
  Open({.fast_start = false});
  Bytes largest(size_t{kMaxPayloadBytes});
  largest.back() = 7;
  EXPECT_TRUE(writer_.write_packet(RecordType::kKeyFrame, 0, 0, largest));
  EXPECT_TRUE(writer_.write_packet(RecordType::kKeyFrame, 0, 1, Bytes{1}));
  EXPECT_EQ(Finish(2).size(), 48 + 8 + size_t{kMaxPayloadBytes} + 9 + 20);
}

TEST_F(ContainerWriterTest, OpeningAgainForgetsAFailure) {
  Open({.fast_start = true});
  EXPECT_FALSE(
      writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes(size_t{kMaxPayloadBytes} + 1)));
  EXPECT_FALSE(writer_.finish(header_));
  Open({.fast_start = false});
  EXPECT_FALSE(writer_.stream_error());
  EXPECT_TRUE(writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{1}));
  EXPECT_EQ(writer_.index_pos(), 0U);
  EXPECT_EQ(Finish(1).size(), 48U + 9 + 12);
}

TEST_F(ContainerWriterTest, FullDiskShowsWhenTheHeadIsWritten) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  ASSERT_TRUE(writer_.open_output("/dev/full"));
  EXPECT_FALSE(writer_.write_head(header_, {.fast_start = false}, {}));
  EXPECT_EQ(writer_.stream_error(), std::errc::no_space_on_device);
  EXPECT_FALSE(writer_.write_packet(RecordType::kKeyFrame, 0, 0, Bytes{1}));
  EXPECT_FALSE(writer_.finish(header_));
  EXPECT_EQ(writer_.stream_error(), std::errc::no_space_on_device);
}

}  // namespace
}  // namespace qolm::container
