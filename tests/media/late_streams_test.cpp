// SPDX-License-Identifier: MIT
//
// Pictures and sound that begin long after the other, in containers that name their
// streams only as packets come.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "media/audio_source.h"
#include "media/ffmpeg/probed_container.h"
#include "media/ffmpeg/stop_signal.h"
#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_audio_writer.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {
namespace {

using ::qolm::test::SoundClip;

constexpr int kRate = 44100;
constexpr int kNoisyPictures = 350;
constexpr uintmax_t kUsualProbe = 5'000'000;  // bytes of packets

class LateStreamsTest : public ::testing::Test {
 protected:
  struct Kind {
    const char* name;
    const char* picture_codec;
    const char* sound_codec;
  };
  static constexpr Kind kPrograms = {"a.mpg", "mpeg2video", "mp2"};
  static constexpr Kind kFlash = {"a.flv", "flv", "libmp3lame"};
  static constexpr Kind kTransport = {"a.ts", "mpeg2video", "mp2"};

  static SoundClip ClipOf(const Kind& kind) {
    SoundClip clip;
    clip.picture_codec = kind.picture_codec;
    clip.codec = kind.sound_codec;
    clip.rate = kRate;
    return clip;
  }
  // Its pictures take more bytes than a probe reads before there is any sound, and enough
  // behind it that the end of the file does not show it either.
  static SoundClip LateSound(const Kind& kind) {
    SoundClip clip = ClipOf(kind);
    clip.picture_side = 128;
    clip.noisy_pictures = true;
    clip.pictures = kNoisyPictures;
    clip.start = 12;
    clip.samples = kRate;
    return clip;
  }

  // Silence but for a click half a second behind the start.
  std::filesystem::path Write(const std::string& name, const SoundClip& clip, double click = 0.5) {
    const std::filesystem::path path = folder_ / name;
    const auto first = static_cast<int64_t>(click * kRate);
    test::WriteSoundClip(path, clip, [first](int64_t index, int) {
      return static_cast<int16_t>(index >= first && index < first + 220 ? 20'000 : 0);
    });
    return path;
  }

  // Noisy pictures without sound.
  std::filesystem::path WriteSilent(const Kind& kind, int pictures) {
    const std::filesystem::path path = folder_ / kind.name;
    test::ClipOptions options;
    options.codec = kind.picture_codec;
    options.format = AV_PIX_FMT_YUV420P;
    options.width = options.height = 128;
    options.frames = pictures;
    options.codec_options = {{"qmin", "1"}, {"qmax", "1"}};
    test::WriteClip(path, options, test::PaintNoise);
    return path;
  }
  static void Append(const std::filesystem::path& path, const std::filesystem::path& other) {
    std::ofstream(path, std::ios::binary | std::ios::app)
        << std::ifstream(other, std::ios::binary).rdbuf();
  }

  int CountPictures(const std::filesystem::path& path) {
    VideoSource source(platform_.MakeVideoFramework());
    EXPECT_TRUE(source.Open(path)) << source.failure_reason();
    expected_ = source.frame_count();
    VideoFrame frame;
    int pictures = 0;
    while (source.ReadNextFrame(frame)) ++pictures;
    return pictures;
  }
  // In seconds behind the first picture; negative without one.
  double FindClick(const std::filesystem::path& path) {
    AudioOptions options;
    options.channels = 1;
    options.sample_rate = kRate;
    PcmTrack track;
    AudioSource source(platform_.MakeAudioFramework());
    EXPECT_TRUE(source.ReadAll(path, options, track)) << source.failure_reason();
    const auto loud = [](int16_t sample) { return sample > 8000; };
    const auto found = std::find_if(track.samples.begin(), track.samples.end(), loud);
    if (found == track.samples.end()) return -1;
    return static_cast<double>(found - track.samples.begin()) / kRate;
  }
  ffmpeg::ProbedContainer Probe(const std::filesystem::path& path) {
    std::string failure_reason;
    ffmpeg::ProbedContainer container = ffmpeg::OpenProbed(path, stop_, failure_reason);
    EXPECT_NE(container.format, nullptr) << failure_reason;
    return container;
  }

  test::TemporaryFolder folder_;
  Platform platform_;
  ffmpeg::StopSignal stop_{[] { return false; }};
  int expected_ = 0;
};

// The sound goes on behind the pictures, so that the end of the file does not show them.
TEST_F(LateStreamsTest, PicturesThatBeginLateAreFound) {
  for (const Kind& kind : {kPrograms, kFlash, kTransport}) {
    SCOPED_TRACE(kind.name);
    SoundClip clip = ClipOf(kind);
    clip.pictures = 25;
    clip.picture_start = 14;
    clip.samples = int64_t{40} * kRate;
    const std::filesystem::path path = Write(kind.name, clip, 14.5);
    EXPECT_EQ(CountPictures(path), 25);
    EXPECT_EQ(expected_, 25);
    EXPECT_NEAR(FindClick(path), 0.5, 0.03);
  }
}

TEST_F(LateStreamsTest, SoundThatBeginsBehindManyBytesIsFound) {
  for (const Kind& kind : {kPrograms, kFlash, kTransport}) {
    SCOPED_TRACE(kind.name);
    const std::filesystem::path path = Write(kind.name, LateSound(kind));
    ASSERT_GT(std::filesystem::file_size(path), kUsualProbe / 12 * 14);
    VideoSource source(platform_.MakeVideoFramework());
    ASSERT_TRUE(source.Open(path)) << source.failure_reason();
    EXPECT_EQ(source.frame_count(), kNoisyPictures);
    EXPECT_NEAR(FindClick(path), 12.5, 0.03);
  }
}

// What is no longer missing is not looked for.
TEST_F(LateStreamsTest, FilesThatNameTheirStreamsAreReadNoFurther) {
  for (const Kind& kind : {kPrograms, kFlash, kTransport, Kind{"a.mkv", "mpeg4", "mp2"},
                           Kind{"a.mp4", "mpeg4", "mp2"}, Kind{"a.avi", "mpeg4", "mp2"}}) {
    SCOPED_TRACE(kind.name);
    SoundClip clip = ClipOf(kind);
    clip.pictures = 50;
    const ffmpeg::ProbedContainer container = Probe(Write(kind.name, clip));
    EXPECT_EQ(container.searched, 0);
    EXPECT_FALSE(ffmpeg::IsProbedFurther(*container.format));
  }
}

TEST_F(LateStreamsTest, AHeaderThatNamesNoSoundIsBelieved) {
  for (const Kind& kind :
       {Kind{"a.mkv", "mpeg4", ""}, Kind{"a.mp4", "mpeg4", ""}, Kind{"a.avi", "mpeg4", ""}}) {
    SCOPED_TRACE(kind.name);
    EXPECT_EQ(Probe(WriteSilent(kind, 10)).searched, 0);
  }
}

// A file without sound costs no more than that; what was not searched is said.
TEST_F(LateStreamsTest, TheSearchEndsAtItsLimit) {
  const std::filesystem::path silent = WriteSilent(kTransport, 50);
  const auto bytes = static_cast<int64_t>(std::filesystem::file_size(silent));
  const ffmpeg::ProbedContainer small = Probe(silent);
  EXPECT_EQ(small.searched, bytes);
  EXPECT_FALSE(small.search_ended());

  const std::filesystem::path path = folder_ / "large.ts";
  for (int64_t size = 0; size < 2 * ffmpeg::kMostBytesAhead; size += bytes) Append(path, silent);
  const ffmpeg::ProbedContainer large = Probe(path);
  EXPECT_TRUE(large.search_ended());
  EXPECT_LT(large.searched, ffmpeg::kMostBytesAhead + (int64_t{1} << 20));
  EXPECT_FALSE(ffmpeg::IsProbedFurther(*large.format));
  PcmTrack track;
  AudioSource source(platform_.MakeAudioFramework());
  EXPECT_FALSE(source.ReadAll(path, AudioOptions{}, track));
  EXPECT_EQ(source.failure_reason(), "none in its first 64 MiB");
}

}  // namespace
}  // namespace qolm::media
