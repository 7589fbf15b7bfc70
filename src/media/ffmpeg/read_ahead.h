// Runs a producer in a thread of its own, a few pictures ahead of their reader.
#ifndef QOLM_MEDIA_FFMPEG_READ_AHEAD_H_
#define QOLM_MEDIA_FFMPEG_READ_AHEAD_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "media/ffmpeg/picture_producer.h"

namespace qolm::media::ffmpeg {

class ReadAhead {
 public:
  // `producer` and `stop` outlive this object; `stop` makes the producer's
  // calls end early and is set on destruction. Throws std::system_error when no
  // thread can be had.
  ReadAhead(PictureProducer& producer, std::atomic<bool>& stop);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Waits for the next picture. Nothing at the end, and once the producer ran
  // out of memory.
  std::optional<TimedPicture> Next();
  bool failed() const;  // the end came by an exhausted memory

 private:
  void Run();

  PictureProducer& producer_;
  std::atomic<bool>& stop_;
  const size_t capacity_;  // pictures
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<TimedPicture> pictures_;
  bool ended_ = false;
  bool failed_ = false;
  std::thread thread_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_READ_AHEAD_H_
