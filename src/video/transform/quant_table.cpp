// SPDX-License-Identifier: MIT
#include "video/transform/quant_table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qolm::video {
namespace {

// clang-format off
constexpr std::array<uint8_t, 64> kBaseLuma = {
    16, 11, 10, 16,  24,  40,  51,  61,
    12, 12, 14, 19,  26,  58,  60,  55,
    14, 13, 16, 24,  40,  57,  69,  56,
    14, 17, 22, 29,  51,  87,  80,  62,
    18, 22, 37, 56,  68, 109, 103,  77,
    24, 35, 55, 64,  81, 104, 113,  92,
    49, 64, 78, 87, 103, 121, 120, 101,
    72, 92, 95, 98, 112, 100, 103,  99,
};

constexpr std::array<uint8_t, 64> kBaseChroma = {
    17, 18, 24, 47, 99, 99, 99, 99,
    18, 21, 26, 66, 99, 99, 99, 99,
    24, 26, 56, 99, 99, 99, 99, 99,
    47, 66, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,
};
// clang-format on

constexpr std::array<uint8_t, 64> InvertScan(const std::array<uint8_t, 64>& scan) {
  std::array<uint8_t, 64> positions{};
  for (size_t k = 0; k < 64; ++k) positions[scan[k]] = static_cast<uint8_t>(k);
  return positions;
}

constexpr std::array<uint8_t, 64> kZigzagScan = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

}  // namespace

constexpr std::array<uint8_t, 64> kZigzag = kZigzagScan;
constexpr std::array<uint8_t, 64> kScanPosition = InvertScan(kZigzagScan);

uint8_t QualityByte(int32_t quality) {
  if (quality < 0 || quality > 255) quality = std::clamp(quality, 1, 100);
  return static_cast<uint8_t>(quality);
}

QuantTable BuildQuantTable(int32_t quality, bool chroma) {
  const float q = static_cast<float>(std::clamp(quality, 1, 100));
  const float scale = q < 50.0F ? 5000.0F / q : 200.0F - 2.0F * q;
  const float factor = chroma ? 0.0135F : 0.01F;
  const auto& base = chroma ? kBaseChroma : kBaseLuma;
  QuantTable table;
  for (size_t i = 0; i < 64; ++i) {
    const float scaled = static_cast<float>(base[i]) * scale;
    const float step = scaled * factor;
    table.step[i] = std::clamp(std::floor(step + 0.5F), 1.0F, 255.0F);
  }
  return table;
}

QuantTable BuildInterQuantTable(int32_t quality, bool chroma) {
  const float q = static_cast<float>(std::clamp(quality, 1, 100));
  const float scale = q < 50.0F ? 5000.0F / q : 200.0F - 1.8F * q;
  const float factor = chroma ? 0.027777778F : 0.02F;
  const float cap = chroma ? 64.0F : 48.0F;
  const auto& base = chroma ? kBaseChroma : kBaseLuma;
  QuantTable table;
  for (size_t i = 0; i < 64; ++i) {
    const float scaled = std::min(static_cast<float>(base[i]), cap) * scale;
    table.step[i] = std::max(2.0F, scaled * factor);
  }
  return table;
}

}  // namespace qolm::video
