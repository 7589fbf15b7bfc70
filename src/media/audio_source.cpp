// SPDX-License-Identifier: MIT
#include "media/audio_source.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "base/rounding.h"

namespace qolm::media {
namespace {

constexpr const char* kOutOfMemory = "out of memory";
constexpr uint32_t kRateWhenUnasked = 44100;  // Hz
constexpr int32_t kHighestRate = 768000;      // Hz; what exists, and a bound on memory
// Blocks of 64 MiB are returned to the system singly; allocators keep smaller ones.
constexpr size_t kBlockValues = size_t{1} << 25;

// Collects samples whose number is unknown until the end. Blocks avoid the copies of the
// whole track that one growing vector would make. The first block grows, so that a short
// track takes no more memory than it needs.
class SampleCollector {
 public:
  void Append(const uint8_t* bytes, size_t length) {
    size_t values = length / sizeof(int16_t);
    while (values > 0) {
      if (blocks_.empty() || blocks_.back().size() == kBlockValues) {
        const bool first = blocks_.empty();
        blocks_.emplace_back();
        if (!first) blocks_.back().reserve(kBlockValues);
      }
      std::vector<int16_t>& block = blocks_.back();
      const size_t old_size = block.size();
      const size_t taken = std::min(values, kBlockValues - old_size);
      block.resize(old_size + taken);
      std::memcpy(block.data() + old_size, bytes, taken * sizeof(int16_t));
      bytes += taken * sizeof(int16_t);
      values -= taken;
    }
  }

  // Each block is freed once its values are copied.
  std::vector<int16_t> Take() {
    size_t values = 0;
    for (const auto& block : blocks_) values += block.size();
    std::vector<int16_t> samples;
    samples.reserve(values);
    for (; !blocks_.empty(); blocks_.pop_front()) {
      samples.insert(samples.end(), blocks_.front().begin(), blocks_.front().end());
    }
    return samples;
  }

 private:
  std::deque<std::vector<int16_t>> blocks_;
};

int16_t ClampToInt16(double value) {
  return static_cast<int16_t>(std::clamp(value, double{std::numeric_limits<int16_t>::min()},
                                         double{std::numeric_limits<int16_t>::max()}));
}

// Only mono and stereo are converted into each other. The samples of more channels are
// kept, whatever their labels.
void ConvertChannels(uint32_t from, uint32_t to, std::vector<int16_t>& samples) {
  if (from == 2 && to == 1) {
    const size_t frames = samples.size() / 2;
    for (size_t i = 0; i < frames; ++i) {
      samples[i] = static_cast<int16_t>((samples[2 * i] + samples[2 * i + 1]) / 2);
    }
    samples.resize(frames);
  } else if (from == 1 && to == 2) {
    const size_t frames = samples.size();
    samples.resize(frames * 2);
    for (size_t i = frames; i-- > 0;) {
      const int16_t value = samples[i];
      samples[2 * i] = value;
      samples[2 * i + 1] = value;
    }
  }
}

// By linear interpolation between the two nearest sample frames.
std::vector<int16_t> Resample(const std::vector<int16_t>& samples, size_t channels,
                              uint32_t from_rate, uint32_t to_rate) {
  const size_t frames = samples.size() / channels;
  if (frames == 0) return {};
  const double ratio = static_cast<double>(from_rate) / static_cast<double>(to_rate);
  const double output_length = RoundHalfAway(static_cast<double>(frames) / ratio);
  std::vector<int16_t> output;
  const size_t most_frames = output.max_size() / channels;
  if (output_length > static_cast<double>(most_frames)) {
    throw std::length_error("resampled sound");
  }
  const auto output_frames = static_cast<size_t>(output_length);
  output.reserve(output_frames * channels);
  for (size_t i = 0; i < output_frames; ++i) {
    const double position = static_cast<double>(i) * ratio;
    const size_t before = std::min(static_cast<size_t>(position), frames - 1);
    const double t = position - static_cast<double>(before);
    const size_t after = std::min(before + 1, frames - 1);
    for (size_t c = 0; c < channels; ++c) {
      const double first = samples[before * channels + c];
      const double second = samples[after * channels + c];
      output.push_back(ClampToInt16(RoundHalfAway((second - first) * t + first)));
    }
  }
  return output;
}

// The type that the reader will deliver; nothing when it is unusable.
struct DeliveredType {
  uint32_t channels = 0;
  uint32_t sample_rate = 0;
};

std::optional<DeliveredType> Negotiate(AudioReader& reader, uint32_t channels, uint32_t rate) {
  constexpr uint32_t kBits = 16;
  if (!reader.SetOutputPcm({channels, rate, kBits}) &&
      !reader.SetOutputPcm({channels, std::nullopt, kBits}) &&
      !reader.SetOutputPcm({std::nullopt, std::nullopt, std::nullopt})) {
    return std::nullopt;
  }
  const AudioReader::PcmType type = reader.CurrentPcmType();
  const DeliveredType delivered{type.channels.value_or(channels), type.sample_rate.value_or(rate)};
  if (type.bits_per_sample.value_or(kBits) != kBits) return std::nullopt;
  if (delivered.channels == 0 || delivered.sample_rate == 0) return std::nullopt;
  return delivered;
}

// Nothing when `stop` returned true. Ends at a failed read, whose reason is kept.
std::vector<int16_t> ReadSamples(AudioReader& reader, const DeliveredType& type,
                                 const std::function<bool()>& stop,
                                 const std::function<void(double)>& progress,
                                 std::string& failure_reason) {
  const double bytes_per_second = double{sizeof(int16_t)} * type.channels * type.sample_rate;
  uint64_t bytes_read = 0;
  SampleCollector collector;
  while (true) {
    if (stop()) return {};
    const AudioReader::ReadResult result = reader.ReadSample();
    if (!result.succeeded) failure_reason = reader.failure_reason();
    if (!result.succeeded || result.end_of_stream) break;
    if (result.sample == nullptr) continue;
    const std::unique_ptr<AudioBuffer> buffer = result.sample->ConvertToContiguousBuffer();
    if (buffer == nullptr) continue;
    const auto bytes = buffer->Lock();
    if (!bytes) continue;
    try {
      if (bytes->data != nullptr) collector.Append(bytes->data, bytes->current_length);
    } catch (...) {
      buffer->Unlock();
      throw;
    }
    buffer->Unlock();
    bytes_read += bytes->current_length;
    progress(static_cast<double>(bytes_read) / bytes_per_second);
  }
  return collector.Take();
}

}  // namespace

AudioSource::AudioSource(std::unique_ptr<AudioFramework> framework)
    : framework_(std::move(framework)) {}

bool AudioSource::ReadAll(const std::filesystem::path& path, const AudioOptions& options,
                          PcmTrack& track, const std::function<bool()>& stop,
                          const std::function<void(double)>& progress) {
  track = PcmTrack{};
  failure_reason_.clear();
  damaged_seconds_ = 0;
  if (options.enabled == 0 || path.empty()) return false;
  if (options.sample_rate < 0 || options.sample_rate > kHighestRate) return false;
  const uint32_t rate =
      options.sample_rate == 0 ? kRateWhenUnasked : static_cast<uint32_t>(options.sample_rate);
  const uint16_t channels = options.channels == 1 ? 1 : 2;
  std::error_code error;
  const std::filesystem::path absolute_path = std::filesystem::absolute(path, error);
  if (error) return false;

  try {
    AudioFramework::ReaderAttributes attributes;
    attributes.enable_hardware_transforms = true;
    attributes.low_latency = false;
    std::unique_ptr<AudioReader> reader = framework_->Open(absolute_path, attributes);
    if (reader == nullptr) return false;
    const bool selected = reader->SelectFirstAudioStream();
    const auto delivered = selected ? Negotiate(*reader, channels, rate) : std::nullopt;
    if (!delivered) {
      failure_reason_ = reader->failure_reason();
      return false;
    }
    std::vector<int16_t> samples =
        ReadSamples(*reader, *delivered, stop, progress, failure_reason_);
    damaged_seconds_ = reader->damaged_seconds();
    reader.reset();
    ConvertChannels(delivered->channels, channels, samples);
    if (delivered->sample_rate != rate) {
      samples = Resample(samples, channels, delivered->sample_rate, rate);
    }
    if (samples.empty()) return false;
    track.sample_rate = rate;
    track.channels = channels;
    track.samples = std::move(samples);
    return true;
  } catch (const std::bad_alloc&) {  // more sound than memory
    failure_reason_ = kOutOfMemory;
  } catch (const std::length_error&) {
    failure_reason_ = kOutOfMemory;
  }
  return false;
}

}  // namespace qolm::media
