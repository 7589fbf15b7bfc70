// SPDX-License-Identifier: MIT
//
// Synthetic audio signals, one channel each unless interleaved, and their comparison.
#ifndef QOLM_TESTS_AUDIO_TEST_SIGNALS_H_
#define QOLM_TESTS_AUDIO_TEST_SIGNALS_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace qolm::test {

using Samples = std::vector<int16_t>;

inline constexpr double kTwoPi = 6.283185307179586;

inline int16_t ToSample(double value) {
  return static_cast<int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

// A random value in [-1, 1), the same with every library.
inline double Uniform(std::mt19937& random) {
  return static_cast<double>(random()) / 2147483648.0 - 1.0;
}

// From 40 Hz to 0.45 of the rate, rising exponentially.
inline Samples SineSweep(size_t count, uint32_t rate, double amplitude) {
  Samples samples(count);
  double phase = 0.0;
  for (size_t i = 0; i < count; ++i) {
    const double position = static_cast<double>(i) / static_cast<double>(count);
    phase += 40.0 * std::pow(0.45 * rate / 40.0, position) / rate;
    samples[i] = ToSample(amplitude * std::sin(kTwoPi * phase));
  }
  return samples;
}

// Syllables: noise that falls with frequency, and a buzz, under a slow envelope.
inline Samples SpeechLike(size_t count, uint32_t rate) {
  std::mt19937 random(7);
  Samples samples(count);
  double low_passed = 0.0;
  for (size_t i = 0; i < count; ++i) {
    const double seconds = static_cast<double>(i) / rate;
    low_passed += 0.2 * (Uniform(random) - low_passed);
    const double envelope = std::pow(std::sin(kTwoPi * 2.0 * seconds), 2.0);
    const double buzz = std::fmod(seconds * 120.0, 1.0) - 0.5;
    samples[i] = ToSample(envelope * (12000.0 * low_passed + 6000.0 * buzz));
  }
  return samples;
}

inline Samples Noise(size_t count, int amplitude, uint32_t seed = 1) {
  std::mt19937 random(seed);
  Samples samples(count);
  for (int16_t& sample : samples) sample = ToSample(amplitude * Uniform(random));
  return samples;
}

inline Samples Square(size_t count, size_t half_period) {
  Samples samples(count);
  for (size_t i = 0; i < count; ++i) samples[i] = i / half_period % 2 == 0 ? 32767 : -32768;
  return samples;
}

inline Samples Interleave(const Samples& left, const Samples& right) {
  Samples both;
  for (size_t i = 0; i < left.size(); ++i) {
    both.push_back(left[i]);
    both.push_back(right[i]);
  }
  return both;
}

inline Samples Inverted(const Samples& samples) {
  Samples inverted;
  for (const int16_t sample : samples) inverted.push_back(ToSample(-double{1} * sample));
  return inverted;
}

// In dB; 200 for identical signals.
inline double SignalToNoise(const Samples& sound, const Samples& decoded) {
  double signal = 0.0;
  double noise = 0.0;
  for (size_t i = 0; i < sound.size(); ++i) {
    const double error = double{1} * decoded.at(i) - sound[i];
    signal += double{1} * sound[i] * sound[i];
    noise += error * error;
  }
  return noise == 0.0 ? 200.0 : 10.0 * std::log10(signal / noise);
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_AUDIO_TEST_SIGNALS_H_
