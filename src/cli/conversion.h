// SPDX-License-Identifier: MIT
//
// One whole conversion with its console report.
//
//   open input -> report -> audio -> open output -> settings line
//     -> frame loop -> finish -> rename -> statistics
#ifndef QOLM_CLI_CONVERSION_H_
#define QOLM_CLI_CONVERSION_H_

#include <chrono>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "audio/pcm_track.h"
#include "cli/options.h"
#include "media/audio_options.h"
#include "media/video_framework.h"

namespace qolm::cli {

struct EncodeRequest {
  std::string input_path;   // UTF-8, as given by the user
  std::string output_path;  // likewise
  EncodeOptions options;
};

// The state of the audio that was read.
struct AudioReadReport {
  std::string failure_reason;  // of a failure, or of what could not be read to its end
  double damaged_seconds = 0;  // decoded with errors, or not at all
};

// What a conversion needs of its environment.
struct EncodeEnvironment {
  std::function<std::unique_ptr<media::VideoFramework>()> make_video_framework;
  // Reads the whole audio of a file; false when it has none that can be read, or when
  // interrupted() ended the reading. `progress` is called with the seconds read so far.
  std::function<bool(const std::filesystem::path&, const media::AudioOptions&, PcmTrack&,
                     AudioReadReport& report, const std::function<void(double)>& progress)>
      read_audio;
  std::function<std::chrono::nanoseconds()> monotonic_now;
  std::function<bool()> interrupted;
  bool errors_on_terminal = false;  // a status line may then be shown
};

// The exit code: 0 when the output is complete and in place, else 1. Throws
// std::filesystem::filesystem_error when the size of a file cannot be had.
int EncodeVideo(const EncodeRequest& request, const EncodeEnvironment& environment,
                std::ostream& out, std::ostream& err);

}  // namespace qolm::cli

#endif  // QOLM_CLI_CONVERSION_H_
