// SPDX-License-Identifier: MIT
//
// Runs a producer in its own thread, a few pictures ahead of the reader.
#ifndef QOLM_MEDIA_FFMPEG_READ_AHEAD_H_
#define QOLM_MEDIA_FFMPEG_READ_AHEAD_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include "media/ffmpeg/picture_producer.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

class ReadAhead {
 public:
  // `producer` and `stop` outlive this object; `stop` makes the producer's
  // calls end early and is set on destruction. Throws std::system_error when no
  // thread can be started.
  ReadAhead(PictureProducer& producer, StopSignal& stop);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Waits for the next picture. Nothing at the end. Exceptions of the producer are
  // rethrown here, after the pictures that it made before.
  std::optional<TimedPicture> Next();

 private:
  void Run();

  PictureProducer& producer_;
  StopSignal& stop_;
  const size_t capacity_;  // pictures
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<TimedPicture> pictures_;
  bool ended_ = false;
  std::exception_ptr failure_;
  std::thread thread_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_READ_AHEAD_H_
