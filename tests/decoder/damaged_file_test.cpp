// Whatever happens to the bytes of a file, opening and decoding it ends, stays
// within the frame count and does not crash (run it under the sanitizers).
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
  // A file of key, predicted, repeat and sound records behind an audio block.
  std::vector<uint8_t> WholeFile(bool fast_start) {
    container::FileHeader header = test::PlainHeader(17, 11);
    header.flags |=
        container::kFlagCclc | container::kFlagDeblocking | container::kFlagMotionPrediction;
    test::PictureCoder coder(header.flags, 30);
    const std::vector<Record> records = {
        coder.Key(MovingPicture(17, 11, 0)), coder.Predicted(MovingPicture(17, 11, 1)),
        test::Repeat(3), test::Sound({1, 2}), coder.Predicted(MovingPicture(17, 11, 2))};
    header.frame_count = test::FrameCount(records);
    EXPECT_TRUE(test::WriteContainerFile(Path(), header, records, {fast_start, {7, 7, 7}}));
    EXPECT_EQ(Decode(), 6);
    return test::ReadBytes(Path());
  }

  std::filesystem::path Path() const { return folder_ / "a.qolm"; }

  // As a new file: a file system may bring each overwritten one to the disk at
  // once, which is slow thousands of times over.
  void Replace(std::span<const uint8_t> bytes) {
    std::filesystem::remove(Path());
    test::WriteBytes(Path(), bytes);
  }

  // Decodes what is there; gives the frames, or -1 when the file is refused.
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

  // Cuts the file at every length in [first, last).
  void CutEverywhere(const std::vector<uint8_t>& bytes, size_t first, size_t last) {
    int32_t most = -1;
    for (size_t length = first; length < last; ++length) {
      Replace(std::span(bytes).first(length));
      const int32_t frames = Decode();
      EXPECT_LE(frames, 6);
      if (length < container::kFileHeaderBytes) {
        EXPECT_EQ(frames, -1);
      }
      most = std::max(most, frames);
    }
    EXPECT_GE(most, 5) << "a cut behind the last records still shows the frames before it";
  }

  // Flips every bit of bytes [first, last) alone.
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
    EXPECT_EQ(Decode(), 6);
  }

  test::TemporaryFolder folder_;
};

TEST_F(DamagedFileTest, CutAtEveryByte) {
  const std::vector<uint8_t> bytes = WholeFile(false);
  CutEverywhere(bytes, 0, bytes.size());
}

TEST_F(DamagedFileTest, CutAtEveryByteBehindAFrontIndex) {
  const std::vector<uint8_t> bytes = WholeFile(true);
  const size_t media = 48 + 8 + 3 + 8 + container::front_index_payload_bytes(8192);
  ASSERT_GT(bytes.size(), media);
  CutEverywhere(bytes, media, bytes.size());
}

TEST_F(DamagedFileTest, EveryBitFlipped) {
  const std::vector<uint8_t> bytes = WholeFile(false);
  FlipEverywhere(bytes, 0, bytes.size());
}

TEST_F(DamagedFileTest, EveryBitOfHeadAndFrontIndexFlipped) {
  const std::vector<uint8_t> bytes = WholeFile(true);
  FlipEverywhere(bytes, 0, 48 + 8 + 3 + 8 + 4 + 8 * 6);
}

TEST_F(DamagedFileTest, RandomBytesBehindAWholeHeader) {
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
