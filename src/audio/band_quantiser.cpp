// SPDX-License-Identifier: MIT
#include "audio/band_quantiser.h"

#include <algorithm>
#include <cmath>

#include "base/rounding.h"

namespace qolm::audio {
namespace {

constexpr std::array<float, kBandCount + 1> kEdgeFractions = {
    0.0F,  0.015F, 0.035F, 0.06F, 0.095F, 0.14F,  0.195F, 0.26F, 0.335F,
    0.42F, 0.515F, 0.62F,  0.73F, 0.835F, 0.925F, 0.97F,  1.0F};

// The scale of a loudness of 2, the smallest that ScaleOfLoudness distinguishes.
constexpr uint8_t kFirstScale = 20;

constexpr double PowerOfTwo(int exponent) {
  double power = 1.0;
  for (int i = 0; i < exponent; ++i) power *= 2.0;
  return power;
}

// limits[s] = 2^((2 s - 33) / 8): from here on the logarithm rounds to s or more.
constexpr auto kScaleLimits = [] {
  constexpr std::array<double, 4> kOddEighths = {1.0905077326652577, 1.2968395546510096,
                                                 1.5422108254079408, 1.8340080864093424};
  std::array<double, kMaxScale + 1> limits{};
  for (int s = kFirstScale; s <= kMaxScale; ++s) {
    const int eighths = 2 * s - 33;
    limits[static_cast<size_t>(s)] =
        kOddEighths[static_cast<size_t>(eighths % 8 / 2)] * PowerOfTwo(eighths / 8);
  }
  return limits;
}();

constexpr auto kSteps = [] {
  constexpr std::array<double, 4> kQuarters = {1.0, 1.189207115002721, 1.4142135623730951,
                                               1.681792830507429};
  std::array<float, kMaxScale + 1> steps{};
  for (int s = 0; s <= kMaxScale; ++s) {
    steps[static_cast<size_t>(s)] =
        s <= 16
            ? 1.0F
            : static_cast<float>(kQuarters[static_cast<size_t>(s % 4)] * PowerOfTwo((s - 16) / 4));
  }
  return steps;
}();

void QuantiseBand(const double* coefficients, size_t count, float step, int16_t* levels) {
  const double wide_step = step;
  const double smallest = 0.75 * wide_step;
  for (size_t k = 0; k < count; ++k) {
    const double magnitude = std::fabs(coefficients[k]);
    // Adding a half to a float in double is exact, so this rounds as roundf does.
    const auto quotient = static_cast<float>(magnitude / wide_step);
    const double rounded = std::min(static_cast<double>(quotient) + 0.5, 4096.0);
    const int32_t nearest = magnitude >= smallest ? static_cast<int32_t>(rounded) : 0;
    const int32_t level = coefficients[k] < 0.0 ? -nearest : nearest;
    levels[k] = static_cast<int16_t>(std::clamp<int32_t>(level, kMinAudioLevel, kMaxAudioLevel));
  }
}

}  // namespace

BandEdges BandEdgesFor(uint32_t frame_length) {
  BandEdges edges{};
  const auto length = static_cast<float>(frame_length);
  for (size_t b = 1; b < kBandCount; ++b) {
    const float edge = std::clamp(RoundHalfAway(length * kEdgeFractions[b]), 0.0F, length);
    edges[b] = static_cast<uint32_t>(edge);
    if (edges[b] <= edges[b - 1]) edges[b] = std::min(frame_length, edges[b - 1] + 1);
  }
  edges[kBandCount] = frame_length;
  return edges;
}

uint8_t ScaleOfLoudness(double loudness) {
  const auto* const above =
      std::upper_bound(kScaleLimits.begin() + kFirstScale + 1, kScaleLimits.end(), loudness);
  return static_cast<uint8_t>(above - kScaleLimits.begin() - 1);
}

float StepOfScale(uint8_t scale) { return kSteps[scale]; }

void QuantiseFrame(const BandEdges& edges, float strength, const double* coefficients,
                   uint8_t* scales, int16_t* levels) {
  std::array<double, kBandCount> rms;
  double loudest = 0.0;
  for (size_t b = 0; b < kBandCount; ++b) {
    double sum = 0.0;
    for (size_t k = edges[b]; k < edges[b + 1]; ++k) sum += coefficients[k] * coefficients[k];
    const uint32_t width = std::max(edges[b + 1] - edges[b], 1u);
    rms[b] = std::sqrt(sum / static_cast<double>(width));
    loudest = std::max(loudest, rms[b]);
  }
  const double threshold = std::max(0.01 * loudest, 20.0);
  for (size_t b = 0; b < kBandCount; ++b) {
    const size_t first = edges[b];
    const size_t width = edges[b + 1] - first;
    if (rms[b] >= threshold) {
      scales[b] = ScaleOfLoudness(rms[b] * 0.125 * static_cast<double>(strength));
      QuantiseBand(coefficients + first, width, StepOfScale(scales[b]), levels + first);
    } else {
      scales[b] = kSilentScale;
      std::fill_n(levels + first, width, int16_t{0});
    }
  }
}

bool IsQuantisedFrame(const BandEdges& edges, const uint8_t* scales, const int16_t* levels) {
  for (size_t b = 0; b < kBandCount; ++b) {
    if (scales[b] > kMaxScale) return false;
    const bool silent = scales[b] == kSilentScale;
    const int16_t lowest = silent ? int16_t{0} : kMinAudioLevel;
    const int16_t highest = silent ? int16_t{0} : kMaxAudioLevel;
    for (size_t k = edges[b]; k < edges[b + 1]; ++k) {
      if (levels[k] < lowest || levels[k] > highest) return false;
    }
  }
  return true;
}

void DequantiseFrame(const BandEdges& edges, const uint8_t* scales, const int16_t* levels,
                     double* coefficients) {
  for (size_t b = 0; b < kBandCount; ++b) {
    const double step = StepOfScale(scales[b]);
    for (size_t k = edges[b]; k < edges[b + 1]; ++k) coefficients[k] = levels[k] * step;
  }
}

}  // namespace qolm::audio
