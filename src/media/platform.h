// SPDX-License-Identifier: MIT
//
// The media framework that this build was made with.
#ifndef QOLM_MEDIA_PLATFORM_H_
#define QOLM_MEDIA_PLATFORM_H_

#include <functional>
#include <memory>

#include "media/audio_framework.h"
#include "media/video_framework.h"

namespace qolm::media {

// Starts the framework on construction and shuts it down on destruction; every
// source made from it must be gone by then.
class Platform {
 public:
  // `interrupted` is polled on any thread, also while a file is opened. Once it returns
  // true, waiting for a file ends early where the framework supports it.
  explicit Platform(std::function<bool()> interrupted = [] { return false; });
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  std::unique_ptr<AudioFramework> MakeAudioFramework() const;
  std::unique_ptr<VideoFramework> MakeVideoFramework() const;

 private:
  const std::function<bool()> interrupted_;
  struct Running;  // what has to be shut down
  std::unique_ptr<Running> running_;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_PLATFORM_H_
