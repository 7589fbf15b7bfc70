// SPDX-License-Identifier: MIT
#include "cli/encode_command.h"

#include <chrono>
#include <functional>

#include "cli/status_line.h"
#include "media/audio_source.h"
#include "media/platform.h"
#include "platform/interrupt.h"
#include "platform/terminal.h"
#include "platform/write_signals.h"

namespace qolm::cli {

int RunEncodeCommand(const EncodeRequest& request, std::ostream& out, std::ostream& err) {
  platform::IgnoreBrokenPipeSignal();
  const platform::InterruptListener listener;
  const media::Platform platform([&listener] { return listener.interrupted(); });
  EncodeEnvironment environment;
  environment.make_video_framework = [&platform] { return platform.MakeVideoFramework(); };
  environment.read_audio =
      [&](const std::filesystem::path& path, const media::AudioOptions& options, PcmTrack& track,
          AudioReadReport& report, const std::function<void(double)>& progress) {
        media::AudioSource source(platform.MakeAudioFramework());
        const bool read = source.ReadAll(path, options, track, environment.interrupted, progress);
        report = {source.failure_reason(), source.damaged_seconds()};
        return read;
      };
  environment.monotonic_now = [] {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch());
  };
  environment.interrupted = [&listener] { return listener.interrupted(); };
  environment.errors_on_terminal = platform::StandardErrorIsTerminal();
  return EncodeVideo(request, environment, out, err);
}

}  // namespace qolm::cli
