// SPDX-License-Identifier: MIT
#include "media/ffmpeg/stream_scan.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/declared_times.h"
#include "media/ffmpeg/frame_rate.h"
#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/matroska_segment.h"
#include "media/ffmpeg/movie_fragments.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/packet_times.h"
#include "media/ffmpeg/probed_container.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr int64_t kScannedPackets = 1'000'000;

// The rounding of declared lengths.
constexpr double kRoundedShare = 0.05;
constexpr double kMostRounded = 2;  // seconds
constexpr double kFewestMissingFrames = 2;
constexpr double kRoundedFileLength = 1;  // seconds, of what no single stream declares

constexpr size_t kMostDelay = 16;  // packets

struct PacketTimes {
  std::vector<int64_t> timestamps;  // as the pictures are shown
  int64_t packets = 0;
  int64_t not_shown = 0;                  // packets that are only references
  int64_t untimed_at_start = 0;           // as where a clock cannot express times before zero
  int64_t last_duration = 0;              // of the packet that is shown last
  std::optional<int64_t> first_key_time;  // of the first packet that can be decoded
  bool as_decoded = false;                // the timestamps are those of decoding
  bool complete = false;                  // every packet of the stream was seen
};

bool IsToBeProbed(const AVFormatContext& format, int stream_index) {
  return static_cast<unsigned>(stream_index) >= format.nb_streams ||
         format.streams[stream_index]->codecpar->width <= 0;
}

// `probed` is the same file. With a clock, the other streams' packets are read too,
// and cover it.
PacketTimes ReadPacketTimes(const std::filesystem::path& path, const StopSignal& stop,
                            const AVFormatContext& probed, int stream_index, FileClock* clock) {
  PacketTimes times;
  std::string ignored_reason;
  const FormatContext format = OpenContainer(path, &stop, ignored_reason);
  if (format == nullptr) return times;
  // Some containers (FLV, MPEG programs) declare streams only by their packets; and where no
  // header describes the pictures, as in a bare H.261 stream, the demuxer derives times from
  // the results of probing.
  if (IsToBeProbed(*format, stream_index) && !ProbeAlike(*format, probed)) return times;
  if (static_cast<unsigned>(stream_index) >= format->nb_streams) return times;
  for (unsigned i = 0; clock == nullptr && i < format->nb_streams; ++i) {
    if (static_cast<int>(i) != stream_index) format->streams[i]->discard = AVDISCARD_ALL;
  }
  const Packet packet(av_packet_alloc());
  if (packet == nullptr) return times;
  const Ratio time_base = TimeBaseOf(format->streams[stream_index]->time_base);
  PacketClock shown(time_base);
  PacketClock decoded(time_base);
  // The packets that a far probe has read are delivered later, and count then.
  const int64_t bytes_of_probe = IsProbedFurther(*format) ? BytesRead(*format) : 0;
  int64_t packet_bytes = 0;
  // Other streams' packets are read too, even if they are skipped.
  while (!stop.IsSet() && times.packets < kScannedPackets &&
         std::max(packet_bytes, BytesRead(*format) - bytes_of_probe) < kMostBytesAhead) {
    const int result = ReadPacketPastErrors(*format, *packet);
    if (result < 0) {
      // Where the demuxer gives up, the decoder will too.
      times.complete = result != AVERROR_EXIT && ReadFailure(*format).empty();
      break;
    }
    packet_bytes += packet->size;
    if (packet->stream_index != stream_index) {
      if (clock != nullptr) CoverWith(*packet, *format->streams[packet->stream_index], *clock);
    } else if ((packet->flags & AV_PKT_FLAG_DISCARD) == 0) {
      ++times.packets;
      if (!times.first_key_time && (packet->flags & AV_PKT_FLAG_KEY) != 0) {
        times.first_key_time = TimestampOf(packet->pts, time_base);
      }
      shown.Add(packet->pts, packet->duration);
      decoded.Add(packet->dts, packet->duration);
    } else {
      ++times.not_shown;
    }
    av_packet_unref(packet.get());
  }
  // If some pictures lack presentation times, decoding times are used for all, which have
  // the same rate.
  times.as_decoded = shown.size() < decoded.size();
  PacketClock& chosen = times.as_decoded ? decoded : shown;
  times.last_duration = chosen.duration_of_last();
  times.untimed_at_start = chosen.untimed_at_start();
  times.timestamps = std::move(chosen).InPresentationOrder();
  return times;
}

// The expected frames beyond those that the packets fill; 0 for a complete file. These packets
// begin at `start` and end at `end`.
int64_t MissingFrames(const AVFormatContext& format, const AVStream& stream, Ratio rate,
                      int64_t slots, double start, double end, const FileClock& clock) {
  double declared = 0;
  double tolerance = kFewestMissingFrames / rate.value();
  if (const auto own = DeclaredEnd(format, stream)) {
    declared = *own;
  } else if (clock.declared_end()) {
    declared = *clock.declared_end();
    end = std::max(end, clock.covered_end().value_or(end));
    tolerance = std::max(tolerance, kRoundedFileLength);
  } else {
    return 0;
  }
  const double missing = declared - end;
  const double length = static_cast<double>(slots) / rate.value() + missing;
  tolerance = std::max(tolerance, std::min(length * kRoundedShare, kMostRounded));
  if (missing <= tolerance) return 0;
  // The length of a file that begins late may include the time from its clock's zero.
  const bool of_file = !DeclaredEnd(format, stream);
  if (of_file && std::abs(missing - StartOfFile(format)) <= tolerance) return 0;
  const int64_t frames_missing = FramesIn(missing, rate).value_or(0);
  const int64_t frames = FramesIn(declared - start, rate).value_or(slots + frames_missing);
  return std::max<int64_t>(0, std::min(frames_missing, frames - slots));
}

// The same from the fragments of an MP4 file, whose header declares only the first. The
// demuxer ends at the first invalid box.
int64_t MissingInFragments(const std::filesystem::path& path, const AVFormatContext& format,
                           const AVStream& stream, Ratio rate, const PacketTimes& packets,
                           int64_t slots) {
  if (std::strstr(format.iformat->name, "mp4") == nullptr) return 0;
  const MovieFragments fragments = ExamineMovieFragments(path, static_cast<uint32_t>(stream.id));
  const int64_t unread = fragments.samples + std::max<int64_t>(0, stream.nb_frames) -
                         packets.packets - packets.not_shown;
  if (fragments.samples == 0 || unread <= 0) return 0;
  if (!fragments.start || !fragments.end) return unread;
  // The samples of a damaged fragment are unknown, but the time up to the next is known.
  const uint64_t start = stream.nb_frames > 0 ? 0 : *fragments.start;
  const auto length = static_cast<int64_t>(*fragments.end - start);
  const auto seconds = DurationOf(length, TimeBaseOf(stream.time_base));
  const int64_t frames = seconds ? FramesIn(*seconds, rate).value_or(0) : 0;
  return std::max(unread, frames - slots);
}

// Whether the `i`-th picture that is shown can be the first that comes from the decoder.
bool CanBeFirst(const PacketTimes& packets, const StreamTimes& times, size_t i) {
  if (packets.as_decoded) return i <= kMostDelay;
  // Recordings that were joined may all begin at this time.
  return times.timestamps[i] == packets.first_key_time &&
         std::find(times.timestamps.begin(), times.timestamps.begin() + static_cast<ptrdiff_t>(i),
                   times.timestamps[i]) == times.timestamps.begin() + static_cast<ptrdiff_t>(i);
}

}  // namespace

StreamTiming ScanTiming(const std::filesystem::path& path, const StopSignal& stop,
                        const AVFormatContext& format, const AVStream& stream) {
  StreamTiming timing;
  timing.clock = MakeFileClock(format);
  const bool declares_its_end = DeclaredEnd(format, stream).has_value();
  std::error_code error;
  PacketTimes packets;
  // Only regular files can be read twice.
  if (std::filesystem::is_regular_file(path, error)) {
    packets = ReadPacketTimes(path, stop, format, stream.index,
                              declares_its_end ? nullptr : &timing.clock);
  }
  const bool all_timed =
      !packets.timestamps.empty() &&
      packets.packets == packets.untimed_at_start + static_cast<int64_t>(packets.timestamps.size());

  StreamTimes times;
  times.time_base = TimeBaseOf(stream.time_base);
  times.timestamps = std::move(packets.timestamps);
  times.average_rate = FrameRateOf(stream.avg_frame_rate);
  times.lowest_exact_rate = FrameRateOf(stream.r_frame_rate);
  timing.rate = ChooseConstantRate(times, timing.clock);
  if (!timing.rate) return timing;

  if (packets.complete && all_timed) {
    FrameTimeline timeline(*timing.rate, times.time_base, timing.clock);
    for (size_t i = 0; i < times.timestamps.size(); ++i) {
      timeline.Place(times.timestamps[i], NextTime(times.timestamps, i));
      if (CanBeFirst(packets, times, i)) {
        // The decoder returns pictures some packets after their own, so that their decoding
        // times are those of later packets.
        const int64_t seen = packets.as_decoded ? static_cast<int64_t>(i) : 0;
        const int64_t unseen = timeline.slots_filled() - 1 - seen;
        if (unseen > 0) timing.starts.push_back({times.timestamps[i], unseen});
      }
    }
    const auto last = std::max_element(times.timestamps.begin(), times.timestamps.end());
    const double start = static_cast<double>(times.timestamps.front()) * times.time_base.value();
    double end = static_cast<double>(*last) * times.time_base.value();
    int64_t slots = timeline.slots_filled() + timeline.RepeatsAtEnd(packets.last_duration);
    // Those without a timestamp may lie before the others, and take a slot each.
    if (packets.untimed_at_start > 0) slots = std::max(slots, packets.packets);
    end += DurationOf(packets.last_duration, times.time_base).value_or(0);
    timing.slots = slots;
    int64_t missing = MissingFrames(format, stream, *timing.rate, slots, start, end, timing.clock);
    if (missing > 0 && IsWholeMatroskaSegment(path)) missing = 0;
    *timing.slots +=
        std::max(missing, MissingInFragments(path, format, stream, *timing.rate, packets, slots));
    return timing;
  }
  const bool duration_is_a_guess = format.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
  if (packets.complete && packets.packets > 0 && duration_is_a_guess) {
    timing.slots = packets.packets;
  } else if (const auto duration = DeclaredDuration(format, stream)) {
    timing.slots = FramesIn(*duration, *timing.rate);
    timing.slots_of_any_stream = !declares_its_end && timing.clock.declared_end();
  }
  return timing;
}

}  // namespace qolm::media::ffmpeg
