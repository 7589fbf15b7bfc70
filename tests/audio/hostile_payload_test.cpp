// Damaged payloads: refused or decoded to the right count, never more.
#include <gtest/gtest.h>

#include "audio/audio_coder.h"
#include "audio/sounds.h"
#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"

namespace qolm::audio {
namespace {

using Bytes = std::vector<uint8_t>;
using test::Samples;

constexpr uint64_t kMaxValues = 100000;

Bytes Encode(uint32_t channels, AudioCodingMode mode) {
  Bytes payload;
  EXPECT_TRUE(EncodeAudio({3200, channels, test::Noise(300, 2000)}, mode, payload));
  return payload;
}

bool Decodes(const Bytes& payload) {
  PcmTrack track{.sample_rate = 5, .channels = 9, .samples = {}};
  const bool decoded = DecodeAudio(payload, kMaxValues, track);
  EXPECT_LE(track.samples.size(), kMaxValues);
  if (!decoded) {
    EXPECT_TRUE(track.samples.empty());
    EXPECT_EQ(track.sample_rate, 5u);
    EXPECT_EQ(track.channels, 9);
  }
  return decoded;
}

class HostilePayload : public ::testing::TestWithParam<std::tuple<uint32_t, AudioCodingMode>> {
 protected:
  Bytes payload_ = Encode(std::get<0>(GetParam()), std::get<1>(GetParam()));
};

TEST_P(HostilePayload, EveryTruncationIsRefused) {
  ASSERT_TRUE(Decodes(payload_));
  for (size_t size = 0; size < payload_.size(); ++size) {
    const Bytes cut(payload_.begin(), payload_.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_FALSE(Decodes(cut)) << size;
  }
}

TEST_P(HostilePayload, SurplusBytesAreRefused) {
  payload_.push_back(0);
  EXPECT_FALSE(Decodes(payload_));
}

TEST_P(HostilePayload, SingleBitFlipsAreSurvived) {
  size_t refused = 0;
  for (size_t bit = 0; bit < 8 * payload_.size(); ++bit) {
    Bytes flipped = payload_;
    flipped[bit / 8] = static_cast<uint8_t>(flipped[bit / 8] ^ (1u << (bit % 8)));
    if (!Decodes(flipped)) ++refused;
  }
  EXPECT_GT(refused, 0u);
}

INSTANTIATE_TEST_SUITE_P(Coders, HostilePayload,
                         ::testing::Combine(::testing::Values(1u, 2u),
                                            ::testing::Values(AudioCodingMode::kAdpcm,
                                                              AudioCodingMode::kTransform)));

// A payload of two frames of N, for fewer than N samples, with streams of one's own.
Bytes TransformPayload(const Bytes& scales, const Samples& levels, uint32_t rate = 3200) {
  const Bytes first = entropy::RansEncodeBytes(scales);
  const Bytes second = entropy::EncodeCoefficients(levels);
  Bytes payload = {'O', 'P', 'U', 'S'};
  AppendLe32(payload, rate);
  AppendLe16(payload, 1);
  AppendLe16(payload, static_cast<uint16_t>(rate / 50));
  AppendLe32(payload, 2);
  AppendLe32(payload, 60);
  AppendLe16(payload, static_cast<uint16_t>(first.size()));
  AppendLe32(payload, static_cast<uint32_t>(second.size()));
  AppendLe16(payload, 0);
  AppendLe32(payload, 0);
  payload.insert(payload.end(), first.begin(), first.end());
  payload.insert(payload.end(), second.begin(), second.end());
  return payload;
}

TEST(HostileTransform, HeaderFieldsMustAgree) {
  const Bytes good = TransformPayload(Bytes(32, 30), Samples(128, 3));
  ASSERT_TRUE(Decodes(good));
  // Rate, channels, N, frames, samples, the one channel's third and fourth size.
  for (const size_t offset : {4u, 8u, 10u, 12u, 20u, 22u, 26u, 28u}) {
    Bytes bad = good;
    bad[offset] = static_cast<uint8_t>(bad[offset] + 100);
    EXPECT_FALSE(Decodes(bad)) << offset;
  }
  Bytes none = good;
  none[16] = 0;
  EXPECT_FALSE(Decodes(none));
}

TEST(HostileTransform, ScalesAndLevelsMustBeInRange) {
  EXPECT_TRUE(Decodes(TransformPayload(Bytes(32, 63), Samples(128, -2048))));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 64), Samples(128, 1))));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 63), Samples(128, 2048))));
  EXPECT_TRUE(Decodes(TransformPayload(Bytes(32, 0), Samples(128, 0))));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 0), Samples(128, 1))));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(31, 0), Samples(128, 0))));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 0), Samples(127, 0))));
}

TEST(HostileTransform, RatesThatWouldTakeForeverAreRefused) {
  EXPECT_TRUE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 15360, 3), 768000)));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 15360, 3), 768001)));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 65535, 3), 3276750)));
}

TEST(HostileTransform, TheLoudestLevelsAreClamped) {
  PcmTrack track;
  ASSERT_TRUE(DecodeAudio(TransformPayload(Bytes(32, 63), Samples(128, 2047)), kMaxValues, track));
  EXPECT_EQ(*std::max_element(track.samples.begin(), track.samples.end()), 32767);
  EXPECT_EQ(*std::min_element(track.samples.begin(), track.samples.end()), -32768);
}

TEST(HostileAdpcm, HeaderFieldsMustAgree) {
  const Bytes good = Encode(2, AudioCodingMode::kAdpcm);
  // Channels, samples, ADPCM bytes, stream size.
  for (const size_t offset : {4u, 6u, 10u, 14u}) {
    Bytes bad = good;
    bad[offset] = static_cast<uint8_t>(bad[offset] ^ 3u);
    EXPECT_FALSE(Decodes(bad)) << offset;
  }
  Bytes no_rate = good;
  no_rate[0] = no_rate[1] = no_rate[2] = no_rate[3] = 0;
  EXPECT_FALSE(Decodes(no_rate));
}

}  // namespace
}  // namespace qolm::audio
