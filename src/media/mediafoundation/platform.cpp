// SPDX-License-Identifier: MIT
#include "media/platform.h"

#include <utility>

#include "media/mediafoundation/com.h"
#include "media/mediafoundation/mediafoundation_audio_framework.h"
#include "media/mediafoundation/mediafoundation_video_framework.h"

namespace qolm::media {

static_assert(MF_VERSION == 0x20070, "the version that Windows 7 and later agree on");

// If starting failed there is no shutdown, and opening a file fails with the system's
// reason.
struct Platform::Running {
  Running()
      : com(CoInitializeEx(nullptr, COINIT_MULTITHREADED)),
        media_foundation(MFStartup(MF_VERSION, MFSTARTUP_FULL)) {}
  ~Running() {
    if (SUCCEEDED(media_foundation)) MFShutdown();
    if (SUCCEEDED(com)) CoUninitialize();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  const HRESULT com;
  const HRESULT media_foundation;
};

Platform::Platform(std::function<bool()> interrupted)
    : interrupted_(std::move(interrupted)), running_(std::make_unique<Running>()) {}

Platform::~Platform() = default;

std::unique_ptr<AudioFramework> Platform::MakeAudioFramework() const {
  return std::make_unique<mediafoundation::MediaFoundationAudioFramework>();
}

std::unique_ptr<VideoFramework> Platform::MakeVideoFramework() const {
  return std::make_unique<mediafoundation::MediaFoundationVideoFramework>();
}

}  // namespace qolm::media
