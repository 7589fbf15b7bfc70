// SPDX-License-Identifier: MIT
//
// Reorders the timestamps of a stream's packets from file order to presentation order.
#ifndef QOLM_MEDIA_FFMPEG_PACKET_TIMES_H_
#define QOLM_MEDIA_FFMPEG_PACKET_TIMES_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

class PacketClock {
 public:
  explicit PacketClock(Ratio time_base) : time_base_(time_base) {}

  // In file order; packets without a timestamp are only counted.
  void Add(int64_t timestamp, int64_t duration);

  size_t size() const { return timestamps_.size(); }
  int64_t duration_of_last() const { return duration_of_last_; }
  // Packets without a timestamp up to the 16th that has one.
  int64_t untimed_at_start() const { return untimed_at_start_; }

  // Coders store pictures up to 16 positions before those that precede them in display
  // order. So a timestamp more than a second before the last 16 means that the clock has
  // restarted, as where recordings were joined, and later pictures are shown after all
  // earlier ones. A single wild timestamp is replaced by that of its neighbour.
  std::vector<int64_t> InPresentationOrder() &&;

 private:
  Ratio time_base_;
  std::vector<int64_t> timestamps_;
  std::optional<int64_t> last_;
  int64_t duration_of_last_ = 0;
  int64_t untimed_at_start_ = 0;
};

// The one behind the `i`-th.
std::optional<int64_t> NextTime(const std::vector<int64_t>& timestamps, size_t i);

// Records the time span of a packet of `stream`.
void CoverWith(const AVPacket& packet, const AVStream& stream, FileClock& clock);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PACKET_TIMES_H_
