// SPDX-License-Identifier: MIT
#include "decoder/frame_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using container::ContainerReader;
using container::FileHeader;
using container::RecordType;
using test::FlatPicture;
using test::MovingPicture;
using test::PictureCoder;
using test::PlainHeader;
using test::Record;
using test::Repeat;
using test::SamePicture;
using test::Sound;
using testing::Each;

class FrameDecoderTest : public testing::Test {
 protected:
  void Open(const FileHeader& header, const std::vector<Record>& records,
            const test::FileOptions& options = {}) {
    ASSERT_TRUE(test::WriteContainerFile(folder_ / "a.qolm", header, records, options));
    ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  }

  static std::vector<OutputFrame> AllFrames(FrameDecoder& decoder) {
    std::vector<OutputFrame> frames;
    OutputFrame frame;
    while (decoder.next_frame(frame)) frames.push_back(frame);
    return frames;
  }

  test::TemporaryFolder folder_;
  ContainerReader reader_;
};

TEST_F(FrameDecoderTest, RepeatRunDeliversItsCountAfterAKeyFrame) {
  PictureCoder coder(0x003E, 60);
  FileHeader header = PlainHeader(20, 12);
  header.frame_count = 4;
  Open(header, {coder.Key(MovingPicture(20, 12, 0)), Repeat(3)});
  FrameDecoder decoder(reader_);
  const std::vector<OutputFrame> frames = AllFrames(decoder);
  ASSERT_EQ(frames.size(), 4U);
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].width, 20);
    EXPECT_EQ(frames[i].height, 12);
    EXPECT_EQ(frames[i].pixels, frames[0].pixels);
    EXPECT_EQ(frames[i].presentation_tag, static_cast<int64_t>(i));
  }
  std::vector<uint8_t> expected;
  video::ConvertYuvToPacked(coder.reference(), video::PixelOrder::kRgba, expected);
  EXPECT_EQ(frames[0].pixels, expected);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
  EXPECT_EQ(decoder.frames_delivered(), 4);
}

TEST_F(FrameDecoderTest, RepeatRunAtStartShowsZeroPicture) {
  FileHeader header = PlainHeader(5, 3);
  header.frame_count = 2;
  Open(header, {Repeat(2)});
  FrameDecoder decoder(reader_);
  EXPECT_TRUE(decoder.planes().Empty());
  const std::vector<OutputFrame> frames = AllFrames(decoder);
  ASSERT_EQ(frames.size(), 2U);
  ASSERT_EQ(frames[0].pixels.size(), 5U * 3 * 4);
  // Y = U = V = 0 gives R = B = 0 and G = (298 * -16 + 308 * 128 + 128) >> 8.
  for (size_t i = 0; i < frames[0].pixels.size(); i += 4) {
    EXPECT_EQ(frames[0].pixels[i], 0);
    EXPECT_EQ(frames[0].pixels[i + 1], 135);
    EXPECT_EQ(frames[0].pixels[i + 2], 0);
    EXPECT_EQ(frames[0].pixels[i + 3], 255);
  }
  EXPECT_EQ(frames[1].pixels, frames[0].pixels);
}

TEST_F(FrameDecoderTest, RepeatRunsOf255Frames) {
  Open(PlainHeader(2, 2), {Repeat(255), Repeat(250)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 505U);
}

TEST_F(FrameDecoderTest, RepeatRunOfCountZeroDeliversOneFrame) {
  Open(PlainHeader(2, 2), {Repeat(0), Repeat(2)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 3U);
}

TEST_F(FrameDecoderTest, FrameCountOfHeaderEndsRepeatRun) {
  FileHeader header = PlainHeader(4, 4);
  header.frame_count = 7;
  Open(header, {Repeat(5), Repeat(5)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 7U);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
}

TEST_F(FrameDecoderTest, FrameCountOfHeaderEndsStream) {
  PictureCoder coder(0x003E, 50);
  FileHeader header = PlainHeader(8, 8);
  header.frame_count = 2;
  Open(header, {coder.Key(MovingPicture(8, 8, 0)), coder.Key(MovingPicture(8, 8, 1)),
                coder.Key(MovingPicture(8, 8, 2))});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 2U);
}

TEST_F(FrameDecoderTest, MissingRecordsAreReported) {
  FileHeader header = PlainHeader(4, 4);
  header.frame_count = 9;
  Open(header, {Repeat(5)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 5U);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kFramesMissing);
}

TEST_F(FrameDecoderTest, FrameCountZeroDecodesEveryRecord) {
  Open(PlainHeader(4, 4), {Repeat(3)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 3U);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kFramesMissing);
}

TEST_F(FrameDecoderTest, FileWithoutRecordsAllocatesNothing) {
  Open(PlainHeader(16384, 16384), {});
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  EXPECT_FALSE(decoder.next_frame(frame));
  EXPECT_FALSE(decoder.next_planes());
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
  EXPECT_TRUE(decoder.planes().Empty());
  EXPECT_TRUE(frame.pixels.empty());
  EXPECT_EQ(decoder.decode_audio().samples.size(), 0U);
}

TEST_F(FrameDecoderTest, ClosedReaderDeliversNothing) {
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  EXPECT_FALSE(decoder.next_frame(frame));
  EXPECT_FALSE(decoder.seek_to_frame(0));
}

TEST_F(FrameDecoderTest, AudioRecordsAreSkipped) {
  PictureCoder coder(0x003E, 50);
  FileHeader header = PlainHeader(16, 16);
  header.flags |= container::kFlagInterleavedAudio;
  header.frame_count = 4;
  Open(header, {Sound({1, 2, 3}), coder.Key(MovingPicture(16, 16, 0)), Sound({}), Sound({9}),
                Repeat(2), Sound({4, 4}), coder.Predicted(MovingPicture(16, 16, 1)), Sound({5})});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 4U);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kComplete);
}

TEST_F(FrameDecoderTest, ManyAudioRecordsDoNotOverflowTheStack) {
  std::vector<Record> records(100'000, Sound({}));
  records.push_back(Repeat(1));
  Open(PlainHeader(2, 2), records);
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 1U);
}

TEST_F(FrameDecoderTest, IndexRecordsAmongTheMediaAreSkipped) {
  Open(PlainHeader(2, 2), {Repeat(1), {RecordType::kIndex, 0, {0, 0, 0, 0}}, Repeat(1)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 2U);
}

TEST_F(FrameDecoderTest, MidGreyIsPreservedInBothPixelOrders) {
  PictureCoder coder(0x003E, 100);
  Open(PlainHeader(16, 16), {coder.Key(FlatPicture(16, 16, 126, 128, 128))});
  ASSERT_THAT(coder.reference().y, Each(126));
  ASSERT_THAT(coder.reference().cb, Each(128));
  for (const video::PixelOrder order : {video::PixelOrder::kRgba, video::PixelOrder::kBgra}) {
    FrameDecoder decoder(reader_, order);
    OutputFrame frame;
    ASSERT_TRUE(decoder.next_frame(frame));
    for (size_t i = 0; i < frame.pixels.size(); i += 4) {
      ASSERT_EQ(frame.pixels[i], 128);
      ASSERT_EQ(frame.pixels[i + 1], 128);
      ASSERT_EQ(frame.pixels[i + 2], 128);
      ASSERT_EQ(frame.pixels[i + 3], 255);
    }
  }
}

TEST_F(FrameDecoderTest, PixelOrderSwapsRedAndBlue) {
  PictureCoder coder(0x003E, 90);
  Open(PlainHeader(17, 9), {coder.Key(MovingPicture(17, 9, 0))});
  FrameDecoder rgba(reader_);
  FrameDecoder bgra(reader_, video::PixelOrder::kBgra);
  OutputFrame a;
  OutputFrame b;
  ASSERT_TRUE(rgba.next_frame(a));
  ASSERT_TRUE(bgra.next_frame(b));
  ASSERT_EQ(a.pixels.size(), b.pixels.size());
  for (size_t i = 0; i < a.pixels.size(); i += 4) {
    EXPECT_EQ(a.pixels[i], b.pixels[i + 2]);
    EXPECT_EQ(a.pixels[i + 1], b.pixels[i + 1]);
    EXPECT_EQ(a.pixels[i + 2], b.pixels[i]);
  }
}

TEST_F(FrameDecoderTest, RepeatDoesNotRewriteCurrentPixels) {
  Open(PlainHeader(4, 4), {Repeat(3)});
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_frame(frame));
  const uint8_t* const storage = frame.pixels.data();
  frame.pixels[0] = 77;  // would be overwritten if the picture were delivered again
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_EQ(frame.pixels.data(), storage);
  EXPECT_EQ(frame.pixels[0], 77);
  EXPECT_EQ(frame.presentation_tag, 1);
  frame.picture_id = 0;
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_EQ(frame.pixels[0], 0);
}

TEST_F(FrameDecoderTest, RepeatFillsOtherOrClearedFrame) {
  Open(PlainHeader(4, 4), {Repeat(4)});
  FrameDecoder decoder(reader_);
  OutputFrame a;
  OutputFrame b;
  ASSERT_TRUE(decoder.next_frame(a));
  ASSERT_TRUE(decoder.next_frame(b));
  EXPECT_EQ(a.pixels, b.pixels);
  std::vector<uint8_t> taken = std::move(a.pixels);
  a.pixels.clear();
  ASSERT_TRUE(decoder.next_frame(a));
  EXPECT_EQ(a.pixels, taken);
  FrameDecoder other(reader_, video::PixelOrder::kBgra);
  ASSERT_TRUE(other.next_frame(a));
  EXPECT_EQ(a.presentation_tag, 0);
  EXPECT_EQ(a.pixels[1], 135);
}

TEST_F(FrameDecoderTest, PlanesAndFramesCanBeMixed) {
  PictureCoder coder(0x003E, 70);
  std::vector<Record> records = {coder.Key(MovingPicture(24, 16, 0))};
  const video::YuvPlanes first = coder.reference();
  records.push_back(coder.Predicted(MovingPicture(24, 16, 1)));
  records.push_back(Repeat(2));
  const video::YuvPlanes second = coder.reference();
  Open(PlainHeader(24, 16), records);
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_planes());
  EXPECT_TRUE(SamePicture(decoder.planes(), first));
  const uint64_t first_id = decoder.picture_id();
  ASSERT_TRUE(decoder.next_planes());
  EXPECT_TRUE(SamePicture(decoder.planes(), second));
  EXPECT_NE(decoder.picture_id(), first_id);
  ASSERT_TRUE(decoder.next_frame(frame));
  std::vector<uint8_t> expected;
  video::ConvertYuvToPacked(second, video::PixelOrder::kRgba, expected);
  EXPECT_EQ(frame.pixels, expected);
  EXPECT_EQ(frame.picture_id, decoder.picture_id());
  ASSERT_TRUE(decoder.next_planes());
  EXPECT_EQ(decoder.picture_id(), frame.picture_id);
  EXPECT_FALSE(decoder.next_planes());
}

class BadRecordTest : public FrameDecoderTest, public testing::WithParamInterface<int> {};

TEST_P(BadRecordTest, RecordTypesWithoutAPictureEndTheStream) {
  const auto type = static_cast<RecordType>(GetParam());
  FileHeader header = PlainHeader(4, 4);
  header.flags |= container::kFlagBidirectional;
  header.frame_count = 3;
  Open(header, {Repeat(1), {type, 0, {1, 2, 3, 4, 5, 6, 7, 8}}, Repeat(1)});
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_FALSE(decoder.next_frame(frame));
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  EXPECT_EQ(decoder.frames_delivered(), 1);
  EXPECT_FALSE(decoder.next_frame(frame)) << "a damaged record ends the stream for good";
}

INSTANTIATE_TEST_SUITE_P(Types, BadRecordTest, testing::Values(0, 1, 2, 3, 4, 6, 9, 255));

TEST_F(FrameDecoderTest, EmptyPayloadsAreMalformed) {
  for (const RecordType type : {RecordType::kKeyFrame, RecordType::kPredictedFrame}) {
    Open(PlainHeader(4, 4), {{type, 0, {}}});
    FrameDecoder decoder(reader_);
    EXPECT_FALSE(decoder.next_planes());
    EXPECT_EQ(decoder.stream_end(), StreamEnd::kDamagedRecord);
  }
}

TEST_F(FrameDecoderTest, TruncatedRecordEndsStream) {
  PictureCoder coder(0x003E, 50);
  Open(PlainHeader(16, 16), {Repeat(2), coder.Key(MovingPicture(16, 16, 0))});
  std::vector<uint8_t> bytes = test::ReadBytes(folder_ / "a.qolm");
  // The key frame's size, 4 bytes into its header, now extends past the end of the file.
  bytes[48 + 8 + 6] = 0xFF;
  test::WriteBytes(folder_ / "a.qolm", bytes);
  ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  FrameDecoder decoder(reader_);
  EXPECT_EQ(AllFrames(decoder).size(), 2U);
}

TEST_F(FrameDecoderTest, KeyFrameMayChangeTheSize) {
  PictureCoder coder(0x003E, 50);
  std::vector<Record> records = {coder.Key(MovingPicture(16, 16, 0))};
  records.push_back(coder.Key(MovingPicture(9, 31, 0)));
  records.push_back(Repeat(1));
  Open(PlainHeader(16, 16), records);
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_EQ(frame.width, 16);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(decoder.next_frame(frame));
    EXPECT_EQ(frame.width, 9);
    EXPECT_EQ(frame.height, 31);
    EXPECT_EQ(frame.pixels.size(), 9U * 31 * 4);
  }
}

// Runs of 255 frames up to a key frame near the last number, and one more run.
TEST_F(FrameDecoderTest, FrameCountStopsAtMaximum) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  constexpr int32_t kRun = 255;
  constexpr int32_t kRuns = (kMost - 100) / kRun;
  constexpr int32_t kKeyFrame = kRuns * kRun;
  FileHeader header = PlainHeader(8, 8);
  header.frame_count = 0xFFFFFFFF;
  PictureCoder coder(header.flags, 60);
  const Record key_frame = coder.Key(MovingPicture(8, 8, 0));
  {
    std::ofstream file(folder_ / "a.qolm", std::ios::binary);
    const auto put = [&file](const auto& bytes) {
      file.write(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
    };
    const auto run = container::EncodeRecordHeader({RecordType::kRepeatRun, kRun, 0, 0});
    put(container::EncodeFileHeader(header));
    std::vector<uint8_t> runs;
    for (int32_t i = 0; i < kRuns; ++i) runs.insert(runs.end(), run.begin(), run.end());
    put(runs);
    put(container::EncodeRecordHeader(
        {RecordType::kKeyFrame, 0, 0, static_cast<uint32_t>(key_frame.payload.size())}));
    put(key_frame.payload);
    put(run);
  }
  ASSERT_TRUE(reader_.open(folder_ / "a.qolm"));
  FrameDecoder decoder(reader_, video::PixelOrder::kRgba, 0);
  ASSERT_TRUE(decoder.seek_to_frame(kKeyFrame));
  int32_t delivered = 0;
  while (decoder.next_planes()) ++delivered;
  EXPECT_EQ(delivered, kMost - kKeyFrame);
  EXPECT_EQ(decoder.frames_delivered(), kMost);
  EXPECT_EQ(decoder.stream_end(), StreamEnd::kFramesMissing);
  EXPECT_TRUE(SamePicture(decoder.planes(), coder.reference()));
  EXPECT_TRUE(decoder.seek_to_frame(kMost - 1));
  EXPECT_TRUE(decoder.next_planes());
  EXPECT_FALSE(decoder.next_planes());
}

TEST_F(FrameDecoderTest, LayoutsAndAudioBlockGiveSameFrames) {
  PictureCoder coder(0x003E, 50);
  const std::vector<Record> records = {coder.Key(MovingPicture(16, 16, 0)), Repeat(2)};
  for (const bool fast_start : {false, true}) {
    Open(PlainHeader(16, 16), records, {fast_start, {1, 2, 3, 4, 5}});
    FrameDecoder decoder(reader_);
    EXPECT_EQ(AllFrames(decoder).size(), 3U);
    EXPECT_TRUE(SamePicture(decoder.planes(), coder.reference()));
  }
}

}  // namespace
}  // namespace qolm::decoder
