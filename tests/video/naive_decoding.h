// SPDX-License-Identifier: MIT
//
// A reference parser for the payloads of predicted and bidirectional pictures by their
// documented offsets, and their residuals from the formulas.
#ifndef QOLM_TESTS_VIDEO_NAIVE_DECODING_H_
#define QOLM_TESTS_VIDEO_NAIVE_DECODING_H_

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "video/kernels/naive_transform.h"
#include "video/picture/yuv_planes.h"
#include "video/transform/quant_table.h"

namespace qolm::test {

// The five coded streams.
inline std::vector<std::vector<uint8_t>> PayloadStreams(const std::vector<uint8_t>& payload) {
  std::vector<std::vector<uint8_t>> streams;
  size_t position = 29;
  for (size_t i = 0; i < 5; ++i) {
    const size_t size = LoadLe32(payload.data() + 9 + 4 * i);
    const auto begin = payload.begin() + static_cast<ptrdiff_t>(position);
    streams.emplace_back(begin, begin + static_cast<ptrdiff_t>(size));
    position += size;
  }
  EXPECT_EQ(position, payload.size());
  return streams;
}

// Checks the header fields of a payload of 130x70 pixels and its total size.
inline void ExpectHeaderOf130x70(const std::vector<uint8_t>& payload, uint8_t quality) {
  ASSERT_GT(payload.size(), 29U);
  EXPECT_EQ(LoadLe16(payload.data()), 130);
  EXPECT_EQ(LoadLe16(payload.data() + 2), 70);
  EXPECT_EQ(payload[4], quality);
  EXPECT_EQ(LoadLe16(payload.data() + 5), 9);
  EXPECT_EQ(LoadLe16(payload.data() + 7), 5);
  size_t sum = 29;
  for (size_t offset = 9; offset < 29; offset += 4) sum += LoadLe32(payload.data() + offset);
  EXPECT_EQ(payload.size(), sum);
}

inline std::vector<uint8_t> MakeInterPayload(const video::YuvPlanes& picture, uint8_t quality,
                                             const std::array<std::vector<uint8_t>, 5>& streams) {
  std::vector<uint8_t> payload;
  AppendLe16(payload, static_cast<uint16_t>(picture.width));
  AppendLe16(payload, static_cast<uint16_t>(picture.height));
  payload.push_back(quality);
  AppendLe16(payload, static_cast<uint16_t>((picture.width + 15) / 16));
  AppendLe16(payload, static_cast<uint16_t>((picture.height + 15) / 16));
  for (const auto& stream : streams) AppendLe32(payload, static_cast<uint32_t>(stream.size()));
  for (const auto& stream : streams) payload.insert(payload.end(), stream.begin(), stream.end());
  return payload;
}

// The levels of one plane from its stream.
inline std::vector<int16_t> PlaneLevels(const std::vector<uint8_t>& stream, size_t width,
                                        size_t height) {
  std::vector<int16_t> levels(64 * ((width + 7) / 8) * ((height + 7) / 8));
  EXPECT_TRUE(entropy::DecodeCoefficients(stream, levels));
  return levels;
}

inline void AddNaiveResidual(std::vector<uint8_t>& plane, uint32_t width, uint32_t height,
                             const video::QuantTable& table, const std::vector<int16_t>& levels) {
  size_t block = 0;
  for (uint32_t y0 = 0; y0 < height; y0 += 8) {
    for (uint32_t x0 = 0; x0 < width; x0 += 8, ++block) {
      Matrix8x8 coefficients{};
      for (size_t k = 0; k < 64; ++k) {
        const size_t n = video::kZigzag[k];
        coefficients[n / 8][n % 8] = static_cast<float>(levels[64 * block + k]) * table.step[n];
      }
      const Matrix8x8 inverse = NaiveInverse(coefficients);
      for (uint32_t r = 0; r < 8 && y0 + r < height; ++r) {
        for (uint32_t c = 0; c < 8 && x0 + c < width; ++c) {
          uint8_t& sample = plane[size_t{y0 + r} * width + x0 + c];
          sample = NaiveSample(sample, inverse[r][c]);
        }
      }
    }
  }
}

// Adds all residuals of a payload to the prediction in `picture`.
inline void AddNaiveResiduals(video::YuvPlanes& picture, const std::vector<uint8_t>& payload) {
  const std::vector<std::vector<uint8_t>> streams = PayloadStreams(payload);
  const video::QuantTable luma = video::BuildInterQuantTable(payload[4], false);
  const video::QuantTable chroma = video::BuildInterQuantTable(payload[4], true);
  const uint32_t chroma_width = picture.ChromaWidth();
  const uint32_t chroma_height = picture.ChromaHeight();
  AddNaiveResidual(picture.y, picture.width, picture.height, luma,
                   PlaneLevels(streams[2], picture.width, picture.height));
  AddNaiveResidual(picture.cb, chroma_width, chroma_height, chroma,
                   PlaneLevels(streams[3], chroma_width, chroma_height));
  AddNaiveResidual(picture.cr, chroma_width, chroma_height, chroma,
                   PlaneLevels(streams[4], chroma_width, chroma_height));
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_NAIVE_DECODING_H_
