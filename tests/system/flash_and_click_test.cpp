// SPDX-License-Identifier: MIT
//
// A clip that flashes and clicks at the same instants is converted by the real
// program; flash and click must still come together, and no sample be lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "converted_file.h"
#include "media/audio_source.h"
#include "media/platform.h"
#include "support/media_audio_writer.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int kFrameRate = 25;
constexpr int kPictures = 80;
constexpr int kFlashInSecond = 20;  // frame of each second of the picture
// Whole packets of AAC: not every container tells where the last one ends.
constexpr int64_t kSourceSamples = 174 * 1024;
constexpr int kSourceRate = 48'000;
constexpr int64_t kClickRadius = 48;  // samples, 1 ms
constexpr int kClickHeight = 24'000;

struct Source {
  const char* codec;
  const char* ending;
};
std::ostream& operator<<(std::ostream& out, const Source& source) {
  return out << source.codec << " in " << source.ending;
}

struct Start {
  const char* name;
  double sound_seconds;
  double picture_seconds;
};
std::ostream& operator<<(std::ostream& out, const Start& start) { return out << start.name; }

struct Coding {
  const char* mode;
  const char* preset;
  int rate;
  int channels;
  bool is_interleaved;
};
constexpr Coding kCodings[] = {
    {"transform", "48k", 48'000, 2, false},
    {"transform", "32k", 32'000, 1, true},
    {"adpcm", "32k", 32'000, 1, false},
    {"adpcm", "48k", 48'000, 2, true},
};

// The number, in the output's samples, of each second's loudest sample.
std::vector<int64_t> Clicks(const PcmTrack& track, int64_t seconds) {
  std::vector<int64_t> clicks;
  const int64_t per_second = track.sample_rate;
  for (int64_t second = 0; second < seconds; ++second) {
    int64_t loudest = second * per_second;
    const auto height = [&track](int64_t sample) {
      return std::abs(int{track.samples.at(static_cast<size_t>(sample * track.channels))});
    };
    for (int64_t i = loudest; i < (second + 1) * per_second; ++i) {
      if (height(i) > height(loudest)) loudest = i;
    }
    EXPECT_GT(height(loudest), kClickHeight * 2 / 3) << "second " << second;
    for (int64_t i = second * per_second; i < (second + 1) * per_second; ++i) {
      if (std::abs(i - loudest) > per_second / 100) {
        EXPECT_LT(height(i), kClickHeight / 4) << "second " << second << ", sample " << i;
      }
    }
    clicks.push_back(loudest);
  }
  return clicks;
}

std::vector<int64_t> Flashes(const std::vector<uint8_t>& brightness) {
  std::vector<int64_t> flashes;
  for (size_t i = 0; i < brightness.size(); ++i) {
    if (brightness[i] > 128) flashes.push_back(static_cast<int64_t>(i));
  }
  return flashes;
}

class FlashAndClick : public testing::TestWithParam<std::tuple<Source, Start>> {
 protected:
  std::string WriteSource() {
    const auto& [source, start] = GetParam();
    SoundClip clip;
    clip.codec = source.codec;
    clip.samples = kSourceSamples;
    clip.start = start.sound_seconds;
    clip.pictures = kPictures;
    clip.picture_start = start.picture_seconds;
    clip.brightness = [](int picture) {
      return static_cast<uint8_t>(picture % kFrameRate == kFlashInSecond ? 225 : 30);
    };
    // The picture's clock, counted from its first frame, rules both.
    const int64_t lead = SoundLead();
    const Signal click = [lead](int64_t index, int) {
      const int64_t in_second = ((index + lead) % kSourceRate + kSourceRate) % kSourceRate;
      const int64_t distance = std::abs(in_second - kFlashInSecond * kSourceRate / kFrameRate);
      if (distance >= kClickRadius) return int16_t{0};
      const double phase = M_PI * static_cast<double>(distance) / kClickRadius;
      return static_cast<int16_t>(std::lround(kClickHeight * 0.5 * (1 + std::cos(phase))));
    };
    const std::string path = (folder_ / (std::string("clip.") + source.ending)).string();
    WriteSoundClip(path, clip, click);
    return path;
  }

  // Samples of the source by which the sound starts after the picture.
  static int64_t SoundLead() {
    const Start& start = std::get<1>(GetParam());
    return std::llround((start.sound_seconds - start.picture_seconds) * kSourceRate);
  }

  // Seconds to which the file's timestamps round where sound and picture start:
  // milliseconds in Matroska, which the priming of AAC ahead of the sound is
  // none of.
  static double ClockUnit() {
    const auto& [source, start] = GetParam();
    const bool rounds = source.codec == std::string("aac") && source.ending == std::string("mkv");
    return rounds && start.sound_seconds == 0 ? 0.001 : 0;
  }

  // The samples that the converter has to code.
  PcmTrack ReadSource(const std::string& path, const Coding& coding) {
    media::AudioOptions options;
    options.sample_rate = coding.rate;
    options.channels = coding.channels;
    PcmTrack track;
    EXPECT_TRUE(media::AudioSource(platform_.MakeAudioFramework()).ReadAll(path, options, track));
    return track;
  }

  std::string Run(const std::vector<std::string>& arguments) {
    ProgramRun run(QOLM_CONVERTER, arguments);
    run.Wait();
    EXPECT_EQ(run.exit_code(), 0) << run.out();
    EXPECT_EQ(run.err(), "");
    return run.out();
  }

  void ExpectStoredAs(const ConvertedFile& file, const Coding& coding) {
    const bool flag = (file.header.flags & container::kFlagInterleavedAudio) != 0;
    EXPECT_EQ(flag, coding.is_interleaved);
    EXPECT_EQ(file.has_audio_block, !coding.is_interleaved);
    EXPECT_EQ(file.header.audio_rate, coding.rate);
    EXPECT_EQ(file.header.audio_channels, coding.channels);
    if (!coding.is_interleaved) {
      EXPECT_EQ(file.pieces.size(), 0u);
      return;
    }
    EXPECT_GE(file.pieces.size(), 5u);
    std::vector<int16_t> joined;
    for (const PcmTrack& piece : file.pieces) {
      joined.insert(joined.end(), piece.samples.begin(), piece.samples.end());
    }
    EXPECT_EQ(joined, file.track.samples);
  }

  TemporaryFolder folder_;
  media::Platform platform_;
};

TEST_P(FlashAndClick, StayTogetherToTheSample) {
  const std::string input = WriteSource();
  const std::string output = (folder_ / "clip.qolm").string();
  for (const Coding& coding : kCodings) {
    SCOPED_TRACE(std::string(coding.mode) + ", " + coding.preset +
                 (coding.is_interleaved ? ", in pieces" : ", whole"));
    Run({"encode", input, output, "--gop", "10", "--audio", coding.preset, "--audio-mode",
         coding.mode, coding.is_interleaved ? "--interleave" : "--no-interleave"});
    const ConvertedFile file = ReadConvertedFile(output);
    ExpectStoredAs(file, coding);

    EXPECT_EQ(file.brightness.size(), size_t{kPictures});
    ASSERT_THAT(Flashes(file.brightness), ElementsAre(20, 45, 70));

    ASSERT_EQ(file.track.sample_rate, static_cast<uint32_t>(coding.rate));
    ASSERT_EQ(file.track.channels, coding.channels);
    const int64_t values = static_cast<int64_t>(file.track.samples.size());
    ASSERT_EQ(values, static_cast<int64_t>(ReadSource(input, coding).samples.size()));
    const double seconds = static_cast<double>(kSourceSamples + SoundLead()) / kSourceRate;
    ASSERT_NEAR(static_cast<double>(values / coding.channels), std::round(seconds * coding.rate),
                ClockUnit() * coding.rate);
    const std::vector<int64_t> clicks = Clicks(file.track, 3);
    for (int64_t second = 0; second < 3; ++second) {
      const int64_t flash = second * kFrameRate + kFlashInSecond;
      EXPECT_NEAR(static_cast<double>(clicks[static_cast<size_t>(second)]),
                  static_cast<double>(flash * coding.rate / kFrameRate), coding.rate * 0.001)
          << "second " << second;
    }

    EXPECT_THAT(Run({"info", output}),
                HasSubstr("\n    Audio     : " + std::to_string(coding.rate) + " Hz, " +
                          std::to_string(coding.channels) + " ch, " + std::to_string(values) +
                          " samples\n"));
  }
}

// With the priming ahead of it, AAC's late start is a whole millisecond.
constexpr Source kAacSources[] = {{"aac", "mp4"}, {"aac", "mkv"}};
constexpr Source kPcmSources[] = {{"pcm_s16be", "mov"}, {"pcm_s16le", "mkv"}};
constexpr Start kTogether{"together", 0, 0};
constexpr Start kEarly{"early", 0, 0.4};

std::string NameOf(const testing::TestParamInfo<std::tuple<Source, Start>>& info) {
  const auto& [source, start] = info.param;
  return std::string(source.codec) + "_" + source.ending + "_" + start.name;
}

INSTANTIATE_TEST_SUITE_P(
    Aac, FlashAndClick,
    testing::Combine(testing::ValuesIn(kAacSources),
                     testing::Values(kTogether, kEarly, Start{"late", 24'064.0 / kSourceRate, 0})),
    NameOf);
INSTANTIATE_TEST_SUITE_P(Pcm, FlashAndClick,
                         testing::Combine(testing::ValuesIn(kPcmSources),
                                          testing::Values(kTogether, kEarly,
                                                          Start{"late", 0.5, 0})),
                         NameOf);

}  // namespace
}  // namespace qolm::test
