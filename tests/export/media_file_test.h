// SPDX-License-Identifier: MIT
//
// A container file with picture and sound, and the program that exports it.
#ifndef QOLM_TESTS_EXPORT_MEDIA_FILE_TEST_H_
#define QOLM_TESTS_EXPORT_MEDIA_FILE_TEST_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "audio/audio_coder.h"
#include "audio/pcm_track.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace qolm::exporter {

// Two tones, one a channel, that no rounding leaves silent.
inline std::vector<int16_t> Tones(uint32_t sample_rate, uint16_t channels, size_t frames) {
  std::vector<int16_t> samples;
  samples.reserve(frames * channels);
  for (size_t i = 0; i < frames; ++i) {
    const double seconds = static_cast<double>(i) / sample_rate;
    for (uint16_t channel = 0; channel < channels; ++channel) {
      const double hertz = channel == 0 ? 440 : 660;
      samples.push_back(static_cast<int16_t>(
          std::lround(8000 * std::sin(2 * std::numbers::pi * hertz * seconds))));
    }
  }
  return samples;
}

inline std::vector<uint8_t> CodedSound(uint32_t sample_rate, uint16_t channels,
                                       std::span<const int16_t> samples) {
  std::vector<uint8_t> payload;
  EXPECT_TRUE(audio::EncodeAudio({sample_rate, channels, samples}, audio::AudioCodingMode::kAdpcm,
                                 payload));
  return payload;
}

// Thirty frames at 30000/1001: moving ones around a run of twenty repeats, and
// as much sound.
class MediaFileTest : public testing::Test {
 protected:
  static constexpr size_t kFrames = 30;
  static constexpr size_t kSamples = 48048;  // per channel, of thirty frames

  void MakePictures(uint16_t width, uint16_t height) {
    header_ = test::PlainHeader(width, height);
    header_.fps_num = 30000;
    header_.fps_den = 1001;
    header_.frame_count = kFrames;
    records_.clear();
    planes_.clear();
    test::PictureCoder coder(header_.flags, 70);
    const auto add = [&](test::Record record, size_t frames) {
      records_.push_back(std::move(record));
      planes_.insert(planes_.end(), frames, coder.reference());
    };
    add(coder.Key(test::MovingPicture(width, height, 0)), 1);
    for (uint32_t i = 1; i < 5; ++i) {
      add(coder.Predicted(test::MovingPicture(width, height, i)), 1);
    }
    add(test::Repeat(20), 20);
    add(coder.Key(test::MovingPicture(width, height, 25)), 1);
    for (uint32_t i = 26; i < kFrames; ++i) {
      add(coder.Predicted(test::MovingPicture(width, height, i)), 1);
    }
  }

  // Sound as one block of the file.
  void MakeSound(uint32_t sample_rate, uint16_t channels, size_t frames) {
    options_.audio_block = CodedSound(sample_rate, channels, Tones(sample_rate, channels, frames));
    header_.audio_rate = static_cast<uint16_t>(sample_rate);
    header_.audio_channels = static_cast<uint8_t>(channels);
    header_.audio_param = 1;
    track_ = {};
    ASSERT_TRUE(audio::DecodeAudio(options_.audio_block, 0x7FFFFFFF, track_));
  }

  void Write() { ASSERT_TRUE(test::WriteContainerFile(Input(), header_, records_, options_)); }

  // The usual file: 46x34 with sound of the same length, 48 kHz stereo.
  void WriteUsual() {
    MakePictures(46, 34);
    MakeSound(48000, 2, kSamples);
    Write();
  }

  std::string Input() const { return (folder_ / "in.qolm").string(); }
  std::string Output(const std::string& name) const { return (folder_ / name).string(); }

  static test::ProgramRun Start(const std::vector<std::string>& arguments,
                                test::OutputEnd end = test::OutputEnd::kCaptured) {
    return test::ProgramRun(
        QOLM_EXPORT_PROGRAM, arguments, [] {}, end);
  }

  // Exports and expects success; what standard output got goes into the file
  // "pipe". The path of what was made.
  std::string Export(const std::string& output) {
    test::ProgramRun run = Start({Input(), output == "-" ? output : Output(output)});
    run.Wait();
    EXPECT_EQ(run.exit_code(), 0) << run.err();
    messages_ = run.err();
    if (output != "-") return Output(output);
    const std::string bytes = run.out();
    test::WriteBytes(Output("pipe"), std::vector<uint8_t>(bytes.begin(), bytes.end()));
    return Output("pipe");
  }

  void ExpectFailure(const std::vector<std::string>& arguments, const std::string& messages) {
    test::ProgramRun run = Start(arguments);
    run.Wait();
    EXPECT_EQ(run.exit_code(), 1);
    EXPECT_EQ(run.err(), messages);
  }

  // Names in the folder, sorted.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  test::TemporaryFolder folder_;
  container::FileHeader header_;
  test::FileOptions options_;
  std::vector<test::Record> records_;
  std::vector<video::YuvPlanes> planes_;  // of every frame
  PcmTrack track_;                        // as decoded from the file
  std::string messages_;                  // of the last Export
};

}  // namespace qolm::exporter

#endif  // QOLM_TESTS_EXPORT_MEDIA_FILE_TEST_H_
