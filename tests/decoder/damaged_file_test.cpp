// SPDX-License-Identifier: MIT
//
// Opening and decoding a damaged file terminates, respects the frame count and does not
// crash (under the sanitizers).
#include <gtest/gtest.h>

#include <algorithm>

#include "decoder/frame_decoder.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using test::MovingPicture;
using test::Record;

class DamagedFileTest : public testing::Test {
 protected:
  // A file of key, predicted, repeat and audio records after an audio block.
  std::vector<uint8_t> WholeFile(bool fast_start) {
    container::FileHeader header = test::PlainHeader(17, 11);
    header.flags |=
        container::kFlagCclc | container::kFlagDeblocking | container::kFlagMotionPrediction;
    test::PictureCoder coder(header.flags, 30);
    const std::vector<Record> records = {
        coder.Key(MovingPicture(17, 11, 0)), coder.Predicted(MovingPicture(17, 11, 1)),
        test::Repeat(3), test::Sound({1, 2}), coder.Predicted(MovingPicture(17, 11, 2))};
    return Write(header, records, fast_start);
  }

  // A file whose frames are not stored in display order:
  // 1@0 5x2@2 2@4 4@1 8 2@5 1@6.
  std::vector<uint8_t> WholeFileOfHeldFrames(bool fast_start) {
    container::FileHeader header = test::PlainHeader(17, 11);
    header.flags |= container::kFlagBidirectional | container::kFlagCclc |
                    container::kFlagDeblocking | container::kFlagMotionPrediction;
    test::PictureCoder coder(header.flags, 30);
    std::vector<Record> records = {coder.Key(MovingPicture(17, 11, 0)),
                                   test::Repeat(2),
                                   coder.Predicted(MovingPicture(17, 11, 4)),
                                   coder.Bidirectional(MovingPicture(17, 11, 1)),
                                   test::Sound({1, 2}),
                                   coder.Predicted(MovingPicture(17, 11, 5)),
                                   coder.Key(MovingPicture(17, 11, 6))};
    records[1].frame_no = 2;
    records[2].frame_no = 4;
    records[3].frame_no = 1;
    return Write(header, records, fast_start);
  }

  std::vector<uint8_t> Write(container::FileHeader header, const std::vector<Record>& records,
                             bool fast_start) {
    header.frame_count = test::FrameCount(records);
    frames_ = static_cast<int32_t>(header.frame_count);
    media_records_ = records.size();
    EXPECT_TRUE(test::WriteContainerFile(Path(), header, records, {fast_start, {7, 7, 7}}));
    EXPECT_EQ(Decode(), frames_);
    return test::ReadBytes(Path());
  }

  std::filesystem::path Path() const { return folder_ / "a.qolm"; }

  // As a new file: a file system may bring each overwritten one to the disk at
  // once, which is slow thousands of times over.
  void Replace(std::span<const uint8_t> bytes) {
    std::filesystem::remove(Path());
    test::WriteBytes(Path(), bytes);
  }

  // Decodes the file; returns the number of frames, or -1 when the file is rejected.
  int32_t Decode() {
    container::ContainerReader reader;
    if (!reader.open(Path())) return -1;
    FrameDecoder decoder(reader);
    OutputFrame frame;
    while (decoder.next_frame(frame)) {
      EXPECT_EQ(frame.pixels.size(),
                static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height) * 4);
    }
    EXPECT_NE(decoder.stream_end(), StreamEnd::kNotReached);
    if (reader.header().frame_count != 0) {
      EXPECT_LE(static_cast<uint32_t>(decoder.frames_delivered()), reader.header().frame_count);
    }
    return decoder.frames_delivered();
  }

  // Truncates the file to every length in [first, last).
  void CutEverywhere(const std::vector<uint8_t>& bytes, size_t first, size_t last) {
    int32_t most = -1;
    for (size_t length = first; length < last; ++length) {
      Replace(std::span(bytes).first(length));
      const int32_t frames = Decode();
      EXPECT_LE(frames, frames_);
      if (length < container::kFileHeaderBytes) {
        EXPECT_EQ(frames, -1);
      }
      most = std::max(most, frames);
    }
    EXPECT_GE(most, frames_ - 1)
        << "a cut behind the last records still shows the frames before it";
  }

  // Flips every single bit of the bytes [first, last).
  void FlipEverywhere(std::vector<uint8_t> bytes, size_t first, size_t last) {
    for (size_t position = first; position < last; ++position) {
      for (int bit = 0; bit < 8; ++bit) {
        bytes[position] ^= static_cast<uint8_t>(1 << bit);
        Replace(bytes);
        Decode();
        bytes[position] ^= static_cast<uint8_t>(1 << bit);
      }
    }
    Replace(bytes);
    EXPECT_EQ(Decode(), frames_);
  }

  // The offset of the first record after a front index, and the end of the index entries.
  static constexpr size_t kFrontIndexAt = 48 + 8 + 3;
  static size_t MediaBegin() {
    return kFrontIndexAt + 8 + container::front_index_payload_bytes(8192);
  }
  size_t FrontIndexEnd() const { return kFrontIndexAt + 8 + 4 + 8 * (media_records_ + 1); }

  test::TemporaryFolder folder_;
  int32_t frames_ = 0;
  size_t media_records_ = 0;
};

TEST_F(DamagedFileTest, TruncationAtEveryByte) {
  const std::vector<uint8_t> bytes = WholeFile(false);
  CutEverywhere(bytes, 0, bytes.size());
}

TEST_F(DamagedFileTest, TruncationAfterFrontIndex) {
  const std::vector<uint8_t> bytes = WholeFile(true);
  ASSERT_GT(bytes.size(), MediaBegin());
  CutEverywhere(bytes, MediaBegin(), bytes.size());
}

TEST_F(DamagedFileTest, TruncationWithHeldFrames) {
  const std::vector<uint8_t> bytes = WholeFileOfHeldFrames(false);
  CutEverywhere(bytes, kFrontIndexAt, bytes.size());
}

TEST_F(DamagedFileTest, TruncationWithHeldFramesAfterFrontIndex) {
  const std::vector<uint8_t> bytes = WholeFileOfHeldFrames(true);
  ASSERT_GT(bytes.size(), MediaBegin());
  CutEverywhere(bytes, MediaBegin(), bytes.size());
}

TEST_F(DamagedFileTest, SingleBitFlips) {
  const std::vector<uint8_t> bytes = WholeFile(false);
  FlipEverywhere(bytes, 0, bytes.size());
}

TEST_F(DamagedFileTest, SingleBitFlipsInHeadAndFrontIndex) {
  const std::vector<uint8_t> bytes = WholeFile(true);
  FlipEverywhere(bytes, 0, FrontIndexEnd());
}

TEST_F(DamagedFileTest, SingleBitFlipsWithHeldFrames) {
  const std::vector<uint8_t> bytes = WholeFileOfHeldFrames(false);
  FlipEverywhere(bytes, 0, bytes.size());
}

// The same records after a front index.
TEST_F(DamagedFileTest, SingleBitFlipsInHeadAndFrontIndexWithHeldFrames) {
  const std::vector<uint8_t> bytes = WholeFileOfHeldFrames(true);
  FlipEverywhere(bytes, 0, FrontIndexEnd());
}

TEST_F(DamagedFileTest, RandomBytesAfterValidHeader) {
  const std::vector<uint8_t> whole = WholeFile(false);
  uint32_t state = 12345;
  for (int round = 0; round < 500; ++round) {
    std::vector<uint8_t> bytes(whole.begin(), whole.begin() + 48);
    for (int i = 0; i < 200; ++i) {
      state = state * 1664525 + 1013904223;
      bytes.push_back(static_cast<uint8_t>((state >> 24) % (i % 8 == 0 ? 9 : 255)));
    }
    Replace(bytes);
    EXPECT_GE(Decode(), 0);
  }
}

}  // namespace
}  // namespace qolm::decoder
