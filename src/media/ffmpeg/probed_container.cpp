// SPDX-License-Identifier: MIT
#include "media/ffmpeg/probed_container.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <utility>

#include "media/ffmpeg/container_file.h"

namespace qolm::media::ffmpeg {
namespace {

// The most that a decoder needs of its stream to determine its parameters.
constexpr int64_t kBytesBehindFirstPacket = 5'000'000;
// Microseconds; the second probe is limited by its bytes.
constexpr int64_t kAnyDuration = std::numeric_limits<int64_t>::max() / 4;

struct Kinds {
  bool picture = false;
  bool sound = false;
};

bool IsSound(const AVStream& stream) { return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }

// Streams may be declared long before their first packet identifies their content.
bool IsKnown(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  return IsVideo(stream) ? parameters.width > 0
                         : parameters.sample_rate > 0 && parameters.ch_layout.nb_channels > 0;
}

bool LacksKind(const AVFormatContext& format, bool (*is_of_kind)(const AVStream&)) {
  AVStream** const end = format.streams + format.nb_streams;
  AVStream** const first = std::find_if(
      format.streams, end, [&](const AVStream* stream) { return is_of_kind(*stream); });
  return first == end || !IsKnown(**first);
}

struct Search {
  std::optional<int64_t> found;  // bytes of the packets up to the last kind that was found
  int64_t bytes = 0;             // read
};

// Reads packets up to the first ones of the kinds that are missing.
Search SearchFor(Kinds missing, const std::filesystem::path& path, const StopSignal& stop) {
  Search search;
  std::string ignored_reason;
  const FormatContext format = OpenContainer(path, &stop, ignored_reason);
  const Packet packet(av_packet_alloc());
  if (packet == nullptr) throw std::bad_alloc();
  if (format == nullptr) return search;
  int64_t packet_bytes = 0;
  while (missing.picture || missing.sound) {
    const int result = ReadPacketPastErrors(*format, *packet);
    search.bytes = std::max(packet_bytes, BytesRead(*format));
    if (search.bytes >= kMostBytesAhead) break;
    if (result < 0) break;
    packet_bytes += packet->size;
    const AVStream& stream = *format->streams[packet->stream_index];
    const bool is_picture = missing.picture && IsVideo(stream);
    const bool is_sound = missing.sound && IsSound(stream);
    if (is_picture || is_sound) search.found = packet_bytes;
    missing.picture = missing.picture && !is_picture;
    missing.sound = missing.sound && !is_sound;
    av_packet_unref(packet.get());
  }
  return search;
}

}  // namespace

bool IsVideo(const AVStream& stream) {
  constexpr int kNoVideo = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS;
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && (stream.disposition & kNoVideo) == 0;
}

ProbedContainer OpenProbed(const std::filesystem::path& path, const StopSignal& stop,
                           std::string& failure_reason) {
  ProbedContainer container;
  container.format = OpenContainer(path, &stop, failure_reason);
  if (container.format == nullptr) return container;
  // Probing assumes that a transport stream's first program table is complete, but another
  // one may follow.
  const bool has_header = (container.format->ctx_flags & AVFMTCTX_NOHEADER) == 0;
  container.probe_result = avformat_find_stream_info(container.format.get(), nullptr);
  if (has_header) return container;
  const Kinds missing{LacksKind(*container.format, IsVideo), LacksKind(*container.format, IsSound)};
  if (!missing.picture && !missing.sound) return container;

  const Search search = SearchFor(missing, path, stop);
  container.searched = search.bytes;
  if (!search.found) return container;
  std::string ignored_reason;
  FormatContext again = OpenContainer(path, &stop, ignored_reason);
  if (again == nullptr) return container;
  again->probesize = *search.found + kBytesBehindFirstPacket;
  again->max_analyze_duration = kAnyDuration;
  container.probe_result = avformat_find_stream_info(again.get(), nullptr);
  container.format = std::move(again);
  return container;
}

bool ProbeAlike(AVFormatContext& format, const AVFormatContext& other) {
  format.probesize = other.probesize;
  format.max_analyze_duration = other.max_analyze_duration;
  return avformat_find_stream_info(&format, nullptr) >= 0;
}

bool IsProbedFurther(const AVFormatContext& format) { return format.max_analyze_duration > 0; }

int64_t BytesRead(const AVFormatContext& format) {
  return format.pb != nullptr ? format.pb->bytes_read : 0;
}

}  // namespace qolm::media::ffmpeg
