// SPDX-License-Identifier: MIT
//
// What a hostile source states of its rate, its durations and its time stamps.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"
#include "media/ffmpeg/audio_timeline.h"
#include "media/ffmpeg/frame_rate.h"
#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/packet_times.h"

namespace qolm::fuzz {
namespace {

using media::ffmpeg::FileClock;
using media::ffmpeg::Ratio;

constexpr size_t kMostPictures = 200;

int64_t ReadLong(InputReader& reader) {
  const uint64_t high = reader.Word();
  return static_cast<int64_t>(high << 32 | reader.Word());
}

// Any number, or one near the last, as most time stamps are.
int64_t ReadTimestamp(InputReader& reader, int64_t last) {
  const uint8_t choice = reader.Byte();
  if (choice < 8) return ReadLong(reader);
  const int64_t step = choice < 32 ? static_cast<int32_t>(reader.Word()) : choice - 40;
  return static_cast<int64_t>(static_cast<uint64_t>(last) + static_cast<uint64_t>(step));
}

AVRational ReadRational(InputReader& reader) {
  constexpr std::array<AVRational, 6> kUsual = {
      {{1, 1000}, {1, 90000}, {1, 25}, {30000, 1001}, {25, 1}, {1001, 30000}}};
  const uint8_t choice = reader.Byte();
  if (choice < 200) return kUsual[choice % kUsual.size()];
  const auto numerator = static_cast<int>(reader.Word());
  return {numerator, static_cast<int>(reader.Word())};
}

FileClock ReadClock(InputReader& reader, Ratio time_base) {
  const bool restarts = reader.Bool();
  std::optional<double> declared;
  if (reader.Bool()) declared = media::ffmpeg::DurationOf(ReadLong(reader), time_base);
  FileClock clock(restarts, declared);
  for (int packets = reader.Byte() % 8; packets > 0; --packets) {
    const auto from = media::ffmpeg::TimestampOf(ReadLong(reader), time_base);
    const auto length = media::ffmpeg::DurationOf(ReadLong(reader), time_base);
    if (!from) continue;
    const double begin = static_cast<double>(*from) * time_base.value();
    clock.Cover(begin, begin + length.value_or(0));
  }
  return clock;
}

void CheckPlacement(const std::vector<int64_t>& timestamps, Ratio rate, Ratio time_base,
                    const FileClock& clock, int64_t last_duration) {
  media::ffmpeg::FrameTimeline timeline(rate, time_base, clock);
  // No step is longer than a month, and none moves a picture by more than itself.
  const double most = (media::ffmpeg::kLongestDuration * rate.value() + 2) *
                      static_cast<double>(timestamps.size() + 1);
  int64_t slots = 0;
  for (size_t i = 0; i < timestamps.size(); ++i) {
    const auto next = media::ffmpeg::NextTime(timestamps, i);
    const auto placement = timeline.Place(timestamps[i], next);
    QOLM_REQUIRE(placement.repeats >= 0 && placement.step >= 0);
    QOLM_REQUIRE(!placement.drop || placement.repeats == 0);
    slots += placement.repeats + (placement.drop ? 0 : 1);
    QOLM_REQUIRE(timeline.slots_filled() == slots);
  }
  const int64_t at_end = timeline.RepeatsAtEnd(last_duration);
  QOLM_REQUIRE(at_end >= 0 && static_cast<double>(slots) + static_cast<double>(at_end) <= most);
  media::ffmpeg::DurationOfFrames(slots + at_end, rate);
}

void CheckSound(const std::vector<int64_t>& timestamps, Ratio time_base, FileClock clock) {
  if (timestamps.empty()) return;
  std::vector<media::ffmpeg::AudioTimeline::Piece> pieces;
  for (const int64_t timestamp : timestamps) {
    pieces.push_back({static_cast<double>(timestamp) * time_base.value(), 0.02});
  }
  media::ffmpeg::AudioTimeline timeline(pieces.front().time, time_base.value(), clock);
  for (size_t i = 0; i < pieces.size(); ++i) {
    const size_t ahead = std::min(pieces.size() - i, media::ffmpeg::AudioTimeline::kLookAhead);
    const double correction = timeline.Correction({pieces.data() + i, ahead});
    QOLM_REQUIRE(std::abs(correction) <= media::ffmpeg::kLongestDuration);
    timeline.Advance(std::max(0.0, correction) + 0.02);
  }
}

}  // namespace

void Source(Input input) {
  InputReader reader(input);
  media::ffmpeg::StreamTimes times;
  times.time_base = media::ffmpeg::TimeBaseOf(ReadRational(reader));
  times.average_rate = media::ffmpeg::FrameRateOf(ReadRational(reader));
  times.lowest_exact_rate = media::ffmpeg::FrameRateOf(ReadRational(reader));
  const FileClock clock = ReadClock(reader, times.time_base);
  const auto declared = media::ffmpeg::DurationOf(ReadLong(reader), times.time_base);
  const int64_t last_duration = ReadLong(reader);

  media::ffmpeg::PacketClock packets(times.time_base);
  int64_t last = 0;
  while (!reader.AtEnd() && packets.size() < kMostPictures) {
    last = ReadTimestamp(reader, last);
    packets.Add(last, last_duration);
  }
  const size_t count = packets.size();
  times.timestamps = std::move(packets).InPresentationOrder();
  QOLM_REQUIRE(times.timestamps.size() == count);

  const auto rate = media::ffmpeg::ChooseConstantRate(times, clock);
  if (rate) {
    QOLM_REQUIRE(rate->is_positive());
    const auto frames = declared ? media::ffmpeg::FramesIn(*declared, *rate) : std::nullopt;
    if (frames) {
      const auto duration = media::ffmpeg::DurationOfFrames(*frames, *rate);
      QOLM_REQUIRE(!duration ||
                   static_cast<int64_t>(rate->value() * static_cast<double>(*duration) * 1e-7) ==
                       *frames);
    }
    CheckPlacement(times.timestamps, *rate, times.time_base, clock, last_duration);
  }
  CheckSound(times.timestamps, times.time_base, clock);
}

}  // namespace qolm::fuzz
