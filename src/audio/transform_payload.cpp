// SPDX-License-Identifier: MIT
#include "audio/transform_payload.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/audio_coder.h"
#include "audio/band_quantiser.h"
#include "audio/lapped_transform.h"
#include "base/byte_order.h"
#include "base/parallel_for.h"
#include "base/rounding.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "entropy/rans_stream_reader.h"

namespace qolm::audio {
namespace {

uint64_t FrameCountFor(uint64_t samples_per_channel, uint64_t frame_length) {
  return (samples_per_channel + frame_length - 1) / frame_length + 1;
}

float StrengthOf(size_t channel) { return channel == 0 ? kMainStrength : kSideStrength; }

// Copies the samples `first` .. `first + out.size()` - 1 of one coded channel, zero
// beyond either end of the track.
void CopyCodedChannel(std::span<const int16_t> samples, uint32_t channels, size_t coded_channel,
                      int64_t first, std::span<int16_t> out) {
  const auto available = static_cast<int64_t>(samples.size() / channels);
  for (size_t i = 0; i < out.size(); ++i) {
    const int64_t at = first + static_cast<int64_t>(i);
    if (at < 0 || at >= available) {
      out[i] = 0;
    } else if (channels == 1) {
      out[i] = samples[static_cast<size_t>(at)];
    } else {
      const int32_t left = samples[static_cast<size_t>(2 * at)];
      const int32_t right = samples[static_cast<size_t>(2 * at + 1)];
      out[i] = static_cast<int16_t>((coded_channel == 0 ? left + right : left - right) / 2);
    }
  }
}

struct ChannelStreams {
  std::vector<uint8_t> scales;
  std::vector<uint8_t> levels;
};

// False when `stop` returned true, and when the tokens exceed the 32-bit count of a stream.
bool EncodeChannel(std::span<const int16_t> samples, uint32_t channels, size_t coded_channel,
                   const LappedTransform& transform, size_t frame_count,
                   const std::function<bool()>& stop, ChannelStreams& streams) {
  const size_t n = transform.frame_length();
  const BandEdges edges = BandEdgesFor(static_cast<uint32_t>(n));
  const float strength = StrengthOf(coded_channel);
  const size_t batch = std::min(transform.batch_blocks(), frame_count);
  std::vector<uint8_t> scales(frame_count * kBandCount);
  std::vector<int16_t> levels(frame_count * n);
  std::vector<int16_t> piece((batch + 1) * n);
  std::vector<double> coefficients(batch * n);
  for (size_t start = 0; start < frame_count; start += batch) {
    if (stop()) return false;
    const size_t count = std::min(batch, frame_count - start);
    const auto first_sample = static_cast<int64_t>(start * n) - static_cast<int64_t>(n);
    const std::span<int16_t> input(piece.data(), (count + 1) * n);
    CopyCodedChannel(samples, channels, coded_channel, first_sample, input);
    transform.Forward(input, std::span(coefficients.data(), count * n));
    ParallelFor(count, count * n >= kMinParallelSamples, [&](size_t f) {
      QuantiseFrame(edges, strength, coefficients.data() + f * n,
                    scales.data() + (start + f) * kBandCount, levels.data() + (start + f) * n);
    });
  }
  if (stop()) return false;
  streams.scales = entropy::RansEncodeBytes(scales, stop);
  if (streams.scales.empty()) return false;
  streams.levels = entropy::EncodeCoefficients(levels, {}, stop);
  // Also where there were more tokens than a stream can count.
  return !streams.levels.empty();
}

struct TransformHeader {
  uint32_t sample_rate;
  uint16_t channels;
  uint16_t frame_length;
  uint32_t frame_count;
  uint32_t sample_values;
  uint32_t stream_sizes[4];  // 1 and 3: low 16 bits only
};

// False when the payload is too short, or its fields contradict each other.
bool ReadHeader(std::span<const uint8_t> payload, TransformHeader& header) {
  if (payload.size() < kTransformHeaderBytes) return false;
  const uint8_t* bytes = payload.data();
  if (LoadLe32(bytes) != kTransformTag) return false;
  header.sample_rate = LoadLe32(bytes + 4);
  header.channels = LoadLe16(bytes + 8);
  header.frame_length = LoadLe16(bytes + 10);
  header.frame_count = LoadLe32(bytes + 12);
  header.sample_values = LoadLe32(bytes + 16);
  header.stream_sizes[0] = LoadLe16(bytes + 20);
  header.stream_sizes[1] = LoadLe32(bytes + 22);
  header.stream_sizes[2] = LoadLe16(bytes + 26);
  header.stream_sizes[3] = LoadLe32(bytes + 28);
  if (header.sample_rate == 0 || (header.channels != 1 && header.channels != 2)) return false;
  if (header.sample_rate > kHighestTransformRate) return false;
  if (header.frame_length != FrameLengthFor(header.sample_rate)) return false;
  if (header.sample_values == 0 || header.sample_values > kMaxPayloadValues) return false;
  const uint64_t frames =
      FrameCountFor(header.sample_values / header.channels, header.frame_length);
  if (header.frame_count != frames) return false;
  return header.channels == 2 || (header.stream_sizes[2] == 0 && header.stream_sizes[3] == 0);
}

bool AgreesWithField(uint64_t size, uint32_t stored) { return size % 65536 == stored; }

// One coded channel's streams, read frame by frame.
struct CodedChannel {
  entropy::RansStreamReader scales;   // 16 per frame
  entropy::CoefficientReader levels;  // N per frame
};

// Recovers the full stream sizes and opens all streams.
bool OpenStreams(std::span<const uint8_t> payload, const TransformHeader& header,
                 std::span<CodedChannel> coded, SampleSink& sink) {
  const std::span<const uint8_t> body = payload.subspan(kTransformHeaderBytes);
  const uint64_t level_bytes = uint64_t{header.stream_sizes[1]} + header.stream_sizes[3];
  if (level_bytes > body.size()) return false;
  const uint64_t scale_bytes = body.size() - level_bytes;

  const uint64_t scale_count = uint64_t{header.frame_count} * kBandCount;
  if (scale_count > std::numeric_limits<uint32_t>::max()) return false;
  const auto scales = static_cast<uint32_t>(scale_count);
  uint64_t first_size = scale_bytes;
  if (header.channels == 2) {
    first_size = header.stream_sizes[0];
    if (first_size + header.stream_sizes[2] != scale_bytes) {
      sink.add_cost(scales);
      size_t size = 0;
      if (!entropy::RansPrefixSize(body, scales, size)) return false;
      first_size = size;
    }
  }
  if (first_size > scale_bytes) return false;
  const uint64_t third_size = scale_bytes - first_size;
  if (!AgreesWithField(first_size, header.stream_sizes[0])) return false;
  if (!AgreesWithField(third_size, header.stream_sizes[2])) return false;

  const uint64_t levels = uint64_t{header.frame_count} * header.frame_length;
  std::span<const uint8_t> rest = body;
  for (size_t c = 0; c < coded.size(); ++c) {
    const auto size = static_cast<size_t>(c == 0 ? first_size : third_size);
    if (!coded[c].scales.open(rest.first(size), scales)) return false;
    rest = rest.subspan(size);
    const std::span<const uint8_t> level_stream = rest.first(header.stream_sizes[2 * c + 1]);
    rest = rest.subspan(level_stream.size());
    if (!coded[c].levels.open(level_stream, levels)) return false;
  }
  return true;
}

int16_t NearestSample(float value) {
  return static_cast<int16_t>(RoundHalfAway(std::clamp(value, -32768.0F, 32767.0F)));
}

// The signal of one coded channel, a batch of frames at a time.
class ChannelSynthesis {
 public:
  ChannelSynthesis(CodedChannel& coded, const LappedTransform& transform, size_t batch)
      : coded_(coded),
        transform_(transform),
        edges_(BandEdgesFor(static_cast<uint32_t>(transform.frame_length()))),
        scales_(batch * kBandCount),
        levels_(batch * transform.frame_length()),
        coefficients_(batch * transform.frame_length()),
        blocks_(2 * (batch + 1) * transform.frame_length()) {}

  // Computes the blocks of the next `count` frames, at most a batch. False when the
  // streams are malformed.
  [[nodiscard]] bool MakeBlocks(size_t count) {
    const size_t n = transform_.frame_length();
    coded_.scales.read(std::span(scales_).first(count * kBandCount));
    if (!coded_.levels.read(std::span(levels_).first(count * n))) return false;
    for (size_t f = 0; f < count; ++f) {
      if (!IsQuantisedFrame(edges_, scales_.data() + f * kBandCount, levels_.data() + f * n)) {
        return false;
      }
    }
    std::copy_n(blocks_.data() + 2 * n * held_, 2 * n, blocks_.data());
    ParallelFor(count, count * n >= kMinParallelSamples, [&](size_t f) {
      DequantiseFrame(edges_, scales_.data() + f * kBandCount, levels_.data() + f * n,
                      coefficients_.data() + f * n);
    });
    transform_.Inverse(std::span(coefficients_.data(), count * n),
                       std::span(blocks_.data() + 2 * n, 2 * count * n));
    held_ = count;
    return true;
  }

  // Sample i of the frame that block f of the batch and the block before it share.
  float Sample(size_t f, size_t i) const {
    const size_t n = transform_.frame_length();
    return blocks_[(2 * f + 1) * n + i] + blocks_[(2 * f + 2) * n + i];
  }

 private:
  CodedChannel& coded_;
  const LappedTransform& transform_;
  BandEdges edges_;
  std::vector<uint8_t> scales_;
  std::vector<int16_t> levels_;
  std::vector<double> coefficients_;
  std::vector<float> blocks_;  // the last block of the previous batch, then the batch
  size_t held_ = 0;            // blocks of the batch
};

// Block f and the one before it overlap in the N samples before position f * N, so the
// first half of the first block lies before the start of the track. False when the
// streams are malformed or longer than the header declares.
bool Synthesise(std::span<CodedChannel> coded, const LappedTransform& transform, size_t frame_count,
                size_t samples_per_channel, SampleSink& sink) {
  const size_t n = transform.frame_length();
  const size_t batch = std::min(transform.batch_blocks(), frame_count);
  std::vector<ChannelSynthesis> channels;
  channels.reserve(coded.size());
  for (CodedChannel& channel : coded) channels.emplace_back(channel, transform, batch);
  size_t samples_left = samples_per_channel;
  for (size_t start = 0; start < frame_count; start += batch) {
    const size_t count = std::min(batch, frame_count - start);
    for (ChannelSynthesis& channel : channels) {
      if (!channel.MakeBlocks(count)) return false;
    }
    const size_t ahead = start == 0 ? 1 : 0;
    const size_t batch_samples = std::min((count - ahead) * n, samples_left);
    int16_t* out = sink.extend(channels.size() * batch_samples);
    ParallelFor(count - ahead, count * n >= kMinParallelSamples, [&](size_t frame) {
      const size_t f = ahead + frame;
      const size_t first = frame * n;
      const size_t samples = std::min(n, batch_samples - std::min(first, batch_samples));
      for (size_t i = 0; i < samples; ++i) {
        const float main = channels[0].Sample(f, i);
        if (channels.size() == 1) {
          out[first + i] = NearestSample(main);
        } else {
          const float side = channels[1].Sample(f, i);
          out[2 * (first + i)] = NearestSample(main + side);
          out[2 * (first + i) + 1] = NearestSample(main - side);
        }
      }
    });
    samples_left -= batch_samples;
  }
  return std::all_of(coded.begin(), coded.end(),
                     [](const CodedChannel& channel) { return channel.levels.at_end(); });
}

// The weight of a sample value against the limit on a file's audio, at least 1: its
// decoding time is proportional to the frame length.
uint64_t ValueWeight(uint32_t frame_length) {
  constexpr uint32_t kReferenceFrameLength = 3840;
  return std::max(1u, frame_length / kReferenceFrameLength);
}

// The decoding work for values that are not delivered: the padding of the frames, which
// dominates in payloads of few samples.
uint64_t PaddingCost(const TransformHeader& header, uint64_t values) {
  const uint64_t decoded = uint64_t{header.frame_count} * header.frame_length * header.channels;
  return decoded * ValueWeight(header.frame_length) - values;
}

}  // namespace

uint32_t FrameLengthFor(uint32_t sample_rate) { return std::max(64u, sample_rate / 50); }

bool EncodeAudioTransform(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels,
                          std::vector<uint8_t>& payload, const std::function<bool()>& stop) {
  payload.clear();
  if (samples.empty() || sample_rate == 0) return false;
  if (channels != 1 && channels != 2) return false;
  if (sample_rate > kHighestTransformRate) return false;
  const uint32_t frame_length = FrameLengthFor(sample_rate);
  if (samples.size() > kMaxPayloadValues / ValueWeight(frame_length)) return false;

  const auto frame_count =
      static_cast<size_t>(FrameCountFor(samples.size() / channels, frame_length));
  const LappedTransform transform(frame_length);
  ChannelStreams streams[2];
  for (size_t c = 0; c < channels; ++c) {
    if (!EncodeChannel(samples, channels, c, transform, frame_count, stop, streams[c])) {
      return false;
    }
    if (streams[c].levels.size() > std::numeric_limits<uint32_t>::max()) return false;
  }

  AppendLe32(payload, kTransformTag);
  AppendLe32(payload, sample_rate);
  AppendLe16(payload, static_cast<uint16_t>(channels));
  AppendLe16(payload, static_cast<uint16_t>(frame_length));
  AppendLe32(payload, static_cast<uint32_t>(frame_count));
  AppendLe32(payload, static_cast<uint32_t>(samples.size()));
  for (const ChannelStreams& channel : streams) {
    AppendLe16(payload, static_cast<uint16_t>(channel.scales.size()));
    AppendLe32(payload, static_cast<uint32_t>(channel.levels.size()));
  }
  for (const ChannelStreams& channel : streams) {
    payload.insert(payload.end(), channel.scales.begin(), channel.scales.end());
    payload.insert(payload.end(), channel.levels.begin(), channel.levels.end());
  }
  return true;
}

bool DecodeAudioTransform(std::span<const uint8_t> payload, uint64_t max_values, SampleSink& sink) {
  TransformHeader header{};
  if (!ReadHeader(payload, header)) return false;
  const uint64_t samples_per_channel = header.sample_values / header.channels;
  const uint64_t values = samples_per_channel * header.channels;
  if (!sink.open(header.sample_rate, header.channels, values, max_values,
                 ValueWeight(header.frame_length))) {
    return false;
  }

  std::vector<CodedChannel> coded(header.channels);
  const LappedTransform transform(header.frame_length);
  if (!OpenStreams(payload, header, coded, sink)) {
    sink.roll_back();
    return false;
  }
  sink.add_cost(PaddingCost(header, values));
  if (!Synthesise(coded, transform, header.frame_count, static_cast<size_t>(samples_per_channel),
                  sink)) {
    sink.roll_back();
    return false;
  }
  sink.commit();
  return true;
}

}  // namespace qolm::audio
