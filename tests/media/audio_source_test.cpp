// SPDX-License-Identifier: MIT
#include "media/audio_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "support/largest_allocation.h"
#include "support/media_audio_scripted.h"

namespace qolm::media {
namespace {

using ::qolm::test::AudioScript;
using ::qolm::test::ScriptedAudioFramework;
using ::qolm::test::ScriptedSound;
using ::qolm::test::SoundOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AudioSourceTest : public ::testing::Test {
 protected:
  AudioSourceTest() { options_.channels = 1; }

  void Deliver(uint32_t channels, uint32_t rate, const std::vector<int16_t>& samples) {
    script_.type = {channels, rate, 16};
    script_.sounds.push_back(SoundOf(samples));
  }
  void Ask(int32_t channels, int32_t rate) {
    options_.channels = channels;
    options_.sample_rate = rate;
  }
  bool Read() {
    const bool read = source_.ReadAll("clip.mp4", options_, track_);
    EXPECT_EQ(script_.held, 0);
    EXPECT_EQ(script_.locks, 0);
    EXPECT_EQ(read, !track_.samples.empty());
    if (!read) {
      EXPECT_EQ(track_.sample_rate, 0u);
      EXPECT_EQ(track_.channels, 0u);
    }
    return read;
  }
  std::vector<int16_t> ReadSamples() {
    EXPECT_TRUE(Read());
    return track_.samples;
  }

  AudioScript script_;
  AudioOptions options_;
  PcmTrack track_;
  AudioSource source_{std::make_unique<ScriptedAudioFramework>(script_)};
};

TEST_F(AudioSourceTest, AsksForWhatTheOptionsSayAndStopsThere) {
  Deliver(1, 32000, {1, -2, 3});
  EXPECT_THAT(ReadSamples(), ElementsAre(1, -2, 3));
  EXPECT_EQ(track_.sample_rate, 32000u);
  EXPECT_EQ(track_.channels, 1u);
  EXPECT_THAT(script_.calls, ElementsAre("open hardware=1 low latency=0", "select first audio",
                                         "pcm channels=1 rate=32000 bits=16"));
  EXPECT_THAT(script_.paths, ElementsAre(std::filesystem::absolute("clip.mp4")));
}

TEST_F(AudioSourceTest, DisabledSoundTouchesNothing) {
  options_.enabled = 0;
  Deliver(1, 32000, {1});
  EXPECT_FALSE(Read());
  EXPECT_THAT(script_.calls, IsEmpty());
}

TEST_F(AudioSourceTest, RateZeroMeans44100) {
  Ask(1, 0);
  Deliver(1, 44100, {1});
  EXPECT_TRUE(Read());
  EXPECT_EQ(script_.calls.back(), "pcm channels=1 rate=44100 bits=16");
  EXPECT_EQ(track_.sample_rate, 44100u);
}

TEST_F(AudioSourceTest, AnyChannelCountButOneMeansStereo) {
  for (const int32_t channels : {2, 0, 6, -1}) {
    Ask(channels, 48000);
    Deliver(2, 48000, {1, 2});
    EXPECT_TRUE(Read());
    EXPECT_EQ(script_.calls.back(), "pcm channels=2 rate=48000 bits=16");
    EXPECT_EQ(track_.channels, 2u);
  }
}

TEST_F(AudioSourceTest, ImpossibleRatesAreNoSound) {
  for (const int32_t rate : {-1, 768001, 2147483647}) {
    Ask(1, rate);
    Deliver(1, 32000, {1});
    EXPECT_FALSE(Read());
  }
}

TEST_F(AudioSourceTest, LeavesTheRateToTheDecoderAtTheSecondRequest) {
  script_.requests_refused = 1;
  Deliver(1, 16000, {0, 100});
  EXPECT_THAT(ReadSamples(), ElementsAre(0, 50, 100, 100));
  EXPECT_THAT(script_.calls,
              ElementsAre("open hardware=1 low latency=0", "select first audio",
                          "pcm channels=1 rate=32000 bits=16", "pcm channels=1 bits=16"));
}

TEST_F(AudioSourceTest, LeavesEverythingToTheDecoderAtTheThirdRequest) {
  script_.requests_refused = 2;
  Deliver(2, 64000, {10, 20, 0, 0, 30, 50, 0, 0});
  EXPECT_THAT(ReadSamples(), ElementsAre(15, 40));
  EXPECT_THAT(script_.calls,
              ElementsAre("open hardware=1 low latency=0", "select first audio",
                          "pcm channels=1 rate=32000 bits=16", "pcm channels=1 bits=16", "pcm"));
}

TEST_F(AudioSourceTest, FailsWhenAllThreeAreRefused) {
  script_.requests_refused = 3;
  Deliver(1, 32000, {1});
  EXPECT_FALSE(Read());
  EXPECT_EQ(script_.calls.size(), 5u);
}

TEST_F(AudioSourceTest, ARefusalKeepsItsReason) {
  Deliver(2, 48000, {1, 2});
  script_.requests_refused = 3;
  script_.failure_reason = "a reason";
  EXPECT_FALSE(Read());
  EXPECT_EQ(source_.failure_reason(), "a reason");
}

TEST_F(AudioSourceTest, NothingOfAFailureIsLeftForTheNextTrack) {
  script_.failure_reason = "a reason";
  Deliver(1, 32000, {1, 2});
  script_.sounds.emplace_back().succeeded = false;
  EXPECT_TRUE(Read());  // cut short
  EXPECT_EQ(source_.failure_reason(), "a reason");
  script_.sounds.clear();
  Deliver(1, 32000, {3, 4, 5});
  script_.sounds.emplace_back().end_of_stream = true;
  EXPECT_THAT(ReadSamples(), ElementsAre(3, 4, 5));
  EXPECT_EQ(source_.failure_reason(), "");

  script_.requests_refused = 3;
  EXPECT_FALSE(Read());
  EXPECT_EQ(source_.failure_reason(), "a reason");
  options_.enabled = 0;
  EXPECT_FALSE(Read());
  EXPECT_EQ(source_.failure_reason(), "");
}

TEST_F(AudioSourceTest, FailsWhenTheFileCannotBeOpened) {
  script_.open_succeeds = false;
  EXPECT_FALSE(Read());
  EXPECT_EQ(script_.calls.size(), 1u);
}

TEST_F(AudioSourceTest, FailsWithoutAnAudioStream) {
  script_.selection_succeeds = false;
  EXPECT_FALSE(Read());
  EXPECT_EQ(script_.calls.size(), 2u);
}

TEST_F(AudioSourceTest, AnEmptyPathIsNoFile) {
  EXPECT_FALSE(source_.ReadAll("", options_, track_));
  EXPECT_THAT(script_.calls, IsEmpty());
}

TEST_F(AudioSourceTest, MissingAttributesAreAsRequested) {
  Deliver(1, 32000, {7, 8});
  script_.type = {};
  EXPECT_THAT(ReadSamples(), ElementsAre(7, 8));
}

TEST_F(AudioSourceTest, RefusesTypesItCannotUse) {
  for (const AudioReader::PcmType& type :
       {AudioReader::PcmType{1, 32000, 24}, AudioReader::PcmType{1, 32000, 0},
        AudioReader::PcmType{0, 32000, 16}, AudioReader::PcmType{1, 0, 16}}) {
    script_.sounds = {SoundOf({1, 2})};
    script_.type = type;
    EXPECT_FALSE(Read());
  }
}

TEST_F(AudioSourceTest, FailsWhenNothingWasRead) {
  script_.type = {1, 32000, 16};
  EXPECT_FALSE(Read());
  ScriptedSound end;
  end.end_of_stream = true;
  end.has_sample = false;
  script_.sounds = {end};
  EXPECT_FALSE(Read());
  script_.sounds = {SoundOf({})};
  EXPECT_FALSE(Read());
}

TEST_F(AudioSourceTest, SkipsCallsWithoutASampleAndSamplesWithoutBytes) {
  ScriptedSound no_sample = SoundOf({9});
  no_sample.has_sample = false;
  ScriptedSound no_buffer = SoundOf({9});
  no_buffer.has_buffer = false;
  ScriptedSound no_lock = SoundOf({9});
  no_lock.lock_succeeds = false;
  ScriptedSound no_bytes = SoundOf({9});
  no_bytes.bytes_are_null = true;
  script_.type = {1, 32000, 16};
  script_.sounds = {SoundOf({1}), no_sample, no_buffer, no_lock, no_bytes, SoundOf({2, 3})};
  EXPECT_THAT(ReadSamples(), ElementsAre(1, 2, 3));
}

TEST_F(AudioSourceTest, StopsAtTheEndFlagAndAtAFailedRead) {
  for (const bool fails : {false, true}) {
    ScriptedSound last = SoundOf({3});
    last.succeeded = !fails;
    last.end_of_stream = !fails;
    script_.type = {1, 32000, 16};
    script_.sounds = {SoundOf({1, 2}), last, SoundOf({4})};
    script_.failure_reason = "it broke";
    EXPECT_THAT(ReadSamples(), ElementsAre(1, 2));
    EXPECT_EQ(source_.failure_reason(), fails ? "it broke" : "");
  }
}

TEST_F(AudioSourceTest, StopsWhenToldTo) {
  script_.type = {1, 32000, 16};
  script_.sounds = {SoundOf({1, 2}), SoundOf({3}), SoundOf({4})};
  int asked = 0;
  EXPECT_FALSE(source_.ReadAll("clip.mp4", options_, track_, [&asked] { return ++asked == 3; }));
  EXPECT_TRUE(track_.samples.empty());
  EXPECT_EQ(script_.sounds.size(), 1u);  // two pieces were read
  EXPECT_EQ(script_.held, 0);
}

TEST_F(AudioSourceTest, TellsHowManySecondsWereRead) {
  script_.type = {2, 8000, 16};
  script_.sounds = {SoundOf(std::vector<int16_t>(16'000)), SoundOf(std::vector<int16_t>(8000))};
  std::vector<double> seconds;
  EXPECT_TRUE(source_.ReadAll(
      "clip.mp4", options_, track_, [] { return false; },
      [&seconds](double read) { seconds.push_back(read); }));
  EXPECT_THAT(seconds, ElementsAre(1.0, 1.5));
}

TEST_F(AudioSourceTest, AnOddByteAtABuffersEndIsIgnored) {
  ScriptedSound odd = SoundOf({1, 2});
  odd.bytes.push_back(0x7f);
  script_.type = {1, 32000, 16};
  script_.sounds = {odd, SoundOf({3})};
  EXPECT_THAT(ReadSamples(), ElementsAre(1, 2, 3));
}

TEST_F(AudioSourceTest, StereoToMonoDividesTowardZero) {
  Deliver(2, 32000, {32767, -32768, 32767, 32767, -32768, -32768, 1, 2, -1, -2, -32767, 32767});
  EXPECT_THAT(ReadSamples(), ElementsAre(0, 32767, -32768, 1, -1, 0));
}

TEST_F(AudioSourceTest, AHalfFrameAtTheEndOfStereoFallsAway) {
  Deliver(2, 32000, {10, 20, 30});
  EXPECT_THAT(ReadSamples(), ElementsAre(15));
}

TEST_F(AudioSourceTest, MonoToStereoWritesBothChannels) {
  Ask(2, 32000);
  Deliver(1, 32000, {5, -6});
  EXPECT_THAT(ReadSamples(), ElementsAre(5, 5, -6, -6));
  EXPECT_EQ(track_.channels, 2u);
}

TEST_F(AudioSourceTest, SixChannelsKeepTheirSamplesUnderTheRequestedLabel) {
  for (const int32_t channels : {1, 2}) {
    Ask(channels, 32000);
    Deliver(6, 32000, {1, 2, 3, 4, 5, 6});
    EXPECT_THAT(ReadSamples(), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(track_.channels, channels);
  }
}

TEST_F(AudioSourceTest, DownmixesBeforeItResamples) {
  std::vector<int16_t> stereo;
  for (int i = 0; i < 48000; ++i) {
    stereo.push_back(static_cast<int16_t>(i % 100));
    stereo.push_back(static_cast<int16_t>(i % 100 + 1));  // the mean is cut to the left one
  }
  Deliver(2, 48000, stereo);
  const std::vector<int16_t> samples = ReadSamples();
  ASSERT_EQ(samples.size(), 32000u);
  EXPECT_EQ(samples[0], 0);
  EXPECT_EQ(samples[1], 2);  // between 1 and 2, halves away from zero
  EXPECT_EQ(samples[2], 3);
  EXPECT_EQ(samples[3], 5);
  EXPECT_EQ(samples[31999], 99);  // position 47998.5
}

TEST_F(AudioSourceTest, InterpolatesEachChannelByItself) {
  Ask(2, 32000);
  Deliver(2, 16000, {0, 1000, 10, -1000});
  EXPECT_THAT(ReadSamples(), ElementsAre(0, 1000, 5, 0, 10, -1000, 10, -1000));
}

TEST_F(AudioSourceTest, RoundsHalvesAwayFromZero) {
  Deliver(1, 16000, {0, 1, 0, -1, 32767, -32768});
  EXPECT_THAT(ReadSamples(), ElementsAre(0, 1, 1, 1, 0, -1, -1, 16383, 32767, -1, -32768, -32768));
}

TEST_F(AudioSourceTest, RoundsTheResampledLength) {
  Deliver(1, 48000, {1, 2, 3, 4});  // 2.67 frames
  EXPECT_EQ(ReadSamples().size(), 3u);
  Deliver(1, 64000, {1});  // half a frame rounds up
  EXPECT_THAT(ReadSamples(), ElementsAre(1));
  Deliver(1, 96000, {1});  // a third of a frame is none
  EXPECT_FALSE(Read());
}

TEST_F(AudioSourceTest, AShortTrackTakesLittleMemory) {
  Deliver(1, 32000, std::vector<int16_t>(1000, 5));
  Deliver(1, 32000, std::vector<int16_t>(3000, 6));
  test::ResetLargestAllocation();
  EXPECT_EQ(ReadSamples().size(), 4000u);
  EXPECT_LE(test::LargestAllocation(), 16000u) << "twice the track, as a vector grows";
}

TEST_F(AudioSourceTest, KeepsEverySampleOfALongTrack) {
  std::vector<int16_t> expected;
  script_.type = {1, 32000, 16};
  for (int piece = 0; piece < 12; ++piece) {
    std::vector<int16_t> samples(3'000'001);
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<int16_t>((i * 7 + static_cast<size_t>(piece) * 1001) % 65536);
    }
    expected.insert(expected.end(), samples.begin(), samples.end());
    script_.sounds.push_back(SoundOf(samples));
  }
  EXPECT_EQ(ReadSamples(), expected);
}

}  // namespace
}  // namespace qolm::media
