// SPDX-License-Identifier: MIT
#include "audio/adpcm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "audio/audio_coder.h"
#include "audio/test_signals.h"

namespace qolm::audio {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;
using test::Samples;

Bytes EncodeAdpcm(const Samples& samples, uint32_t channels, uint32_t rate = 8000) {
  Bytes payload;
  EXPECT_TRUE(EncodeAudio({rate, channels, samples}, AudioCodingMode::kAdpcm, payload));
  return payload;
}

Samples DecodeAdpcm(const Bytes& payload) {
  PcmTrack track;
  EXPECT_TRUE(DecodeAudio(payload, 1000000, track));
  return track.samples;
}

TEST(AdpcmTables, MatchTheStandard) {
  // Each step is about 10 % larger; the standard rounds irregularly.
  EXPECT_EQ(kAdpcmSteps.front(), 7);
  EXPECT_EQ(kAdpcmSteps.back(), 32767);
  int64_t sum = 0;
  for (size_t i = 1; i < kAdpcmSteps.size(); ++i) {
    EXPECT_GT(kAdpcmSteps[i], kAdpcmSteps[i - 1]);
    if (i >= 20) {
      EXPECT_NEAR(double{1} * kAdpcmSteps[i] / kAdpcmSteps[i - 1], 1.1, 0.012) << i;
    }
    sum += kAdpcmSteps[i];
  }
  EXPECT_EQ(sum, 360386);
  EXPECT_THAT(kAdpcmIndexChanges,
              ElementsAre(-1, -1, -1, -1, 2, 4, 6, 8, -1, -1, -1, -1, 2, 4, 6, 8));
}

TEST(AdpcmEncodeSample, MatchesHandComputedCodes) {
  AdpcmState state;
  // Step 7, distance 10: 4 leaves 3, 2 leaves 0, no 1. Delta 0 + 7 + 3.
  EXPECT_EQ(AdpcmEncodeSample(10, state), 6);
  EXPECT_EQ(state.predictor, 10);
  EXPECT_EQ(state.step_index, 6);
  // Step 13, distance -30: 8, 4 leaves 17, 2 leaves 11, 1. Delta 1 + 13 + 6 + 3.
  EXPECT_EQ(AdpcmEncodeSample(-20, state), 15);
  EXPECT_EQ(state.predictor, -13);
  EXPECT_EQ(state.step_index, 14);
  // Step 28, distance 13: below 28 and 14, at least 7. Delta 3 + 7.
  EXPECT_EQ(AdpcmEncodeSample(0, state), 1);
  EXPECT_EQ(state.predictor, -3);
  EXPECT_EQ(state.step_index, 13);
}

TEST(AdpcmEncodeSample, FullScaleStepSaturates) {
  AdpcmState state;
  AdpcmEncodeSample(0, state);
  int32_t last = 0;
  bool saturated = false;
  for (int i = 0; i < 40; ++i) {
    AdpcmEncodeSample(32767, state);
    EXPECT_GE(state.predictor, last - 8000);
    EXPECT_GE(state.predictor, 0);
    last = state.predictor;
    saturated = saturated || state.predictor == 32767;
  }
  EXPECT_TRUE(saturated);
}

TEST(AdpcmDecodeSample, StateStaysInRangeForEveryCode) {
  for (const int32_t predictor : {-32768, -32767, 0, 32766, 32767}) {
    for (const int32_t step_index : {0, 1, 80, 81, 87, 88}) {
      for (int code = 0; code < 16; ++code) {
        AdpcmState state{predictor, step_index};
        const int32_t step = kAdpcmSteps[static_cast<size_t>(step_index)];
        // Each fraction of a step is truncated separately.
        int64_t delta = step / 8;
        if (code % 8 >= 4) delta += step;
        if (code % 4 >= 2) delta += step / 2;
        if (code % 2 >= 1) delta += step / 4;
        const int64_t moved = predictor + (code >= 8 ? -delta : delta);
        const auto expected = static_cast<int32_t>(std::clamp<int64_t>(moved, -32768, 32767));
        const int32_t change = code % 8 < 4 ? -1 : 2 * (code % 8 - 3);
        EXPECT_EQ(AdpcmDecodeSample(static_cast<uint8_t>(code), state), expected) << code;
        EXPECT_EQ(state.predictor, expected) << code;
        EXPECT_EQ(state.step_index, std::clamp(step_index + change, 0, 88)) << code;
      }
    }
  }
}

TEST(AdpcmEncodeSample, StepIndexStaysInRangeAndDecoderAgrees) {
  Samples samples = test::Square(500, 3);
  const Samples quiet(300, 0);
  samples.insert(samples.end(), quiet.begin(), quiet.end());
  const Samples noise = test::Noise(2000, 32767);
  samples.insert(samples.end(), noise.begin(), noise.end());
  AdpcmState encoder, decoder;
  int32_t highest = 0;
  for (const int16_t sample : samples) {
    const uint8_t code = AdpcmEncodeSample(sample, encoder);
    ASSERT_LE(code, 15);
    ASSERT_EQ(AdpcmDecodeSample(code, decoder), encoder.predictor);
    ASSERT_EQ(decoder.step_index, encoder.step_index);
    ASSERT_GE(encoder.step_index, 0);
    ASSERT_LE(encoder.step_index, 88);
    highest = std::max(highest, encoder.step_index);
  }
  EXPECT_EQ(highest, 88);
}

TEST(AdpcmPayload, OddMonoCountLeavesLastHighNibbleZero) {
  // Codes 6, 15, 1 as above: bytes F6 and 01. Two values of equal count:
  // 4094 / 2 + 1 = 2048 each. 65536 = 32 * 2048, so 01 (cum 0) takes the coder's
  // state to 32 * 4096, and F6 (cum 2048) to 64 * 4096 + 2048 = 0x040800.
  const Bytes payload = EncodeAdpcm({10, -20, 0}, 1);
  EXPECT_THAT(payload, ElementsAre(0x40, 0x1F, 0, 0, 1, 0, 3, 0, 0, 0, 2, 0, 0, 0, 16, 0, 0, 0,  //
                                   2, 0, 0, 0, 2, 0, 0x01, 0x00, 0x08, 0xF6, 0x00, 0x08,         //
                                   0x00, 0x08, 0x04, 0x00));
  EXPECT_THAT(DecodeAdpcm(payload), ElementsAre(10, -13, -3));
}

TEST(AdpcmPayload, StereoStoresLeftInLowNibble) {
  // Left 10, -20 codes 6, 15; right 0, 0 codes 0, 0: bytes 06 and 0F. The coder's
  // state: 65536 = 32 * 2048, so 0F (cum 2048) gives 32 * 4096 + 2048 = 133120,
  // and 06 (cum 0) gives 65 * 4096 = 266240 = 0x041000.
  EXPECT_THAT(EncodeAdpcm({10, 0, -20, 0}, 2),
              ElementsAre(0x40, 0x1F, 0, 0, 2, 0, 2, 0, 0, 0, 2, 0, 0, 0, 16, 0, 0, 0,  //
                          2, 0, 0, 0, 2, 0, 0x06, 0x00, 0x08, 0x0F, 0x00, 0x08,         //
                          0x00, 0x10, 0x04, 0x00));
  EXPECT_THAT(DecodeAdpcm(EncodeAdpcm({10, 0, -20, 0}, 2)), ElementsAre(10, 0, -13, 0));
}

TEST(AdpcmPayload, SilenceNeedsNoRenormalisationBytes) {
  EXPECT_THAT(EncodeAdpcm(Samples(1000, 0), 1, 48000),
              ElementsAre(0x80, 0xBB, 0, 0, 1, 0, 0xE8, 3, 0, 0, 0xF4, 1, 0, 0, 13, 0, 0, 0,  //
                          0xF4, 1, 0, 0, 1, 0, 0, 0x00, 0x10, 0, 0, 1, 0));
  EXPECT_EQ(DecodeAdpcm(EncodeAdpcm(Samples(1000, 0), 1)), Samples(1000, 0));
}

TEST(AdpcmPayload, OtherChannelCountsAreCodedAsMono) {
  const Samples samples = {10, -20, 0, 5, 6, 7, 8, 9, 11, 12};
  const Bytes payload = EncodeAdpcm(samples, 3);
  const Bytes mono = EncodeAdpcm({10, -20, 0}, 1);
  // Ten values are three frames and a rest; the same but for the channel count.
  Bytes expected = mono;
  expected[4] = 3;
  EXPECT_EQ(payload, expected);
  PcmTrack track;
  EXPECT_FALSE(DecodeAudio(payload, 1000, track));
}

TEST(AdpcmPayload, OddStereoValueCountDropsIncompleteFrame) {
  EXPECT_EQ(DecodeAdpcm(EncodeAdpcm({1, 2, 3, 4, 5}, 2)).size(), 4u);
  EXPECT_TRUE(DecodeAdpcm(EncodeAdpcm({1}, 2)).empty());
}

TEST(AdpcmPayload, UnsupportedInputIsRejected) {
  const Samples samples(10, 1);
  Bytes payload(3);
  EXPECT_FALSE(EncodeAudio({0, 1, samples}, AudioCodingMode::kAdpcm, payload));
  EXPECT_TRUE(payload.empty());
  EXPECT_FALSE(EncodeAudio({8000, 0, samples}, AudioCodingMode::kAdpcm, payload));
  EXPECT_FALSE(EncodeAudio({8000, 65536, samples}, AudioCodingMode::kAdpcm, payload));
  EXPECT_TRUE(EncodeAudio({8000, 65535, Samples(65535, 1)}, AudioCodingMode::kAdpcm, payload));
  payload.clear();
  EXPECT_FALSE(EncodeAudio({8000, 1, {}}, AudioCodingMode::kAdpcm, payload));
  // "OPUS" as a rate, and its neighbours.
  EXPECT_FALSE(EncodeAudio({0x5355504F, 1, samples}, AudioCodingMode::kAdpcm, payload));
  EXPECT_TRUE(EncodeAudio({0x5355504E, 1, samples}, AudioCodingMode::kAdpcm, payload));
  EXPECT_TRUE(EncodeAudio({0xFFFFFFFF, 1, samples}, AudioCodingMode::kAdpcm, payload));
}

}  // namespace
}  // namespace qolm::audio
