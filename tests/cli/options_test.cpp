// SPDX-License-Identifier: MIT
#include "cli/options.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/audio_coding_mode.h"

namespace qolm::cli {
namespace {

using audio::AudioCodingMode;

EncodeOptions Parse(std::vector<std::string> options) {
  options.insert(options.begin(), {"program", "encode", "in", "out"});
  return ParseEncodeOptions(options, 4);
}

TEST(Options, DefaultsWhenNoneIsGiven) {
  const EncodeOptions options = Parse({});
  EXPECT_EQ(options.settings.quality, 45);
  EXPECT_EQ(options.settings.gop_length, 60);
  EXPECT_TRUE(options.settings.vfr);
  EXPECT_TRUE(options.settings.gabor);
  EXPECT_TRUE(options.settings.fast_start);
  EXPECT_TRUE(options.settings.cclc);
  EXPECT_FALSE(options.settings.bidirectional);
  EXPECT_TRUE(options.settings.flat_blocks);
  EXPECT_TRUE(options.settings.sparse_levels);
  EXPECT_TRUE(options.settings.motion_prediction);
  EXPECT_TRUE(options.settings.deblocking);
  EXPECT_TRUE(options.settings.pre_analysis);
  EXPECT_TRUE(options.settings.temporal_filter);
  EXPECT_TRUE(options.settings.adaptive_gop);
  EXPECT_TRUE(options.settings.audio_present);
  EXPECT_FALSE(options.settings.audio_interleave);
  EXPECT_EQ(options.settings.audio_coding_mode, AudioCodingMode::kTransform);
  EXPECT_FLOAT_EQ(options.settings.audio_factor, 1.6F);
  EXPECT_EQ(options.settings.width, 0);
  EXPECT_EQ(options.settings.height, 0);
  EXPECT_EQ(options.settings.expected_frame_count, 0);
  EXPECT_EQ(options.audio.enabled, 1);
  EXPECT_EQ(options.audio.sample_rate, 32000);
  EXPECT_EQ(options.audio.channels, 1);
  EXPECT_EQ(options.frame_limit, 0);
  EXPECT_FALSE(options.overwrite);
}

TEST(Options, OverwriteIsASwitchOfItsOwn) {
  const EncodeOptions options = Parse({"--overwrite"});
  EXPECT_TRUE(options.overwrite);
  EXPECT_EQ(options.audio.enabled, 1);
}

TEST(Options, NumbersGoToTheirFields) {
  const EncodeOptions options = Parse({"--quality", "80", "--gop", "12", "--frames", "25"});
  EXPECT_EQ(options.settings.quality, 80);
  EXPECT_EQ(options.settings.gop_length, 12);
  EXPECT_EQ(options.frame_limit, 25);
}

TEST(Options, EverySwitchTurnsOffAndOn) {
  const EncodeOptions off =
      Parse({"--no-vfr", "--no-gabor", "--monolithic", "--no-cclc", "--no-audio"});
  EXPECT_FALSE(off.settings.vfr);
  EXPECT_FALSE(off.settings.gabor);
  EXPECT_FALSE(off.settings.fast_start);
  EXPECT_FALSE(off.settings.cclc);
  EXPECT_EQ(off.audio.enabled, 0);
  EXPECT_TRUE(off.settings.audio_present);

  const EncodeOptions on = Parse({"--no-vfr", "--vfr", "--no-gabor", "--gabor", "--monolithic",
                                  "--fast-start", "--no-cclc", "--cclc"});
  EXPECT_TRUE(on.settings.vfr);
  EXPECT_TRUE(on.settings.gabor);
  EXPECT_TRUE(on.settings.fast_start);
  EXPECT_TRUE(on.settings.cclc);
}

TEST(Options, EveryFurtherSwitchSetsItsFieldAlone) {
  struct Switch {
    std::string word;
    std::function<bool(const encoder::EncodeSettings&)> field;
    bool by_default;
  };
  const std::vector<Switch> switches = {
      {"interleave", [](const auto& s) { return s.audio_interleave; }, false},
      {"bidirectional", [](const auto& s) { return s.bidirectional; }, false},
      {"adaptive-gop", [](const auto& s) { return s.adaptive_gop; }, true},
      {"temporal-filter", [](const auto& s) { return s.temporal_filter; }, true},
      {"flat-blocks", [](const auto& s) { return s.flat_blocks; }, true},
      {"sparse-levels", [](const auto& s) { return s.sparse_levels; }, true},
      {"motion-prediction", [](const auto& s) { return s.motion_prediction; }, true},
      {"deblocking", [](const auto& s) { return s.deblocking; }, true},
      {"pre-analysis", [](const auto& s) { return s.pre_analysis; }, true}};
  for (const Switch& tested : switches) {
    const EncodeOptions on = Parse({"--no-" + tested.word, "--" + tested.word});
    const EncodeOptions off = Parse({"--" + tested.word, "--no-" + tested.word});
    for (const Switch& other : switches) {
      const bool same = &other == &tested;
      EXPECT_EQ(other.field(on.settings), same || other.by_default) << tested.word;
      EXPECT_EQ(other.field(off.settings), !same && other.by_default) << tested.word;
    }
  }
}

TEST(Options, OneSwitchLeavesTheOthersAlone) {
  const EncodeOptions options = Parse({"--no-gabor"});
  EXPECT_TRUE(options.settings.vfr);
  EXPECT_FALSE(options.settings.gabor);
  EXPECT_TRUE(options.settings.fast_start);
  EXPECT_TRUE(options.settings.cclc);
}

TEST(Options, AnOptionWithoutItsValueAtTheEndIsIgnored) {
  EXPECT_EQ(Parse({"--quality"}).settings.quality, 45);
  EXPECT_EQ(Parse({"--gop"}).settings.gop_length, 60);
  EXPECT_EQ(Parse({"--frames"}).frame_limit, 0);
  EXPECT_EQ(Parse({"--audio"}).audio.sample_rate, 32000);
  EXPECT_EQ(Parse({"--audio-mode"}).settings.audio_coding_mode, AudioCodingMode::kTransform);
}

TEST(Options, AValueIsTakenEvenWhenItLooksLikeAnOption) {
  const EncodeOptions options = Parse({"--audio", "--no-vfr"});
  EXPECT_TRUE(options.settings.vfr);
  EXPECT_THROW(Parse({"--gop", "--vfr"}), std::invalid_argument);
}

TEST(Options, TheLastOneWins) {
  EXPECT_EQ(Parse({"--gop", "10", "--gop", "20"}).settings.gop_length, 20);
}

TEST(Options, UnknownWordsAreSkipped) {
  const EncodeOptions options =
      Parse({"--nonsense", "7", "--Quality", "1", "--quality=3", "", "--quality", "90"});
  EXPECT_EQ(options.settings.quality, 90);
}

TEST(Options, AudioPresets) {
  const auto expect = [](const char* word, int rate, int channels) {
    const EncodeOptions options = Parse({"--no-audio", "--audio", word});
    EXPECT_EQ(options.audio.enabled, 1) << word;
    EXPECT_EQ(options.audio.sample_rate, rate) << word;
    EXPECT_EQ(options.audio.channels, channels) << word;
  };
  expect("32k", 32000, 1);
  expect("speech", 32000, 1);
  expect("24k", 24000, 1);
  expect("cd", 44100, 2);
  expect("48k", 48000, 2);
}

TEST(Options, APresetThatSwitchesOffKeepsRateAndChannels) {
  for (const char* word : {"off", "none"}) {
    const EncodeOptions options = Parse({"--audio", "cd", "--audio", word});
    EXPECT_EQ(options.audio.enabled, 0) << word;
    EXPECT_EQ(options.audio.sample_rate, 44100) << word;
    EXPECT_EQ(options.audio.channels, 2) << word;
  }
}

TEST(Options, AnUnknownPresetLeavesThirtyTwoKilohertzMono) {
  const EncodeOptions options = Parse({"--audio", "CD"});
  EXPECT_EQ(options.audio.enabled, 1);
  EXPECT_EQ(options.audio.sample_rate, 32000);
  EXPECT_EQ(options.audio.channels, 1);
}

TEST(Options, AHighRatePresetAfterNoAudioSwitchesSoundOnAgain) {
  const EncodeOptions options = Parse({"--no-audio", "--audio", "48k"});
  EXPECT_EQ(options.audio.enabled, 1);
  EXPECT_EQ(options.audio.sample_rate, 48000);
  EXPECT_EQ(options.audio.channels, 2);
}

TEST(Options, AudioModes) {
  EXPECT_EQ(Parse({"--audio-mode", "adpcm"}).settings.audio_coding_mode, AudioCodingMode::kAdpcm);
  EXPECT_EQ(Parse({"--audio-mode", "adpcm", "--audio-mode", "mdct"}).settings.audio_coding_mode,
            AudioCodingMode::kTransform);
  EXPECT_EQ(
      Parse({"--audio-mode", "adpcm", "--audio-mode", "transform"}).settings.audio_coding_mode,
      AudioCodingMode::kTransform);
  EXPECT_EQ(Parse({"--audio-mode", "adpcm", "--audio-mode", "1"}).settings.audio_coding_mode,
            AudioCodingMode::kAdpcm);
}

TEST(Options, ABadNumberIsThrownWithItsOptionAndValue) {
  try {
    Parse({"--quality", "80", "--gop", "x7"});
    ADD_FAILURE();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "--gop x7: invalid stoi argument");
  }
  try {
    Parse({"--frames", "-9999999999 "});
    ADD_FAILURE();
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "--frames -9999999999 : stoi argument out of range");
  }
}

TEST(Options, EveryWordWithADashIsOne) {
  for (const char* word :
       {"--quality", "--frames", "--no-pre-analysis", "--help", "-h", "--version", "--"}) {
    EXPECT_TRUE(IsOptionName(word)) << word;
  }
  for (const char* word :
       {"", "-", "help", "quality", "./--quality", "--quality ", "--qual", "32k"}) {
    EXPECT_FALSE(IsOptionName(word)) << word;
  }
}

TEST(ParseInteger, AcceptsWhiteSpaceSignAndTrailingCharacters) {
  EXPECT_EQ(ParseInteger("50"), 50);
  EXPECT_EQ(ParseInteger("50abc"), 50);
  EXPECT_EQ(ParseInteger("50 60"), 50);
  EXPECT_EQ(ParseInteger(" \t\n\v\f\r+7"), 7);
  EXPECT_EQ(ParseInteger("-5"), -5);
  EXPECT_EQ(ParseInteger("0x10"), 0);
  EXPECT_EQ(ParseInteger("010"), 10);
  EXPECT_EQ(ParseInteger("1.9"), 1);
  EXPECT_EQ(ParseInteger("00000000000000000000000000000000000000012"), 12);
}

TEST(ParseInteger, ReachesBothEndsOfItsRange) {
  EXPECT_EQ(ParseInteger("2147483647"), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(ParseInteger("-2147483648"), std::numeric_limits<int32_t>::min());
}

template <typename Exception>
void ExpectThrows(const char* text, const char* message) {
  try {
    ParseInteger(text);
    ADD_FAILURE() << "no exception for \"" << text << '"';
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), message) << '"' << text << '"';
  }
}

TEST(ParseInteger, ThrowsWithFixedTexts) {
  for (const char* text : {"", " ", "abc", "-", "+", "+-5", "- 5", "--5", ".5",
                           "\xC2\xA0"
                           "5"}) {
    ExpectThrows<std::invalid_argument>(text, "invalid stoi argument");
  }
  for (const char* text : {"2147483648", "-2147483649", "99999999999", "-99999999999999999999999",
                           "18446744073709551621", "9999999999999999999999abc"}) {
    ExpectThrows<std::out_of_range>(text, "stoi argument out of range");
  }
}

}  // namespace
}  // namespace qolm::cli
