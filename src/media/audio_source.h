// Decodes a file's whole first audio track to 16-bit samples at the rate and
// channel count that the options ask for.
//
// Negotiation, channel conversion and resampling are decided here, over the
// small interface of audio_framework.h; a framework's adapter only translates.
#ifndef QOLM_MEDIA_AUDIO_SOURCE_H_
#define QOLM_MEDIA_AUDIO_SOURCE_H_

#include <filesystem>
#include <memory>

#include "audio/pcm_track.h"
#include "media/audio_framework.h"
#include "media/audio_options.h"

namespace qolm::media {

class AudioSource {
 public:
  explicit AudioSource(std::unique_ptr<AudioFramework> framework);

  // True when at least one sample was decoded into `track`. False at once when
  // the options have sound disabled.
  [[nodiscard]] bool ReadAll(const std::filesystem::path& path, const AudioOptions& options,
                             PcmTrack& track);

 private:
  std::unique_ptr<AudioFramework> framework_;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_AUDIO_SOURCE_H_
