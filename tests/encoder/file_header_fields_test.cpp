// SPDX-License-Identifier: MIT
#include "encoder/file_header_fields.h"

#include <gtest/gtest.h>

#include "container/layout.h"

namespace qolm::encoder {
namespace {

EncodeSettings EveryOptionOff() {
  EncodeSettings settings;
  settings.gabor = false;
  settings.vfr = false;
  settings.cclc = false;
  settings.bidirectional = false;
  settings.flat_blocks = settings.sparse_levels = false;
  settings.motion_prediction = settings.deblocking = false;
  return settings;
}

uint16_t Flags(const EncodeSettings& settings) { return MakeFileHeader(settings, {}).flags; }

TEST(EncodeSettings, DefaultsAreSet) {
  const EncodeSettings settings;
  EXPECT_EQ(settings.quality, 45);
  EXPECT_EQ(settings.gop_length, 60);
  EXPECT_EQ(settings.coder_param_a, 20);
  EXPECT_EQ(settings.coder_param_b, 12);
  EXPECT_EQ(settings.coder_param_c, 16);
  EXPECT_TRUE(settings.vfr);
  EXPECT_TRUE(settings.gabor);
  EXPECT_FALSE(settings.bidirectional);
  EXPECT_TRUE(settings.fast_start);
  EXPECT_TRUE(settings.cclc);
  EXPECT_TRUE(settings.flat_blocks);
  EXPECT_TRUE(settings.sparse_levels);
  EXPECT_TRUE(settings.motion_prediction);
  EXPECT_TRUE(settings.deblocking);
  EXPECT_TRUE(settings.temporal_filter);
  EXPECT_TRUE(settings.adaptive_gop);
  EXPECT_TRUE(settings.pre_analysis);
  EXPECT_TRUE(settings.audio_present);
  EXPECT_FALSE(settings.audio_interleave);
  EXPECT_EQ(settings.audio_default_rate, 32000U);
  EXPECT_EQ(settings.audio_default_channels, 1);
  EXPECT_EQ(settings.audio_coding_mode, audio::AudioCodingMode::kTransform);
  EXPECT_EQ(settings.audio_factor, 1.6F);
  EXPECT_EQ(settings.expected_frame_count, 0);
}

TEST(FileHeaderFields, FlagWords) {
  EXPECT_EQ(Flags(EncodeSettings{}), 0xDB3F);
  EXPECT_EQ(Flags(EveryOptionOff()), 0x003E);
}

TEST(FileHeaderFields, EachOptionSetsItsFlag) {
  const auto bit_of = [](auto&& turn_on) {
    EncodeSettings settings = EveryOptionOff();
    turn_on(settings);
    return Flags(settings) ^ 0x003E;
  };
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.gabor = true; }), 0x0001);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.bidirectional = true; }), 0x0040);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.vfr = true; }), 0x0100);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.cclc = true; }), 0x0800);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.flat_blocks = true; }), 0x1000);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.sparse_levels = true; }), 0x0200);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.motion_prediction = true; }), 0x4000);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.deblocking = true; }), 0x8000);
  EXPECT_EQ(bit_of([](EncodeSettings& s) { s.pre_analysis = false; }), 0);
}

TEST(FileHeaderFields, WideValuesKeepTheirLowBits) {
  EncodeSettings settings;
  settings.width = 16384;
  settings.height = 1;
  settings.fps_numerator = 30000;
  settings.fps_denominator = 1001;
  settings.gop_length = 0x12345;
  settings.coder_param_a = -1;
  const container::FileHeader header = MakeFileHeader(settings, {});
  EXPECT_EQ(header.magic, container::kMagic);
  EXPECT_EQ(header.version, 2U);
  EXPECT_EQ(header.width, 16384);
  EXPECT_EQ(header.height, 1);
  EXPECT_EQ(header.fps_num, 30000U);
  EXPECT_EQ(header.fps_den, 1001U);
  EXPECT_EQ(header.gop, 0x2345);
  EXPECT_EQ(header.coder_param_a, 0xFFFF);
  EXPECT_EQ(header.coder_param_b, 12);
  EXPECT_EQ(header.coder_param_c, 16);
  EXPECT_EQ(header.frame_count, 0U);
  EXPECT_EQ(header.duration_ms, 0U);
}

TEST(FileHeaderFields, FinalHeaderHasCountAndDuration) {
  EncodeSettings settings;
  settings.fps_numerator = 30000;
  settings.fps_denominator = 1001;
  const container::FileHeader header = MakeFinalFileHeader(settings, {}, 300);
  EXPECT_EQ(header.frame_count, 300U);
  EXPECT_EQ(header.duration_ms, 10010U);
  settings.fps_numerator = 0;
  EXPECT_EQ(MakeFinalFileHeader(settings, {}, 300).duration_ms, 0U);
}

TEST(FileHeaderFields, AudioFieldsAreZeroWithoutAudio) {
  const EncodeSettings settings;
  const container::FileHeader without = MakeFileHeader(settings, {});
  EXPECT_EQ(without.audio_rate, 0);
  EXPECT_EQ(without.audio_channels, 0);
  EXPECT_EQ(without.audio_param, 0);

  for (const StoredAudio& half : {StoredAudio{.sample_rate = 8000}, StoredAudio{.channels = 2}}) {
    const container::FileHeader header = MakeFileHeader(settings, half);
    EXPECT_EQ(header.audio_rate, 0);
    EXPECT_EQ(header.audio_channels, 0);
    EXPECT_EQ(header.audio_param, 0);
  }

  const container::FileHeader with =
      MakeFileHeader(settings, {.sample_rate = 96000, .channels = 2, .interleaved = true});
  EXPECT_EQ(with.audio_rate, 30464);  // the field holds 16 bits
  EXPECT_EQ(with.audio_channels, 2);
  EXPECT_EQ(with.audio_param, 2);
  EXPECT_EQ(with.flags, 0xDB3F | 0x2000);
}

}  // namespace
}  // namespace qolm::encoder
