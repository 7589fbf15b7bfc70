// SPDX-License-Identifier: MIT
//
// Decodes a file's whole first audio track to 16-bit samples at the rate and
// channel count that the options ask for.
//
// Negotiation, channel conversion and resampling are decided here, over the
// small interface of audio_framework.h; a framework's adapter only translates.
#ifndef QOLM_MEDIA_AUDIO_SOURCE_H_
#define QOLM_MEDIA_AUDIO_SOURCE_H_

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "audio/pcm_track.h"
#include "media/audio_framework.h"
#include "media/audio_options.h"

namespace qolm::media {

class AudioSource {
 public:
  explicit AudioSource(std::unique_ptr<AudioFramework> framework);

  // True when at least one sample was decoded into `track`, whose rate is the
  // requested one (44100 Hz when the options say 0) and whose channel count is
  // 1 when 1 was requested and otherwise 2. On failure, which includes options
  // with audio disabled, `track` is empty.
  //
  // The track takes the memory of its samples once while it is decoded, and
  // twice for a moment when the framework would not deliver the requested rate.
  //
  // `stop` is polled between pieces of the track; once it returns true, reading fails.
  // `progress` is called there with the seconds read so far.
  [[nodiscard]] bool ReadAll(
      const std::filesystem::path& path, const AudioOptions& options, PcmTrack& track,
      const std::function<bool()>& stop = [] { return false; },
      const std::function<void(double seconds)>& progress = [](double) {});

  // Why the last ReadAll failed or could not read the track to its end, as a short
  // phrase; empty when it did.
  const std::string& failure_reason() const { return failure_reason_; }

  // Seconds of the track that the last ReadAll decoded with errors or not at all.
  double damaged_seconds() const { return damaged_seconds_; }

 private:
  std::unique_ptr<AudioFramework> framework_;
  std::string failure_reason_;
  double damaged_seconds_ = 0;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_AUDIO_SOURCE_H_
