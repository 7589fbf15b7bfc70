// SPDX-License-Identifier: MIT
#include "media/ffmpeg/picture_sections.h"

#include <algorithm>
#include <memory>
#include <string>

#include "media/ffmpeg/container_file.h"
#include "media/ffmpeg/declared_times.h"
#include "media/ffmpeg/decoder.h"
#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/packet_times.h"
#include "media/ffmpeg/probed_container.h"
#include "media/ffmpeg/stream_scan.h"

namespace qolm::media::ffmpeg {
namespace {

// 37 hours at 60 pictures a second, and a bound on memory. Later packets count as part of
// the last section.
constexpr size_t kMostPackets = 8'000'000;

struct PlacedTimes {
  explicit PlacedTimes(Ratio time_base) : clock(time_base) {}
  void Add(int64_t timestamp, int64_t duration, int64_t byte) {
    clock.Add(timestamp, duration);
    if (clock.size() > bytes.size()) bytes.push_back(byte);
  }
  PacketClock clock;
  std::vector<int64_t> bytes;  // of the packet with each timestamp
};

}  // namespace

PictureSections PictureSections::Scan(const std::filesystem::path& path, const StopSignal& stop,
                                      double picture_start) {
  std::string ignored_reason;
  const std::unique_ptr<Decoder> decoder = Decoder::Open(path, stop, ignored_reason);
  const FormatContext format = OpenContainer(path, &stop, ignored_reason);
  const Packet packet(av_packet_alloc());
  if (decoder == nullptr || format == nullptr || packet == nullptr) return PictureSections({});
  const StreamTiming timing = ScanTiming(path, stop, decoder->format(), decoder->stream());
  const int index = decoder->stream().index;
  if (!timing.rate || !ProbeAlike(*format, decoder->format()) ||
      static_cast<unsigned>(index) >= format->nb_streams) {
    return PictureSections({});
  }

  const Ratio time_base = TimeBaseOf(format->streams[index]->time_base);
  FileClock clock = MakeFileClock(*format);
  PlacedTimes shown(time_base);
  PlacedTimes decoded(time_base);
  int64_t byte = 0;
  while (!stop.IsSet() && decoded.bytes.size() < kMostPackets &&
         ReadPacketPastErrors(*format, *packet) >= 0) {
    byte = std::max(byte, packet->pos);  // some packets have none
    if (packet->stream_index != index) {
      CoverWith(*packet, *format->streams[packet->stream_index], clock);
    } else if ((packet->flags & AV_PKT_FLAG_DISCARD) == 0) {
      shown.Add(packet->pts, packet->duration, byte);
      decoded.Add(packet->dts, packet->duration, byte);
    }
    av_packet_unref(packet.get());
  }
  PlacedTimes& chosen = shown.bytes.size() < decoded.bytes.size() ? decoded : shown;
  // A restart divides the packets in file order as it divides the pictures.
  const std::vector<int64_t> times = std::move(chosen.clock).InPresentationOrder();
  FrameTimeline timeline(*timing.rate, time_base, clock);
  std::vector<PictureSection> sections;
  for (size_t i = 0; i < times.size(); ++i) {
    const double time = static_cast<double>(times[i]) * time_base.value();
    const bool restarts = timeline.Place(times[i], NextTime(times, i)).restarts;
    if (restarts || sections.empty()) {
      const double position = timeline.position() / timing.rate->value();
      const double undecoded = sections.empty() ? 0 : picture_start - sections.front().start;
      sections.push_back({time, time, position - undecoded, chosen.bytes[i]});
    }
    PictureSection& section = sections.back();
    section.end = std::max(section.end, time);
    section.last_byte = std::max(section.last_byte, chosen.bytes[i]);
  }
  return PictureSections(std::move(sections));
}

std::optional<double> PictureSections::OriginOfNewSection(int64_t byte, double time) {
  size_t i = current_;
  while (i + 1 < sections_.size() && sections_[i].last_byte < byte) ++i;
  if (i == current_) return std::nullopt;
  const PictureSection& section = sections_[i];
  if (time < section.start - FileClock::kSureStep || time > section.end + FileClock::kSureStep) {
    return std::nullopt;
  }
  current_ = i;
  return section.start - section.position;
}

}  // namespace qolm::media::ffmpeg
