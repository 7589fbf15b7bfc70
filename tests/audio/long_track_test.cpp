// SPDX-License-Identifier: MIT
//
// Tracks so long that the sizes of the scale streams overflow their 16 bits.
#include <gtest/gtest.h>

#include "audio/audio_coder.h"
#include "audio/test_signals.h"
#include "base/byte_order.h"
#include "entropy/rans.h"

namespace qolm::audio {
namespace {

using Bytes = std::vector<uint8_t>;
using test::Samples;

constexpr uint32_t kRate = 3200;  // N = 64
constexpr size_t kFourMinutes = size_t{240} * kRate + 17;

// Noise whose loudness changes every few samples, so that the scales are incompressible.
Samples Gusts(uint32_t seed) {
  std::mt19937 random(seed);
  Samples samples(kFourMinutes);
  double loudness = 0.0;
  for (size_t i = 0; i < samples.size(); ++i) {
    if (i % 16 == 0) loudness = 30.0 * std::pow(2.0, static_cast<double>(random() % 90) / 10.0);
    samples[i] = test::ToSample(loudness * test::Uniform(random));
  }
  return samples;
}

uint32_t SizeOfStreamAt(const Bytes& payload, size_t offset) {
  // Its frames' scale bytes, decoded from where it starts.
  const uint32_t frames = LoadLe32(payload.data() + 12);
  size_t size = 0;
  EXPECT_TRUE(entropy::RansPrefixSize(std::span(payload).subspan(offset), 16 * frames, size));
  return static_cast<uint32_t>(size);
}

void ExpectRefusedWithOtherBits(const Bytes& payload) {
  for (const size_t offset : {20u, 26u}) {
    Bytes bad = payload;
    bad[offset] ^= 1u;
    PcmTrack track;
    EXPECT_FALSE(DecodeAudio(bad, kFourMinutes * 2, track)) << offset;
  }
}

TEST(LongTrack, MonoStreamSizesAreRecovered) {
  const Samples samples = Gusts(1);
  Bytes payload;
  ASSERT_TRUE(EncodeAudio({kRate, 1, samples}, AudioCodingMode::kTransform, payload));
  const uint32_t first = SizeOfStreamAt(payload, 32);
  ASSERT_GT(first, 65535u);
  ASSERT_EQ(LoadLe16(payload.data() + 20), first % 65536);
  PcmTrack track;
  ASSERT_TRUE(DecodeAudio(payload, kFourMinutes, track));
  ASSERT_EQ(track.samples.size(), kFourMinutes);
  EXPECT_GT(test::SignalToNoise(samples, track.samples), 15.0);
  ExpectRefusedWithOtherBits(payload);
}

TEST(LongTrack, StereoStreamSizesAreRecovered) {
  const Samples samples = test::Interleave(Gusts(1), Gusts(2));
  Bytes payload;
  ASSERT_TRUE(EncodeAudio({kRate, 2, samples}, AudioCodingMode::kTransform, payload));
  const uint32_t first = SizeOfStreamAt(payload, 32);
  const uint32_t third = SizeOfStreamAt(payload, 32 + first + LoadLe32(payload.data() + 22));
  ASSERT_GT(first, 65535u);
  ASSERT_GT(third, 65535u);
  PcmTrack track;
  ASSERT_TRUE(DecodeAudio(payload, 2 * kFourMinutes, track));
  ASSERT_EQ(track.samples.size(), 2 * kFourMinutes);
  EXPECT_GT(test::SignalToNoise(samples, track.samples), 15.0);
  ExpectRefusedWithOtherBits(payload);
}

TEST(LongTrack, OverflowOfThirdSizeAloneIsRecovered) {
  // Left and right cancel: mid is silent, only side has incompressible scales.
  const Samples side = Gusts(3);
  const Samples samples = test::Interleave(side, test::Inverted(side));
  Bytes payload;
  ASSERT_TRUE(EncodeAudio({kRate, 2, samples}, AudioCodingMode::kTransform, payload));
  ASSERT_EQ(LoadLe16(payload.data() + 20), 13);
  PcmTrack track;
  ASSERT_TRUE(DecodeAudio(payload, 2 * kFourMinutes, track));
  ASSERT_EQ(track.samples.size(), 2 * kFourMinutes);
  EXPECT_GT(test::SignalToNoise(samples, track.samples), 15.0);
}

}  // namespace
}  // namespace qolm::audio
