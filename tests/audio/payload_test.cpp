// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "audio/audio_coder.h"
#include "audio/test_signals.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/context_rans.h"
#include "entropy/rans.h"
#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"

namespace qolm::audio {
namespace {

using Bytes = std::vector<uint8_t>;
using test::Samples;

constexpr uint64_t kNoLimit = 1ull << 31;

Bytes EncodeTransform(const Samples& samples, uint32_t rate, uint32_t channels) {
  Bytes payload;
  EXPECT_TRUE(EncodeAudioTransform(samples, rate, channels, payload));
  return payload;
}

PcmTrack DecodeTransform(const Bytes& payload) {
  PcmTrack track;
  EXPECT_TRUE(DecodeAudio(payload, kNoLimit, track));
  return track;
}

TEST(FrameLength, IsTwentyMillisecondsButAtLeast64Samples) {
  EXPECT_EQ(FrameLengthFor(48000), 960u);
  EXPECT_EQ(FrameLengthFor(2000), 64u);
  EXPECT_EQ(FrameLengthFor(22050), 441u);
  EXPECT_EQ(FrameLengthFor(11025), 220u);
}

TEST(TransformPayload, SilenceMatchesExpectedBytes) {
  // 100 samples of N = 64: three frames, 48 scale bytes and 192 levels, all 0.
  // Levels: three empty blocks, tokens 2 and 3, so one plain stream of two values.
  const Bytes expected = {
      'O', 'P', 'U', 'S', 0xD0, 0x07, 0, 0, 1, 0, 64, 0, 3, 0, 0, 0, 100, 0, 0, 0,  //
      13, 0, 25, 0, 0, 0, 0, 0, 0, 0, 0, 0,                                         //
      48, 0, 0, 0, 1, 0, 0, 0x00, 0x10, 0, 0, 1, 0,                                 //
      // 3 (cum 2048) gives the state 32 * 4096 + 2048, then 2 (cum 0) gives 65 * 4096.
      2, 0, 0, 0, 0, 2, 0, 0, 0, 2, 0, 2, 0x00, 0x08, 3, 0x00, 0x08, 0x00, 0x10, 0x04, 0x00};
  Bytes with_size = expected;
  with_size[22] = static_cast<uint8_t>(expected.size() - 32 - 13);
  EXPECT_EQ(EncodeTransform(Samples(100, 0), 2000, 1), with_size);
  EXPECT_EQ(DecodeTransform(with_size).samples, Samples(100, 0));
}

// Coding a long track takes seconds, so it must be interruptible.
TEST(AudioCoder, StopIsPolledPerBatch) {
  constexpr uint32_t kRate = 8000;
  constexpr size_t kSeconds = 110;
  for (const AudioCodingMode mode : {AudioCodingMode::kTransform, AudioCodingMode::kAdpcm}) {
    for (const uint32_t channels : {1U, 2U}) {
      const Samples samples = test::Noise(kSeconds * kRate * channels, 3000);
      const PcmView track{kRate, channels, samples};
      Bytes undisturbed;
      int questions = 0;
      ASSERT_TRUE(EncodeAudio(track, mode, undisturbed, [&] {
        ++questions;
        return false;
      }));
      Bytes payload;
      ASSERT_TRUE(EncodeAudio(track, mode, payload));
      EXPECT_EQ(payload, undisturbed);

      // Once in 40 seconds of this rate, and for every 65536 symbols of the streams.
      const auto symbols =
          static_cast<int>(samples.size() / (mode == AudioCodingMode::kAdpcm ? 2 : 1));
      EXPECT_GE(questions, 5 + symbols / 65536);
      for (const int last : {1, questions / 2, questions - 1, questions}) {
        int asked = 0;
        EXPECT_FALSE(EncodeAudio(track, mode, payload, [&] { return ++asked == last; })) << last;
        EXPECT_EQ(asked, last);
        EXPECT_TRUE(payload.empty());
      }
    }
  }
}

TEST(TransformPayload, HeaderAndStreamsOfStereo) {
  const Samples samples = test::Interleave(test::Noise(1000, 9000, 1), test::Noise(1000, 9000, 2));
  const Bytes payload = EncodeTransform(samples, 8000, 2);
  const uint8_t* bytes = payload.data();
  EXPECT_EQ(Bytes(bytes, bytes + 4), (Bytes{'O', 'P', 'U', 'S'}));
  EXPECT_EQ(LoadLe32(bytes + 4), 8000u);
  EXPECT_EQ(LoadLe16(bytes + 8), 2);
  EXPECT_EQ(LoadLe16(bytes + 10), 160);
  EXPECT_EQ(LoadLe32(bytes + 12), 8u);  // 6.25 frames, rounded up, and one
  EXPECT_EQ(LoadLe32(bytes + 16), 2000u);
  const size_t sizes[4] = {LoadLe16(bytes + 20), LoadLe32(bytes + 22), LoadLe16(bytes + 26),
                           LoadLe32(bytes + 28)};
  ASSERT_EQ(payload.size(), 32 + sizes[0] + sizes[1] + sizes[2] + sizes[3]);
  size_t at = 32;
  for (size_t s = 0; s < 4; ++s) {
    const Bytes stream(bytes + at, bytes + at + sizes[s]);
    if (s % 2 == 0) {
      Bytes scales(8 * 16);
      EXPECT_TRUE(entropy::RansDecodeBytes(stream, scales));
    } else {
      Samples levels(8 * 160);
      EXPECT_TRUE(entropy::DecodeCoefficients(stream, levels));
    }
    at += sizes[s];
  }
}

// A signal with the period of a frame: all frames except the first and last are identical,
// even at batch boundaries.
TEST(TransformPayload, BatchBoundariesDoNotMatter) {
  constexpr size_t kFrames = 450;
  const Samples period = test::Noise(64, 9000, 3);
  Samples samples;
  for (size_t f = 0; f < kFrames; ++f) samples.insert(samples.end(), period.begin(), period.end());
  const Bytes payload = EncodeTransform(samples, 3200, 1);
  ASSERT_EQ(LoadLe32(&payload[12]), kFrames + 1);

  const size_t scale_bytes = LoadLe16(&payload[20]);
  Bytes scales(16 * (kFrames + 1));
  Samples levels(64 * (kFrames + 1));
  const std::span<const uint8_t> streams = std::span(payload).subspan(32);
  ASSERT_TRUE(entropy::RansDecodeBytes(streams.first(scale_bytes), scales));
  ASSERT_TRUE(entropy::DecodeCoefficients(streams.subspan(scale_bytes), levels));
  const Samples decoded = DecodeTransform(payload).samples;
  ASSERT_EQ(decoded.size(), samples.size());
  for (size_t f = 2; f < kFrames; ++f) {
    EXPECT_TRUE(std::equal(&scales[16], &scales[32], &scales[16 * f])) << f;
    EXPECT_TRUE(std::equal(&levels[64], &levels[128], &levels[64 * f])) << f;
    if (f + 1 < kFrames) {
      EXPECT_TRUE(std::equal(&decoded[64], &decoded[128], &decoded[64 * f])) << f;
    }
  }
}

TEST(TransformPayload, StereoIsCodedAsMidAndSide) {
  // Equal channels: mid is the mono signal, side is silent. Streams 1 and 2 are those of
  // the mono track; only the count field differs.
  const Samples mono = test::SpeechLike(3000, 16000);
  const Bytes one = EncodeTransform(mono, 16000, 1);
  const Bytes two = EncodeTransform(test::Interleave(mono, mono), 16000, 2);
  ASSERT_EQ(Bytes(one.begin() + 20, one.begin() + 26), Bytes(two.begin() + 20, two.begin() + 26));
  EXPECT_TRUE(std::equal(one.begin() + 32, one.end(), two.begin() + 32));
  const PcmTrack track = DecodeTransform(two);
  EXPECT_EQ(track.channels, 2);
  const PcmTrack mono_track = DecodeTransform(one);
  for (size_t i = 0; i < mono.size(); ++i) {
    ASSERT_EQ(track.samples[2 * i], mono_track.samples[i]);
    ASSERT_EQ(track.samples[2 * i + 1], mono_track.samples[i]);
  }
}

TEST(TransformPayload, MidAndSideTruncateTowardZero) {
  // (-3 + 0) / 2 = -1 in both coded channels: the same as left -2, right 0.
  Samples odd, even;
  for (int i = 0; i < 500; ++i) {
    odd.insert(odd.end(), {static_cast<int16_t>(-30001), 0});
    even.insert(even.end(), {static_cast<int16_t>(-30000), 0});
  }
  EXPECT_EQ(EncodeTransform(odd, 8000, 2), EncodeTransform(even, 8000, 2));
}

TEST(TransformPayload, UnsupportedInputIsRejected) {
  const Samples samples(10, 1);
  Bytes payload(3);
  EXPECT_FALSE(EncodeAudioTransform({}, 8000, 1, payload));
  EXPECT_TRUE(payload.empty());
  EXPECT_FALSE(EncodeAudioTransform(samples, 0, 1, payload));
  EXPECT_FALSE(EncodeAudioTransform(samples, 8000, 0, payload));
  EXPECT_FALSE(EncodeAudioTransform(samples, 8000, 3, payload));
  EXPECT_FALSE(EncodeAudio({8000, 3, samples}, AudioCodingMode::kTransform, payload));
  EXPECT_FALSE(EncodeAudioTransform(samples, 768001, 1, payload));
  EXPECT_FALSE(EncodeAudioTransform(samples, 65536 * 50, 1, payload));
  EXPECT_TRUE(payload.empty());
  EXPECT_TRUE(EncodeAudioTransform(samples, 768000, 1, payload));
  EXPECT_EQ(DecodeTransform(payload).samples.size(), 10u);
}

TEST(TransformPayload, ExactSampleCounts) {
  for (const uint32_t rate : {2000u, 22050u}) {
    const size_t n = FrameLengthFor(rate);
    for (const size_t count : {size_t{1}, n - 1, n, n + 1, 2 * n, 200 * n + 3}) {
      const Samples mono = test::SineSweep(count, rate, 5000);
      const Bytes payload = EncodeTransform(mono, rate, 1);
      EXPECT_EQ(LoadLe32(payload.data() + 12), (count + n - 1) / n + 1);
      const PcmTrack track = DecodeTransform(payload);
      EXPECT_EQ(track.samples.size(), count);
      EXPECT_EQ(track.sample_rate, rate);
      EXPECT_EQ(track.channels, 1);
      const Samples stereo = test::Interleave(mono, mono);
      EXPECT_EQ(DecodeTransform(EncodeTransform(stereo, rate, 2)).samples.size(), 2 * count);
      // A left sample without its right one is counted and not delivered.
      Samples odd = stereo;
      odd.push_back(1);
      const Bytes odd_payload = EncodeTransform(odd, rate, 2);
      EXPECT_EQ(LoadLe32(odd_payload.data() + 16), 2 * count + 1);
      EXPECT_EQ(DecodeTransform(odd_payload).samples.size(), 2 * count);
    }
  }
  EXPECT_TRUE(DecodeTransform(EncodeTransform({5}, 2000, 2)).samples.empty());
}

// Speech on the left and noise on the right.
Samples MixedSignal() {
  return test::Interleave(test::SpeechLike(50000, 48000), test::Noise(50000, 3000, 5));
}

TEST(TransformPayload, SameBytesAndSamplesForEverySimdLevel) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  const Bytes expected = EncodeTransform(MixedSignal(), 48000, 2);
  const Samples decoded = DecodeTransform(expected).samples;
  const test::ScopedSimdLevel forced(SimdLevel::kScalar);
  EXPECT_EQ(EncodeTransform(MixedSignal(), 48000, 2), expected);
  EXPECT_EQ(DecodeTransform(expected).samples, decoded);
}

TEST(TransformPayload, SameBytesAndSamplesForEveryWorkerCount) {
  const Samples samples = MixedSignal();
  const Bytes expected = EncodeTransform(samples, 48000, 2);
  const Samples decoded = DecodeTransform(expected).samples;
  test::WithEachThreadCount([&] {
    EXPECT_EQ(EncodeTransform(samples, 48000, 2), expected);
    EXPECT_EQ(DecodeTransform(expected).samples, decoded);
  });
}

// FNV-1a.
template <typename Values>
uint64_t Hash(const Values& values) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const auto value : values) {
    hash = (hash ^ static_cast<uint16_t>(value)) * 0x100000001B3;
  }
  return hash;
}

// Computed in integers, so that it is identical on every platform.
Samples Steps(size_t count) {
  Samples samples;
  int32_t level = 0;
  uint32_t random = 1;
  for (size_t i = 0; i < count; ++i) {
    random = random * 1664525 + 1013904223;
    level = (level * 15 + static_cast<int32_t>(random >> 16) - 32768) / 16;
    const int32_t loudness = static_cast<int32_t>(i / 3000 % 7) + 1;
    samples.push_back(static_cast<int16_t>(std::clamp(level * loudness, -32768, 32767)));
  }
  return samples;
}

TEST(TransformPayload, SameBytesAndSamplesOnEveryPlatform) {
  const Bytes mono = EncodeTransform(Steps(60000), 22050, 1);
  EXPECT_EQ(Hash(mono), 0xD03584A9B98D4487u);
  EXPECT_EQ(Hash(DecodeTransform(mono).samples), 0xCDA83D6065C5690Au);
  const Bytes stereo = EncodeTransform(Steps(60001), 48000, 2);
  EXPECT_EQ(Hash(stereo), 0x7501F4118479A2F8u);
  EXPECT_EQ(Hash(DecodeTransform(stereo).samples), 0x653125AE76D354E1u);
}

TEST(DecodeAudio, ChunksAppendToExactCount) {
  const Samples samples =
      test::Interleave(test::SpeechLike(10001, 8000), test::SineSweep(10001, 8000, 4000));
  for (const AudioCodingMode mode : {AudioCodingMode::kAdpcm, AudioCodingMode::kTransform}) {
    PcmTrack track;
    size_t at = 0;
    for (size_t size = 2; at < samples.size(); size = size * 3 + 2) {
      const size_t count = std::min(size, samples.size() - at);
      Bytes payload;
      ASSERT_TRUE(EncodeAudio({8000, 2, std::span(samples).subspan(at, count)}, mode, payload));
      at += count;
      ASSERT_TRUE(DecodeAudio(payload, samples.size(), track));
      ASSERT_EQ(track.samples.size(), at);
    }
    EXPECT_EQ(track.sample_rate, 8000u);
    EXPECT_EQ(track.channels, 2);
    EXPECT_GT(test::SignalToNoise(samples, track.samples), 15.0);
  }
}

TEST(DecodeAudio, ExtentMatchesTrack) {
  const Samples samples = test::Noise(3000, 2000);
  for (const uint32_t channels : {1u, 2u}) {
    for (const auto mode : {AudioCodingMode::kAdpcm, AudioCodingMode::kTransform}) {
      Bytes payload;
      ASSERT_TRUE(EncodeAudio({8000, channels, samples}, mode, payload));
      EXPECT_EQ(DeclaredValues(payload), 3000u);
      EXPECT_EQ(DeclaredValues(std::span(payload).first(kDeclarationBytes)), 3000u);
      EXPECT_EQ(DeclaredValues(std::span(payload).first(kDeclarationBytes - 1)), 0u);
      if (mode == AudioCodingMode::kAdpcm) {
        Bytes surround = payload;
        StoreLe16(&surround[4], 6);
        EXPECT_EQ(DeclaredValues(surround), 0u);
      }
      AudioExtent extent;
      for (const uint64_t values : {3000u, 6000u}) {
        SampleSink sink(extent);
        ASSERT_TRUE(DecodeAudio(payload, 6000, sink));
        EXPECT_EQ(extent.values, values);
        EXPECT_EQ(extent.sample_rate, 8000u);
        EXPECT_EQ(extent.channels, channels);
        // 160 samples per frame; the rest is padding of the payload's frames.
        const uint64_t frames = (3000 / channels + 159) / 160 + 1;
        EXPECT_EQ(sink.wasted_values(),
                  mode == AudioCodingMode::kAdpcm ? 0 : 160 * channels * frames - 3000);
      }
      SampleSink full(extent);
      EXPECT_FALSE(DecodeAudio(payload, 6000, full));
      EXPECT_EQ(full.wasted_values(), 0u) << "told from the header";
    }
  }
}

// A surplus token is only detected after the last value.
TEST(DecodeAudio, RejectedPayloadReportsItsCost) {
  constexpr uint32_t kSamples = 1'000'000;
  Bytes payload = EncodeTransform(Samples(kSamples, 0), 3200, 1);
  const uint32_t frames = LoadLe32(&payload[12]);
  payload.erase(payload.end() - LoadLe32(&payload[22]), payload.end());
  const Bytes stream = entropy::ContextRansEncode(Bytes(size_t{frames} + 1, 1));
  payload.insert(payload.end(), stream.begin(), stream.end());
  StoreLe32(&payload[22], static_cast<uint32_t>(stream.size()));
  PcmTrack track{3200, 1, Samples(5, 7)};
  SampleSink sink(track);
  EXPECT_FALSE(DecodeAudio(payload, kNoLimit, sink));
  EXPECT_EQ(sink.wasted_values(), 64 * frames);
  EXPECT_EQ(track.samples, Samples(5, 7));
}

// A value of a frame of this length counts as 4.
TEST(DecodeAudio, ChunkOfOneSampleReportsPaddingCost) {
  const Bytes payload = EncodeTransform(Samples(1, 9), 768000, 1);
  AudioExtent extent;
  SampleSink sink(extent);
  ASSERT_TRUE(DecodeAudio(payload, kNoLimit, sink));
  EXPECT_EQ(extent.values, 1u);
  EXPECT_EQ(sink.wasted_values(), 4 * 2 * 15360 - 1);
}

TEST(DecodeAudio, ValuesOfLongFramesCountMultiply) {
  for (const auto& [rate, weight] : {std::pair{192000U, 1U}, {383999U, 1U}, {384000U, 2U}}) {
    const Bytes payload = EncodeTransform(Samples(10, 9), rate, 1);
    AudioExtent extent{rate, 1, 100};
    SampleSink too_small(extent);
    EXPECT_FALSE(DecodeAudio(payload, 100 + 10 * weight - 1, too_small)) << rate;
    EXPECT_EQ(too_small.wasted_values(), 0u);
    SampleSink sink(extent);
    EXPECT_TRUE(DecodeAudio(payload, 100 + 10 * weight, sink)) << rate;
    EXPECT_EQ(extent.values, 110u);
  }
}

TEST(DecodeAudio, OneSampleFixesTheFormatOfATrack) {
  const Samples samples(300, 7);
  Bytes payload;
  ASSERT_TRUE(EncodeAudio({8000, 1, samples}, AudioCodingMode::kAdpcm, payload));
  for (const auto& [rate, channels] : {std::pair{8001U, uint16_t{1}}, {8000U, uint16_t{2}}}) {
    PcmTrack one{rate, channels, Samples(1, 5)};
    EXPECT_FALSE(DecodeAudio(payload, kNoLimit, one));
    EXPECT_EQ(one.samples, Samples(1, 5));
    PcmTrack none{rate, channels, {}};
    EXPECT_TRUE(DecodeAudio(payload, kNoLimit, none));
    EXPECT_EQ(none.sample_rate, 8000U);
    EXPECT_EQ(none.channels, 1);
  }
}

TEST(DecodeAudio, LimitAndFormatOfTheTrackAreEnforced) {
  for (const AudioCodingMode mode : {AudioCodingMode::kAdpcm, AudioCodingMode::kTransform}) {
    const Samples samples(300, 7);
    Bytes payload, stereo, faster;
    ASSERT_TRUE(EncodeAudio({8000, 1, samples}, mode, payload));
    ASSERT_TRUE(EncodeAudio({8000, 2, samples}, mode, stereo));
    ASSERT_TRUE(EncodeAudio({8001, 1, samples}, mode, faster));
    PcmTrack track;
    EXPECT_FALSE(DecodeAudio(payload, 299, track));
    EXPECT_EQ(track.sample_rate, 0u);
    EXPECT_TRUE(DecodeAudio(payload, 300, track));
    EXPECT_FALSE(DecodeAudio(payload, 599, track));
    EXPECT_TRUE(DecodeAudio(payload, 600, track));
    EXPECT_FALSE(DecodeAudio(stereo, kNoLimit, track));
    EXPECT_FALSE(DecodeAudio(faster, kNoLimit, track));
    EXPECT_EQ(track.samples.size(), 600u);
    EXPECT_EQ(track.channels, 1);
  }
}

}  // namespace
}  // namespace qolm::audio
