// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <vector>

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QOLM_TEST_LIMITS_MEMORY
#include <sys/resource.h>
#include <unistd.h>
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#undef QOLM_TEST_LIMITS_MEMORY
#endif
#endif

#include "audio/audio_coder.h"
#include "base/byte_order.h"
#include "base/parallel_for.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using test::Record;
using test::Repeat;
using test::Sound;
using ::testing::IsEmpty;

std::vector<uint8_t> Coded(uint32_t rate, uint16_t channels, size_t values, int16_t level,
                           audio::AudioCodingMode mode = audio::AudioCodingMode::kAdpcm) {
  std::vector<uint8_t> payload;
  const std::vector<int16_t> samples(values, level);
  EXPECT_TRUE(audio::EncodeAudio({rate, channels, samples}, mode, payload));
  return payload;
}

class FileAudio : public ::testing::Test {
 protected:
  void Write(const std::vector<Record>& records, const std::vector<uint8_t>& block = {},
             bool interleaved = true) {
    container::FileHeader header = test::PlainHeader(8, 8);
    header.frame_count = test::FrameCount(records);
    if (interleaved) header.flags |= container::kFlagInterleavedAudio;
    const std::filesystem::path path = folder_.path() / "sound.qolm";
    ASSERT_TRUE(test::WriteContainerFile(path, header, records, {.audio_block = block}));
    ASSERT_TRUE(reader_.open(path));
  }

  static int PlayToTheEnd(FrameDecoder& decoder) {
    OutputFrame frame;
    int frames = 0;
    while (decoder.next_frame(frame)) ++frames;
    return frames;
  }

  test::TemporaryFolder folder_;
  container::ContainerReader reader_;
};

TEST_F(FileAudio, BlockIsTheTrack) {
  for (const auto mode : {audio::AudioCodingMode::kAdpcm, audio::AudioCodingMode::kTransform}) {
    Write({Repeat(2)}, Coded(32000, 2, 2002, 900, mode), false);
    FrameDecoder decoder(reader_);
    const PcmTrack& track = decoder.decode_audio();
    EXPECT_EQ(track.sample_rate, 32000U);
    EXPECT_EQ(track.channels, 2);
    EXPECT_EQ(track.samples.size(), 2002U);
    EXPECT_EQ(PlayToTheEnd(decoder), 2);
    EXPECT_EQ(decoder.decode_audio().samples.size(), 2002U);
  }
}

TEST_F(FileAudio, ChunksAreCollectedInFileOrder) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound(Coded(8000, 1, 250, 500)), Repeat(1),
         Sound(Coded(8000, 1, 7, 0))});
  FrameDecoder decoder(reader_);
  const PcmTrack& track = decoder.decode_audio();
  EXPECT_EQ(track.sample_rate, 8000U);
  ASSERT_EQ(track.samples.size(), 357U);
  EXPECT_EQ(track.samples[50], 0);
  EXPECT_GT(track.samples[300], 400);
}

TEST_F(FileAudio, DecodingFramesDoesNotAddCollectedAudio) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound(Coded(8000, 1, 50, 0)), Repeat(1)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 150U);
  EXPECT_EQ(PlayToTheEnd(decoder), 4);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 150U);
}

TEST_F(FileAudio, DecodingFramesCollectsChunks) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound(Coded(8000, 1, 50, 0)), Repeat(1)});
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_EQ(decoder.decode_audio().samples.size(), 100U);
  EXPECT_EQ(PlayToTheEnd(decoder), 3);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 150U);
}

TEST_F(FileAudio, SeekBackDoesNotRepeatAudio) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound(Coded(8000, 1, 50, 0)), Repeat(1)});
  FrameDecoder decoder(reader_);
  EXPECT_EQ(PlayToTheEnd(decoder), 4);
  ASSERT_TRUE(decoder.seek_to_frame(0));
  EXPECT_EQ(PlayToTheEnd(decoder), 4);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 150U);
}

TEST_F(FileAudio, MeasuringKeepsNoSamples) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound({1, 2}), Sound(Coded(8000, 1, 50, 0))});
  FrameDecoder chunks(reader_);
  EXPECT_EQ(chunks.measure_audio().values, 150U);
  EXPECT_EQ(chunks.measure_audio().sample_rate, 8000U);
  EXPECT_EQ(PlayToTheEnd(chunks), 3);
  EXPECT_THAT(chunks.decode_audio().samples, IsEmpty());
  Write({Repeat(2)}, Coded(32000, 2, 2002, 900), false);
  FrameDecoder block(reader_);
  EXPECT_EQ(block.measure_audio().values, 2002U);
  EXPECT_EQ(block.measure_audio().channels, 2);
}

TEST_F(FileAudio, MeasuresAllAudioAfterPartialCollection) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3), Sound(Coded(8000, 1, 50, 0)), Repeat(1)});
  FrameDecoder decoder(reader_);
  OutputFrame frame;
  ASSERT_TRUE(decoder.next_frame(frame));
  EXPECT_EQ(decoder.measure_audio().values, 150U);
  EXPECT_THAT(decoder.decode_audio().samples, IsEmpty());
}

// A chunk inside another valid chunk is not decoded.
TEST_F(FileAudio, OverlappingChunksAreRejected) {
  const std::vector<uint8_t> inner = Coded(8000, 1, 40, 0);
  std::vector<uint8_t> outer = Coded(8000, 1, 100, 0);
  const size_t inner_at = outer.size();
  const auto header = container::EncodeRecordHeader(
      {container::RecordType::kAudio, 0, 0, static_cast<uint32_t>(inner.size())});
  outer.insert(outer.end(), header.begin(), header.end());
  outer.insert(outer.end(), inner.begin(), inner.end());
  // A stream may have arbitrary trailing bytes.
  StoreLe32(&outer[14], static_cast<uint32_t>(outer.size() - 18));
  const std::vector<Record> records = {Sound(outer), Sound(Coded(8000, 1, 7, 0))};
  Write(records);
  const uint64_t first = reader_.index()[0];
  const uint64_t second = reader_.index()[1];
  const std::filesystem::path path = folder_.path() / "overlap.qolm";
  std::vector<uint8_t> bytes = test::ReadBytes(folder_.path() / "sound.qolm");
  bytes.resize(bytes.size() - 4 - 2 * 8);
  for (const uint64_t offset : {first, first + 8 + inner_at, second}) {
    bytes.resize(bytes.size() + 8);
    StoreLe64(bytes.data() + bytes.size() - 8, offset);
  }
  AppendLe32(bytes, 3);
  test::WriteBytes(path, bytes);
  ASSERT_TRUE(reader_.open(path));
  ASSERT_EQ(reader_.index().size(), 3U);
  FrameDecoder decoder(reader_);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 107U);
}

TEST_F(FileAudio, DamagedChunkIsSkipped) {
  std::vector<uint8_t> damaged = Coded(8000, 1, 100, 0);
  damaged.resize(20);
  Write({Sound(damaged), Repeat(3), Sound({}), Sound(Coded(8000, 1, 50, 0))});
  FrameDecoder gathering(reader_);
  EXPECT_EQ(gathering.decode_audio().samples.size(), 50U);
  FrameDecoder playing(reader_);
  EXPECT_EQ(PlayToTheEnd(playing), 3);
}

// Declares hours of audio in a record that extends past the end of the file.
TEST_F(FileAudio, ImplausibleDeclarationReservesNothing) {
  std::vector<uint8_t> declared = Coded(8000, 1, 100, 0);
  StoreLe32(&declared[6], 0x7FFFFFFF);
  Write({Sound(Coded(8000, 1, 50, 0)), Sound(declared)});
  const auto header =
      container::EncodeRecordHeader({container::RecordType::kAudio, 0, 0, 90 << 20});
  const std::filesystem::path path = folder_.path() / "declared.qolm";
  std::vector<uint8_t> bytes = test::ReadBytes(folder_.path() / "sound.qolm");
  std::copy(header.begin(), header.end(),
            bytes.begin() + static_cast<ptrdiff_t>(reader_.index()[1]));
  test::WriteBytes(path, bytes);
  ASSERT_TRUE(reader_.open(path));
  ASSERT_EQ(reader_.index().size(), 2U);
  FrameDecoder decoder(reader_);
  EXPECT_EQ(decoder.decode_audio().samples.size(), 50U);
  EXPECT_LT(decoder.decode_audio().samples.capacity(), 10'000U);
}

// A refused piece counts for 2^18 values and its bytes, so that a few thousand of them
// leave little of the most values that a file can have.
TEST_F(FileAudio, EndsAtExactlyTheMostValues) {
  constexpr uint32_t kMostValues = 0x7FFFFFFF;
  constexpr uint32_t kRefused = 8190;
  std::vector<uint8_t> without_streams = Coded(8000, 1, 1, 0, audio::AudioCodingMode::kTransform);
  without_streams.resize(32);
  StoreLe16(&without_streams[20], 0);
  StoreLe32(&without_streams[22], 0);
  constexpr size_t kLeft = kMostValues - kRefused * ((1U << 18) + 32);
  for (const size_t values : {kLeft - 1, kLeft, kLeft + 1}) {
    std::vector<Record> records(kRefused, Sound(without_streams));
    records.push_back(Sound(Coded(8000, 1, values, 0)));
    Write(records);
    const size_t kept = values <= kLeft ? values : 0;
    FrameDecoder gathering(reader_);
    EXPECT_EQ(gathering.decode_audio().samples.size(), kept);
    FrameDecoder measuring(reader_);
    EXPECT_EQ(measuring.measure_audio().values, kept);
  }
}

TEST_F(FileAudio, DamagedBlockGivesNoAudio) {
  std::vector<uint8_t> damaged = Coded(8000, 1, 100, 0);
  damaged.resize(17);
  Write({Repeat(2)}, damaged, false);
  FrameDecoder decoder(reader_);
  EXPECT_THAT(decoder.decode_audio().samples, IsEmpty());
  EXPECT_EQ(decoder.decode_audio().sample_rate, 0U);
  EXPECT_EQ(PlayToTheEnd(decoder), 2);
}

#if defined(QOLM_TEST_LIMITS_MEMORY)
// A rANS stream of `count` times `value`.
void AppendStreamOfOneValue(std::vector<uint8_t>& bytes, uint32_t count, uint8_t value) {
  AppendLe32(bytes, count);
  AppendLe16(bytes, 1);
  bytes.push_back(value);
  AppendLe16(bytes, 4096);
  AppendLe32(bytes, 65536);
}

// 128 MiB of samples in 63 bytes.
std::vector<uint8_t> MuchSilence() {
  constexpr uint32_t kValues = 1 << 26;
  constexpr uint32_t kFrames = kValues / 960 + 2;
  std::vector<uint8_t> payload = {'O', 'P', 'U', 'S'};
  AppendLe32(payload, 48000);
  AppendLe16(payload, 1);
  AppendLe16(payload, 960);
  AppendLe32(payload, kFrames);
  AppendLe32(payload, kValues);
  AppendLe16(payload, 13);
  AppendLe32(payload, 18);
  AppendLe16(payload, 0);
  AppendLe32(payload, 0);
  AppendStreamOfOneValue(payload, 16 * kFrames, 0);
  AppendLe32(payload, 15 * kFrames);  // an end of block for each 64 values
  payload.push_back(0);
  AppendStreamOfOneValue(payload, 15 * kFrames, 1);
  return payload;
}

// For a forked process: exits with 0 when `work` succeeds with 64 MiB of additional address
// space.
template <typename Work>
[[noreturn]] void RunInLittleMemory(const Work& work) {
  ForceWorkerCount(1);  // it has none of its parent's threads
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t most = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (64 << 20);
  const rlimit limit{most, most};
  if (setrlimit(RLIMIT_AS, &limit) != 0) std::exit(2);
  std::exit(work() ? 0 : 1);
}

TEST_F(FileAudio, TrackBeyondMemoryGivesNoAudio) {
  Write({Repeat(2)}, MuchSilence(), false);
  const auto is_silent = [this] {
    FrameDecoder decoder(reader_);
    return decoder.decode_audio().samples.empty() && PlayToTheEnd(decoder) == 2;
  };
  EXPECT_EXIT(RunInLittleMemory(is_silent), ::testing::ExitedWithCode(0), "");
}

// Enough bytes to make the declared size plausible, but not decodable.
TEST_F(FileAudio, FalseDeclarationBeyondMemoryKeepsAudio) {
  std::vector<uint8_t> declared = MuchSilence();
  declared.resize(3 << 20);
  Write({Sound(Coded(8000, 1, 50, 0)), Sound(declared)});
  const auto is_whole = [this] {
    return FrameDecoder(reader_).decode_audio().samples.size() == 50;
  };
  EXPECT_EXIT(RunInLittleMemory(is_whole), ::testing::ExitedWithCode(0), "");
}
#endif

TEST_F(FileAudio, ChunksNeedTheirFlag) {
  Write({Sound(Coded(8000, 1, 100, 0)), Repeat(3)}, {}, false);
  FrameDecoder decoder(reader_);
  EXPECT_THAT(decoder.decode_audio().samples, IsEmpty());
}

}  // namespace
}  // namespace qolm::decoder
