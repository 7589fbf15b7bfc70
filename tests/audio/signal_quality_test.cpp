// SPDX-License-Identifier: MIT
//
// The signal-to-noise ratio of each coder for each kind of signal. The limits are just
// below the measured values, so that regressions fail.
#include <gtest/gtest.h>

#include <string>

#include "audio/audio_coder.h"
#include "audio/test_signals.h"

namespace qolm::audio {
namespace {

using test::Samples;

double CodedSignalToNoise(const Samples& samples, uint32_t channels, AudioCodingMode mode) {
  std::vector<uint8_t> payload;
  PcmTrack track;
  EXPECT_TRUE(EncodeAudio({48000, channels, samples}, mode, payload));
  EXPECT_TRUE(DecodeAudio(payload, samples.size(), track));
  EXPECT_EQ(track.samples.size(), samples.size());
  const double ratio = test::SignalToNoise(samples, track.samples);
  const double seconds = static_cast<double>(samples.size()) / channels / 48000.0;
  const double kilobits = static_cast<double>(payload.size()) * 8e-3 / seconds;
  const char* name = mode == AudioCodingMode::kAdpcm ? "adpcm" : "transform";
  ::testing::Test::RecordProperty(std::string(name) + "_decibels", std::to_string(ratio));
  ::testing::Test::RecordProperty(std::string(name) + "_kilobits_per_second",
                                  std::to_string(kilobits));
  return ratio;
}

double Adpcm(const Samples& samples, uint32_t channels = 1) {
  return CodedSignalToNoise(samples, channels, AudioCodingMode::kAdpcm);
}

double Transform(const Samples& samples, uint32_t channels = 1) {
  return CodedSignalToNoise(samples, channels, AudioCodingMode::kTransform);
}

constexpr size_t kCount = 96000;

TEST(SignalQuality, QuietSineSweep) {
  const Samples samples = test::SineSweep(kCount, 48000, 3000);
  EXPECT_GT(Adpcm(samples), 23.7);
  EXPECT_GT(Transform(samples), 44.1);
}

// The tone is concentrated in one or two coefficients, which exceed the largest level at
// the largest step, so the transform coder clips it.
TEST(SignalQuality, LoudSineSweep) {
  const Samples samples = test::SineSweep(kCount, 48000, 30000);
  EXPECT_GT(Adpcm(samples), 25.9);
  EXPECT_GT(Transform(samples), 9.8);
}

TEST(SignalQuality, SpeechLikeSignal) {
  const Samples samples = test::SpeechLike(kCount, 48000);
  EXPECT_GT(Adpcm(samples), 22.0);
  EXPECT_GT(Transform(samples), 33.8);
}

TEST(SignalQuality, WhiteNoise) {
  const Samples samples = test::Noise(kCount, 12000);
  EXPECT_GT(Adpcm(samples), 15.4);
  EXPECT_GT(Transform(samples), 43.4);
}

// The fundamental clips as the loud sweep does.
TEST(SignalQuality, FullScaleSquare) {
  const Samples samples = test::Square(kCount, 54);
  EXPECT_GT(Adpcm(samples), 5.2);
  EXPECT_GT(Transform(samples), 5.4);
}

TEST(SignalQuality, StereoOutOfPhase) {
  const Samples left = test::SpeechLike(kCount, 48000);
  const Samples samples = test::Interleave(left, test::Inverted(left));
  EXPECT_GT(Adpcm(samples, 2), 22.0);
  EXPECT_GT(Transform(samples, 2), 33.2);
}

TEST(SignalQuality, SilenceIsExact) {
  EXPECT_EQ(Adpcm(Samples(kCount, 0), 2), 200.0);
  EXPECT_EQ(Transform(Samples(kCount, 0), 2), 200.0);
}

}  // namespace
}  // namespace qolm::audio
