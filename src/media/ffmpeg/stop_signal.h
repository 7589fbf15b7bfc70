// SPDX-License-Identifier: MIT
//
// Makes a reader's calls end early: because its owner is done with it, or because
// the run is interrupted.
#ifndef QOLM_MEDIA_FFMPEG_STOP_SIGNAL_H_
#define QOLM_MEDIA_FFMPEG_STOP_SIGNAL_H_

#include <atomic>
#include <functional>
#include <utility>

namespace qolm::media::ffmpeg {

class StopSignal {
 public:
  // `interrupted` is asked on any thread, often, and must not throw.
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
