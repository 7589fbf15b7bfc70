// SPDX-License-Identifier: MIT
//
// Seeking gives the pictures of decoding from the start; caches are filled and limited.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>

#include "base/byte_order.h"
#include "decoder/frame_decoder.h"
#include "decoder/seek_points.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using container::FileHeader;
using test::MovingPicture;
using test::PictureCoder;
using test::Record;
using test::Repeat;
using test::SamePicture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;

constexpr uint16_t kSeekWidth = 24;
constexpr uint16_t kSeekHeight = 16;
constexpr uint64_t kPictureBytes = kSeekWidth * kSeekHeight * 3 / 2;
constexpr uint64_t kHeldBytes = kPictureBytes + FrameCaches::kBookkeepingBytes;

// Key frames at 0, 20 and 47; a repeat run of 7 after frame 9 and one of 5 after frame
// 50; 60 frames in total.
class SeekTest : public testing::Test {
 protected:
  explicit SeekTest(uint16_t flags = 0x003E | container::kFlagDeblocking) {
    PictureCoder coder(flags, 55);
    std::vector<Record> records;
    FileHeader header = test::PlainHeader(kSeekWidth, kSeekHeight);
    header.flags = flags;
    while (linear_.size() < 60) {
      const auto number = static_cast<uint32_t>(linear_.size());
      const bool key = number == 0 || number == 20 || number == 47;
      if (number == 10 || number == 51) {
        const uint8_t run = number == 10 ? 7 : 5;
        records.push_back(Repeat(run));
        linear_.insert(linear_.end(), run, coder.reference());
        continue;
      }
      const video::YuvPlanes picture = MovingPicture(kSeekWidth, kSeekHeight, number);
      records.push_back(key ? coder.Key(picture) : coder.Predicted(picture));
      linear_.push_back(coder.reference());
    }
    header.frame_count = 60;
    written_ = test::WriteContainerFile(folder_ / "a.qolm", header, records);
  }

  void SetUp() override {
    ASSERT_TRUE(written_);
    ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  }

  void ExpectRestFrom(FrameDecoder& decoder, size_t first) {
    for (size_t number = first; number < linear_.size(); ++number) {
      ASSERT_TRUE(decoder.next_planes()) << number;
      ASSERT_TRUE(SamePicture(decoder.planes(), linear_[number])) << number;
    }
    EXPECT_FALSE(decoder.next_planes());
    EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
  }

  test::TemporaryFolder folder_;
  std::vector<video::YuvPlanes> linear_;
  bool written_ = false;
  container::ContainerReader reader_;
};

TEST_F(SeekTest, LinearDecodingMatchesTheEncoder) {
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
}

TEST_F(SeekTest, SeekToEveryKeyFrame) {
  ASSERT_EQ(reader_.keyframes().size(), 3U);
  FrameDecoder decoder(reader_);
  for (size_t entry = 0; entry < 3; ++entry) {
    ASSERT_TRUE(decoder.seek_to_key_frame(entry));
    const uint32_t number = reader_.keyframes()[entry].frame_number;
    EXPECT_EQ(decoder.frames_delivered(), static_cast<int32_t>(number));
    ExpectRestFrom(decoder, number);
  }
  EXPECT_FALSE(decoder.seek_to_key_frame(3));
}

TEST_F(SeekTest, SeekToEveryFrameWithFreshDecoder) {
  for (size_t number = 0; number < linear_.size(); ++number) {
    FrameDecoder decoder(reader_);
    ASSERT_TRUE(decoder.seek_to_frame(static_cast<int32_t>(number)));
    ExpectRestFrom(decoder, number);
  }
}

TEST_F(SeekTest, SeeksBackAndForthWithWarmCaches) {
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
  for (int32_t step = 0; step < 60; ++step) {
    const int32_t number = step * 37 % 60;
    ASSERT_TRUE(decoder.seek_to_frame(number));
    EXPECT_EQ(decoder.frames_delivered(), number);
    OutputFrame frame;
    ASSERT_TRUE(decoder.next_frame(frame));
    EXPECT_EQ(frame.presentation_tag, number);
    std::vector<uint8_t> expected;
    video::ConvertYuvToPacked(linear_[static_cast<size_t>(number)], video::PixelOrder::kRgba,
                              expected);
    ASSERT_EQ(frame.pixels, expected) << number;
  }
  ASSERT_TRUE(decoder.seek_to_frame(5));
  ExpectRestFrom(decoder, 5);
}

// The counts are of this file: key frames at 0, 20 and 47, repeats 10 to 16 and 51 to 55.
TEST_F(SeekTest, StartsAtTheNearestKeyFrame) {
  for (const auto& [number, rebuilt] :
       {std::pair{0, 0U}, {1, 1U}, {19, 12U}, {20, 0U}, {21, 1U}, {46, 26U}, {47, 0U}, {59, 7U}}) {
    FrameDecoder decoder(reader_);
    ASSERT_TRUE(decoder.seek_to_frame(number));
    EXPECT_EQ(decoder.pictures_rebuilt(), rebuilt) << number;
  }
}

TEST_F(SeekTest, StartsAtTheNearestSnapshot) {
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
  const uint64_t all = decoder.pictures_rebuilt();
  EXPECT_EQ(all, 48U);                     // of 60 frames
  ASSERT_TRUE(decoder.seek_to_frame(46));  // after the snapshot of frame 45
  EXPECT_EQ(decoder.pictures_rebuilt(), all);
  ASSERT_TRUE(decoder.seek_to_frame(29));  // the one before is of frame 15, but 20 is a key frame
  EXPECT_EQ(decoder.pictures_rebuilt(), all + 9);
}

TEST_F(SeekTest, ContinuesFromCurrentPosition) {
  FrameDecoder decoder(reader_, video::PixelOrder::kRgba, 0);
  ASSERT_TRUE(decoder.seek_to_frame(25));
  EXPECT_EQ(decoder.pictures_rebuilt(), 5U);
  ASSERT_TRUE(decoder.seek_to_frame(40));
  EXPECT_EQ(decoder.pictures_rebuilt(), 20U);
  ASSERT_TRUE(decoder.seek_to_frame(50));  // a key frame lies between
  EXPECT_EQ(decoder.pictures_rebuilt(), 23U);
}

class SeekBehindDamageTest : public SeekTest {
 protected:
  void SetUp() override {
    SeekTest::SetUp();
    // The record of frame 25, so that frames 25 to 46 are lost.
    std::vector<uint8_t> bytes = test::ReadBytes(folder_ / "a.qolm");
    const uint64_t damaged = reader_.index()[19];
    bytes[damaged + container::kRecordHeaderBytes] ^= 0xFF;
    test::WriteBytes(folder_ / "a.qolm", bytes);
    ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  }
};

// As for a contact sheet, whose tiles must not each decode the frames before the damage.
TEST_F(SeekBehindDamageTest, RepeatedSeeksDecodeOnce) {
  FrameDecoder decoder(reader_, video::PixelOrder::kRgba, 0);
  for (int32_t number = 0; number < 60; ++number) {
    const bool lost = number >= 25 && number < 47;
    const bool shown = decoder.seek_to_frame(number) && decoder.next_planes();
    ASSERT_EQ(shown, !lost) << number;
    if (lost) {
      EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
      EXPECT_EQ(decoder.frames_delivered(), 25);
    } else {
      EXPECT_TRUE(SamePicture(decoder.planes(), linear_[static_cast<size_t>(number)])) << number;
    }
  }
  EXPECT_LE(decoder.pictures_rebuilt(), 48U + 6U);
  // Frames before the damage remain reachable, followed by the same end.
  ASSERT_TRUE(decoder.seek_to_frame(24));
  ASSERT_TRUE(decoder.next_planes());
  EXPECT_TRUE(SamePicture(decoder.planes(), linear_[24]));
  EXPECT_FALSE(decoder.next_planes());
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
}

// An empty run delivers one frame, so later key frames are shifted by one.
TEST(SeekBehindEmptyRunsTest, MatchesDecodingFromStart) {
  PictureCoder coder(0x003E, 55);
  std::vector<Record> records;
  std::vector<video::YuvPlanes> linear;
  for (uint32_t number = 0; number < 4; ++number) {
    records.push_back(coder.Key(MovingPicture(kSeekWidth, kSeekHeight, number)));
    records.push_back(Repeat(0));
    linear.insert(linear.end(), 2, coder.reference());
  }
  const test::TemporaryFolder folder;
  ASSERT_TRUE(test::WriteContainerFile(folder / "a.qolm",
                                       test::PlainHeader(kSeekWidth, kSeekHeight), records));
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(folder / "a.qolm"));
  for (size_t number = 0; number < linear.size(); ++number) {
    FrameDecoder decoder(reader);
    ASSERT_TRUE(decoder.seek_to_frame(static_cast<int32_t>(number)));
    for (size_t next = number; next < linear.size(); ++next) {
      ASSERT_TRUE(decoder.next_planes()) << number;
      ASSERT_TRUE(SamePicture(decoder.planes(), linear[next])) << number << " " << next;
    }
    EXPECT_FALSE(decoder.next_planes()) << number;
  }
  FrameDecoder decoder(reader);
  ASSERT_TRUE(decoder.seek_to_key_frame(3));
  EXPECT_EQ(decoder.frames_delivered(), 6);
}

TEST_F(SeekTest, FrameOutsideFileIsRejected) {
  FrameDecoder decoder(reader_);
  EXPECT_FALSE(decoder.seek_to_frame(-1));
  EXPECT_FALSE(decoder.seek_to_frame(60));
  EXPECT_FALSE(decoder.seek_to_frame(INT32_MAX));
  ExpectRestFrom(decoder, 0);
}

TEST_F(SeekTest, SeekSkipsDamage) {
  std::vector<uint8_t> bytes = test::ReadBytes(folder_ / "a.qolm");
  bytes[reader_.index()[5]] = 6;  // no record has this type
  test::WriteBytes(folder_ / "a.qolm", bytes);
  ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  FrameDecoder decoder(reader_);
  EXPECT_FALSE(decoder.seek_to_frame(12));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  ASSERT_TRUE(decoder.seek_to_frame(30));
  ExpectRestFrom(decoder, 30);
}

// Decoding ends at an audio block among the pictures.
TEST(SeekBehindAnAudioBlockTest, UnreachableFrameIsNotFound) {
  PictureCoder coder(0x003E, 55);
  const Record key = coder.Key(MovingPicture(kSeekWidth, kSeekHeight, 0));
  FileHeader header = test::PlainHeader(kSeekWidth, kSeekHeight);
  header.frame_count = 2;
  const test::TemporaryFolder folder;
  ASSERT_TRUE(test::WriteContainerFile(
      folder / "a.qolm", header,
      std::vector<Record>{key, {container::RecordType::kAudioBlock, 0, {}}, key}));
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(folder / "a.qolm"));
  FrameDecoder decoder(reader);
  EXPECT_TRUE(decoder.next_planes());
  EXPECT_FALSE(decoder.next_planes());
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  EXPECT_FALSE(decoder.seek_to_frame(1) && decoder.next_planes());
}

// Without the header flag a bidirectional picture is damage and does not affect the key
// frame before it.
TEST(SeekBeforeAForeignPictureTest, StartsAtKeyFrame) {
  PictureCoder coder(0x003E, 55);
  const Record key = coder.Key(MovingPicture(kSeekWidth, kSeekHeight, 0));
  const Record damaged = {container::RecordType::kPredictedFrame, 0, {1, 2, 3}};
  const Record second_key = coder.Key(MovingPicture(kSeekWidth, kSeekHeight, 2));
  const Record foreign = {container::RecordType::kBidirectionalFrame, 0, {1, 2, 3}};
  const test::TemporaryFolder folder;
  ASSERT_TRUE(test::WriteContainerFile(folder / "a.qolm",
                                       test::PlainHeader(kSeekWidth, kSeekHeight),
                                       std::vector<Record>{key, damaged, second_key, foreign}));
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(folder / "a.qolm"));
  FrameDecoder decoder(reader);
  ASSERT_TRUE(decoder.seek_to_key_frame(1));
  ASSERT_TRUE(decoder.next_planes());
  EXPECT_TRUE(SamePicture(decoder.planes(), coder.reference()));
  EXPECT_FALSE(decoder.next_planes());
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
}

TEST_F(SeekTest, CachesHoldKeyFramesAndSnapshots) {
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
  EXPECT_THAT(decoder.caches().key_cache(), ElementsAre(Key(0), Key(20), Key(47)));
  // Frame 15 is in a repeat run, which stores no snapshot.
  EXPECT_THAT(decoder.caches().snapshot_cache(), ElementsAre(Key(0), Key(30), Key(45)));
  for (const auto& [number, planes] : decoder.caches().key_cache()) {
    EXPECT_TRUE(SamePicture(*planes, linear_[static_cast<size_t>(number)]));
  }
  for (const auto& [number, snapshot] : decoder.caches().snapshot_cache()) {
    EXPECT_EQ(snapshot.frame_number, number);
    EXPECT_EQ(snapshot.width, kSeekWidth);
    EXPECT_EQ(snapshot.height, kSeekHeight);
    EXPECT_TRUE(SamePicture(*snapshot.planes, linear_[static_cast<size_t>(number)]));
    EXPECT_EQ(snapshot.secondary_ref, nullptr);
  }
  // Frames from record 10 on are shifted by a repeat run of seven.
  EXPECT_EQ(decoder.caches().snapshot_cache().at(30).cursor, 30 - 7 + 2);
  // Key frame 0 and snapshot 0 share a picture.
  EXPECT_EQ(decoder.caches().bytes_held(), 5 * kHeldBytes);
}

TEST_F(SeekTest, ByteBudgetEvictsOldest) {
  FrameDecoder decoder(reader_, video::PixelOrder::kRgba, 3 * kHeldBytes);
  ExpectRestFrom(decoder, 0);
  EXPECT_THAT(decoder.caches().key_cache(), ElementsAre(Key(47)));
  EXPECT_THAT(decoder.caches().snapshot_cache(), ElementsAre(Key(30), Key(45)));
  EXPECT_EQ(decoder.caches().bytes_held(), 3 * kHeldBytes);
  ASSERT_TRUE(decoder.seek_to_frame(1));
  ExpectRestFrom(decoder, 1);
}

TEST_F(SeekTest, ZeroBudgetCachesNothing) {
  FrameDecoder decoder(reader_, video::PixelOrder::kRgba, 0);
  ExpectRestFrom(decoder, 0);
  EXPECT_THAT(decoder.caches().key_cache(), IsEmpty());
  EXPECT_THAT(decoder.caches().snapshot_cache(), IsEmpty());
  EXPECT_EQ(decoder.caches().bytes_held(), 0U);
}

// Seeking must limit pending pictures as decoding does, by the sizes in their payloads.
TEST(SeekPointsTest, LargePendingPicturesAreShownInStoredOrder) {
  const test::TemporaryFolder folder;
  FileHeader header = test::PlainHeader(kSeekWidth, kSeekHeight);
  header.flags |= container::kFlagBidirectional;
  const auto open_keys = [&](uint16_t size, container::ContainerReader& reader) {
    std::vector<uint8_t> payload(5);
    StoreLe16(payload.data(), size);
    StoreLe16(payload.data() + 2, size);
    std::vector<Record> records;
    for (const uint16_t number : std::initializer_list<uint16_t>{0, 3, 2, 1, 4}) {
      records.push_back({container::RecordType::kKeyFrame, 0, payload, number});
    }
    ASSERT_TRUE(test::WriteContainerFile(folder / "a.qolm", header, records));
    ASSERT_TRUE(reader.open(folder / "a.qolm"));
  };
  container::ContainerReader small;
  open_keys(64, small);
  const SeekPoints by_number(small);
  EXPECT_THAT(by_number.key_frame_numbers(), ElementsAre(0, 3, 2, 1, 4));
  EXPECT_EQ(by_number.last_before_frame(3).record_index, 0U);

  container::ContainerReader large;
  open_keys(8192, large);  // 96 MiB each
  const SeekPoints as_stored(large);
  EXPECT_THAT(as_stored.key_frame_numbers(), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_EQ(as_stored.last_before_frame(2).record_index, 0U);
  EXPECT_EQ(as_stored.last_before_frame(3).record_index, 3U);
  EXPECT_EQ(as_stored.last_before_frame(3).order, DisplayOrder::Mode::kNumbersLost);
  EXPECT_EQ(as_stored.last_before_frame(4).record_index, 4U);
}

class SecondaryReferenceTest : public SeekTest {
 protected:
  SecondaryReferenceTest() : SeekTest(0x003E | container::kFlagBidirectional) {}
};

TEST_F(SecondaryReferenceTest, SnapshotsIncludeSecondaryReference) {
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
  const auto& snapshots = decoder.caches().snapshot_cache();
  ASSERT_THAT(snapshots, ElementsAre(Key(0), Key(30), Key(45)));
  EXPECT_EQ(snapshots.at(0).secondary_ref, nullptr);
  EXPECT_TRUE(SamePicture(*snapshots.at(30).secondary_ref, linear_[29]));
  EXPECT_TRUE(SamePicture(*snapshots.at(45).secondary_ref, linear_[44]));
  ASSERT_TRUE(decoder.seek_to_frame(31));
  ExpectRestFrom(decoder, 31);
}

}  // namespace
}  // namespace qolm::decoder
