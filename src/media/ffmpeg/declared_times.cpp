// SPDX-License-Identifier: MIT
#include "media/ffmpeg/declared_times.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <cstring>

#include "media/ffmpeg/numbers.h"

namespace qolm::media::ffmpeg {
namespace {

// "HH:MM:SS.fraction", as Matroska muxers write the length of each track.
std::optional<double> TaggedDuration(const AVStream& stream) {
  const AVDictionaryEntry* const entry = av_dict_get(stream.metadata, "DURATION", nullptr, 0);
  if (entry == nullptr) return std::nullopt;
  int64_t microseconds = 0;
  if (av_parse_time(&microseconds, entry->value, 1) < 0) return std::nullopt;
  return DurationOf(static_cast<double>(microseconds) * 1e-6);
}

bool IsKind(const AVFormatContext& format, const char* name) {
  return std::strcmp(format.iformat->name, name) == 0;
}

// The header counts in units of the stream's clock, whereas libav corrects the duration of
// a truncated file by its size.
bool IsAvi(const AVFormatContext& format) { return IsKind(format, "avi"); }

// The header of an AVI file written through a pipe keeps a provisional number of
// frames; the durations follow from it.
bool HasPlaceholderLength(const AVFormatContext& format) {
  constexpr int64_t kLeastPlaceholder = int64_t{1} << 30;
  return IsAvi(format) &&
         std::any_of(format.streams, format.streams + format.nb_streams,
                     [](const AVStream* stream) { return stream->nb_frames >= kLeastPlaceholder; });
}

// Lengths estimated from the bit rate or the last timestamps are not declared.
bool IsEstimated(const AVFormatContext& format) {
  return format.duration_estimation_method != AVFMT_DURATION_FROM_STREAM ||
         HasPlaceholderLength(format);
}

// Each stream is declared to last as long as the file.
bool IsAsf(const AVFormatContext& format) {
  return IsKind(format, "asf") || IsKind(format, "asf_o");
}

double StartOf(int64_t stated, Ratio time_base) {
  return static_cast<double>(TimestampOf(stated, time_base).value_or(0)) * time_base.value();
}

constexpr Ratio kMicroseconds = {1, AV_TIME_BASE};

void TakeLater(std::optional<double>& end, std::optional<double> other) {
  if (other) end = std::max(end.value_or(*other), *other);
}

}  // namespace

std::optional<double> DeclaredEnd(const AVFormatContext& format, const AVStream& stream) {
  const Ratio time_base = TimeBaseOf(stream.time_base);
  std::optional<double> end = TaggedDuration(stream);  // counted from the clock's zero
  if (IsEstimated(format) || IsAsf(format)) return end;
  const double start = StartOf(stream.start_time, time_base);
  for (const int64_t stated : {stream.duration, IsAvi(format) ? stream.nb_frames : 0}) {
    if (const auto duration = DurationOf(stated, time_base)) TakeLater(end, start + *duration);
  }
  if (!end) return end;
  const int entries = avformat_index_get_entries_count(&stream);
  const AVIndexEntry* const last =
      avformat_index_get_entry(const_cast<AVStream*>(&stream), entries - 1);
  if (last != nullptr) {
    const double time = StartOf(last->timestamp, time_base);
    if (DurationOf(time - start)) TakeLater(end, time);
  }
  return end;
}

std::optional<double> DeclaredEnd(const AVFormatContext& format) {
  std::optional<double> end;
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    TakeLater(end, DeclaredEnd(format, *format.streams[i]));
  }
  if (IsEstimated(format)) return end;
  if (const auto duration = DurationOf(format.duration, kMicroseconds)) {
    TakeLater(end, StartOfFile(format) + *duration);
  }
  return end;
}

double StartOfFile(const AVFormatContext& format) {
  return StartOf(format.start_time, kMicroseconds);
}

std::optional<double> DeclaredDuration(const AVFormatContext& format, const AVStream& stream) {
  const Ratio time_base = TimeBaseOf(stream.time_base);
  if (const auto end = DeclaredEnd(format, stream)) {
    return DurationOf(*end - StartOf(stream.start_time, time_base));
  }
  if (HasPlaceholderLength(format)) return std::nullopt;
  if (const auto estimated = DurationOf(stream.duration, time_base)) return estimated;
  return DurationOf(format.duration, kMicroseconds);
}

FileClock MakeFileClock(const AVFormatContext& format) {
  return FileClock((format.iformat->flags & AVFMT_TS_DISCONT) != 0, DeclaredEnd(format));
}

}  // namespace qolm::media::ffmpeg
