// SPDX-License-Identifier: MIT
//
// Files that lie: whatever they hold, opening ends and what it lists is in the file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "base/byte_order.h"
#include "container/container_reader.h"
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
using ::testing::IsEmpty;

using Bytes = std::vector<uint8_t>;

constexpr size_t kFrontIndex = 48 + 8;                 // position of n
constexpr size_t kFirstRecord = kFrontIndex + 65'540;  // of a fast-start file without sound

class DamagedContainerTest : public ::testing::Test {
 protected:
  Bytes FileBytes(bool fast_start, Bytes audio_block = {}) {
    const std::vector<Record> records = {{RecordType::kKeyFrame, 0, {1, 2, 3}},
                                         Repeat(4),
                                         {RecordType::kPredictedFrame, 0, {4}},
                                         Sound({9, 9})};
    FileHeader header = PlainHeader(32, 16);
    header.frame_count = 6;
    EXPECT_TRUE(WriteContainerFile(path_, header, records,
                                   {.fast_start = fast_start, .audio_block = audio_block}));
    return ReadBytes(path_);
  }
  // The offsets of FileBytes' records.
  static std::vector<uint64_t> Offsets(uint64_t first) {
    return {first, first + 11, first + 19, first + 28};
  }

  void Open(const Bytes& bytes) {
    WriteBytes(path_, bytes);
    ASSERT_TRUE(reader_.open(path_));
  }

  // Opens `bytes` if they can be, and checks what every caller relies on.
  void ExpectHarmless(const Bytes& bytes) {
    WriteBytes(path_, bytes);
    if (!reader_.open(path_)) {
      EXPECT_FALSE(reader_.failure_reason().empty());
      EXPECT_FALSE(reader_.is_open());
      return;
    }
    EXPECT_FALSE(reader_.keyframes().empty());
    uint64_t earliest = 48;
    Bytes payload;
    for (const uint64_t offset : reader_.index()) {
      ASSERT_GE(offset, earliest);
      earliest = offset + 1;
      RecordHeader record;
      ASSERT_TRUE(reader_.read_record_header(offset, record));
      if (reader_.read_payload(offset, record, payload)) {
        ASSERT_EQ(payload.size(), record.size);
      } else {
        ASSERT_TRUE(payload.empty());
      }
    }
    for (const KeyFrameEntry& entry : reader_.keyframes()) {
      ASSERT_TRUE(entry.record_index < reader_.index().size() || entry == KeyFrameEntry{});
    }
  }

  const TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "in.qolm";
  ContainerReader reader_;
};

TEST_F(DamagedContainerTest, EveryTruncationIsHarmless) {
  Bytes bytes = FileBytes(false, {1, 2, 3, 4, 5});
  while (!bytes.empty()) {
    bytes.pop_back();
    ExpectHarmless(bytes);
  }
}

TEST_F(DamagedContainerTest, EveryBitFlipIsHarmless) {
  Bytes bytes = FileBytes(false, {1, 2, 3, 4, 5});
  for (size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    bytes[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
    ExpectHarmless(bytes);
    bytes[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
  }
}

TEST_F(DamagedContainerTest, EveryBitFlipOfAFastStartHeadIsHarmless) {
  Bytes bytes = FileBytes(true);
  for (size_t bit = 0; bit < (kFrontIndex + 4 + 4 * 8) * 8; ++bit) {
    bytes[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
    ExpectHarmless(bytes);
    bytes[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
  }
}

// A hostile front index is not used; the records behind it are found by walking them.
TEST_F(DamagedContainerTest, HostileFrontIndexIsNotUsed) {
  const Bytes good = FileBytes(true);
  const auto expect_all_found = [&](size_t entry, uint64_t offset) {
    Bytes bytes = good;
    StoreLe64(&bytes[kFrontIndex + 4 + entry * 8], offset);
    Open(bytes);
    EXPECT_EQ(reader_.index(), Offsets(kFirstRecord)) << entry << " " << offset;
  };
  expect_all_found(1, kFirstRecord);       // equal to the one before
  expect_all_found(2, kFirstRecord + 10);  // descending
  expect_all_found(0, kFirstRecord - 1);   // inside the index
  expect_all_found(0, 0);                  // the file header
  expect_all_found(3, good.size() - 7);    // no room for a record header
  expect_all_found(3, good.size());        // the end of the file
  expect_all_found(3, ~uint64_t{0});
  expect_all_found(3, uint64_t{1} << 63);
}

TEST_F(DamagedContainerTest, FrontIndexMustFitItsRecord) {
  const Bytes good = FileBytes(true);
  for (const uint32_t count : {8193U, 1'000'000U, 1'000'001U, 0x20000001U, 0xFFFFFFFFU}) {
    Bytes bytes = good;
    StoreLe32(&bytes[kFrontIndex], count);
    Open(bytes);
    EXPECT_EQ(reader_.index(), Offsets(kFirstRecord)) << count;
  }
}

TEST_F(DamagedContainerTest, FrontIndexWithALowerCountListsSoMany) {
  Bytes bytes = FileBytes(true);
  StoreLe32(&bytes[kFrontIndex], 2);
  Open(bytes);
  EXPECT_THAT(reader_.index(), ElementsAre(kFirstRecord, kFirstRecord + 11));
}

TEST_F(DamagedContainerTest, HostileTrailingIndexGivesWayToTheScan) {
  const Bytes good = FileBytes(false);
  const size_t trailing = good.size() - 4 - 4 * 8;
  const auto expect_scanned = [&](const Bytes& bytes) {
    Open(bytes);
    ASSERT_GE(reader_.index().size(), 4U);
    EXPECT_TRUE(std::ranges::equal(std::span(reader_.index()).first(4), Offsets(48)));
  };
  const auto with_entry = [&](size_t entry, uint64_t offset) {
    Bytes bytes = good;
    StoreLe64(&bytes[trailing + entry * 8], offset);
    return bytes;
  };
  expect_scanned(with_entry(1, 48));
  expect_scanned(with_entry(2, 50));
  expect_scanned(with_entry(0, 47));
  expect_scanned(with_entry(3, trailing - 7));  // would read the index as a record
  expect_scanned(with_entry(3, good.size()));
  expect_scanned(with_entry(3, ~uint64_t{0}));
  for (const uint32_t count : {0U, 5U, 1'000'000U, 1'000'001U, 0x1FFFFFFFU, 0xFFFFFFFFU}) {
    Bytes bytes = good;
    StoreLe32(&bytes[good.size() - 4], count);
    expect_scanned(bytes);
  }
}

// One key frame and offsets into it, each one byte behind the one before. Where they are
// not used, the scan ends with the key frame, since the first of them begins like an index.
TEST_F(DamagedContainerTest, TrailingIndexOfMoreThanAMillionEntriesIsNotUsed) {
  constexpr uint64_t kFirstOffset = 0x100 + static_cast<uint64_t>(RecordType::kIndex);
  for (const uint32_t count : {kMaxIndexEntries, kMaxIndexEntries + 1}) {
    Bytes bytes = FileBytes(false);
    bytes.resize(kFileHeaderBytes);
    const uint32_t payload_bytes = count + 0x200;
    const auto record = EncodeRecordHeader({RecordType::kKeyFrame, 0, 0, payload_bytes});
    bytes.insert(bytes.end(), record.begin(), record.end());
    bytes.resize(bytes.size() + payload_bytes);
    const size_t index = bytes.size();
    bytes.resize(index + size_t{count} * 8 + 4);
    for (uint32_t i = 0; i < count; ++i) StoreLe64(&bytes[index + size_t{i} * 8], kFirstOffset + i);
    StoreLe32(&bytes[bytes.size() - 4], count);
    Open(bytes);
    if (count == kMaxIndexEntries) {
      EXPECT_EQ(reader_.index().size(), count);
      EXPECT_EQ(reader_.index().back(), kFirstOffset + count - 1);
    } else {
      EXPECT_THAT(reader_.index(), ElementsAre(kFileHeaderBytes));
    }
  }
}

TEST_F(DamagedContainerTest, SoManyKeyFramesAreListedAndNoMore) {
  Bytes bytes = FileBytes(false);
  bytes.resize(kFileHeaderBytes + (size_t{kMaxListedKeyFrames} + 2) * kRecordHeaderBytes);
  for (size_t at = kFileHeaderBytes; at < bytes.size(); at += kRecordHeaderBytes) {
    StoreLe64(&bytes[at], static_cast<uint64_t>(RecordType::kKeyFrame));  // without a payload
  }
  Open(bytes);
  EXPECT_EQ(reader_.index().size(), kMaxListedKeyFrames + 2);
  EXPECT_EQ(reader_.keyframes().size(), kMaxListedKeyFrames);
  EXPECT_EQ(reader_.keyframes().back(),
            (KeyFrameEntry{kMaxListedKeyFrames - 1, kMaxListedKeyFrames - 1}));
}

// A finished file without frames ends in the number of its entries, which is none.
TEST_F(DamagedContainerTest, AHeadWithANumberOfLostEntriesWasNeverFinished) {
  Bytes bytes = FileBytes(false);
  StoreLe32(&bytes[22], 0);  // frame_count
  bytes.resize(kFileHeaderBytes + kIndexCountBytes);
  for (const uint32_t count : {0U, 1U, 0x01000000U}) {
    StoreLe32(&bytes[kFileHeaderBytes], count);
    Open(bytes);
    EXPECT_THAT(reader_.index(), IsEmpty());
    EXPECT_EQ(reader_.completion(), count == 0 ? Completion::kFinished : Completion::kNeverFinished)
        << count;
  }
}

TEST_F(DamagedContainerTest, CutAudioBlockMeansNoSound) {
  Bytes bytes = FileBytes(false, Bytes(100));
  bytes.resize(48 + 8 + 99);
  Open(bytes);
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
  EXPECT_THAT(reader_.index(), IsEmpty());
}

TEST_F(DamagedContainerTest, AnEmptyAudioBlockIsARecordLikeOthers) {
  Bytes bytes = FileBytes(false);
  const Bytes empty_block = {static_cast<uint8_t>(RecordType::kAudioBlock), 0, 0, 0, 0, 0, 0, 0};
  bytes.insert(bytes.begin() + kFileHeaderBytes, empty_block.begin(), empty_block.end());
  bytes.resize(bytes.size() - kIndexCountBytes);  // only a scan finds the records
  Open(bytes);
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
  ASSERT_FALSE(reader_.index().empty());
  EXPECT_EQ(reader_.index().front(), kFileHeaderBytes);
}

TEST_F(DamagedContainerTest, OversizedAudioBlockMeansNoSoundAndKeepsThePictures) {
  Bytes bytes = FileBytes(false, Bytes(100));
  StoreLe32(&bytes[52], 0xFFFFFFFF);
  Open(bytes);
  EXPECT_THAT(reader_.audio_block(), IsEmpty());
  EXPECT_EQ(reader_.index(), Offsets(48 + 108));  // by the trailing index
}

TEST_F(DamagedContainerTest, SparseFileOfZerosTakesALimitedAmountOfMemory) {
  const Bytes good = FileBytes(false);
  WriteBytes(path_, std::span(good).first(48));
  std::filesystem::resize_file(path_, uint64_t{4} << 30);  // half a billion empty records
  ASSERT_TRUE(reader_.open(path_));
  EXPECT_EQ(reader_.index().size(), kMaxScannedRecords);
  EXPECT_EQ(reader_.index().back(), 48 + uint64_t{kMaxScannedRecords - 1} * 8);
}

TEST_F(DamagedContainerTest, ScanStopsAtAnOversizedRecord) {
  const Bytes good = FileBytes(false);
  Bytes bytes(good.begin(), good.end() - (4 + 4 * 8));  // without the trailing index
  StoreLe32(&bytes[48 + 19 + 4], 0x80000000);
  Open(bytes);
  EXPECT_THAT(reader_.index(), ElementsAre(48, 59));
}

}  // namespace
}  // namespace qolm::container
