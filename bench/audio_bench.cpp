// SPDX-License-Identifier: MIT
//
// Speed of the sound coders. The counter x_real_time is seconds of sound per
// second of the calling thread's work; run with `taskset -c 0` for what one core does.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "audio/audio_coder.h"
#include "base/simd_level.h"

namespace qolm::audio {
namespace {

constexpr uint32_t kSeconds = 20;

// Falling tones with overtones over a little noise, different on each side.
std::vector<int16_t> Music(uint32_t rate, uint32_t channels) {
  std::mt19937 random(1);
  std::vector<int16_t> samples(size_t{rate} * kSeconds * channels);
  double phase = 0.0;
  for (size_t i = 0; i < samples.size(); ++i) {
    const double seconds = static_cast<double>(i / channels) / rate;
    const double beat = std::fmod(seconds, 0.5);
    phase += (220.0 + 20.0 * static_cast<double>(i % channels)) / rate * (1.0 - 0.2 * beat);
    double value = 0.0;
    for (int overtone = 1; overtone <= 8; ++overtone) {
      value += std::sin(6.283185307 * phase * overtone) / overtone;
    }
    const double noise = static_cast<double>(random() % 2001) - 1000.0;
    samples[i] = static_cast<int16_t>(6000.0 * std::exp(-4.0 * beat) * value + noise);
  }
  return samples;
}

void Run(benchmark::State& state, AudioCodingMode mode, bool decode) {
  const auto rate = static_cast<uint32_t>(state.range(0));
  const auto channels = static_cast<uint32_t>(state.range(1));
  ForceSimdLevel(static_cast<SimdLevel>(state.range(2)));
  const std::vector<int16_t> samples = Music(rate, channels);
  const PcmView sound{rate, channels, samples};
  std::vector<uint8_t> payload;
  if (!EncodeAudio(sound, mode, payload)) {
    state.SkipWithError("the sound does not encode");
    return;
  }
  for (auto _ : state) {
    bool done;
    if (decode) {
      PcmTrack track;
      done = DecodeAudio(payload, samples.size(), track);
      benchmark::DoNotOptimize(track.samples.data());
    } else {
      done = EncodeAudio(sound, mode, payload);
      benchmark::DoNotOptimize(payload.data());
    }
    if (!done) {
      state.SkipWithError("the sound does not code");
      break;
    }
  }
  ForceSimdLevel(DetectedSimdLevel());
  state.counters["x_real_time"] =
      benchmark::Counter(static_cast<double>(kSeconds) * static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate);
  state.counters["kbit_per_s"] = static_cast<double>(payload.size()) * 8e-3 / kSeconds;
}

void TransformEncode(benchmark::State& state) { Run(state, AudioCodingMode::kTransform, false); }
void TransformDecode(benchmark::State& state) { Run(state, AudioCodingMode::kTransform, true); }
void AdpcmEncode(benchmark::State& state) { Run(state, AudioCodingMode::kAdpcm, false); }
void AdpcmDecode(benchmark::State& state) { Run(state, AudioCodingMode::kAdpcm, true); }

constexpr int64_t kScalar = static_cast<int64_t>(SimdLevel::kScalar);
constexpr int64_t kBest = static_cast<int64_t>(SimdLevel::kAvx2);

// Arguments: rate in Hz, channels, processor level.
BENCHMARK(TransformEncode)
    ->Args({48000, 2, kScalar})
    ->Args({48000, 2, kBest})
    ->Args({32000, 1, kBest})
    ->Args({22050, 1, kBest})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(TransformDecode)
    ->Args({48000, 2, kScalar})
    ->Args({48000, 2, kBest})
    ->Args({32000, 1, kBest})
    ->Args({22050, 1, kBest})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AdpcmEncode)
    ->Args({48000, 2, kBest})
    ->Args({32000, 1, kBest})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AdpcmDecode)
    ->Args({48000, 2, kBest})
    ->Args({32000, 1, kBest})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qolm::audio
