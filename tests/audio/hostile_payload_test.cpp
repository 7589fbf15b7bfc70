// SPDX-License-Identifier: MIT
//
// Damaged payloads are rejected or decoded to the declared count.
#include <gtest/gtest.h>

#include "audio/audio_coder.h"
#include "audio/test_signals.h"
#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "support/fenced_bytes.h"

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

TEST_P(HostilePayload, EveryTruncationIsRejected) {
  ASSERT_TRUE(Decodes(payload_));
  for (size_t size = 0; size < payload_.size(); ++size) {
    const Bytes cut(payload_.begin(), payload_.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_FALSE(Decodes(cut)) << size;
  }
}

TEST_P(HostilePayload, SurplusBytesAreRejected) {
  payload_.push_back(0);
  EXPECT_FALSE(Decodes(payload_));
}

// Rejected, or decoded to the number of samples in the damaged header, without reading
// past the payload.
TEST_P(HostilePayload, SingleBitFlipsAreSurvived) {
  const uint32_t channels = std::get<0>(GetParam());
  int refused = 0;
  int decoded = 0;
  test::Fenced<uint8_t> flipped(payload_);
  for (size_t bit = 0; bit < 8 * payload_.size(); ++bit) {
    uint8_t& byte = flipped.span()[bit / 8];
    byte = static_cast<uint8_t>(byte ^ (1u << (bit % 8)));
    PcmTrack track;
    if (DecodeAudio(flipped.span(), kMaxValues, track)) {
      ++decoded;
      const uint64_t declared = DeclaredValues(flipped.span());
      ASSERT_EQ(track.samples.size(), declared - declared % channels) << bit;
      ASSERT_EQ(track.channels, channels) << bit;
    } else {
      ++refused;
      ASSERT_TRUE(track.samples.empty()) << bit;
      ASSERT_EQ(track.sample_rate, 0u) << bit;
    }
    byte = payload_[bit / 8];
  }
  EXPECT_GT(refused, 100);
  EXPECT_GT(decoded, 100);
}

INSTANTIATE_TEST_SUITE_P(Coders, HostilePayload,
                         ::testing::Combine(::testing::Values(1u, 2u),
                                            ::testing::Values(AudioCodingMode::kAdpcm,
                                                              AudioCodingMode::kTransform)));

// The header fields of a mono payload; by default two frames of N = 64 for fewer than 64
// samples.
struct HeaderFields {
  uint32_t rate = 3200;
  uint16_t channels = 1;
  uint16_t frame_length = 64;
  uint32_t frames = 2;
  uint32_t samples = 60;
  uint32_t fourth_size = 0;
};

// With the given streams.
Bytes TransformPayload(const Bytes& scales, const Samples& levels, const HeaderFields& fields) {
  const Bytes first = entropy::RansEncodeBytes(scales);
  const Bytes second = entropy::EncodeCoefficients(levels);
  Bytes payload = {'O', 'P', 'U', 'S'};
  AppendLe32(payload, fields.rate);
  AppendLe16(payload, fields.channels);
  AppendLe16(payload, fields.frame_length);
  AppendLe32(payload, fields.frames);
  AppendLe32(payload, fields.samples);
  AppendLe16(payload, static_cast<uint16_t>(first.size()));
  AppendLe32(payload, static_cast<uint32_t>(second.size()));
  AppendLe16(payload, 0);
  AppendLe32(payload, fields.fourth_size);
  payload.insert(payload.end(), first.begin(), first.end());
  payload.insert(payload.end(), second.begin(), second.end());
  payload.resize(payload.size() + fields.fourth_size);
  return payload;
}

Bytes TransformPayload(const Bytes& scales, const Samples& levels, uint32_t rate = 3200) {
  return TransformPayload(scales, levels,
                          {.rate = rate, .frame_length = static_cast<uint16_t>(rate / 50)});
}

// With streams that match the header fields, so that only inconsistent fields are a fault.
Bytes PayloadWithHeader(const HeaderFields& fields) {
  const size_t frames = fields.frames;
  return TransformPayload(Bytes(16 * frames, 30), Samples(frames * fields.frame_length, 3), fields);
}

TEST(HostileTransform, HeaderFieldsMustAgree) {
  ASSERT_TRUE(Decodes(PayloadWithHeader({})));
  EXPECT_TRUE(Decodes(PayloadWithHeader({.rate = 3249}))) << "N is rounded down";
  EXPECT_FALSE(Decodes(PayloadWithHeader({.rate = 3250}))) << "N is 65";
  EXPECT_FALSE(Decodes(PayloadWithHeader({.frame_length = 65}))) << "N is 64";
  EXPECT_FALSE(Decodes(PayloadWithHeader({.rate = 0})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.channels = 0})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.channels = 3})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.frames = 1})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.frames = 3})));
  EXPECT_TRUE(Decodes(PayloadWithHeader({.samples = 1})));
  EXPECT_TRUE(Decodes(PayloadWithHeader({.samples = 64})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.samples = 65}))) << "three frames";
  EXPECT_FALSE(Decodes(PayloadWithHeader({.frames = 1, .samples = 0})));
  EXPECT_FALSE(Decodes(PayloadWithHeader({.fourth_size = 5}))) << "one channel has two streams";
}

TEST(HostileTransform, StreamSizesMustFillThePayload) {
  const Bytes good = PayloadWithHeader({});
  // The first size's low bits, the second one in full, the third one's low bits.
  for (const size_t offset : {20u, 22u, 26u}) {
    for (const int change : {-1, 1}) {
      Bytes bad = good;
      bad[offset] = static_cast<uint8_t>(bad[offset] + change);
      EXPECT_FALSE(Decodes(bad)) << offset;
    }
  }
  Bytes beyond = good;
  StoreLe32(&beyond[22], static_cast<uint32_t>(good.size() - 31));
  EXPECT_FALSE(Decodes(beyond)) << "the second stream is longer than all that follows";
}

// Rejection by the header costs nothing; decoding of the streams does.
TEST(HostileTransform, SampleCountIsLimitedTo31Bits) {
  const auto cost_of = [](uint32_t samples) {
    Bytes payload = PayloadWithHeader({});
    StoreLe32(&payload[12], static_cast<uint32_t>((uint64_t{samples} + 63) / 64 + 1));
    StoreLe32(&payload[16], samples);
    AudioExtent extent;
    SampleSink sink(extent);
    EXPECT_FALSE(DecodeAudio(payload, uint64_t{1} << 40, sink));
    return sink.wasted_values();
  };
  EXPECT_GT(cost_of(0x7FFFFFFF), 0u);
  EXPECT_EQ(cost_of(0x80000000), 0u);
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

TEST(HostileTransform, ExcessiveSampleRatesAreRejected) {
  EXPECT_TRUE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 15360, 3), 768000)));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 15360, 3), 768001)));
  EXPECT_FALSE(Decodes(TransformPayload(Bytes(32, 30), Samples(2 * 65535, 3), 3276750)));
}

TEST(HostileTransform, SamplesAreClamped) {
  PcmTrack track;
  ASSERT_TRUE(DecodeAudio(TransformPayload(Bytes(32, 63), Samples(128, 2047)), kMaxValues, track));
  EXPECT_EQ(*std::max_element(track.samples.begin(), track.samples.end()), 32767);
  EXPECT_EQ(*std::min_element(track.samples.begin(), track.samples.end()), -32768);
}

// The header fields of an ADPCM payload with a stream of `codes` bytes.
Bytes AdpcmPayload(uint32_t rate, uint16_t channels, uint32_t frames, uint32_t stated_codes,
                   uint32_t codes) {
  const Bytes stream = entropy::RansEncodeBytes(Bytes(codes, 0x31));
  Bytes payload;
  AppendLe32(payload, rate);
  AppendLe16(payload, channels);
  AppendLe32(payload, frames);
  AppendLe32(payload, stated_codes);
  AppendLe32(payload, static_cast<uint32_t>(stream.size()));
  payload.insert(payload.end(), stream.begin(), stream.end());
  return payload;
}

TEST(HostileAdpcm, HeaderFieldsMustAgree) {
  ASSERT_TRUE(Decodes(AdpcmPayload(8000, 2, 50, 50, 50)));
  ASSERT_TRUE(Decodes(AdpcmPayload(8000, 1, 99, 50, 50)));
  ASSERT_TRUE(Decodes(AdpcmPayload(8000, 1, 100, 50, 50)));
  EXPECT_FALSE(Decodes(AdpcmPayload(0, 1, 100, 50, 50)));
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 0, 100, 50, 50)));
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 3, 100, 50, 50)));
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 1, 98, 50, 50))) << "49 bytes of codes";
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 1, 101, 50, 50))) << "51 bytes of codes";
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 2, 49, 50, 50)));
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 2, 50, 50, 49))) << "the stream's own count";
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 2, 50, 50, 51))) << "the stream's own count";
  for (const int change : {-1, 1}) {
    Bytes bad = AdpcmPayload(8000, 2, 50, 50, 50);
    bad[14] = static_cast<uint8_t>(bad[14] + change);
    EXPECT_FALSE(Decodes(bad)) << "the stream's size";
  }
}

TEST(HostileAdpcm, NoSamplesMeanEmptyStream) {
  EXPECT_TRUE(Decodes(AdpcmPayload(8000, 1, 0, 0, 0)));
  EXPECT_FALSE(Decodes(AdpcmPayload(8000, 1, 0, 0, 1)));
}

}  // namespace
}  // namespace qolm::audio
