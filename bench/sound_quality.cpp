// SPDX-License-Identifier: MIT
//
// What coding does to a clip's sound: size, fidelity and speed of both coders,
// and the fidelity of sound that another program coded and decoded.
//
//   sound_quality code CLIP RATE CHANNELS [SAMPLES.wav]
//   sound_quality compare ORIGINAL.wav DECODED.wav RATE CHANNELS
//
// `code` reads the clip's sound at RATE Hz with CHANNELS channels, writes those
// samples as a WAV file when one is named, and codes and decodes them whole in
// both modes. `compare` shifts DECODED against ORIGINAL by the lag at which they
// agree best. Both print one JSON object; a figure that does not exist (the SNR
// of silence) is null.
//
// The segmental SNR is the mean over whole segments of 20 ms, channels together,
// each held to -10..35 dB; segments that hold nothing but zeros are left out.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "audio/audio_coder.h"
#include "base/byte_order.h"
#include "media/audio_source.h"
#include "media/platform.h"

namespace qolm {
namespace {

constexpr double kNoFigure = std::numeric_limits<double>::quiet_NaN();
constexpr int64_t kMaxLag = 2048;  // samples
constexpr int64_t kCorrelatedSamples = 1 << 17;
constexpr double kLeastTimedSeconds = 0.25;  // of CPU, so that the clock's step does not show

std::string Figure(double value) {
  if (!std::isfinite(value)) return "null";
  char text[40];
  std::snprintf(text, sizeof(text), "%.6g", value);
  return text;
}

double Decibels(double signal, double noise) {
  return signal > 0 && noise > 0 ? 10 * std::log10(signal / noise) : kNoFigure;
}

double Power(std::span<const int16_t> samples) {
  double sum = 0;
  for (const int16_t value : samples) sum += double{1} * value * value;
  return sum;
}

double NoisePower(std::span<const int16_t> original, std::span<const int16_t> decoded) {
  double sum = 0;
  for (size_t i = 0; i < original.size(); ++i) {
    const double error = double{1} * decoded[i] - original[i];
    sum += error * error;
  }
  return sum;
}

double SegmentalSnr(std::span<const int16_t> original, std::span<const int16_t> decoded,
                    size_t segment_values) {
  double sum = 0;
  size_t segments = 0;
  for (size_t first = 0; first + segment_values <= original.size(); first += segment_values) {
    const auto piece = original.subspan(first, segment_values);
    const double signal = Power(piece);
    if (signal == 0) continue;
    const double noise = NoisePower(piece, decoded.subspan(first, segment_values));
    sum += noise > 0 ? std::clamp(10 * std::log10(signal / noise), -10.0, 35.0) : 35.0;
    ++segments;
  }
  return segments > 0 ? sum / static_cast<double>(segments) : kNoFigure;
}

// "snr_db" and "segmental_snr_db" of spans of equal length.
std::string FidelityFields(std::span<const int16_t> original, std::span<const int16_t> decoded,
                           const PcmTrack& format) {
  const size_t segment = size_t{format.sample_rate} / 50 * format.channels;
  return "\"snr_db\": " + Figure(Decibels(Power(original), NoisePower(original, decoded))) +
         ", \"segmental_snr_db\": " + Figure(SegmentalSnr(original, decoded, segment));
}

template <typename Work>
double CpuSeconds(const Work& work) {
  const std::clock_t start = std::clock();
  for (int runs = 1;; ++runs) {
    work();
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    if (seconds >= kLeastTimedSeconds) return seconds / runs;
  }
}

// One coder's object, or nothing when it fails.
std::string MeasureCoder(const PcmTrack& track, audio::AudioCodingMode mode, double seconds) {
  const audio::PcmView view{track.sample_rate, track.channels, track.samples};
  std::vector<uint8_t> payload;
  PcmTrack decoded;
  bool worked = true;
  const double encode = CpuSeconds([&] { worked &= audio::EncodeAudio(view, mode, payload); });
  const double decode = CpuSeconds([&] {
    decoded = {};
    worked &= audio::DecodeAudio(payload, audio::kMaxPayloadValues, decoded);
  });
  if (!worked || decoded.samples.size() != track.samples.size()) return {};
  return "{\"bytes\": " + std::to_string(payload.size()) +
         ", \"kbit_per_second\": " + Figure(static_cast<double>(payload.size()) * 0.008 / seconds) +
         ", " + FidelityFields(track.samples, decoded.samples, track) +
         ", \"encode_cpu_seconds_per_minute\": " + Figure(encode * 60 / seconds) +
         ", \"decode_cpu_seconds_per_minute\": " + Figure(decode * 60 / seconds) + "}";
}

bool WriteWav(const std::filesystem::path& path, const PcmTrack& track) {
  const auto data_bytes = static_cast<uint32_t>(track.samples.size() * sizeof(int16_t));
  const auto frame_bytes = static_cast<uint16_t>(track.channels * sizeof(int16_t));
  std::vector<uint8_t> file;
  const auto append_name = [&file](std::string_view name) {
    file.insert(file.end(), name.begin(), name.end());
  };
  append_name("RIFF");
  AppendLe32(file, 36 + data_bytes);
  append_name("WAVEfmt ");
  AppendLe32(file, 16);
  AppendLe16(file, 1);
  AppendLe16(file, track.channels);
  AppendLe32(file, track.sample_rate);
  AppendLe32(file, track.sample_rate * frame_bytes);
  AppendLe16(file, frame_bytes);
  AppendLe16(file, 16);
  append_name("data");
  AppendLe32(file, data_bytes);
  for (const int16_t value : track.samples) AppendLe16(file, static_cast<uint16_t>(value));
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
  return static_cast<bool>(stream.flush());
}

// Samples that `decoded` lies behind `original`, judged over the loudest piece.
int64_t BestLag(const PcmTrack& original, const PcmTrack& decoded) {
  const auto mixed = [](const PcmTrack& track) {
    std::vector<float> sums(track.samples.size() / track.channels);
    for (size_t i = 0; i < sums.size() * track.channels; ++i) {
      sums[i / track.channels] += track.samples[i];
    }
    return sums;
  };
  const std::vector<float> a = mixed(original);
  const std::vector<float> b = mixed(decoded);
  const auto length = static_cast<int64_t>(std::min(a.size(), b.size()));
  const int64_t count = std::min(kCorrelatedSamples, length);
  int64_t first = 0;
  double loudest = -1;
  for (int64_t start = 0; start + count <= length; start += count / 2 + 1) {
    double power = 0;
    for (int64_t i = start; i < start + count; ++i) {
      power += double{1} * a[static_cast<size_t>(i)] * a[static_cast<size_t>(i)];
    }
    if (power > loudest) {
      loudest = power;
      first = start;
    }
  }
  int64_t best = 0;
  double best_sum = -std::numeric_limits<double>::infinity();
  for (int64_t distance = 0; distance <= kMaxLag; ++distance) {
    for (const int64_t lag : {distance, -distance}) {  // of equals, the nearest
      const int64_t begin = std::max(first, -lag);
      const int64_t end = std::min(first + count, static_cast<int64_t>(b.size()) - lag);
      double sum = 0;
      for (int64_t i = begin; i < end; ++i) {
        sum += double{1} * a[static_cast<size_t>(i)] * b[static_cast<size_t>(i + lag)];
      }
      if (sum > best_sum) {
        best_sum = sum;
        best = lag;
      }
    }
  }
  return best;
}

bool ReadSound(const media::Platform& platform, const char* path, int rate, int channels,
               PcmTrack& track) {
  media::AudioOptions options;
  options.sample_rate = rate;
  options.channels = channels;
  if (media::AudioSource(platform.MakeAudioFramework()).ReadAll(path, options, track)) return true;
  std::fprintf(stderr, "sound_quality: no sound can be read: %s\n", path);
  return false;
}

int Code(const PcmTrack& track, const char* wav_path) {
  if (wav_path != nullptr && !WriteWav(wav_path, track)) {
    std::fprintf(stderr, "sound_quality: cannot write: %s\n", wav_path);
    return 1;
  }
  const size_t per_channel = track.samples.size() / track.channels;
  const double seconds = static_cast<double>(per_channel) / track.sample_rate;
  const std::string adpcm = MeasureCoder(track, audio::AudioCodingMode::kAdpcm, seconds);
  const std::string transform = MeasureCoder(track, audio::AudioCodingMode::kTransform, seconds);
  if (adpcm.empty() || transform.empty()) {
    std::fprintf(stderr, "sound_quality: the sound does not come back\n");
    return 1;
  }
  int peak = 0;
  for (const int16_t value : track.samples) peak = std::max(peak, std::abs(int{value}));
  const double mean_power = Power(track.samples) / static_cast<double>(track.samples.size());
  const double full_scale = 32768;
  std::printf(
      "{\"rate\": %u, \"channels\": %u, \"samples\": %zu, \"seconds\": %s, "
      "\"peak_dbfs\": %s, \"rms_dbfs\": %s,\n \"adpcm\": %s,\n \"transform\": %s}\n",
      track.sample_rate, unsigned{track.channels}, per_channel, Figure(seconds).c_str(),
      Figure(Decibels(double{1} * peak * peak, full_scale * full_scale)).c_str(),
      Figure(Decibels(mean_power, full_scale * full_scale)).c_str(), adpcm.c_str(),
      transform.c_str());
  return 0;
}

int Compare(const PcmTrack& original, const PcmTrack& decoded) {
  const int64_t lag = BestLag(original, decoded);
  const auto values = static_cast<size_t>(std::abs(lag)) * original.channels;
  std::span<const int16_t> a(original.samples);
  std::span<const int16_t> b(decoded.samples);
  (lag > 0 ? b : a) = (lag > 0 ? b : a).subspan(std::min(values, (lag > 0 ? b : a).size()));
  const size_t length = std::min(a.size(), b.size());
  std::printf("{\"lag\": %lld, \"samples\": %zu, %s}\n", static_cast<long long>(lag),
              length / original.channels,
              FidelityFields(a.first(length), b.first(length), original).c_str());
  return 0;
}

int Run(const std::vector<const char*>& words) {
  const std::string command = words.empty() ? "" : words[0];
  const bool is_code = command == "code" && (words.size() == 4 || words.size() == 5);
  const bool is_compare = command == "compare" && words.size() == 5;
  const int rate = is_code || is_compare ? std::atoi(words[is_code ? 2 : 3]) : 0;
  const int channels = is_code || is_compare ? std::atoi(words[is_code ? 3 : 4]) : 0;
  if (rate <= 0 || (channels != 1 && channels != 2)) {
    std::fprintf(stderr,
                 "usage: sound_quality code CLIP RATE CHANNELS [SAMPLES.wav]\n"
                 "       sound_quality compare ORIGINAL.wav DECODED.wav RATE CHANNELS\n");
    return 2;
  }
  const media::Platform platform;
  PcmTrack track;
  if (!ReadSound(platform, words[1], rate, channels, track)) return 1;
  if (is_code) return Code(track, words.size() == 5 ? words[4] : nullptr);
  PcmTrack decoded;
  if (!ReadSound(platform, words[2], rate, channels, decoded)) return 1;
  return Compare(track, decoded);
}

}  // namespace
}  // namespace qolm

int main(int argc, char** argv) { return qolm::Run({argv + 1, argv + argc}); }
