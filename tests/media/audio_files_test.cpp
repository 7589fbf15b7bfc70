// SPDX-License-Identifier: MIT
//
// The audio source over real files, which each test writes for itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "media/audio_source.h"
#include "media/platform.h"
#include "support/media_audio_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {
namespace {

using ::qolm::test::Signal;
using ::qolm::test::SoundClip;
using ::qolm::test::WriteSoundClip;

// Every sample tells its number.
int16_t Numbered(int64_t index, int /*channel*/) { return static_cast<int16_t>(1 + index % 30000); }

Signal Tone(double frequency, int rate) {
  return [=](int64_t index, int) {
    const double phase = 2 * M_PI * frequency * static_cast<double>(index) / rate;
    return static_cast<int16_t>(std::lround(12000 * std::sin(phase)));
  };
}

// A tone whose pitch rises, so that only the right place fits.
Signal Sweep(int rate) {
  return [=](int64_t index, int) {
    const double t = static_cast<double>(index) / rate;
    return static_cast<int16_t>(std::lround(12000 * std::sin(2 * M_PI * (500 + 1000 * t) * t)));
  };
}

double Decibels(double signal, double noise) { return 10 * std::log10(signal / (noise + 1e-9)); }

// How well the samples from `first` on are the signal from its sample 0 on,
// without the 50 ms at both ends where codecs swing in and out.
double Fidelity(const std::vector<int16_t>& samples, int64_t first, const Signal& signal) {
  double power = 0;
  double noise = 0;
  for (int64_t i = 2400; i < static_cast<int64_t>(samples.size()) - first - 2400; ++i) {
    const double expected = signal(i, 0);
    const double error = samples[static_cast<size_t>(first + i)] - expected;
    power += expected * expected;
    noise += error * error;
  }
  return Decibels(power, noise);
}

std::vector<int16_t> NumberedSamples(int64_t first, int64_t count) {
  std::vector<int16_t> samples;
  for (int64_t i = first; i < first + count; ++i) samples.push_back(Numbered(i, 0));
  return samples;
}

void Append(std::vector<int16_t>& samples, const std::vector<int16_t>& more) {
  samples.insert(samples.end(), more.begin(), more.end());
}

class AudioFilesTest : public ::testing::Test {
 protected:
  std::filesystem::path Write(const std::string& name, const SoundClip& clip,
                              const Signal& signal = Numbered) {
    const std::filesystem::path path = folder_ / name;
    WriteSoundClip(path, clip, signal);
    return path;
  }
  PcmTrack Read(const std::filesystem::path& path, int channels = 1, int rate = 48000) {
    AudioOptions options;
    options.channels = channels;
    options.sample_rate = rate;
    PcmTrack track;
    AudioSource source(platform_.MakeAudioFramework());
    EXPECT_TRUE(source.ReadAll(path, options, track)) << path;
    damaged_seconds_ = source.damaged_seconds();
    EXPECT_EQ(track.channels, channels);
    EXPECT_EQ(track.sample_rate, static_cast<uint32_t>(rate));
    return track;
  }
  bool CanRead(const std::filesystem::path& path) {
    PcmTrack track;
    return AudioSource(platform_.MakeAudioFramework()).ReadAll(path, AudioOptions{}, track);
  }

  test::TemporaryFolder folder_;
  Platform platform_;
  double damaged_seconds_ = 0;  // of the last file read
};

TEST_F(AudioFilesTest, LosslessSoundKeepsEverySample) {
  for (const auto& [name, codec] : {std::pair{"a.wav", "pcm_s16le"},
                                    {"a.mkv", "pcm_s16le"},
                                    {"b.mkv", "flac"},
                                    {"a.flac", "flac"},
                                    {"a.mov", "pcm_s16be"},
                                    {"a.avi", "pcm_s16le"},
                                    {"c.mkv", "pcm_s24le"}}) {
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 480'123;  // rounded timestamps would drift by now
    EXPECT_EQ(Read(Write(name, clip)).samples, NumberedSamples(0, clip.samples)) << name;
  }
}

TEST_F(AudioFilesTest, PrimingAndPaddingAreRemoved) {
  for (const auto& [name, codec] : {std::pair{"a.mp4", "aac"},
                                    {"a.mp3", "libmp3lame"},
                                    {"a.mkv", "libopus"},
                                    {"a.opus", "libopus"}}) {
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 100'000;
    const Signal sweep = Sweep(clip.rate);
    const PcmTrack track = Read(Write(name, clip, sweep));
    EXPECT_NEAR(static_cast<double>(track.samples.size()), 100'000, 48) << name;
    EXPECT_GT(Fidelity(track.samples, 0, sweep), 20) << name;
  }
}

TEST_F(AudioFilesTest, AacInMp4HasItsExactLength) {
  SoundClip clip;
  clip.codec = "aac";
  clip.samples = 70'032;  // its edit list counts whole milliseconds
  EXPECT_EQ(Read(Write("a.mp4", clip, Sweep(clip.rate))).samples.size(), 70'032u);
}

TEST_F(AudioFilesTest, ATransportStreamsSoundStaysWithItsPicture) {
  for (const char* const codec : {"aac", "libmp3lame", "mp2", "libopus"}) {
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 96'000;
    clip.pictures = 50;
    const Signal sweep = Sweep(clip.rate);
    const PcmTrack track = Read(Write(std::string(codec) + ".ts", clip, sweep));
    EXPECT_GT(Fidelity(track.samples, 0, sweep), 20) << codec;
    EXPECT_GE(track.samples.size(), 96'000u) << codec;
    EXPECT_LT(track.samples.size(), 96'000u + 3000u) << codec;
  }
}

TEST_F(AudioFilesTest, SoundThatStartsLateIsPadded) {
  SoundClip clip;
  clip.pictures = 50;
  clip.start = 0.5;
  std::vector<int16_t> expected(24'000, 0);
  Append(expected, NumberedSamples(0, clip.samples));
  EXPECT_EQ(Read(Write("late.mkv", clip)).samples, expected);
  clip.codec = "aac";
  clip.start = 24'064 / 48'000.0;  // with the priming ahead of it a whole millisecond
  const Signal sweep = Sweep(clip.rate);
  for (const char* const name : {"late.mp4", "late.ts"}) {
    const PcmTrack track = Read(Write(name, clip, sweep));
    EXPECT_GT(Fidelity(track.samples, 24'064, sweep), 20) << name;
  }
}

// Longer than what goes without any support; the file declares its length.
TEST_F(AudioFilesTest, SoundThatBeginsHoursLateStaysThere) {
  SoundClip clip;
  clip.pictures = 10;
  clip.start = 7200;
  const PcmTrack track = Read(Write("late.mkv", clip), 1, 1000);
  EXPECT_NEAR(static_cast<double>(track.samples.size()), 7'201'000, 5);
}

TEST_F(AudioFilesTest, SoundThatStartsEarlyIsCut) {
  SoundClip clip;
  clip.pictures = 50;
  clip.picture_start = 0.3;
  EXPECT_EQ(Read(Write("early.mkv", clip)).samples, NumberedSamples(14'400, 33'600));
}

TEST_F(AudioFilesTest, EveryChannelOfSoundThatStartsEarlyIsCut) {
  SoundClip clip;
  clip.layout = "stereo";
  clip.pictures = 50;
  clip.picture_start = 0.3;
  const Signal opposite = [](int64_t index, int channel) {
    return static_cast<int16_t>(channel == 0 ? Numbered(index, 0) : -Numbered(index, 0));
  };
  const PcmTrack track = Read(Write("early.mkv", clip, opposite), 2);
  ASSERT_EQ(track.samples.size(), 67'200u);
  for (int64_t i = 0; i < 33'600; ++i) {
    ASSERT_EQ(track.samples[static_cast<size_t>(2 * i)], opposite(14'400 + i, 0)) << i;
    ASSERT_EQ(track.samples[static_cast<size_t>(2 * i + 1)], opposite(14'400 + i, 1)) << i;
  }
}

TEST_F(AudioFilesTest, AGapThatNoTrackCanHoldIsLeftOut) {
  SoundClip clip;
  clip.shift = [](int packet) { return packet < 20 ? 0.0 : 1800.0; };
  const auto path = Write("gap.mkv", clip);
  AudioOptions options;
  options.channels = 2;
  options.sample_rate = 768'000;  // of which 2^31 values in stereo last 1398 seconds
  PcmTrack track;
  double seconds = 0;
  EXPECT_TRUE(AudioSource(platform_.MakeAudioFramework())
                  .ReadAll(
                      path, options, track, [&] { return seconds > 10; },
                      [&](double read) { seconds = read; }));
  EXPECT_EQ(track.samples.size(), 2u * 768'000);
}

// Nothing declares a length here: the sound itself covers the time up to the picture,
// and the picture that up to the sound.
TEST_F(AudioFilesTest, ALateStartIsRealInATransportStreamThatCoversIt) {
  SoundClip clip;
  clip.codec = "mp2";
  clip.samples = 960'000;
  clip.pictures = 25;
  clip.picture_start = 12;
  const Signal sweep = [](int64_t index, int) {
    const double t = static_cast<double>(index) / 48'000;
    return static_cast<int16_t>(std::lround(12000 * std::sin(2 * M_PI * (500 + 25 * t) * t)));
  };
  const Signal rest = [&](int64_t index, int channel) { return sweep(576'000 + index, channel); };
  const PcmTrack early = Read(Write("early.ts", clip, sweep));
  EXPECT_NEAR(static_cast<double>(early.samples.size()), 384'000, 3000);
  EXPECT_GT(Fidelity(early.samples, 0, rest), 20);

  clip.samples = 48'000;
  clip.pictures = 400;
  clip.picture_start = 0;
  clip.start = 12;
  const PcmTrack late = Read(Write("late.ts", clip, sweep));
  EXPECT_GT(Fidelity(late.samples, 576'000, sweep), 20);
}

// Matroska's reader gives reordered pictures before the clock's zero no time at all.
TEST_F(AudioFilesTest, SoundStaysWithPicturesFromBeforeTheClocksZero) {
  SoundClip clip;
  clip.pictures = 50;
  clip.reordered = 2;
  clip.negative_times = true;
  clip.picture_start = -0.48;
  clip.start = -0.48;
  EXPECT_EQ(Read(Write("together.mkv", clip)).samples, NumberedSamples(0, clip.samples));
  clip.start = -0.24;
  std::vector<int16_t> expected(11'520, 0);
  Append(expected, NumberedSamples(0, clip.samples));
  EXPECT_EQ(Read(Write("late.mkv", clip)).samples, expected);
  clip.start = -0.72;
  EXPECT_EQ(Read(Write("early.mkv", clip)).samples, NumberedSamples(11'520, 36'480));
}

// Each of the recordings has sound for 150 ms beyond its picture, and the next one starts
// where the picture before it ends.
TEST_F(AudioFilesTest, JoinedRecordingsKeepTheirSoundWithTheirPicture) {
  constexpr int kParts = 5;
  constexpr int kPictures = 75;
  SoundClip clip;
  clip.codec = "mp2";
  clip.pictures = kPictures;
  clip.samples = 48'000 * 3 + 7200;
  const Signal click = [](int64_t index, int) {
    return static_cast<int16_t>(index >= 48'000 && index < 48'240 ? 20'000 : 0);
  };
  const std::filesystem::path part = Write("part.ts", clip, click);
  const std::filesystem::path joined = folder_ / "joined.ts";
  for (int i = 0; i < kParts; ++i) {
    std::ofstream(joined, std::ios::binary | std::ios::app)
        << std::ifstream(part, std::ios::binary).rdbuf();
  }
  const std::vector<int16_t> samples = Read(joined).samples;
  for (int i = 0; i < kParts; ++i) {
    const int64_t due = 48'000 * (int64_t{i} * kPictures / 25 + 1);
    ASSERT_GT(static_cast<int64_t>(samples.size()), due + 4800) << i;
    const auto loud = [](int16_t sample) { return sample > 8000; };
    const auto first = samples.begin() + (due - 24'000);
    const auto found = std::find_if(first, first + 48'000, loud);
    EXPECT_NEAR(static_cast<double>(found - samples.begin()), static_cast<double>(due), 240) << i;
  }
}

TEST_F(AudioFilesTest, SoundOfALaterRecordingStaysWithItsPicture) {
  // The first recording has none. Clocks restart earlier, or much later.
  const Signal click = [](int64_t index, int) {
    return static_cast<int16_t>(index >= 24'000 && index < 24'240 ? 20'000 : 0);
  };
  for (const double start : {0.0, 40.0}) {
    SoundClip clip;
    clip.codec = "mp2";
    clip.pictures = 75;
    clip.samples = 0;
    const std::filesystem::path joined = folder_ / "joined.ts";
    std::filesystem::copy_file(Write("part.ts", clip), joined,
                               std::filesystem::copy_options::overwrite_existing);
    clip.samples = 72'000;
    clip.start = clip.picture_start = start;
    std::ofstream(joined, std::ios::binary | std::ios::app)
        << std::ifstream(Write("part.ts", clip, click), std::ios::binary).rdbuf();
    const std::vector<int16_t> samples = Read(joined).samples;
    const auto found =
        std::find_if(samples.begin(), samples.end(), [](int16_t sample) { return sample > 8000; });
    EXPECT_NEAR(static_cast<double>(found - samples.begin()), 3 * 48'000 + 24'000, 240) << start;
  }
}

TEST_F(AudioFilesTest, AnOffsetThatNothingCoversIsABrokenClock) {
  SoundClip clip;
  clip.codec = "mp2";
  clip.samples = 96'000;
  clip.pictures = 25;
  clip.picture_start = 20;
  EXPECT_NEAR(static_cast<double>(Read(Write("early.ts", clip)).samples.size()), 96'000, 3000);
  clip.picture_start = 0;
  clip.start = 20;
  EXPECT_NEAR(static_cast<double>(Read(Write("late.ts", clip)).samples.size()), 96'000, 3000);
}

TEST_F(AudioFilesTest, GapsAreSilentAndOverlapsFallAway) {
  SoundClip clip;
  clip.packet_samples = 4800;
  clip.samples = 48'000;
  clip.shift = [](int packet) { return packet >= 4 ? 0.25 : 0.0; };
  std::vector<int16_t> expected = NumberedSamples(0, 4 * 4800);
  expected.resize(expected.size() + 12'000);
  Append(expected, NumberedSamples(4 * 4800, 6 * 4800));
  EXPECT_EQ(Read(Write("gap.mkv", clip)).samples, expected);

  clip.shift = [](int packet) { return packet >= 4 ? -0.05 : 0.0; };
  expected = NumberedSamples(0, 4 * 4800);
  Append(expected, NumberedSamples(4 * 4800 + 2400, 6 * 4800 - 2400));
  EXPECT_EQ(Read(Write("overlap.mkv", clip)).samples, expected);

  clip.shift = [](int packet) { return packet % 2 == 0 ? 0.03 : 0.0; };
  clip.samples = 11 * 4800;
  EXPECT_EQ(Read(Write("jitter.mkv", clip)).samples, NumberedSamples(0, 11 * 4800));
}

TEST_F(AudioFilesTest, DamagedAndLostPacketsAreSilenceOfTheirLength) {
  SoundClip clip;
  clip.codec = "flac";
  clip.samples = 20 * 4608;  // the encoder's own packets
  std::vector<int16_t> expected = NumberedSamples(0, clip.samples);
  std::fill_n(expected.begin() + 5 * 4608, 4608, int16_t{0});
  std::fill_n(expected.begin() + 9 * 4608, 2 * 4608, int16_t{0});
  clip.damaged_packets = {5, 9, 10};
  EXPECT_EQ(Read(Write("damaged.mkv", clip)).samples, expected);
  EXPECT_NEAR(damaged_seconds_, 3 * 4608 / 48000.0, 1e-6);
  clip.damaged_packets.clear();
  clip.dropped_packets = {5, 9, 10};
  EXPECT_EQ(Read(Write("lost.mkv", clip)).samples, expected);
  EXPECT_EQ(damaged_seconds_, 0);
}

// Its samples would decode, but nobody knows how many of them are right.
TEST_F(AudioFilesTest, FlacWithAWrongChecksumIsSilence) {
  SoundClip clip;
  clip.codec = "flac";
  clip.samples = 10 * 4608;
  clip.wrong_last_bytes = {4};
  std::vector<int16_t> expected = NumberedSamples(0, clip.samples);
  std::fill_n(expected.begin() + 4 * 4608, 4608, int16_t{0});
  EXPECT_EQ(Read(Write("sum.mkv", clip)).samples, expected);
}

// Its decoder gives a block only when the next one comes, the last at the end. The
// first one only swings the codec in.
TEST_F(AudioFilesTest, TheLastBlockOfADelayingDecoderIsHeard) {
  SoundClip clip;
  clip.codec = "wmav2";
  clip.rate = 44100;
  clip.samples = 22 * 2048;
  const PcmTrack track = Read(Write("a.wma", clip, Tone(440, clip.rate)), 1, clip.rate);
  EXPECT_EQ(track.samples.size(), 21U * 2048);
}

TEST_F(AudioFilesTest, DamagedAacKeepsItsLength) {
  SoundClip clip;
  clip.codec = "aac";
  clip.damaged_packets = {10, 11, 20};
  EXPECT_EQ(Read(Write("damaged.mp4", clip, Sweep(clip.rate))).samples.size(), 48'000u);
}

TEST_F(AudioFilesTest, DamagedSoundIsCountedInSeconds) {
  for (const auto& [name, codec] :
       {std::pair{"a.mp4", "aac"}, {"a.mkv", "aac"}, {"a.flv", "aac"}, {"b.mkv", "flac"}}) {
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 60 * 4608;
    EXPECT_FALSE(Read(Write(name, clip, Sweep(clip.rate))).samples.empty());
    EXPECT_EQ(damaged_seconds_, 0) << name;
    const double packet = clip.codec == "aac" ? 1024 : 4608;
    for (int i = 2; i < 50; i += 3) clip.damaged_packets.insert(i);
    EXPECT_FALSE(Read(Write(name, clip, Sweep(clip.rate))).samples.empty());
    EXPECT_NEAR(damaged_seconds_, 16 * packet / clip.rate, packet / clip.rate) << name;
  }
}

// The demuxer passes over it and looks for the next packet; a pause looks alike.
TEST_F(AudioFilesTest, SoundThatTheDemuxerPassesOverIsDamaged) {
  for (const auto& [name, codec] : {std::pair{"a.mkv", "flac"},
                                    {"a.mkv", "aac"},
                                    {"a.flv", "aac"},
                                    {"a.mkv", "libmp3lame"},
                                    {"a.ogg", "flac"}}) {
    SCOPED_TRACE(std::string(name) + " " + codec);
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 6 * 48'000;
    const std::filesystem::path path = Write(name, clip, Sweep(clip.rate));
    Read(path);
    EXPECT_EQ(damaged_seconds_, 0);
    const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(size / 2);
    file << std::string(static_cast<size_t>(size / 10), '\0') << std::flush;
    EXPECT_NEAR(static_cast<double>(Read(path).samples.size()), 6 * 48'000, 4800);
    EXPECT_GT(damaged_seconds_, 0.3);
    EXPECT_LT(damaged_seconds_, 2);
  }
}

// Their decoders make something of any bytes, or their demuxers drop such packets.
TEST_F(AudioFilesTest, ZeroedPacketsOfAnySoundAreDamaged) {
  for (const char* const codec : {"libopus", "libvorbis", "libmp3lame"}) {
    SCOPED_TRACE(codec);
    SoundClip clip;
    clip.codec = codec;
    clip.samples = 3 * 48'000;
    Read(Write("a.mkv", clip, Sweep(clip.rate)));
    EXPECT_EQ(damaged_seconds_, 0);
    clip.damage = 0;
    for (int i = 40; i < 60; ++i) clip.damaged_packets.insert(i);
    Read(Write("a.mkv", clip, Sweep(clip.rate)));
    EXPECT_GT(damaged_seconds_, 0.2);
    EXPECT_LT(damaged_seconds_, 0.6);
  }
}

// A recording may begin within a packet, and what follows the last may be something
// else; more of it is damage.
TEST_F(AudioFilesTest, ShortDamageAtEitherEndIsNotCounted) {
  SoundClip clip;
  clip.codec = "flac";
  clip.samples = 40 * 4608;
  const double packet = 4608.0 / 48000;
  for (const auto& [packets, counted] : {std::pair{std::set<int>{0, 39}, 0},
                                         {{0, 2, 39}, 1},
                                         {{0, 1, 2, 3, 4, 5, 6, 7}, 8},
                                         {{33, 34, 35, 36, 37, 38, 39}, 7}}) {
    clip.damaged_packets = packets;
    EXPECT_FALSE(Read(Write("a.mkv", clip)).samples.empty());
    EXPECT_NEAR(damaged_seconds_, counted * packet, 1e-6);
  }
}

TEST_F(AudioFilesTest, SurroundIsMixedDownWithTheStandardWeights) {
  struct Case {
    const char* layout;
    int channel;
    int left, right;
  };
  // Of 10000: 1 / 2.414, 0.707 / 2.414; for 7.1 of 1 / 3.121, 0.707 / 3.121.
  for (const Case& c :
       {Case{"5.1", 0, 4142, 0}, Case{"5.1", 1, 0, 4142}, Case{"5.1", 2, 2929, 2929},
        Case{"5.1", 3, 0, 0}, Case{"5.1", 4, 2929, 0}, Case{"5.1", 5, 0, 2929},
        Case{"7.1", 0, 3204, 0}, Case{"7.1", 2, 2265, 2265}, Case{"7.1", 4, 2265, 0},
        Case{"7.1", 7, 0, 2265}}) {
    SoundClip clip;
    clip.codec = "flac";
    clip.layout = c.layout;
    clip.samples = 5000;
    const auto path = Write("surround.flac", clip, [&c](int64_t, int channel) {
      return static_cast<int16_t>(channel == c.channel ? 10000 : 0);
    });
    const PcmTrack stereo = Read(path, 2);
    ASSERT_EQ(stereo.samples.size(), 10'000u);
    EXPECT_NEAR(stereo.samples[5000], c.left, 1) << c.layout << " channel " << c.channel;
    EXPECT_NEAR(stereo.samples[5001], c.right, 1) << c.layout << " channel " << c.channel;
    EXPECT_NEAR(Read(path, 1).samples.at(2500), (c.left + c.right) / 2, 1);
  }
}

// Nothing tells what the channels stand for, so they are what six usually are.
TEST_F(AudioFilesTest, SixUnnamedChannelsAreMixedAsSurround) {
  SoundClip clip;
  clip.layout = "6C";
  clip.samples = 3000;
  for (const auto& [loud, left, right] :
       {std::tuple{0, 4142, 0}, {2, 2929, 2929}, {3, 0, 0}, {5, 0, 2929}}) {
    const auto path = Write("six.wav", clip, [loud = loud](int64_t, int channel) {
      return static_cast<int16_t>(channel == loud ? 10000 : 0);
    });
    const PcmTrack stereo = Read(path, 2);
    ASSERT_EQ(stereo.samples.size(), 6'000u);
    EXPECT_NEAR(stereo.samples[3000], left, 1) << "channel " << loud;
    EXPECT_NEAR(stereo.samples[3001], right, 1) << "channel " << loud;
  }
}

TEST_F(AudioFilesTest, FullScaleSurroundDoesNotClip) {
  SoundClip clip;
  clip.codec = "flac";
  clip.layout = "5.1";
  clip.samples = 5000;
  const auto path = Write("loud.flac", clip, [](int64_t, int) { return int16_t{32767}; });
  EXPECT_NEAR(Read(path, 2).samples.at(5000), 32767, 1);
}

TEST_F(AudioFilesTest, AClockSlowerThanAnySoundIsDamage) {
  SoundClip clip;
  clip.samples = 3000;
  clip.rate = 1000;
  EXPECT_TRUE(CanRead(Write("slowest.wav", clip)));
  clip.rate = 999;
  EXPECT_FALSE(CanRead(Write("slower.wav", clip)));
}

TEST_F(AudioFilesTest, MoreChannelsThanCanBeMixedAreNoSound) {
  SoundClip clip;
  clip.samples = 3000;
  clip.layout = "32C";
  EXPECT_EQ(Read(Write("most.wav", clip)).samples.size(), 3000u);
  clip.layout = "33C";
  const auto path = Write("more.wav", clip);
  AudioSource source(platform_.MakeAudioFramework());
  PcmTrack track;
  EXPECT_FALSE(source.ReadAll(path, AudioOptions{}, track));
  EXPECT_EQ(source.failure_reason(), "it has 33 channels, and no more than 32 can be mixed");
  EXPECT_TRUE(source.ReadAll(folder_ / "most.wav", AudioOptions{}, track));
  EXPECT_EQ(source.failure_reason(), "");
}

TEST_F(AudioFilesTest, MonoAndStereoTurnIntoEachOther) {
  SoundClip clip;
  clip.samples = 3000;
  const PcmTrack doubled = Read(Write("mono.wav", clip), 2);
  ASSERT_EQ(doubled.samples.size(), 6000u);
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(doubled.samples[static_cast<size_t>(2 * i)], Numbered(i, 0));
    ASSERT_EQ(doubled.samples[static_cast<size_t>(2 * i + 1)], Numbered(i, 0));
  }
  clip.layout = "stereo";
  const PcmTrack mixed = Read(Write("stereo.wav", clip, [](int64_t index, int channel) {
    return static_cast<int16_t>(channel == 0 ? index : -2 * index);
  }));
  ASSERT_EQ(mixed.samples.size(), 3000u);
  for (int i = 0; i < 3000; ++i) ASSERT_NEAR(mixed.samples[static_cast<size_t>(i)], -i / 2.0, 1);
}

// Rounded to 16 bits twice; between, in floating point.
TEST_F(AudioFilesTest, OtherRatesAreResampledToTheExactLength) {
  struct Case {
    int from, to;
  };
  for (const Case& c :
       {Case{96000, 32000}, Case{8000, 48000}, Case{44100, 48000}, Case{44100, 32000}}) {
    SoundClip clip;
    clip.rate = c.from;
    clip.samples = c.from * 2;
    const PcmTrack track = Read(Write("rate.wav", clip, Tone(1000, c.from)), 1, c.to);
    EXPECT_EQ(track.samples.size(), static_cast<size_t>(c.to) * 2) << c.from;
    EXPECT_GT(Fidelity(track.samples, 0, Tone(1000, c.to)), 84) << c.from << " to " << c.to;
  }
}

TEST_F(AudioFilesTest, TheHighestRateIsReadAsItIs) {
  SoundClip clip;
  clip.rate = 768000;
  clip.samples = 20000;
  EXPECT_EQ(Read(Write("highest.wav", clip), 1, 768000).samples, NumberedSamples(0, 20000));
}

// The filter of a resampler holds sound back and rounds up what it gives in the end.
TEST_F(AudioFilesTest, ResampledSoundIsNeverLongerThanItsSource) {
  for (const int from : {8000, 11025, 22050, 44100, 48000, 96000}) {
    for (const int64_t samples : {1000, 1003, 4999, 7777}) {
      SoundClip clip;
      clip.rate = from;
      clip.samples = samples;
      for (const int to : {32000, 44100, 48000}) {
        const double length = static_cast<double>(samples) * to / from;
        EXPECT_EQ(static_cast<int64_t>(Read(Write("short.wav", clip), 1, to).samples.size()),
                  std::llround(length))
            << samples << " from " << from << " to " << to;
      }
    }
  }
}

// The filter begins anew behind every gap, so that the sound there is not late by
// what it held before.
TEST_F(AudioFilesTest, ResampledSoundKeepsItsPlaceBehindEveryGap) {
  SoundClip clip;
  clip.packet_samples = 4800;
  clip.samples = 12 * 4800;
  clip.shift = [](int packet) { return 0.25 * (packet / 4); };  // 400 ms of sound, 250 ms without
  const auto path = Write("gaps.mkv", clip, Tone(440, clip.rate));
  const std::vector<int16_t> samples = Read(path, 1, 24000).samples;
  ASSERT_EQ(samples.size(), 3U * 9600 + 2 * 6000);
  const Signal expected = Tone(440, 24000);
  for (int64_t part = 0; part < 3; ++part) {
    for (int64_t i = 100; i < 9500; ++i) {
      const int16_t sample = samples[static_cast<size_t>(part * 15600 + i)];
      ASSERT_NEAR(sample, expected(part * 9600 + i, 0), 200) << "part " << part << ", " << i;
    }
  }
}

// Shorter than the resampler's filter, which gives nothing for the first of them.
TEST_F(AudioFilesTest, ShortPacketsAreResampledLikeLongOnes) {
  SoundClip clip;
  const PcmTrack expected = Read(Write("long.mkv", clip, Tone(440, clip.rate)), 1, 24'000);
  clip.packet_samples = 16;
  const PcmTrack track = Read(Write("short.mkv", clip, Tone(440, clip.rate)), 1, 24'000);
  EXPECT_EQ(track.samples, expected.samples);
  EXPECT_EQ(damaged_seconds_, 0);
}

TEST_F(AudioFilesTest, WhatTheRateCannotHoldIsFilteredOut) {
  SoundClip clip;
  const PcmTrack track = Read(Write("high.wav", clip, Tone(18000, 48000)), 1, 32000);
  for (size_t i = 500; i + 500 < track.samples.size(); ++i) ASSERT_NEAR(track.samples[i], 0, 2);
}

TEST_F(AudioFilesTest, TheFilterEndsWhereTheRateDoesAndNotBefore) {
  SoundClip clip;
  const Signal folded = Tone(16'100, 48'000);  // would be heard at 15.9 kHz
  const PcmTrack silent = Read(Write("beyond.wav", clip, folded), 1, 32'000);
  for (size_t i = 500; i + 500 < silent.samples.size(); ++i) ASSERT_NEAR(silent.samples[i], 0, 2);
  const PcmTrack kept = Read(Write("below.wav", clip, Tone(14'400, 48'000)), 1, 32'000);
  EXPECT_GT(Fidelity(kept.samples, 0, Tone(14'400, 32'000)), 60);
}

TEST_F(AudioFilesTest, SoundThatChangesOnTheWayIsConvertedAllTheSame) {
  SoundClip clip;
  clip.codec = "aac";
  clip.samples = 96 * 1024;
  const auto first = Write("first.ts", clip, Tone(1000, 48000));
  clip.rate = 32000;
  clip.layout = "stereo";
  const auto second = Write("second.ts", clip, Tone(1000, 32000));
  std::ofstream(first, std::ios::binary | std::ios::app)
      << std::ifstream(second, std::ios::binary).rdbuf();
  // Both are of 97 packets, and the second takes half as long again.
  const PcmTrack track = Read(first);
  EXPECT_NEAR(static_cast<double>(track.samples.size()), 97 * 1024 * 2.5, 1024);
  // The pitch tells that both were taken at their own rate.
  for (const ptrdiff_t start : {20'000, 200'000}) {
    const auto begin = track.samples.begin() + start;
    int crossings = 0;
    for (auto i = begin; i != begin + 24'000; ++i) crossings += (i[0] < 0) != (i[1] < 0) ? 1 : 0;
    EXPECT_NEAR(crossings, 1000, 10) << start;
  }
}

TEST_F(AudioFilesTest, SoundThatChangesItsRateAloneKeepsItsPitch) {
  SoundClip clip;
  clip.codec = "mp2";
  clip.samples = 96 * 1152;
  const auto first = Write("first.ts", clip, Tone(1000, 48000));
  clip.rate = 32000;
  const auto second = Write("second.ts", clip, Tone(1000, 32000));
  std::ofstream(first, std::ios::binary | std::ios::app)
      << std::ifstream(second, std::ios::binary).rdbuf();
  const PcmTrack track = Read(first);
  EXPECT_NEAR(static_cast<double>(track.samples.size()), 96 * 1152 * 2.5, 2500);
  int crossings = 0;
  const auto begin = track.samples.begin() + 200'000;
  for (auto i = begin; i != begin + 24'000; ++i) crossings += (i[0] < 0) != (i[1] < 0) ? 1 : 0;
  EXPECT_NEAR(crossings, 1000, 10);
}

TEST_F(AudioFilesTest, CoverArtIsNoPictureToStartWith) {
  SoundClip clip;
  clip.codec = "libmp3lame";
  clip.cover_art = true;
  EXPECT_EQ(Read(Write("cover.mp3", clip, Sweep(clip.rate))).samples.size(), 48'000u);
}

TEST_F(AudioFilesTest, ATruncatedFileGivesWhatItHolds) {
  SoundClip clip;
  clip.samples = 100'000;
  const auto path = Write("short.mkv", clip);
  std::filesystem::resize_file(path, 100'000);
  const PcmTrack track = Read(path);
  EXPECT_GT(track.samples.size(), 40'000u);
  EXPECT_EQ(track.samples, NumberedSamples(0, static_cast<int64_t>(track.samples.size())));
}

TEST_F(AudioFilesTest, SoundOfWhichNothingDecodesIsNoSound) {
  SoundClip clip;
  clip.codec = "flac";
  clip.samples = 4608 * 3;
  clip.damaged_packets = {0, 1, 2};
  EXPECT_FALSE(CanRead(Write("noise.mkv", clip)));
}

TEST_F(AudioFilesTest, WhatHasNoSoundIsRefused) {
  EXPECT_FALSE(CanRead(folder_ / "missing.mp4"));
  EXPECT_FALSE(CanRead(folder_.path()));
  const auto text = folder_ / "notes.txt";
  std::ofstream(text) << "not a media file\n";
  EXPECT_FALSE(CanRead(text));
  std::ofstream(folder_ / "picture.y4m") << "YUV4MPEG2 W2 H2 F25:1 C420\nFRAME\n"
                                         << "abcdef";
  EXPECT_FALSE(CanRead(folder_ / "picture.y4m"));
}

}  // namespace
}  // namespace qolm::media
