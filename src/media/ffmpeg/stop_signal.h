// SPDX-License-Identifier: MIT
//
// Ends a reader's calls early: because its owner no longer needs it, or because the run is
// interrupted.
#ifndef QOLM_MEDIA_FFMPEG_STOP_SIGNAL_H_
#define QOLM_MEDIA_FFMPEG_STOP_SIGNAL_H_

#include <atomic>
#include <functional>
#include <utility>

namespace qolm::media::ffmpeg {

class StopSignal {
 public:
  // `interrupted` is polled often, on any thread, and must not throw.
  explicit StopSignal(std::function<bool()> interrupted) : interrupted_(std::move(interrupted)) {}
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  void Set() { set_ = true; }
  bool IsSet() const { return set_.load(std::memory_order_relaxed) || interrupted_(); }

 private:
  std::atomic<bool> set_ = false;
  const std::function<bool()> interrupted_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_STOP_SIGNAL_H_
