// SPDX-License-Identifier: MIT
#include "media/ffmpeg/read_ahead.h"

#include <algorithm>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

constexpr size_t kMostPictures = 8;
constexpr size_t kByteBudget = size_t{128} << 20;

size_t CapacityFor(const PictureProducer& producer) {
  const size_t picture_bytes =
      static_cast<size_t>(producer.width()) * static_cast<size_t>(producer.height()) * 4;
  return std::clamp<size_t>(kByteBudget / picture_bytes, 1, kMostPictures);
}

}  // namespace

ReadAhead::ReadAhead(PictureProducer& producer, StopSignal& stop)
    : producer_(producer),
      stop_(stop),
      capacity_(CapacityFor(producer)),
      thread_([this] { Run(); }) {}

ReadAhead::~ReadAhead() {
  {
    const std::lock_guard lock(mutex_);
    stop_.Set();
  }
  changed_.notify_all();
  thread_.join();
}

void ReadAhead::Run() {
  std::exception_ptr failure;
  try {
    while (!stop_.IsSet()) {
      std::optional<TimedPicture> picture = producer_.Next();
      if (!picture) break;
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return stop_.IsSet() || pictures_.size() < capacity_; });
      if (stop_.IsSet()) break;
      pictures_.push_back(*std::move(picture));
      changed_.notify_all();
    }
  } catch (...) {
    failure = std::current_exception();
  }
  const std::lock_guard lock(mutex_);
  ended_ = true;
  failure_ = std::move(failure);
  changed_.notify_all();
}

std::optional<TimedPicture> ReadAhead::Next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ended_ || !pictures_.empty(); });
  if (pictures_.empty()) {
    if (failure_) std::rethrow_exception(failure_);
    return std::nullopt;
  }
  TimedPicture picture = std::move(pictures_.front());
  pictures_.pop_front();
  changed_.notify_all();
  return picture;
}

}  // namespace qolm::media::ffmpeg
