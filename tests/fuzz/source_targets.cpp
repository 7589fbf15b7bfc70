// SPDX-License-Identifier: MIT
//
// Scripted frameworks that answer as the input says, within what an adapter may
// do: pitched rows lie in memory that is there.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"
#include "media/audio_source.h"
#include "media/row_layout.h"
#include "media/video_source.h"
#include "support/media_audio_scripted.h"
#include "support/media_scripted_framework.h"

namespace qolm::fuzz {
namespace {

constexpr uint32_t kMostSide = 40;  // pixels

// Small sizes mostly, since pictures take their memory; any other is refused or
// never read from.
uint32_t ReadSide(InputReader& reader, bool& small) {
  const uint8_t choice = reader.Byte();
  if (choice < 250) return choice % kMostSide + 1;
  small = false;
  return reader.Word();
}

test::ScriptedSample ReadVideoSample(InputReader& reader, uint32_t height) {
  test::ScriptedSample sample;
  const uint8_t answers = reader.Byte();
  sample.succeeded = (answers & 0x0F) != 0x0F;
  sample.end_of_stream = (answers & 0x1E) == 0x1E;
  sample.has_sample = (answers & 0x3C) != 0x3C;
  sample.has_buffer = (answers & 0x70) != 0x70;
  sample.offers_rows = (answers & 0x80) != 0;
  sample.lock_succeeds = (answers & 0x62) != 0x62;
  sample.rows_are_null = (answers & 0x41) == 0x41;
  sample.bytes_are_null = (answers & 0x29) == 0x29;
  sample.timestamp = static_cast<int32_t>(reader.Word());
  const Input bytes = reader.Bytes(reader.Byte());
  if (sample.offers_rows) {
    const ptrdiff_t padding = reader.Byte() % 20;
    const auto row = static_cast<ptrdiff_t>(4 * kMostSide);
    sample.pitch = reader.Bool() ? row + padding : -(row + padding);
    sample.bytes.resize(static_cast<size_t>(row + padding) * height);
    std::copy_n(bytes.begin(), std::min(bytes.size(), sample.bytes.size()), sample.bytes.begin());
  } else {
    const size_t length = size_t{reader.Byte()} * reader.Byte();
    sample.bytes.assign(bytes.begin(), bytes.end());
    sample.bytes.resize(length, 7);
  }
  return sample;
}

// Row `y` of the picture in `sample`, pixel `x`: where the framework put it.
const uint8_t* PitchedPixel(const test::ScriptedSample& sample, size_t height, size_t x, size_t y) {
  const auto distance = static_cast<size_t>(std::abs(sample.pitch));
  const size_t row = sample.pitch < 0 ? height - 1 - y : y;
  return sample.bytes.data() + row * distance + 4 * x;
}

void CheckPitchedPicture(const VideoFrame& frame, const test::ScriptedSample& sample) {
  const auto width = static_cast<size_t>(frame.width);
  const auto height = static_cast<size_t>(frame.height);
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      const uint8_t* source = PitchedPixel(sample, height, x, y);
      const uint8_t* pixel = frame.pixels.data() + 4 * (y * width + x);
      QOLM_REQUIRE(pixel[0] == source[2] && pixel[1] == source[1] && pixel[2] == source[0]);
      QOLM_REQUIRE(pixel[3] == 255);
    }
  }
}

void ReadFrames(media::VideoSource& source, test::Script& script) {
  VideoFrame frame;
  while (!script.samples.empty()) {
    const test::ScriptedSample sample = script.samples.front();
    const bool read = source.ReadNextFrame(frame);
    QOLM_REQUIRE(read == (sample.succeeded && !sample.end_of_stream && sample.has_sample));
    QOLM_REQUIRE(script.locks == 0);
    if (!read || !sample.has_buffer) continue;
    QOLM_REQUIRE(frame.width == source.width() && frame.height == source.height());
    QOLM_REQUIRE(frame.pixels.size() ==
                 size_t{4} * static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height));
    QOLM_REQUIRE(frame.timestamp == sample.timestamp);
    if (sample.offers_rows && !sample.rows_are_null) CheckPitchedPicture(frame, sample);
  }
  QOLM_REQUIRE(!source.ReadNextFrame(frame));
}

media::VideoReader::FrameSize ReadSize(InputReader& reader) {
  bool small = true;
  const uint32_t width = ReadSide(reader, small);
  return {width, ReadSide(reader, small)};
}

// Each row of the picture lies in the bytes, and none lies in another.
void CheckRows(const media::VideoBuffer::PitchedRows& rows, media::VideoReader::FrameSize picture,
               Input bytes) {
  const size_t row_bytes = size_t{4} * picture.width;
  const auto distance = static_cast<size_t>(std::abs(rows.pitch));
  QOLM_REQUIRE(distance >= row_bytes);
  QOLM_REQUIRE(rows.first_row >= bytes.data());
  const auto first = static_cast<size_t>(rows.first_row - bytes.data());
  QOLM_REQUIRE(first + (picture.height - 1) * distance + row_bytes <= bytes.size());
}

test::ScriptedSound ReadPiece(InputReader& reader) {
  test::ScriptedSound sound;
  const uint8_t answers = reader.Byte();
  sound.succeeded = (answers & 0x0F) != 0x0F;
  sound.end_of_stream = (answers & 0x1E) == 0x1E;
  sound.has_sample = (answers & 0x3C) != 0x3C;
  sound.has_buffer = (answers & 0x70) != 0x70;
  sound.lock_succeeds = (answers & 0x62) != 0x62;
  sound.bytes_are_null = (answers & 0x29) == 0x29;
  const Input bytes = reader.Bytes(reader.Byte());
  sound.bytes.assign(bytes.begin(), bytes.end());
  return sound;
}

// The values that a source hands over before its first failing read.
size_t DeliveredValues(const test::AudioScript& script) {
  size_t values = 0;
  for (const test::ScriptedSound& sound : script.sounds) {
    if (!sound.succeeded || sound.end_of_stream) break;
    const bool readable =
        sound.has_sample && sound.has_buffer && sound.lock_succeeds && !sound.bytes_are_null;
    if (readable) values += sound.bytes.size() / 2;
  }
  return values;
}

}  // namespace

void VideoSource(Input input) {
  InputReader reader(input);
  test::Script script;
  const uint8_t answers = reader.Byte();
  script.opens_that_fail = answers % 4;
  script.selection_succeeds = (answers & 0x0C) != 0x0C;
  script.output_succeeds = (answers & 0x30) != 0x30;
  if ((answers & 0x40) != 0) script.open_failure = "refused";
  if ((answers & 0x80) != 0) script.reader_failure = "broken";
  bool small = true;
  media::VideoReader::FrameSize size;
  size.width = ReadSide(reader, small);
  size.height = ReadSide(reader, small);
  if (reader.Byte() != 255) script.size = size;
  if (reader.Bool()) script.rate = {reader.Word(), reader.Word()};
  if (reader.Bool()) script.stride = static_cast<int32_t>(reader.Word());
  if (reader.Bool()) {
    const uint64_t high = reader.Word();
    script.duration = static_cast<int64_t>(high << 32 | reader.Word());
  }
  const bool opens = script.opens_that_fail < 2 && script.output_succeeds && script.size &&
                     static_cast<int32_t>(size.width) >= 1 &&
                     static_cast<int32_t>(size.height) >= 1;
  while (small && !reader.AtEnd()) {
    script.samples.push_back(ReadVideoSample(reader, size.height));
  }

  media::VideoSource source(std::make_unique<test::ScriptedFramework>(script));
  QOLM_REQUIRE(source.Open("clip") == opens);
  QOLM_REQUIRE(source.failure_reason().empty() == opens);
  QOLM_REQUIRE(source.frame_count() >= 0 && source.duration_ms() >= 0);
  if (opens && small) ReadFrames(source, script);
  source.Close();
  QOLM_REQUIRE(script.held == 0 && script.locks == 0);
}

void RowLayout(Input input) {
  InputReader reader(input);
  const auto picture = ReadSize(reader);
  media::FrameFormat format;
  const uint8_t relation = reader.Byte() % 4;
  format.size = ReadSize(reader);
  if (relation == 0) format.size = picture;
  if (relation == 1) format.size.width = (picture.width + 15) / 16 * 16;
  if (relation == 2) format.size.height = (picture.height + 15) / 16 * 16;
  if (reader.Bool()) {
    const uint32_t left = reader.Byte();
    format.shown = {left, reader.Byte(), reader.Bool() ? picture : ReadSize(reader)};
  }
  format.stride = reader.Bool() ? static_cast<int32_t>(reader.Word())
                                : int64_t{reader.Byte()} * reader.Byte() - 256;

  const auto layout = media::RowLayout::Make(format, picture);
  if (!layout) return;
  QOLM_REQUIRE(picture.width >= 1 && picture.height >= 1);
  QOLM_REQUIRE(picture.width <= format.size.width && picture.height <= format.size.height);
  const std::vector<uint8_t> bytes(size_t{reader.Byte()} * reader.Byte() + reader.Byte());
  if (const auto rows = layout->InLinearBytes(bytes.data(), bytes.size())) {
    CheckRows(*rows, picture, bytes);
  }
  QOLM_REQUIRE(!layout->InLinearBytes(nullptr, bytes.size()));
}

void AudioSource(Input input) {
  InputReader reader(input);
  test::AudioScript script;
  const uint8_t answers = reader.Byte();
  script.open_succeeds = (answers & 3) != 3;
  script.selection_succeeds = (answers & 0x0C) != 0x0C;
  script.requests_refused = (answers >> 4) % 5;
  media::AudioOptions options;
  options.enabled = (answers & 0x80) != 0 && (answers & 0x10) == 0 ? 0 : 1;
  options.channels = static_cast<int32_t>(reader.Between(0, 3));
  constexpr int32_t kRates[] = {0, 1, 8000, 32000, 44100, 48000, 96000, 768000, 768001, -1};
  options.sample_rate = kRates[reader.Between(0, 9)];
  if (reader.Bool()) script.type.channels = reader.Between(0, 8);
  if (reader.Bool()) script.type.sample_rate = reader.Word();
  if (reader.Byte() >= 250) script.type.bits_per_sample = reader.Between(0, 32);
  while (!reader.AtEnd()) script.sounds.push_back(ReadPiece(reader));

  // A source that claims a very low rate becomes very long.
  constexpr uint64_t kMostValues = 1 << 17;
  const uint32_t rate =
      options.sample_rate == 0 ? 44100 : static_cast<uint32_t>(options.sample_rate);
  const uint32_t source_rate = script.type.sample_rate.value_or(rate);
  const size_t values = DeliveredValues(script);
  if (source_rate > 0 && 2 * uint64_t{values} * rate / source_rate > kMostValues) return;

  PcmTrack track{.sample_rate = 5, .channels = 5, .samples = {5}};
  media::AudioSource source(std::make_unique<test::ScriptedAudioFramework>(script));
  const bool read = source.ReadAll("clip", options, track);
  QOLM_REQUIRE(script.held == 0 && script.locks == 0);
  QOLM_REQUIRE(read == !track.samples.empty());
  if (!read) {
    QOLM_REQUIRE(track.sample_rate == 0 && track.channels == 0);
    return;
  }
  const uint32_t channels = options.channels == 1 ? 1 : 2;
  QOLM_REQUIRE(track.sample_rate == rate && track.channels == channels);
  const uint32_t source_channels = script.type.channels.value_or(channels);
  size_t kept = values;
  if (source_channels == 2 && channels == 1) kept = values / 2;
  if (source_channels == 1 && channels == 2) kept = values * 2;
  if (source_rate != rate) {
    const double ratio = static_cast<double>(source_rate) / rate;
    const size_t frames = kept / channels;
    kept = static_cast<size_t>(std::round(static_cast<double>(frames) / ratio)) * channels;
  }
  QOLM_REQUIRE(track.samples.size() == kept);
}

}  // namespace qolm::fuzz
