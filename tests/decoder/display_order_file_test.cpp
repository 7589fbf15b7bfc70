// SPDX-License-Identifier: MIT
//
// Files whose records are not stored in display order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string_view>

#include "decoder/frame_decoder.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/stored_order_model.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using container::FileHeader;
using container::RecordType;
using test::MovingPicture;
using test::PictureCoder;
using test::Record;
using test::SamePicture;
using testing::Each;
using testing::ElementsAre;
using testing::Key;

constexpr uint16_t kWidth = 24;
constexpr uint16_t kHeight = 16;
constexpr uint16_t kFlags = 0x003E | container::kFlagBidirectional | container::kFlagDeblocking;

FileHeader Header(uint32_t frame_count) {
  FileHeader header = test::PlainHeader(kWidth, kHeight);
  header.flags = kFlags;
  header.frame_count = frame_count;
  return header;
}

class DisplayOrderFileTest : public testing::Test {
 protected:
  // One letter for each frame: k key frame, c changed, s static.
  void Encode(std::string_view frames) {
    test::StoredOrderModel model;
    for (const char kind : frames) {
      model.frame(kind == 's'   ? test::FrameKind::kStatic
                  : kind == 'c' ? test::FrameKind::kChanged
                                : test::FrameKind::kKey);
    }
    model.finish();

    PictureCoder coder(kFlags, 55);
    std::vector<video::YuvPlanes> rebuilt;  // by record
    records_.clear();
    for (const container::RecordHeader& record : model.records()) {
      const video::YuvPlanes picture = MovingPicture(kWidth, kHeight, record.frame_no);
      switch (record.type) {
        case RecordType::kKeyFrame:
          records_.push_back(coder.Key(picture));
          break;
        case RecordType::kPredictedFrame:
          records_.push_back(coder.Predicted(picture));
          break;
        case RecordType::kBidirectionalFrame:
          records_.push_back(coder.Bidirectional(picture));
          ASSERT_TRUE(coder.between_decoded());
          break;
        default:
          records_.push_back(test::Repeat(record.count));
      }
      records_.back().frame_no = record.frame_no;
      rebuilt.push_back(record.type == RecordType::kBidirectionalFrame ? coder.between()
                                                                       : coder.reference());
    }
    shown_.clear();
    for (const size_t record : model.shown_record()) shown_.push_back(rebuilt[record - 1]);
  }

  void Open(const FileHeader& header, const std::vector<Record>& records) {
    ASSERT_TRUE(test::WriteContainerFile(folder_ / "a.qolm", header, records));
    ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  }

  void EncodeAndOpen(std::string_view frames) {
    Encode(frames);
    ASSERT_EQ(shown_.size(), frames.size());
    Open(Header(static_cast<uint32_t>(frames.size())), records_);
  }

  void ExpectRestFrom(FrameDecoder& decoder, size_t first) {
    OutputFrame frame;
    for (size_t number = first; number < shown_.size(); ++number) {
      ASSERT_TRUE(decoder.next_frame(frame)) << number;
      ASSERT_TRUE(SamePicture(decoder.planes(), shown_[number])) << number;
      ASSERT_EQ(frame.presentation_tag, static_cast<int64_t>(number));
      ASSERT_EQ(frame.picture_id, decoder.picture_id());
    }
    EXPECT_FALSE(decoder.next_frame(frame));
    EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
  }

  // The planes of all frames from the decoder's position on.
  static std::vector<video::YuvPlanes> AllPictures(FrameDecoder& decoder) {
    std::vector<video::YuvPlanes> pictures;
    while (decoder.next_planes()) pictures.push_back(decoder.planes());
    return pictures;
  }

  test::TemporaryFolder folder_;
  std::vector<Record> records_;
  std::vector<video::YuvPlanes> shown_;  // by display number
  container::ContainerReader reader_;
};

constexpr std::string_view kMixed =
    "kccssccscsskccccsssscscccckscsscccccccsccssssscccckkcssccscc"
    "cssscckcssk";

TEST_F(DisplayOrderFileTest, PicturesAreInDisplayOrder) {
  EncodeAndOpen(kMixed);
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
}

TEST_F(DisplayOrderFileTest, RepeatsOfLaterPictureShareIt) {
  EncodeAndOpen("kcssssc");
  ASSERT_EQ(records_[1].type, RecordType::kRepeatRun);
  FrameDecoder decoder(reader_);
  std::vector<uint64_t> ids;
  while (decoder.next_planes()) ids.push_back(decoder.picture_id());
  ASSERT_EQ(ids.size(), 7U);
  EXPECT_THAT(std::vector(ids.begin() + 1, ids.end() - 1), Each(ids[1]));
  EXPECT_NE(ids[0], ids[1]);
  EXPECT_NE(ids[5], ids[6]);
}

TEST_F(DisplayOrderFileTest, SeeksMatchWithAndWithoutCaches) {
  EncodeAndOpen(kMixed);
  FrameDecoder warm(reader_);
  ExpectRestFrom(warm, 0);
  const auto frames = static_cast<int32_t>(shown_.size());
  for (int32_t step = 0; step < frames; ++step) {
    const int32_t number = step * 37 % frames;
    FrameDecoder fresh(reader_);
    for (FrameDecoder* decoder : {&fresh, &warm}) {
      ASSERT_TRUE(decoder->seek_to_frame(number));
      ASSERT_EQ(decoder->frames_delivered(), number);
      ExpectRestFrom(*decoder, static_cast<size_t>(number));
    }
  }
  EXPECT_FALSE(warm.seek_to_frame(frames));
}

TEST_F(DisplayOrderFileTest, SeekToEveryKeyFrame) {
  EncodeAndOpen(kMixed);
  std::vector<uint32_t> expected;
  for (uint32_t number = 0; number < kMixed.size(); ++number) {
    if (kMixed[number] == 'k') expected.push_back(number);
  }
  ASSERT_EQ(reader_.keyframes().size(), expected.size());
  FrameDecoder decoder(reader_);
  for (size_t entry = 0; entry < expected.size(); ++entry) {
    EXPECT_EQ(reader_.keyframes()[entry].frame_number, expected[entry]);
    ASSERT_TRUE(decoder.seek_to_key_frame(entry));
    ExpectRestFrom(decoder, expected[entry]);
  }
}

TEST_F(DisplayOrderFileTest, SnapshotsIncludePendingFrames) {
  EncodeAndOpen("kcccccccccccccccccccccccccccccccccccccccccccccccccc");
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
  const auto& snapshots = decoder.caches().snapshot_cache();
  ASSERT_THAT(snapshots, ElementsAre(Key(0), Key(15), Key(30), Key(45)));
  for (const auto& [number, snapshot] : snapshots) {
    EXPECT_TRUE(SamePicture(*snapshot.shown.planes, shown_[static_cast<size_t>(number)]));
    // Odd frames are shown while the anchor stored before them is pending.
    EXPECT_EQ(snapshot.order.pending().size(), number % 2 == 0 ? 0U : 1U);
  }
  EXPECT_TRUE(SamePicture(*snapshots.at(15).planes, shown_[16]));
  EXPECT_TRUE(SamePicture(*snapshots.at(15).secondary_ref, shown_[14]));
  // Of each odd snapshot three pictures, of the others two; of the first its key frame.
  const uint64_t picture_bytes = kWidth * kHeight * 3 / 2 + FrameCaches::kBookkeepingBytes;
  EXPECT_EQ(decoder.caches().bytes_held(), (1 + 3 + 2 + 3) * picture_bytes);
  for (const int32_t number : {16, 17, 29, 31, 46}) {
    ASSERT_TRUE(decoder.seek_to_frame(number));
    ExpectRestFrom(decoder, static_cast<size_t>(number));
  }
}

TEST_F(DisplayOrderFileTest, FrameCountEndsStreamWithPendingFrames) {
  Encode("kcssccc");
  for (uint32_t frames = 1; frames <= shown_.size(); ++frames) {
    Open(Header(frames), records_);
    FrameDecoder decoder(reader_);
    for (size_t number = 0; number < frames; ++number) {
      ASSERT_TRUE(decoder.next_planes());
      ASSERT_TRUE(SamePicture(decoder.planes(), shown_[number])) << number;
    }
    EXPECT_FALSE(decoder.next_planes());
    EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
    EXPECT_FALSE(decoder.seek_to_frame(static_cast<int32_t>(frames)));
  }
}

TEST_F(DisplayOrderFileTest, PendingFramesAreShownAfterLostFrame) {
  Encode("kcssc");
  records_.pop_back();  // the held frame
  Open(Header(5), records_);
  FrameDecoder decoder(reader_);
  const std::vector<video::YuvPlanes> pictures = AllPictures(decoder);
  ASSERT_EQ(pictures.size(), 4U);
  for (size_t i = 0; i < 3; ++i) EXPECT_TRUE(SamePicture(pictures[i], shown_[0]));
  EXPECT_TRUE(SamePicture(pictures[3], shown_[4]));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kFramesMissing);
}

TEST_F(DisplayOrderFileTest, PendingFramesAreShownBeforeDamagedRecord) {
  Encode("kcsscckcc");
  records_[3].payload.resize(10);  // the held frame
  Open(Header(9), records_);
  FrameDecoder decoder(reader_);
  const std::vector<video::YuvPlanes> pictures = AllPictures(decoder);
  ASSERT_EQ(pictures.size(), 4U);
  EXPECT_TRUE(SamePicture(pictures[2], shown_[0]));
  EXPECT_TRUE(SamePicture(pictures[3], shown_[4]));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  EXPECT_FALSE(decoder.next_planes());
  EXPECT_FALSE(decoder.seek_to_frame(5));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  ASSERT_TRUE(decoder.seek_to_frame(7)) << "the next key frame is sound";
  ExpectRestFrom(decoder, 7);
}

// A picture with display number 15 after the end of the readable records.
TEST_F(DisplayOrderFileTest, NoSnapshotAfterDamagedRecord) {
  Encode("kcccccccccccccccccccc");
  ASSERT_EQ(records_[16].type, RecordType::kBidirectionalFrame);
  ASSERT_EQ(records_[16].frame_no, 15);
  records_[16].payload.resize(10);
  Open(Header(21), records_);
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllPictures(decoder).size(), 16U);
  EXPECT_FALSE(decoder.seek_to_frame(17));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  EXPECT_EQ(decoder.frames_delivered(), 16);
}

TEST_F(DisplayOrderFileTest, FilesWithoutFlagAreInStoredOrder) {
  PictureCoder coder(kFlags, 55);
  std::vector<Record> records = {coder.Key(MovingPicture(kWidth, kHeight, 0))};
  std::vector<video::YuvPlanes> stored = {coder.reference()};
  for (const uint16_t number : std::initializer_list<uint16_t>{5, 5, 2, 60000, 1}) {
    records.push_back(coder.Predicted(MovingPicture(kWidth, kHeight, number)));
    records.back().frame_no = number;
    stored.push_back(coder.reference());
  }
  FileHeader header = Header(6);
  header.flags = kFlags & ~container::kFlagBidirectional;
  Open(header, records);
  FrameDecoder decoder(reader_);
  const std::vector<video::YuvPlanes> pictures = AllPictures(decoder);
  ASSERT_EQ(pictures.size(), stored.size());
  for (size_t i = 0; i < stored.size(); ++i) EXPECT_TRUE(SamePicture(pictures[i], stored[i])) << i;
}

TEST_F(DisplayOrderFileTest, BidirectionalFrameWithoutTheFlagIsMalformed) {
  Encode("kcc");
  FileHeader header = Header(3);
  header.flags = kFlags & ~container::kFlagBidirectional;
  Open(header, records_);
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllPictures(decoder).size(), 2U);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
}

TEST_F(DisplayOrderFileTest, BidirectionalFrameNeedsTwoAnchorsOfItsSize) {
  PictureCoder coder(kFlags, 55);
  const Record key = coder.Key(MovingPicture(kWidth, kHeight, 0));
  const Record predicted = coder.Predicted(MovingPicture(kWidth, kHeight, 2));
  const Record between = coder.Bidirectional(MovingPicture(kWidth, kHeight, 1));
  const Record other_size = coder.Key(MovingPicture(kWidth + 1, kHeight, 0));
  const auto frames_of = [&](const std::vector<Record>& records) {
    Open(Header(0), records);
    FrameDecoder decoder(reader_);
    const size_t frames = AllPictures(decoder).size();
    return std::pair(frames, decoder.stream_end());
  };
  EXPECT_EQ(frames_of({between}), std::pair(size_t{0}, StreamEnd::kDamagedRecord));
  EXPECT_EQ(frames_of({key, between}), std::pair(size_t{1}, StreamEnd::kDamagedRecord));
  EXPECT_EQ(frames_of({test::Repeat(2), key, between}),
            std::pair(size_t{3}, StreamEnd::kDamagedRecord))
      << "a blank picture is no anchor";
  EXPECT_EQ(frames_of({key, predicted, between}), std::pair(size_t{3}, StreamEnd::kFramesMissing));
  EXPECT_EQ(frames_of({key, other_size, between}), std::pair(size_t{2}, StreamEnd::kDamagedRecord));
  EXPECT_EQ(frames_of({other_size, key, between}), std::pair(size_t{2}, StreamEnd::kDamagedRecord));
}

TEST_F(DisplayOrderFileTest, AudioChunksBetweenPendingFramesAreCollected) {
  Encode("kccscc");
  for (size_t at = 0; at <= records_.size(); at += 2) {
    records_.insert(records_.begin() + static_cast<ptrdiff_t>(at), test::Sound({1, 2, 3}));
    records_[at].frame_no = 0;
  }
  FileHeader header = Header(6);
  header.flags |= container::kFlagInterleavedAudio;
  Open(header, records_);
  FrameDecoder decoder(reader_);
  ExpectRestFrom(decoder, 0);
}

TEST_F(DisplayOrderFileTest, DamagedNumberAffectsOrderUpToNextKeyFrame) {
  Encode("kccsscckcccccckccsscckccc");
  const std::vector<Record> intact = records_;
  for (const size_t bad : {1U, 2U, 3U}) {
    std::vector<Record> records = intact;
    for (const uint16_t number : std::initializer_list<uint16_t>{0, 40, 0x8001}) {
      records[bad].frame_no = number;
      Open(Header(static_cast<uint32_t>(shown_.size())), records);
      FrameDecoder decoder(reader_);
      const std::vector<video::YuvPlanes> linear = AllPictures(decoder);
      ASSERT_EQ(linear.size(), shown_.size());
      for (size_t frame = 14; frame < linear.size(); ++frame) {
        ASSERT_TRUE(SamePicture(linear[frame], shown_[frame])) << bad << " " << frame;
      }
      for (size_t frame = 0; frame < linear.size(); ++frame) {
        FrameDecoder fresh(reader_);
        for (FrameDecoder* other : {&fresh, &decoder}) {
          ASSERT_TRUE(other->seek_to_frame(static_cast<int32_t>(frame)));
          ASSERT_TRUE(other->next_planes());
          ASSERT_TRUE(SamePicture(other->planes(), linear[frame])) << bad << " " << frame;
        }
      }
    }
  }
}

// For any numbers each picture is shown once, and seeking matches decoding from the start.
TEST_F(DisplayOrderFileTest, InconsistentNumbersLoseNoFramesAndSeekConsistently) {
  Encode("kccsscckccscccckcsskcccc");
  const std::vector<Record> intact = records_;
  const size_t frames = shown_.size();
  for (unsigned seed = 0; seed < 60; ++seed) {
    std::mt19937 random(seed);
    std::vector<Record> records = intact;
    for (Record& record : records) {
      if (random() % 8 == 0) record.frame_no = static_cast<uint16_t>(random() % (frames + seed));
    }
    if (seed % 4 == 0) {
      std::swap(records[random() % records.size()], records[random() % records.size()]);
    }
    Open(Header(static_cast<uint32_t>(frames)), records);
    FrameDecoder decoder(reader_);
    const std::vector<video::YuvPlanes> linear = AllPictures(decoder);
    if (decoder.stream_end() == StreamEnd::kComplete) {
      ASSERT_EQ(linear.size(), frames) << seed;
    }
    for (size_t step = 0; step < linear.size(); ++step) {
      const size_t number = step * 7 % linear.size();
      FrameDecoder fresh(reader_);
      for (FrameDecoder* other : {&fresh, &decoder}) {
        ASSERT_TRUE(other->seek_to_frame(static_cast<int32_t>(number))) << seed << " " << number;
        const std::vector<video::YuvPlanes> rest = AllPictures(*other);
        ASSERT_EQ(rest.size(), linear.size() - number) << seed << " " << number;
        for (size_t i = 0; i < rest.size(); ++i) {
          ASSERT_TRUE(SamePicture(rest[i], linear[number + i])) << seed << " " << number + i;
        }
      }
    }
    for (size_t entry = 0; entry < reader_.keyframes().size(); ++entry) {
      FrameDecoder fresh(reader_);
      if (!fresh.seek_to_key_frame(entry)) continue;  // after a damaged record
      const auto number = static_cast<size_t>(fresh.frames_delivered());
      ASSERT_TRUE(fresh.next_planes()) << seed << " " << entry;
      if (number < linear.size()) {
        ASSERT_TRUE(SamePicture(fresh.planes(), linear[number])) << seed << " " << entry;
      }
    }
  }
}

}  // namespace
}  // namespace qolm::decoder
