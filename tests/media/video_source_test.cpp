// SPDX-License-Identifier: MIT
#include "media/video_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/media_scripted_framework.h"

namespace qolm::media {
namespace {

using ::qolm::test::Script;
using ::qolm::test::ScriptedFramework;
using ::qolm::test::ScriptedSample;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// The source pixel at (x, y): blue, green and red tell the place, the fourth
// byte is noise.
void PutPixel(std::vector<uint8_t>& bytes, size_t offset, int x, int y) {
  bytes.at(offset) = static_cast<uint8_t>(x);
  bytes.at(offset + 1) = static_cast<uint8_t>(y);
  bytes.at(offset + 2) = static_cast<uint8_t>(x ^ (y * 7));
  bytes.at(offset + 3) = 0x5a;
}

// `memory_rows` rows of `stride` bytes, of which the first hold the picture's
// rows in the given order; 0xee everywhere else.
std::vector<uint8_t> Memory(int width, int height, size_t stride, int memory_rows,
                            bool bottom_up = false) {
  std::vector<uint8_t> bytes(stride * static_cast<size_t>(memory_rows), 0xee);
  for (int y = 0; y < height; ++y) {
    const auto row = static_cast<size_t>(bottom_up ? height - 1 - y : y);
    for (int x = 0; x < width; ++x) {
      PutPixel(bytes, row * stride + static_cast<size_t>(x) * 4, x, y);
    }
  }
  return bytes;
}

std::vector<uint8_t> ExpectedPixels(int width, int height) {
  std::vector<uint8_t> pixels;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      pixels.push_back(static_cast<uint8_t>(x ^ (y * 7)));
      pixels.push_back(static_cast<uint8_t>(y));
      pixels.push_back(static_cast<uint8_t>(x));
      pixels.push_back(255);
    }
  }
  return pixels;
}

class VideoSourceTest : public ::testing::Test {
 protected:
  VideoSourceTest() {
    script_.size = VideoReader::FrameSize{6, 4};
    script_.rate = VideoReader::FrameRate{25, 1};
    script_.duration = 20'000'000;
  }

  ScriptedSample Linear(std::vector<uint8_t> bytes, int64_t timestamp = 0) {
    ScriptedSample sample;
    sample.bytes = std::move(bytes);
    sample.timestamp = timestamp;
    return sample;
  }

  // Reads one frame of the script's size out of linear memory.
  VideoFrame ReadLinear(std::vector<uint8_t> bytes) {
    script_.samples.push_back(Linear(std::move(bytes)));
    EXPECT_TRUE(source_.Open("clip.mp4"));
    VideoFrame frame;
    EXPECT_TRUE(source_.ReadNextFrame(frame));
    EXPECT_EQ(script_.locks, 0);
    return frame;
  }

  Script script_;
  VideoSource source_{std::make_unique<ScriptedFramework>(script_)};
};

TEST_F(VideoSourceTest, HasDefaultsBeforeItIsOpened) {
  EXPECT_EQ(source_.width(), 0);
  EXPECT_EQ(source_.height(), 0);
  EXPECT_EQ(source_.stride(), 0);
  EXPECT_EQ(source_.fps_numerator(), 30);
  EXPECT_EQ(source_.fps_denominator(), 1);
  EXPECT_EQ(source_.frame_count(), 0);
  EXPECT_EQ(source_.duration_ms(), 0);
  VideoFrame frame;
  EXPECT_FALSE(source_.ReadNextFrame(frame));
  EXPECT_TRUE(frame.pixels.empty());
}

TEST_F(VideoSourceTest, AsksInOrderAndWithAnAbsolutePath) {
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_THAT(script_.calls, ElementsAre("open hardware=1 processing=1", "deselect all",
                                         "select first video", "output rgb32"));
  EXPECT_THAT(script_.paths, ElementsAre(std::filesystem::absolute("clip.mp4")));
  EXPECT_EQ(source_.failure_reason(), "");
}

TEST_F(VideoSourceTest, TriesOnceMoreWithoutAttributes) {
  script_.opens_that_fail = 1;
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_THAT(script_.calls, ElementsAre("open hardware=1 processing=1", "open without attributes",
                                         "deselect all", "select first video", "output rgb32"));
  EXPECT_EQ(script_.readers, 1);
}

TEST_F(VideoSourceTest, FailsWhenBothTriesFail) {
  script_.opens_that_fail = 2;
  script_.open_failure = "No such file or directory";
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_EQ(script_.calls.size(), 2u);
  EXPECT_EQ(source_.failure_reason(), "No such file or directory");
}

TEST_F(VideoSourceTest, NamesAReasonEvenWhenTheFrameworkHasNone) {
  script_.opens_that_fail = 2;
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_NE(source_.failure_reason(), "");
}

TEST_F(VideoSourceTest, AnEmptyPathIsNoFile) {
  EXPECT_FALSE(source_.Open(""));
  EXPECT_EQ(source_.failure_reason(), "No such file or directory");
  EXPECT_THAT(script_.calls, ElementsAre());
}

TEST_F(VideoSourceTest, FailsWithoutTheOutputTypeAndReleasesTheReader) {
  script_.output_succeeds = false;
  script_.reader_failure = "no video stream";
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.failure_reason(), "no video stream");
  EXPECT_EQ(script_.held, 0);
  VideoFrame frame;
  EXPECT_FALSE(source_.ReadNextFrame(frame));
}

TEST_F(VideoSourceTest, ARefusedSelectionAloneIsNoFailure) {
  script_.selection_succeeds = false;
  EXPECT_TRUE(source_.Open("clip.mp4"));
}

TEST_F(VideoSourceTest, ARefusedSelectionNamesTheFailureThatFollows) {
  script_.output_succeeds = false;
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.failure_reason(), "the video cannot be decoded");
  script_.selection_succeeds = false;
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.failure_reason(), "no video stream");
}

TEST_F(VideoSourceTest, FailsWithoutAFrameSize) {
  script_.size.reset();
  EXPECT_FALSE(source_.Open("clip.mp4"));
  EXPECT_NE(source_.failure_reason(), "");
  EXPECT_EQ(script_.held, 0);
}

TEST_F(VideoSourceTest, FailsWhenEitherSideIsZeroOrNegative) {
  for (const VideoReader::FrameSize size :
       {VideoReader::FrameSize{0, 4}, VideoReader::FrameSize{6, 0},
        VideoReader::FrameSize{0x80000000u, 4}, VideoReader::FrameSize{6, 0xffffffffu}}) {
    script_.size = size;
    EXPECT_FALSE(source_.Open("clip.mp4")) << size.width << "x" << size.height;
  }
}

TEST_F(VideoSourceTest, TakesTheFrameRate) {
  script_.rate = VideoReader::FrameRate{30000, 1001};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.fps_numerator(), 30000);
  EXPECT_EQ(source_.fps_denominator(), 1001);
}

TEST_F(VideoSourceTest, AMissingOrZeroFrameRateIs30) {
  const std::optional<VideoReader::FrameRate> rates[] = {std::nullopt, VideoReader::FrameRate{0, 1},
                                                         VideoReader::FrameRate{25, 0}};
  for (const auto& rate : rates) {
    script_.rate = VideoReader::FrameRate{24, 1};
    ASSERT_TRUE(source_.Open("before.mp4"));
    script_.rate = rate;
    ASSERT_TRUE(source_.Open("clip.mp4"));
    EXPECT_EQ(source_.fps_numerator(), 30);
    EXPECT_EQ(source_.fps_denominator(), 1);
    EXPECT_EQ(source_.frame_count(), 60);  // of the two seconds
  }
}

TEST_F(VideoSourceTest, AMissingOrZeroStrideIsTheRow) {
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.stride(), 24);
  script_.stride = 0;
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.stride(), 24);
  script_.stride = -24;
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.stride(), -24);
}

TEST_F(VideoSourceTest, CountsFramesOutOfTheDuration) {
  struct Case {
    VideoReader::FrameRate rate;
    int64_t duration;
    int32_t frames;
    int32_t milliseconds;
  };
  for (const Case& c :
       {Case{{25, 1}, 120'000'000, 300, 12000}, Case{{30000, 1001}, 40'040'000, 120, 4004},
        Case{{25, 2}, 301'600'000, 377, 30160}, Case{{25, 1}, 399'999, 0, 39},
        Case{{25, 1}, 0, 0, 0}}) {
    script_.rate = c.rate;
    script_.duration = c.duration;
    ASSERT_TRUE(source_.Open("clip.mp4"));
    EXPECT_EQ(source_.frame_count(), c.frames);
    EXPECT_EQ(source_.duration_ms(), c.milliseconds);
  }
}

TEST_F(VideoSourceTest, WithoutADurationNothingIsExpected) {
  script_.duration.reset();
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.frame_count(), 0);
  EXPECT_EQ(source_.duration_ms(), 0);
}

TEST_F(VideoSourceTest, AnAbsurdDurationSaturates) {
  script_.duration = std::numeric_limits<int64_t>::max();
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.frame_count(), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(source_.duration_ms(), std::numeric_limits<int32_t>::max());
}

TEST_F(VideoSourceTest, ARateThatIsNegativeAsSignedCountsNoFrames) {
  script_.rate = VideoReader::FrameRate{0xffffffffu, 1};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.frame_count(), 0);
  EXPECT_EQ(source_.duration_ms(), 2000);
}

TEST_F(VideoSourceTest, OpeningAgainReleasesTheReaderAndForgetsTheOldFile) {
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(script_.held, 1);
  script_.opens_that_fail = 2;
  EXPECT_FALSE(source_.Open("other.mp4"));
  EXPECT_EQ(script_.held, 0);
  EXPECT_EQ(source_.width(), 0);
  EXPECT_EQ(source_.height(), 0);
  EXPECT_EQ(source_.stride(), 0);
  EXPECT_EQ(source_.frame_count(), 0);
}

TEST_F(VideoSourceTest, ClosingAndDestroyingReleaseTheReader) {
  ASSERT_TRUE(source_.Open("clip.mp4"));
  source_.Close();
  EXPECT_EQ(script_.held, 0);
  {
    VideoSource source(std::make_unique<ScriptedFramework>(script_));
    ASSERT_TRUE(source.Open("clip.mp4"));
    EXPECT_EQ(script_.held, 1);
  }
  EXPECT_EQ(script_.held, 0);
}

TEST_F(VideoSourceTest, ConvertsLinearRowsAndTakesTheTimestamp) {
  script_.samples.push_back(Linear(Memory(6, 4, 24, 4), 1'234'567));
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.width, 6);
  EXPECT_EQ(frame.height, 4);
  EXPECT_EQ(frame.timestamp, 1'234'567);
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_EQ(script_.held, 1);  // the reader only
  EXPECT_EQ(script_.locks, 0);
}

TEST_F(VideoSourceTest, EverySizeConvertsExactly) {
  for (int width = 1; width <= 67; ++width) {
    script_.size = VideoReader::FrameSize{static_cast<uint32_t>(width), 3};
    const VideoFrame frame = ReadLinear(Memory(width, 3, static_cast<size_t>(width) * 4, 3));
    ASSERT_EQ(frame.pixels, ExpectedPixels(width, 3)) << width;
  }
}

TEST_F(VideoSourceTest, KeepsTheStorageBetweenReads) {
  script_.samples = {Linear(Memory(6, 4, 24, 4)), Linear(Memory(6, 4, 24, 4))};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  const uint8_t* const storage = frame.pixels.data();
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.pixels.data(), storage);
}

TEST_F(VideoSourceTest, PositivePitchRunsDown) {
  ScriptedSample sample = Linear(Memory(6, 4, 40, 4));
  sample.offers_rows = true;
  sample.pitch = 40;
  script_.samples.push_back(sample);
  ASSERT_TRUE(source_.Open("clip.mp4"));
  script_.calls.clear();
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_THAT(script_.calls, ElementsAre("lock 2d", "unlock 2d"));
  EXPECT_EQ(script_.held, 1);
}

TEST_F(VideoSourceTest, NegativePitchMakesTheLastRowInMemoryTheTop) {
  ScriptedSample sample = Linear(Memory(6, 4, 32, 4, /*bottom_up=*/true));
  sample.offers_rows = true;
  sample.pitch = -32;
  script_.samples.push_back(sample);
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
}

TEST_F(VideoSourceTest, ZeroPitchRepeatsTheFirstRow) {
  ScriptedSample sample = Linear(Memory(6, 4, 24, 4));
  sample.offers_rows = true;
  script_.samples.push_back(sample);
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  const std::vector<uint8_t> row = ExpectedPixels(6, 1);
  for (size_t y = 0; y < 4; ++y) {
    EXPECT_THAT(std::vector<uint8_t>(frame.pixels.begin() + static_cast<int>(y * 24),
                                     frame.pixels.begin() + static_cast<int>(y * 24 + 24)),
                ElementsAreArray(row));
  }
}

TEST_F(VideoSourceTest, AFailed2DLockFallsBackToTheLinearOne) {
  script_.samples.push_back(Linear(Memory(6, 4, 24, 4)));
  ASSERT_TRUE(source_.Open("clip.mp4"));
  script_.calls.clear();
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_THAT(script_.calls, ElementsAre("lock 2d", "lock", "unlock"));
}

TEST_F(VideoSourceTest, A2DLockWithoutAnAddressFallsBackToo) {
  ScriptedSample sample = Linear(Memory(6, 4, 24, 4));
  sample.offers_rows = true;
  sample.rows_are_null = true;
  script_.samples.push_back(sample);
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_EQ(script_.locks, 0);
}

TEST_F(VideoSourceTest, TheStrideAttributeIsTakenWhenTheLengthTellsNothing) {
  script_.stride = 28;
  // 113 bytes: a last row without its padding, and one byte too many for any
  // even division.
  std::vector<uint8_t> bytes = Memory(6, 4, 28, 4);
  bytes.push_back(0);
  EXPECT_EQ(ReadLinear(bytes).pixels, ExpectedPixels(6, 4));
}

TEST_F(VideoSourceTest, TheLengthOutranksTheStrideAttribute) {
  script_.stride = 28;
  EXPECT_EQ(ReadLinear(Memory(6, 4, 32, 4)).pixels, ExpectedPixels(6, 4));
}

TEST_F(VideoSourceTest, AStrideAttributeBelowARowOrNegativeIsTheRow) {
  for (const int32_t stride : {20, 1, -24, -100}) {
    script_.stride = stride;
    std::vector<uint8_t> bytes = Memory(6, 4, 24, 4);
    bytes.push_back(0);  // not divisible
    EXPECT_EQ(ReadLinear(bytes).pixels, ExpectedPixels(6, 4)) << stride;
  }
}

TEST_F(VideoSourceTest, PaddingRowsAreFoundByThe16Alignment) {
  script_.size = VideoReader::FrameSize{1920, 1080};
  EXPECT_EQ(ReadLinear(Memory(1920, 1080, 7680, 1088)).pixels, ExpectedPixels(1920, 1080));
}

TEST_F(VideoSourceTest, PaddingRowsAreFoundByEachAlignment) {
  struct Case {
    int width, height;
    size_t stride;
    int memory_rows;
  };
  for (const Case& c : {Case{6, 18, 28, 32},      // by 16
                        Case{7, 33, 28, 64},      // by 32; 48 rows do not divide the length
                        Case{7, 70, 28, 128}}) {  // by 64; neither do 80 and 96
    script_.size =
        VideoReader::FrameSize{static_cast<uint32_t>(c.width), static_cast<uint32_t>(c.height)};
    const VideoFrame frame = ReadLinear(Memory(c.width, c.height, c.stride, c.memory_rows));
    EXPECT_EQ(frame.pixels, ExpectedPixels(c.width, c.height)) << c.height;
  }
}

TEST_F(VideoSourceTest, AHeightThatIsAlreadyAlignedIsNotAPaddedHeight) {
  // 16 rows, 16-alignment gives 16 itself; 32 is the first above it, but the
  // length is that of the bare picture and one byte.
  script_.size = VideoReader::FrameSize{6, 16};
  std::vector<uint8_t> bytes = Memory(6, 16, 24, 16);
  bytes.push_back(0);
  EXPECT_EQ(ReadLinear(bytes).pixels, ExpectedPixels(6, 16));
}

TEST_F(VideoSourceTest, AShortBufferFillsWhatItHolds) {
  for (size_t length = 0; length < 96; ++length) {
    std::vector<uint8_t> bytes = Memory(6, 4, 24, 4);
    bytes.resize(length);
    bytes.shrink_to_fit();
    const std::vector<uint8_t> full = ExpectedPixels(6, 4);
    std::vector<uint8_t> expected(96, 0);
    for (size_t i = 0; i < length / 4 * 4; ++i) expected[i] = full[i];
    if (bytes.empty()) bytes.reserve(1);  // an address without bytes
    EXPECT_EQ(ReadLinear(bytes).pixels, expected) << length;
  }
}

TEST_F(VideoSourceTest, TightRowsAreTakenAsSuchWhateverTheStrideSays) {
  script_.stride = 32;
  EXPECT_EQ(ReadLinear(Memory(6, 4, 24, 4)).pixels, ExpectedPixels(6, 4));
}

TEST_F(VideoSourceTest, AStrideBeyondTheBufferIsNotFollowed) {
  script_.stride = 1'000'000;
  std::vector<uint8_t> bytes = Memory(6, 4, 24, 4);
  bytes.push_back(0);  // long enough for the picture, not divisible
  const VideoFrame frame = ReadLinear(bytes);
  const std::vector<uint8_t> row = ExpectedPixels(6, 1);
  for (size_t i = 0; i < 96; ++i) EXPECT_EQ(frame.pixels[i], i < 24 ? row[i] : 0) << i;
}

TEST_F(VideoSourceTest, ASampleWithoutABufferLeavesTheFrameAsItWas) {
  ScriptedSample without_buffer;
  without_buffer.timestamp = 999;
  without_buffer.has_buffer = false;
  script_.samples = {Linear(Memory(6, 4, 24, 4), 500), without_buffer};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.timestamp, 500);
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_EQ(script_.held, 1);
}

TEST_F(VideoSourceTest, AFailedLockKeepsThePixelsAndTakesTheTimestamp) {
  ScriptedSample unlockable = Linear(std::vector<uint8_t>(96, 1), 777);
  unlockable.lock_succeeds = false;
  ScriptedSample without_data = Linear(std::vector<uint8_t>(96, 1), 888);
  without_data.bytes_are_null = true;
  script_.samples = {Linear(Memory(6, 4, 24, 4), 500), unlockable, without_data};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.timestamp, 777);
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.timestamp, 888);
  EXPECT_EQ(frame.pixels, ExpectedPixels(6, 4));
  EXPECT_EQ(script_.locks, 0);
}

TEST_F(VideoSourceTest, APictureThatTheFrameHoldsIsNotTakenAgain) {
  const auto rows = [this](int first, uint64_t number, int64_t timestamp) {
    ScriptedSample sample =
        Linear(std::vector<uint8_t>(96, static_cast<uint8_t>(first)), timestamp);
    sample.offers_rows = true;
    sample.pitch = 24;
    sample.picture_number = number;
    return sample;
  };
  // The second sample shows what is read, since its bytes are others.
  script_.samples = {rows(10, 3, 100), rows(20, 3, 200), rows(30, 4, 300), rows(40, 0, 400),
                     rows(50, 0, 500)};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  struct Read {
    int level;
    uint64_t number;
    int64_t timestamp;
  };
  for (const Read& read :
       {Read{10, 3, 100}, Read{10, 3, 200}, Read{30, 4, 300}, Read{40, 0, 400}, Read{50, 0, 500}}) {
    ASSERT_TRUE(source_.ReadNextFrame(frame));
    EXPECT_EQ(frame.pixels[0], read.level);
    EXPECT_EQ(frame.picture_number, read.number);
    EXPECT_EQ(frame.timestamp, read.timestamp);
  }
}

TEST_F(VideoSourceTest, ASampleThatWritesItsRowsNeedsNoBuffer) {
  ScriptedSample sample = Linear(Memory(6, 4, 24, 4), 700);
  sample.writes_rgba = true;
  sample.has_buffer = false;
  sample.picture_number = 3;
  script_.samples = {sample, sample};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  script_.calls.clear();
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.width, 6);
  EXPECT_EQ(frame.height, 4);
  EXPECT_EQ(frame.timestamp, 700);
  EXPECT_EQ(frame.picture_number, 3u);
  EXPECT_EQ(frame.pixels, Memory(6, 4, 24, 4));
  EXPECT_EQ(script_.calls, std::vector<std::string>{"write rgba"});
  // Once is enough for a picture that stays.
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(script_.calls, std::vector<std::string>{"write rgba"});
}

TEST_F(VideoSourceTest, APictureThatAnotherFrameHoldsIsTaken) {
  ScriptedSample sample = Linear(Memory(6, 4, 24, 4));
  sample.offers_rows = true;
  sample.pitch = 24;
  sample.picture_number = 3;
  script_.samples = {sample, sample};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame first;
  VideoFrame second;
  ASSERT_TRUE(source_.ReadNextFrame(first));
  ASSERT_TRUE(source_.ReadNextFrame(second));
  EXPECT_EQ(second.pixels, ExpectedPixels(6, 4));
}

// Linear memory may be short, and then the picture is not only the sample's.
TEST_F(VideoSourceTest, APictureFromLinearMemoryHasNoNumber) {
  ScriptedSample sample = Linear(Memory(6, 4, 24, 4));
  sample.picture_number = 3;
  script_.samples = {sample};
  ASSERT_TRUE(source_.Open("clip.mp4"));
  VideoFrame frame;
  ASSERT_TRUE(source_.ReadNextFrame(frame));
  EXPECT_EQ(frame.picture_number, 0u);
}

TEST_F(VideoSourceTest, TheLengthThatIsKnownAtTheEndCounts) {
  ScriptedSample end;
  end.end_of_stream = true;
  script_.samples = {end};
  script_.duration = 40'000'000;
  ASSERT_TRUE(source_.Open("clip.mp4"));
  EXPECT_EQ(source_.duration_ms(), 4000);
  script_.duration = 30'000'000;
  VideoFrame frame;
  EXPECT_FALSE(source_.ReadNextFrame(frame));
  EXPECT_EQ(source_.duration_ms(), 3000);
}

TEST_F(VideoSourceTest, EndErrorAndGapEndTheStream) {
  ScriptedSample end = Linear(Memory(6, 4, 24, 4));
  end.end_of_stream = true;  // even with a sample
  ScriptedSample error = Linear(Memory(6, 4, 24, 4));
  error.succeeded = false;
  ScriptedSample gap;
  gap.has_sample = false;
  for (const ScriptedSample& last : {end, error, gap}) {
    script_.samples = {last};
    ASSERT_TRUE(source_.Open("clip.mp4"));
    VideoFrame frame;
    EXPECT_FALSE(source_.ReadNextFrame(frame));
    EXPECT_TRUE(frame.pixels.empty());
    EXPECT_EQ(script_.held, 1);
  }
}

}  // namespace
}  // namespace qolm::media
