// SPDX-License-Identifier: MIT
//
// The audio framework over Media Foundation.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_AUDIO_FRAMEWORK_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_AUDIO_FRAMEWORK_H_

#include <filesystem>
#include <memory>

#include "media/audio_framework.h"
#include "media/mediafoundation/com.h"
#include "media/mediafoundation/source_reader.h"

namespace qolm::media::mediafoundation {

ReaderOptions OptionsOf(const AudioFramework::ReaderAttributes& attributes);

std::unique_ptr<AudioReader> AdaptAudioReader(ComPtr<IMFSourceReader> reader);

class MediaFoundationAudioFramework : public AudioFramework {
 public:
  std::unique_ptr<AudioReader> Open(const std::filesystem::path& path,
                                    const ReaderAttributes& attributes) override;
};

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_AUDIO_FRAMEWORK_H_
