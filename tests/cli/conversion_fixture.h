// SPDX-License-Identifier: MIT
//
// A conversion with a scripted source and a scripted clock.
#ifndef QOLM_TESTS_CLI_CONVERSION_FIXTURE_H_
#define QOLM_TESTS_CLI_CONVERSION_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>

#include "cli/conversion.h"
#include "cli/number_format.h"
#include "container/container_reader.h"
#include "scratch_directory.h"
#include "scripted_video.h"
#include "support/record_words.h"

namespace qolm::cli {

namespace fs = std::filesystem;

inline constexpr const char* kSettings =
    "[+] Encoding video (Quality: 45, GOP: 60, VFR: ON, Gabor: ON, CCLC: ON, Stream: "
    "FAST-START)...\n";
inline constexpr const char* kNoSound =
    "[+] Note: no sound could be read; converting without it.\n";
inline constexpr const char* kSoundOff =
    "[+] Sound is switched off; converting the picture only.\n";

class ConversionTest : public testing::Test {
 protected:
  ConversionTest() : input_(directory_ / "input"), output_(directory_ / "output.qolm") {
    WriteFile(input_, std::string(3072, 'i'));
  }

  int Run() {
    EncodeEnvironment environment;
    environment.make_video_framework = [this] {
      return std::make_unique<ScriptedFramework>(script_);
    };
    environment.read_audio = [this](const fs::path&, const media::AudioOptions& options,
                                    PcmTrack& track, AudioReadReport& report,
                                    const std::function<void(double)>& progress) {
      ++sound_reads_;
      if (during_sound_) during_sound_();
      for (const double seconds : seconds_read_) {
        now_ += std::chrono::milliseconds(400);
        progress(seconds);
      }
      asked_rate_ = options.sample_rate;
      asked_channels_ = options.channels;
      if (!sound_) return false;
      track = *sound_;
      report = {sound_failure_, damaged_seconds_};
      return true;
    };
    environment.monotonic_now = [this] { return now_; };
    environment.interrupted = [this] {
      interrupted_ = interrupted_ || ++questions_ == interrupting_question_;
      return interrupted_;
    };
    environment.errors_on_terminal = errors_on_terminal_;
    return EncodeVideo({input_, output_, options_}, environment, out_, err_);
  }

  std::string InputReport(const std::string& duration = "") const {
    return "[+] Input Video: " + input_ + "\n    Resolution : 32x16\n    Framerate  : 25 fps\n" +
           duration;
  }

  std::string OutputKilobytes() const {
    return FixedNumber(static_cast<double>(fs::file_size(output_)) / 1024, 1);
  }

  std::string Part() const { return output_ + ".part"; }

  uint32_t FramesIn(const std::string& path) {
    container::ContainerReader reader;
    EXPECT_TRUE(reader.open(path)) << reader.failure_reason();
    return reader.header().frame_count;
  }

  std::string RecordsIn(const std::string& path) {
    container::ContainerReader reader;
    EXPECT_TRUE(reader.open(path)) << reader.failure_reason();
    return test::RecordWords(reader);
  }

  void ExpectRefused(const std::string& reason) {
    script_.frames = 3;
    int delivered = 0;
    script_.before_frame = [&delivered](int) { ++delivered; };
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(err_.str(), "[-] Error: Cannot open output file (" + reason + "): " + output_ + "\n");
    EXPECT_EQ(out_.str(), InputReport() + kNoSound);
    EXPECT_EQ(delivered, 0);
  }

  ScratchDirectory directory_;
  std::string input_;
  std::string output_;
  VideoScript script_;
  EncodeOptions options_;
  std::optional<PcmTrack> sound_;
  std::string sound_failure_;
  double damaged_seconds_ = 0;  // of the sound
  int sound_reads_ = 0;
  std::function<void()> during_sound_;
  std::vector<double> seconds_read_;  // reported, each after 400 ms
  bool errors_on_terminal_ = false;
  int32_t asked_rate_ = 0;
  int32_t asked_channels_ = 0;
  std::chrono::nanoseconds now_{0};
  bool interrupted_ = false;
  int questions_ = 0;  // whether to stop, before the answer was yes
  int interrupting_question_ = 0;
  std::ostringstream out_;
  std::ostringstream err_;
};

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_CONVERSION_FIXTURE_H_
