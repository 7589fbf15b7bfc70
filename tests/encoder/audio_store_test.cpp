// SPDX-License-Identifier: MIT
#include "encoder/audio_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <vector>

#include "audio/audio_coder.h"
#include "base/byte_order.h"
#include "container/container_reader.h"
#include "encoder/session_run.h"

namespace qolm::encoder {
namespace {

using container::RecordType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

EncodeSettings AtRate(int32_t numerator, int32_t denominator) {
  EncodeSettings settings;
  settings.fps_numerator = numerator;
  settings.fps_denominator = denominator;
  return settings;
}

PcmTrack Ramp(uint32_t rate, uint16_t channels, size_t values) {
  PcmTrack track{rate, channels, std::vector<int16_t>(values)};
  for (size_t i = 0; i < values; ++i) {
    track.samples[i] = static_cast<int16_t>(static_cast<int>(i * 37 % 4001) - 2000);
  }
  return track;
}

TEST(AudioChunkValues, MatchDurationOfFrames) {
  EXPECT_EQ(AudioChunkValues(25, AtRate(25, 1), 48000, 2), 96000U);
  EXPECT_EQ(AudioChunkValues(61, AtRate(30000, 1001), 32000, 1), 65131U);  // 65131.7
  EXPECT_EQ(AudioChunkValues(1, AtRate(7, 1), 48000, 2), 13714U);          // of 13714.2
}

TEST(AudioChunkValues, AreWholeSampleFrames) {
  EXPECT_EQ(AudioChunkValues(1, AtRate(44100, 3), 44100, 2), 6U);
  EXPECT_EQ(AudioChunkValues(5, AtRate(10, 1), 11, 2), 10U);  // of 11
}

TEST(AudioChunkValues, NoDurationIsOneSampleFrame) {
  EXPECT_EQ(AudioChunkValues(0, AtRate(25, 1), 48000, 1), 1U);
  EXPECT_EQ(AudioChunkValues(0, AtRate(25, 1), 48000, 2), 2U);
  EXPECT_EQ(AudioChunkValues(3, AtRate(25, 0), 48000, 2), 2U);
}

TEST(AudioChunkValues, WithoutFrameRateIsOneSecond) {
  EXPECT_EQ(AudioChunkValues(100, AtRate(0, 1), 32000, 2), 64000U);
  EXPECT_EQ(AudioChunkValues(100, AtRate(-5, 1), 32000, 1), 32000U);
}

TEST(AudioChunkValues, DoNotOverflow) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  const uint64_t values = AudioChunkValues(kMost, AtRate(1, kMost), 4'000'000'000U, 2);
  EXPECT_GT(values, uint64_t{1} << 62);
  // (2^31 - 1)^2 / (2^31 - 1) seconds of one value.
  EXPECT_EQ(AudioChunkValues(kMost, AtRate(kMost, kMost), 1, 1), static_cast<uint64_t>(kMost));
}

TEST(AudioStore, WholeTrackIsOnePayload) {
  AudioStore store;
  const PcmTrack track = Ramp(8000, 2, 4000);
  store.set_track(track);
  const std::vector<uint8_t> block = store.start(AtRate(25, 1));
  std::vector<uint8_t> expected;
  ASSERT_TRUE(
      audio::EncodeAudio({8000, 2, track.samples}, audio::AudioCodingMode::kTransform, expected));
  EXPECT_EQ(block, expected);
  EXPECT_EQ(store.stored().sample_rate, 8000U);
  EXPECT_EQ(store.stored().channels, 2);
  EXPECT_FALSE(store.stored().interleaved);
  EXPECT_THAT(store.next_chunk(10, true, AtRate(25, 1)), IsEmpty());
}

TEST(AudioStore, CodingModeOfSettingsIsUsed) {
  AudioStore store;
  store.set_track(Ramp(8000, 1, 3));
  EncodeSettings settings = AtRate(25, 1);
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  const std::vector<uint8_t> block = store.start(settings);
  ASSERT_GE(block.size(), 18U);
  EXPECT_EQ(LoadLe32(block.data()), 8000U);
  EXPECT_EQ(LoadLe32(block.data() + 6), 3U);   // samples per channel
  EXPECT_EQ(LoadLe32(block.data() + 10), 2U);  // ADPCM bytes
}

// Consistent with the file header, which stores the number of the setting.
TEST(AudioStore, OtherModesAreCodedAsAdpcm) {
  AudioStore store;
  store.set_track(Ramp(8000, 1, 100));
  EncodeSettings settings = AtRate(25, 1);
  for (const uint16_t mode : std::initializer_list<uint16_t>{0, 1, 3, 258}) {
    settings.audio_coding_mode = static_cast<audio::AudioCodingMode>(mode);
    EXPECT_EQ(LoadLe32(store.start(settings).data()), 8000U) << mode;
  }
  settings.audio_coding_mode = audio::AudioCodingMode::kTransform;
  EXPECT_EQ(LoadLe32(store.start(settings).data()), 0x5355504FU);
}

TEST(AudioStore, StopEndsCodingOfWholeTrack) {
  AudioStore store;
  store.set_track(Ramp(8000, 2, 4000));
  for (const auto mode : {audio::AudioCodingMode::kAdpcm, audio::AudioCodingMode::kTransform}) {
    EncodeSettings settings = AtRate(25, 1);
    settings.audio_coding_mode = mode;
    int questions = 0;
    EXPECT_THAT(store.start(settings, [&] { return ++questions == 2; }), IsEmpty());
    EXPECT_EQ(questions, 2);
    EXPECT_FALSE(store.start(settings).empty());
  }
}

TEST(AudioStore, NothingIsStoredWithoutAudio) {
  AudioStore store;
  EXPECT_THAT(store.start(AtRate(25, 1)), IsEmpty());
  EXPECT_EQ(store.stored().sample_rate, 0U);

  store.set_track(Ramp(8000, 1, 100));
  EncodeSettings off = AtRate(25, 1);
  off.audio_present = false;
  EXPECT_THAT(store.start(off), IsEmpty());
  EXPECT_EQ(store.stored().sample_rate, 0U);
}

TEST(AudioStore, ChunksAddUpToTheTrack) {
  AudioStore store;
  const PcmTrack track = Ramp(8000, 2, 10001);  // the last value has no partner
  store.set_track(track);
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_interleave = true;
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  EXPECT_THAT(store.start(settings), IsEmpty());
  EXPECT_TRUE(store.stored().interleaved);
  PcmTrack decoded;
  std::vector<size_t> lengths;
  for (const uint64_t frames : {0U, 2U, 1U}) {
    const std::vector<uint8_t> chunk = store.next_chunk(frames, false, settings);
    ASSERT_TRUE(audio::DecodeAudio(chunk, 1 << 20, decoded));
    lengths.push_back(decoded.samples.size());
  }
  ASSERT_TRUE(audio::DecodeAudio(store.next_chunk(0, true, settings), 1 << 20, decoded));
  EXPECT_THAT(lengths, ElementsAre(2, 2 + 3200, 2 + 3200 + 1600));
  EXPECT_EQ(decoded.samples.size(), 10000U);
}

TEST(AudioStore, NoChunkAfterTheLast) {
  AudioStore store;
  store.set_track(Ramp(8000, 1, 900));
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_interleave = true;
  EXPECT_THAT(store.start(settings), IsEmpty());
  EXPECT_FALSE(store.next_chunk(1, false, settings).empty());  // 800
  PcmTrack rest;
  ASSERT_TRUE(audio::DecodeAudio(store.next_chunk(50, false, settings), 1 << 20, rest));
  EXPECT_EQ(rest.samples.size(), 100U);  // all that are left, not 40000
  EXPECT_THAT(store.next_chunk(1, true, settings), IsEmpty());
  // A second file starts over.
  EXPECT_THAT(store.start(settings), IsEmpty());
  EXPECT_FALSE(store.next_chunk(1, false, settings).empty());
}

TEST(AudioStore, OversizedTrackIsInterleaved) {
  const PcmTrack track = Ramp(8000, 2, 40000);
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  std::vector<uint8_t> whole;
  ASSERT_TRUE(audio::EncodeAudio({8000, 2, track.samples}, audio::AudioCodingMode::kAdpcm, whole));

  AudioStore fits(whole.size());
  fits.set_track(track);
  EXPECT_EQ(fits.start(settings), whole);
  EXPECT_FALSE(fits.stored().interleaved);

  AudioStore store(whole.size() - 1);
  store.set_track(track);
  EXPECT_THAT(store.start(settings), IsEmpty());
  EXPECT_TRUE(store.stored().interleaved);
  EXPECT_EQ(store.stored().sample_rate, 8000U);
  EXPECT_EQ(store.stored().channels, 2);
}

// The last chunk contains nearly the whole track when there were few frames.
TEST(AudioStore, ChunksAreHalvedUntilTheyFit) {
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_interleave = true;
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  const PcmTrack track = Ramp(8000, 2, 30003);
  const size_t limit = 1500;
  AudioStore store(limit);
  store.set_track(track);
  EXPECT_THAT(store.start(settings), IsEmpty());
  PcmTrack decoded;
  int chunks = 0;
  while (store.has_frames_left()) {
    const std::vector<uint8_t> chunk = store.next_chunk(20, chunks > 0, settings);
    ASSERT_LT(chunk.size(), limit);
    ASSERT_TRUE(audio::DecodeAudio(chunk, 1 << 20, decoded));
    ++chunks;
  }
  EXPECT_GT(chunks, 5);
  EXPECT_LT(chunks, 50);
  EXPECT_EQ(decoded.samples.size(), 30002U);
}

// Readers skip a chunk of exactly the maximum size.
TEST(AudioStore, ChunkStaysBelowMaximumSize) {
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_interleave = true;
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  const PcmTrack track = Ramp(8000, 2, 3200);
  const auto first_chunk = [&](size_t limit) {
    AudioStore store(limit);
    store.set_track(track);
    EXPECT_THAT(store.start(settings), IsEmpty());
    return store.next_chunk(0, true, settings);
  };
  const std::vector<uint8_t> whole = first_chunk(1 << 20);
  EXPECT_EQ(first_chunk(whole.size() + 1), whole);
  PcmTrack decoded;
  ASSERT_TRUE(audio::DecodeAudio(first_chunk(whole.size()), 1 << 20, decoded));
  EXPECT_EQ(decoded.samples.size(), 1600U);
}

// A single sample frame cannot be divided further.
TEST(AudioStore, SmallestChunkIsOneSampleFrame) {
  EncodeSettings settings = AtRate(10, 1);
  settings.audio_interleave = true;
  settings.audio_coding_mode = audio::AudioCodingMode::kAdpcm;
  AudioStore store(1);
  store.set_track(Ramp(8000, 2, 4));
  EXPECT_THAT(store.start(settings), IsEmpty());
  for (int chunk = 0; chunk < 2; ++chunk) {
    EXPECT_TRUE(store.has_frames_left());
    EXPECT_FALSE(store.next_chunk(1, true, settings).empty());
  }
  EXPECT_FALSE(store.has_frames_left());
}

class SessionAudio : public SessionRun {
 protected:
  // 31 frames of which none is static.
  void Convert(const EncodeSettings& settings, const PcmTrack& track) {
    EncoderSession session(settings);
    session.set_audio(track);
    ASSERT_TRUE(session.open_output(path()));
    for (int i = 0; i < 31; ++i)
      session.encode_frame(GreyFrame(16, 16, static_cast<uint8_t>(3 * i)));
    ASSERT_TRUE(session.finish());
    ASSERT_FALSE(session.stream_error());
    ASSERT_TRUE(reader_.open(path()));
  }

  std::vector<container::RecordHeader> Records() {
    std::vector<container::RecordHeader> records;
    for (const uint64_t offset : reader_.index()) {
      container::RecordHeader header;
      EXPECT_TRUE(reader_.read_record_header(offset, header));
      records.push_back(header);
    }
    return records;
  }

  container::ContainerReader reader_;
};

TEST_F(SessionAudio, BlockIsWrittenInHead) {
  const EncodeSettings settings = SettingsFor(16, 16);
  const PcmTrack track = Ramp(32000, 1, 40000);
  Convert(settings, track);
  EXPECT_EQ(reader_.header().audio_rate, 32000);
  EXPECT_EQ(reader_.header().audio_channels, 1);
  EXPECT_EQ(reader_.header().audio_param, 2);
  EXPECT_EQ(reader_.header().flags & container::kFlagInterleavedAudio, 0);
  PcmTrack decoded;
  const std::vector<uint8_t> block(reader_.audio_block().begin(), reader_.audio_block().end());
  ASSERT_TRUE(audio::DecodeAudio(block, 1 << 20, decoded));
  EXPECT_EQ(decoded.samples.size(), 40000U);
  const std::vector<container::RecordHeader> records = Records();
  ASSERT_EQ(records.size(), 31U);
  for (const container::RecordHeader& record : records) {
    EXPECT_NE(record.type, RecordType::kAudio);
  }
}

TEST_F(SessionAudio, ChunksPrecedeKeyFramesAndEndOfFile) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.gop_length = 10;
  settings.adaptive_gop = false;
  settings.audio_interleave = true;
  Convert(settings, Ramp(8000, 2, 30000));
  EXPECT_EQ(reader_.header().flags & container::kFlagInterleavedAudio,
            container::kFlagInterleavedAudio);
  EXPECT_EQ(reader_.header().audio_channels, 2);
  EXPECT_TRUE(reader_.audio_block().empty());

  const std::vector<container::RecordHeader> records = Records();
  PcmTrack decoded;
  std::vector<uint8_t> payload;
  std::vector<size_t> lengths;
  for (size_t i = 0; i < records.size(); ++i) {
    if (records[i].type == RecordType::kKeyFrame) {
      ASSERT_GT(i, 0U);
      EXPECT_EQ(records[i - 1].type, RecordType::kAudio);
    }
    if (records[i].type != RecordType::kAudio) continue;
    EXPECT_EQ(records[i].count, 0);
    EXPECT_EQ(records[i].frame_no, 0);
    ASSERT_TRUE(reader_.read_payload(reader_.index()[i], records[i], payload));
    const size_t before = decoded.samples.size();
    ASSERT_TRUE(audio::DecodeAudio(payload, 1 << 20, decoded));
    lengths.push_back(decoded.samples.size() - before);
  }
  // Key frames 0, 11 and 22: no time, then 11 frames of 25 a second each.
  EXPECT_THAT(lengths, ElementsAre(2, 7040, 7040, 30000 - 2 - 2 * 7040));
  EXPECT_EQ(records.front().type, RecordType::kAudio);
  EXPECT_EQ(records.back().type, RecordType::kAudio);
  EXPECT_EQ(decoded.samples.size(), 30000U);
}

// A key frame is preceded by the closed run, the audio and the held frame; at the end the
// held frame comes first and the run last.
TEST_F(SessionAudio, ChunksAreWrittenBetweenRunAndHeldFrame) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.gop_length = 5;
  settings.adaptive_gop = false;
  settings.audio_interleave = true;
  settings.bidirectional = true;
  EncoderSession session(settings);
  session.set_audio(Ramp(8000, 1, 20'000));
  ASSERT_TRUE(session.open_output(path()));
  // Frame 1 changes and is held to the key frame 6, frame 7 to the end.
  for (int i = 0; i < 10; ++i) {
    const int grey = i == 0 ? 100 : i < 6 ? 120 : i == 6 ? 140 : 160;
    ASSERT_TRUE(session.encode_frame(GreyFrame(16, 16, static_cast<uint8_t>(grey))));
  }
  ASSERT_TRUE(session.finish());
  ASSERT_FALSE(session.stream_error());
  ASSERT_TRUE(reader_.open(path()));
  EXPECT_EQ(test::RecordWords(reader_), "8@0 1@0 5x4@2 8@0 2@1 1@6 2@7 8@0 5x2@8");
  EXPECT_EQ(reader_.header().frame_count, 10U);
}

TEST_F(SessionAudio, UnsupportedChannelCountIsWrittenToHeader) {
  Convert(SettingsFor(16, 16), Ramp(8000, 3, 300));  // rejected by the transform coder
  EXPECT_EQ(reader_.header().audio_rate, 8000);
  EXPECT_EQ(reader_.header().audio_channels, 3);
  EXPECT_TRUE(reader_.audio_block().empty());
}

}  // namespace
}  // namespace qolm::encoder
