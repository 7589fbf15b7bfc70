#include "media/ffmpeg/stream_scan.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/numbers.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr int64_t kScannedBytes = int64_t{64} << 20;
constexpr int64_t kScannedPackets = 1'000'000;
constexpr double kLongestGapInBrokenClocks = 10;  // seconds; transport streams may be spliced
constexpr double kLongestGap = 3600;              // seconds

struct PacketTimes {
  std::vector<int64_t> timestamps;
  int64_t packets = 0;
  int64_t last_duration = 0;  // of the packet that is shown last
  bool complete = false;      // every packet of the stream was seen
};

// One kind of timestamp of a stream's packets.
struct Clock {
  std::vector<int64_t> timestamps;
  int64_t last_timestamp = AV_NOPTS_VALUE;
  int64_t last_duration = 0;

  void Add(int64_t timestamp, int64_t duration) {
    if (timestamp == AV_NOPTS_VALUE) return;
    timestamps.push_back(timestamp);
    if (last_timestamp == AV_NOPTS_VALUE || timestamp >= last_timestamp) {
      last_timestamp = timestamp;
      last_duration = duration;
    }
  }
};

// Other streams' packets cost reading too, even where they are passed over. 0 for
// a playlist, whose files are opened elsewhere.
int64_t BytesRead(const AVFormatContext& format) {
  return format.pb != nullptr ? format.pb->bytes_read : 0;
}

PacketTimes ReadPacketTimes(const std::filesystem::path& path, const StopSignal& stop,
                            int stream_index) {
  PacketTimes times;
  std::string ignored_reason;
  const FormatContext format = OpenContainer(path, &stop, ignored_reason);
  if (format == nullptr) return times;
  // Some containers (FLV, MPEG programs) name their streams only as they go.
  if (static_cast<unsigned>(stream_index) >= format->nb_streams &&
      (avformat_find_stream_info(format.get(), nullptr) < 0 ||
       static_cast<unsigned>(stream_index) >= format->nb_streams)) {
    return times;
  }
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    if (static_cast<int>(i) != stream_index) format->streams[i]->discard = AVDISCARD_ALL;
  }
  const Packet packet(av_packet_alloc());
  if (packet == nullptr) return times;
  Clock shown;
  Clock decoded;
  int64_t packet_bytes = 0;
  while (!stop.IsSet() && times.packets < kScannedPackets &&
         std::max(packet_bytes, BytesRead(*format)) < kScannedBytes) {
    const int result = av_read_frame(format.get(), packet.get());
    if (result < 0) {
      times.complete = result == AVERROR_EOF;
      break;
    }
    packet_bytes += packet->size;
    if (packet->stream_index == stream_index && (packet->flags & AV_PKT_FLAG_DISCARD) == 0) {
      ++times.packets;
      shown.Add(packet->pts, packet->duration);
      decoded.Add(packet->dts, packet->duration);
    }
    av_packet_unref(packet.get());
  }
  // Where some pictures have no time to be shown at, the times at which they are
  // decoded run at the same rate; the two are never mixed.
  Clock& clock = shown.timestamps.size() < decoded.timestamps.size() ? decoded : shown;
  times.timestamps = std::move(clock.timestamps);
  times.last_duration = clock.last_duration;
  std::sort(times.timestamps.begin(), times.timestamps.end());
  return times;
}

// "HH:MM:SS.fraction", as Matroska's writers note the length of each track.
std::optional<double> TaggedDuration(const AVStream& stream) {
  const AVDictionaryEntry* const entry = av_dict_get(stream.metadata, "DURATION", nullptr, 0);
  if (entry == nullptr) return std::nullopt;
  int64_t microseconds = 0;
  if (av_parse_time(&microseconds, entry->value, 1) < 0) return std::nullopt;
  return DurationOf(static_cast<double>(microseconds) * 1e-6);
}

// In seconds; the stream's own length before the file's, which sound may
// stretch.
std::optional<double> DeclaredDuration(const AVFormatContext& format, const AVStream& stream) {
  if (const auto own = DurationOf(stream.duration, TimeBaseOf(stream.time_base))) return own;
  if (const auto tagged = TaggedDuration(stream)) return tagged;
  return DurationOf(format.duration, {1, AV_TIME_BASE});
}

}  // namespace

StreamTiming ScanTiming(const std::filesystem::path& path, const StopSignal& stop,
                        const AVFormatContext& format, const AVStream& stream) {
  std::error_code error;
  PacketTimes packets;
  // What is no regular file cannot be read twice.
  if (std::filesystem::is_regular_file(path, error)) {
    packets = ReadPacketTimes(path, stop, stream.index);
  }
  const bool all_timed =
      packets.packets > 0 && packets.packets == static_cast<int64_t>(packets.timestamps.size());

  StreamTimes times;
  times.time_base = TimeBaseOf(stream.time_base);
  times.timestamps = std::move(packets.timestamps);
  times.average_rate = FrameRateOf(stream.avg_frame_rate);
  times.lowest_exact_rate = FrameRateOf(stream.r_frame_rate);

  StreamTiming timing;
  timing.longest_gap_seconds =
      (format.iformat->flags & AVFMT_TS_DISCONT) != 0 ? kLongestGapInBrokenClocks : kLongestGap;
  timing.rate = ChooseConstantRate(times, timing.longest_gap_seconds);
  if (!timing.rate) return timing;

  if (packets.complete && all_timed) {
    FrameTimeline timeline(*timing.rate, times.time_base, timing.longest_gap_seconds);
    for (const int64_t timestamp : times.timestamps) timeline.Place(timestamp);
    timing.slots = timeline.slots_filled() + timeline.RepeatsAtEnd(packets.last_duration);
    return timing;
  }
  const bool duration_is_a_guess = format.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
  if (packets.complete && packets.packets > 0 && duration_is_a_guess) {
    timing.slots = packets.packets;
  } else if (const auto duration = DeclaredDuration(format, stream)) {
    timing.slots = FramesIn(*duration, *timing.rate);
  }
  return timing;
}

}  // namespace qolm::media::ffmpeg
