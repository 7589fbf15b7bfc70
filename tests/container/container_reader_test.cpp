// SPDX-License-Identifier: MIT
#include "container/container_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "container/container_writer.h"
#include "container/layout.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::container {
namespace {

using test::PlainHeader;
using test::ReadBytes;
using test::Record;
using test::Repeat;
using test::Sound;
using test::TemporaryFolder;
using test::WriteBytes;
using test::WriteContainerFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Bytes = std::vector<uint8_t>;

constexpr size_t kFrontIndexBytes = 8 + 8192 * 8 + 4;

class ContainerReaderTest : public ::testing::Test {
 protected:
  void Write(const test::FileOptions& options = {}) {
    ASSERT_TRUE(WriteContainerFile(path_, header_, records_, options));
    bytes_ = ReadBytes(path_);
  }
  // Opens the file that bytes_ holds.
  bool Open() {
    WriteBytes(path_, bytes_);
    return reader_.open(path_);
  }

  const TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "in.qolm";
  FileHeader header_ = PlainHeader(32, 16);
  std::vector<Record> records_ = {{RecordType::kKeyFrame, 0, {1, 2, 3}},
                                  Repeat(4),
                                  {RecordType::kPredictedFrame, 0, {4}},
                                  Sound({9, 9}),
                                  {RecordType::kKeyFrame, 0, {5, 6}}};
  Bytes bytes_;
  ContainerReader reader_;
};

TEST_F(ContainerReaderTest, ReadsBackAMonolithicFile) {
  header_.frame_count = 7;
  header_.duration_ms = 280;
  Write();
  ASSERT_TRUE(Open());
  EXPECT_TRUE(reader_.is_open());
  EXPECT_EQ(reader_.header(), header_);
  EXPECT_EQ(reader_.file_size(), bytes_.size());
  EXPECT_THAT(reader_.index(), ElementsAre(48, 59, 67, 76, 86));
  EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{0, 0}, KeyFrameEntry{6, 4}));
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
  EXPECT_EQ(reader_.failure_reason(), "");

  RecordHeader record;
  ASSERT_TRUE(reader_.read_record_header(67, record));
  EXPECT_EQ(record, (RecordHeader{RecordType::kPredictedFrame, 0, 5, 1}));
  Bytes payload;
  ASSERT_TRUE(reader_.read_payload(67, record, payload));
  EXPECT_THAT(payload, ElementsAre(4));
}

TEST_F(ContainerReaderTest, ReadsBackAFastStartFileWithAnAudioBlock) {
  Write({.fast_start = true, .audio_block = {1, 2, 3, 4, 5}});
  ASSERT_TRUE(Open());
  EXPECT_NE(reader_.header().flags & kFlagFastStart, 0);
  EXPECT_THAT(reader_.audio_block(), ElementsAre(1, 2, 3, 4, 5));
  const uint64_t first = 48 + 13 + kFrontIndexBytes;
  EXPECT_THAT(reader_.index(), ElementsAre(first, first + 11, first + 19, first + 28, first + 38));
  EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{0, 0}, KeyFrameEntry{6, 4}));
}

TEST_F(ContainerReaderTest, SingleFrameHasItsRecordRightBehindTheHead) {
  records_ = {{RecordType::kKeyFrame, 0, {1}}};
  Write();
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.index(), ElementsAre(48));
  Write({.fast_start = true, .audio_block = {}});
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.index(), ElementsAre(48 + kFrontIndexBytes));
}

TEST_F(ContainerReaderTest, FastStartFileWithAnOutgrownIndexIsReadThroughItsEnd) {
  records_.assign(9000, Repeat(1));
  records_[0] = {RecordType::kKeyFrame, 0, {1}};
  Write({.fast_start = true, .audio_block = {}});
  ASSERT_TRUE(Open());
  EXPECT_EQ(reader_.header().flags & kFlagFastStart, 0);
  EXPECT_THAT(reader_.index(), SizeIs(9000));
  EXPECT_EQ(reader_.index().front(), 48 + kFrontIndexBytes);
}

TEST_F(ContainerReaderTest, TheIndexInFrontCountsBeforeOneAtTheEnd) {
  Write({.fast_start = true, .audio_block = {}});
  ASSERT_TRUE(Open());
  const std::vector<uint64_t> in_front = reader_.index();
  ASSERT_THAT(in_front, SizeIs(records_.size()));
  AppendLe32(bytes_, static_cast<uint32_t>(in_front[2]));
  AppendLe32(bytes_, 0);
  AppendLe32(bytes_, 1);  // entry
  ASSERT_TRUE(Open());
  EXPECT_EQ(reader_.index(), in_front);
  // Without the index in front the same bytes are one.
  StoreLe16(&bytes_[8], static_cast<uint16_t>(LoadLe16(&bytes_[8]) & ~kFlagFastStart));
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.index(), ElementsAre(in_front[2]));
}

TEST_F(ContainerReaderTest, FileWithoutFramesOpensWithAnEmptyIndex) {
  records_.clear();
  for (const bool fast_start : {false, true}) {
    Write({.fast_start = fast_start, .audio_block = {}});
    ASSERT_TRUE(Open());
    EXPECT_EQ(reader_.header().frame_count, 0U);
    EXPECT_EQ(reader_.header().duration_ms, 0U);
    EXPECT_THAT(reader_.index(), IsEmpty());
    EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{0, 0}));
  }
}

TEST_F(ContainerReaderTest, CutMonolithicFileYieldsTheCompleteRecordsBeforeTheCut) {
  Write();
  bytes_.resize(70);  // in the middle of the predicted frame's header
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.index(), ElementsAre(48, 59));
}

TEST_F(ContainerReaderTest, UnfinishedFastStartFileYieldsNothing) {
  ContainerWriter writer;
  ASSERT_TRUE(writer.open_output(path_));
  ASSERT_TRUE(writer.write_head(header_, {.fast_start = true}, {}));
  writer.write_packet(RecordType::kKeyFrame, 0, 0, Bytes(1000));
  writer.close();
  ASSERT_TRUE(reader_.open(path_));
  EXPECT_THAT(reader_.index(), IsEmpty());
  EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{0, 0}));
  EXPECT_EQ(reader_.completion(), Completion::kNeverFinished);

  ASSERT_TRUE(reader_.open(path_, UnfinishedFiles::kYieldRecords));
  EXPECT_THAT(reader_.index(), ElementsAre(48 + kFrontIndexBytes));
  EXPECT_EQ(reader_.completion(), Completion::kNeverFinished);
}

TEST_F(ContainerReaderTest, FinishedFilesAreNotTakenForUnfinishedOnes) {
  for (const bool fast_start : {false, true}) {
    header_.frame_count = 7;
    Write({.fast_start = fast_start, .audio_block = {}});
    ASSERT_TRUE(Open());
    EXPECT_EQ(reader_.completion(), Completion::kFinished);
    header_.frame_count = 0;
    // Without any frame, too.
    for (const bool with_sound : {false, true}) {
      const std::vector<test::Record> sound(with_sound ? 1 : 0, test::Sound(Bytes(9)));
      ASSERT_TRUE(test::WriteContainerFile(path_, header_, sound, {fast_start, Bytes(7)}));
      ASSERT_TRUE(reader_.open(path_));
      // A writer that was ended leaves an empty index in front, too.
      const bool known = with_sound || !fast_start;
      EXPECT_EQ(reader_.completion(), known ? Completion::kFinished : Completion::kUnknown)
          << fast_start << with_sound;
    }
  }
}

TEST_F(ContainerReaderTest, CutFastStartFileYieldsTheCompleteRecordsBeforeTheCut) {
  Write({.fast_start = true, .audio_block = {}});
  bytes_.resize(bytes_.size() - 11);  // the last record and a byte of the one before
  ASSERT_TRUE(Open());
  const uint64_t first = 48 + kFrontIndexBytes;
  EXPECT_THAT(reader_.index(), ElementsAre(first, first + 11, first + 19));
}

TEST_F(ContainerReaderTest, MoreRecordsThanAnIndexMayHoldAreFoundByScanning) {
  constexpr uint32_t kRecords = kMaxIndexEntries + 1;
  for (const bool fast_start : {false, true}) {
    ContainerWriter writer;
    ASSERT_TRUE(writer.open_output(path_));
    ASSERT_TRUE(writer.write_head(header_, {.fast_start = fast_start}, {}));
    for (uint32_t i = 0; i < kRecords; ++i) {
      writer.write_packet(RecordType::kRepeatRun, 1, static_cast<uint16_t>(i), {});
    }
    header_.frame_count = kRecords;
    ASSERT_TRUE(writer.finish(header_));
    ASSERT_TRUE(reader_.open(path_));
    ASSERT_GE(reader_.index().size(), kRecords);
    EXPECT_TRUE(std::equal(writer.index().begin(), writer.index().end(), reader_.index().begin()));
  }
}

TEST_F(ContainerReaderTest, LargestStoredIndexIsRead) {
  ContainerWriter writer;
  ASSERT_TRUE(writer.open_output(path_));
  ASSERT_TRUE(writer.write_head(header_, {.expected_frames = kMaxIndexEntries}, {}));
  for (uint32_t i = 0; i < kMaxIndexEntries; ++i) {
    writer.write_packet(i % 1000 == 0 ? RecordType::kKeyFrame : RecordType::kPredictedFrame, 0, 0,
                        Bytes(i % 3));
  }
  ASSERT_TRUE(writer.finish(header_));
  ASSERT_TRUE(reader_.open(path_));
  EXPECT_NE(reader_.header().flags & kFlagFastStart, 0);
  EXPECT_EQ(reader_.index(), writer.index());
  EXPECT_THAT(reader_.keyframes(), SizeIs(1000));
  EXPECT_EQ(reader_.keyframes().back(), (KeyFrameEntry{999'000, 999'000}));
}

TEST_F(ContainerReaderTest, KeyFrameNumbersCountRepeatsAndNoSound) {
  records_ = {Sound({1}),
              Repeat(250),
              Repeat(1),
              {RecordType::kBidirectionalFrame, 0, {1}},
              Sound({}),
              {RecordType::kKeyFrame, 0, Bytes(100'000)},
              {RecordType::kKeyFrame, 0, {1}}};
  Write();
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{252, 5}, KeyFrameEntry{253, 6}));
}

TEST_F(ContainerReaderTest, RefusesWhatIsNoVersion2FileAndSaysWhy) {
  Write();
  const Bytes good = bytes_;
  const auto reason_with = [&](size_t at, Bytes replacement) {
    bytes_ = good;
    std::copy(replacement.begin(), replacement.end(),
              bytes_.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_FALSE(Open());
    EXPECT_FALSE(reader_.is_open());
    EXPECT_FALSE(reader_.system_error());
    EXPECT_THAT(reader_.index(), IsEmpty());
    EXPECT_EQ(reader_.header(), FileHeader{});
    return reader_.failure_reason();
  };
  EXPECT_EQ(reason_with(0, {'Q', 'O', 'L', 'M'}), "the file does not begin with \"QLM2\"");
  EXPECT_EQ(reason_with(4, {3}), "the file's version is 3, not 2");
  EXPECT_EQ(reason_with(10, {0, 0}), "the picture size 0 x 16 is outside 1..16384");
  EXPECT_EQ(reason_with(12, {0, 0}), "the picture size 32 x 0 is outside 1..16384");
  EXPECT_EQ(reason_with(10, {0x01, 0x40}), "the picture size 16385 x 16 is outside 1..16384");
  EXPECT_EQ(reason_with(12, {0x01, 0x40}), "the picture size 32 x 16385 is outside 1..16384");

  bytes_ = good;
  bytes_.resize(47);
  EXPECT_FALSE(Open());
  EXPECT_EQ(reader_.failure_reason(), "the file is too short to hold a header");
  bytes_.clear();
  EXPECT_FALSE(Open());
  EXPECT_EQ(reader_.failure_reason(), "the file is too short to hold a header");

  for (const size_t side : {10U, 12U}) {
    bytes_ = good;
    bytes_[side] = 0x00;
    bytes_[side + 1] = 0x40;  // 16384
    EXPECT_TRUE(Open());
    EXPECT_EQ(reader_.failure_reason(), "");
    bytes_[side] = 0x01;
    bytes_[side + 1] = 0x00;
    EXPECT_TRUE(Open());
  }
}

TEST_F(ContainerReaderTest, OpeningAgainForgetsAFailure) {
  Write({.fast_start = true, .audio_block = {1, 2, 3}});
  WriteBytes(path_, bytes_);
  ContainerReader fresh;
  ASSERT_TRUE(fresh.open(path_));
  WriteBytes(folder_ / "text", Bytes(100, 'a'));
  for (const std::filesystem::path& refused : {folder_ / "missing", folder_ / "text"}) {
    EXPECT_FALSE(reader_.open(refused));
    ASSERT_TRUE(reader_.open(path_));
    EXPECT_EQ(reader_.failure_reason(), "");
    EXPECT_FALSE(reader_.system_error());
    EXPECT_EQ(reader_.header(), fresh.header());
    EXPECT_EQ(reader_.index(), fresh.index());
    EXPECT_EQ(reader_.keyframes(), fresh.keyframes());
    EXPECT_THAT(reader_.audio_block(), ElementsAre(1, 2, 3));
  }
}

// The scan lists a record of exactly 100 MiB and ends at a larger one.
TEST_F(ContainerReaderTest, TheLargestRecordIsFoundByScanning) {
  records_ = {{RecordType::kKeyFrame, 0, {1, 2, 3, 4}}};
  Write();
  bytes_.resize(48 + 8);
  for (const uint32_t size : {kMaxPayloadBytes, kMaxPayloadBytes + 1}) {
    StoreLe32(&bytes_[52], size);
    WriteBytes(path_, bytes_);
    std::filesystem::resize_file(path_, 56 + uint64_t{size});  // sparse, and of no index
    ASSERT_TRUE(reader_.open(path_));
    EXPECT_THAT(reader_.index(), SizeIs(size == kMaxPayloadBytes ? 1 : 0));
  }
}

TEST_F(ContainerReaderTest, NamesTheSystemsReason) {
  EXPECT_FALSE(reader_.open(folder_ / "missing"));
  EXPECT_EQ(reader_.system_error(), std::errc::no_such_file_or_directory);
  EXPECT_EQ(reader_.failure_reason(), reader_.system_error().message());
  EXPECT_FALSE(reader_.open(folder_.path()));
  EXPECT_EQ(reader_.system_error(), std::errc::is_a_directory);
}

TEST_F(ContainerReaderTest, ResetClosesAndForgets) {
  Write({.fast_start = true, .audio_block = {1}});
  ASSERT_TRUE(Open());
  reader_.reset();
  EXPECT_FALSE(reader_.is_open());
  EXPECT_EQ(reader_.file_size(), 0U);
  EXPECT_EQ(reader_.header(), FileHeader{});
  EXPECT_THAT(reader_.index(), IsEmpty());
  EXPECT_THAT(reader_.keyframes(), IsEmpty());
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
  RecordHeader record;
  EXPECT_FALSE(reader_.read_record_header(48, record));
}

TEST_F(ContainerReaderTest, OpeningAnotherFileForgetsTheFirst) {
  Write({.fast_start = true, .audio_block = {1}});
  ASSERT_TRUE(Open());
  records_ = {{RecordType::kPredictedFrame, 0, {1}}};
  Write();
  ASSERT_TRUE(Open());
  EXPECT_THAT(reader_.index(), ElementsAre(48));
  EXPECT_THAT(reader_.keyframes(), ElementsAre(KeyFrameEntry{0, 0}));
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
}

TEST_F(ContainerReaderTest, PayloadMustLieInTheFile) {
  Write();
  ASSERT_TRUE(Open());
  const uint64_t size = bytes_.size();
  Bytes payload = {1};
  const auto readable = [&](uint64_t offset, uint32_t payload_size) {
    return reader_.read_payload(offset, {RecordType::kKeyFrame, 0, 0, payload_size}, payload);
  };
  EXPECT_TRUE(readable(size - 10, 2));
  EXPECT_THAT(payload, SizeIs(2));
  EXPECT_FALSE(readable(size - 10, 3));
  EXPECT_THAT(payload, IsEmpty());
  EXPECT_TRUE(readable(size - 8, 0));
  EXPECT_FALSE(readable(size - 7, 0));
  EXPECT_FALSE(readable(size + 1, 0));
  EXPECT_FALSE(readable(~uint64_t{0}, 0));
  EXPECT_FALSE(readable(48, 0xFFFFFFFF));
  RecordHeader record;
  EXPECT_TRUE(reader_.read_record_header(size - 8, record));
  EXPECT_FALSE(reader_.read_record_header(size - 7, record));
  EXPECT_FALSE(reader_.read_record_header(~uint64_t{0} - 3, record));
}

// Key frames of which each holds all that follow it.
class NestedRecordsTest : public ContainerReaderTest {
 protected:
  static constexpr uint32_t kRecords = 100;
  static constexpr uint32_t kStep = 40;  // bytes
  static constexpr uint32_t kPayload = kStep - 8;

  void SetUp() override {
    records_.clear();
    for (uint32_t i = 0; i < kRecords; ++i) {
      records_.push_back({RecordType::kKeyFrame, 0, Bytes(kPayload)});
    }
    Write();
    for (uint32_t i = 0; i < kRecords; ++i)
      Claim(i, static_cast<uint32_t>((kRecords - i) * kStep) - 8);
    ASSERT_TRUE(Open());
    ASSERT_THAT(reader_.index(), SizeIs(kRecords));
  }

  void Claim(uint32_t record, uint32_t payload_bytes) {
    StoreLe32(&bytes_[kFileHeaderBytes + record * kStep + 4], payload_bytes);
  }

  bool Reads(uint32_t record) {
    RecordHeader header;
    Bytes payload;
    const uint64_t offset = reader_.index()[record];
    return reader_.read_record_header(offset, header) &&
           reader_.read_payload(offset, header, payload) && payload.size() == header.size;
  }

  uint64_t BytesRead() {
    uint64_t bytes = 0;
    for (uint32_t i = 0; i < kRecords; ++i) {
      RecordHeader header;
      EXPECT_TRUE(reader_.read_record_header(reader_.index()[i], header));
      if (Reads(i)) bytes += header.size;
    }
    return bytes;
  }
};

TEST_F(NestedRecordsTest, OverlappingPayloadsAreReadUpToTheFilesSizeTogether) {
  EXPECT_LE(BytesRead(), 2 * reader_.file_size());
  EXPECT_TRUE(Reads(0));
  EXPECT_FALSE(Reads(1));
  EXPECT_FALSE(Reads(kRecords - 2));
  EXPECT_TRUE(Reads(kRecords - 1));  // which holds no other
}

TEST_F(NestedRecordsTest, WhatOverlapsIsRefusedHoweverOftenItIsAskedFor) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Reads(0));
    EXPECT_FALSE(Reads(1));
  }
}

TEST_F(NestedRecordsTest, AFewDamagedSizesCostNothingElse) {
  for (uint32_t i = 0; i < kRecords; ++i) Claim(i, kPayload);
  for (const uint32_t damaged : {10U, 50U, 90U}) Claim(damaged, kStep);
  ASSERT_TRUE(Open());
  for (uint32_t i = 0; i < kRecords; ++i) EXPECT_TRUE(Reads(i)) << i;
}

// The first record takes all of the allowance but one byte too few for the second.
TEST_F(NestedRecordsTest, TheAllowanceIsTheFilesSize) {
  for (uint32_t i = 0; i < kRecords; ++i) Claim(i, kPayload);
  const auto size = static_cast<uint32_t>(bytes_.size());
  const uint32_t first = size - 8 - static_cast<uint32_t>(kFileHeaderBytes);
  for (const uint32_t rest : {0U, 1U}) {
    Claim(0, first);
    Claim(60, size - first + rest);
    ASSERT_TRUE(Open());
    EXPECT_TRUE(Reads(0));
    EXPECT_EQ(Reads(60), rest == 0);
    EXPECT_TRUE(Reads(61));
  }
}

TEST_F(ContainerReaderTest, PayloadOverTheLimitIsRefusedThoughTheFileHoldsIt) {
  Write();
  WriteBytes(path_, bytes_);
  std::filesystem::resize_file(path_, uint64_t{kMaxPayloadBytes} + 1000);  // sparse
  ASSERT_TRUE(reader_.open(path_));
  Bytes payload;
  EXPECT_FALSE(
      reader_.read_payload(48, {RecordType::kKeyFrame, 0, 0, kMaxPayloadBytes + 1}, payload));
  EXPECT_TRUE(reader_.read_payload(48, {RecordType::kKeyFrame, 0, 0, kMaxPayloadBytes}, payload));
  EXPECT_THAT(payload, SizeIs(kMaxPayloadBytes));
}

}  // namespace
}  // namespace qolm::container
