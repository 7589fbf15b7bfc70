// SPDX-License-Identifier: MIT
//
// The video framework over Media Foundation.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_VIDEO_FRAMEWORK_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_VIDEO_FRAMEWORK_H_

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "media/mediafoundation/com.h"
#include "media/mediafoundation/source_reader.h"
#include "media/video_framework.h"

namespace qolm::media::mediafoundation {

ReaderOptions OptionsOf(const VideoFramework::ReaderAttributes& attributes);

std::unique_ptr<VideoReader> AdaptVideoReader(ComPtr<IMFSourceReader> reader);

class MediaFoundationVideoFramework : public VideoFramework {
 public:
  std::unique_ptr<VideoReader> Open(const std::filesystem::path& path,
                                    const std::optional<ReaderAttributes>& attributes) override;
  std::string failure_reason() const override { return failure_reason_; }

 private:
  std::string failure_reason_;
};

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_MEDIAFOUNDATION_VIDEO_FRAMEWORK_H_
