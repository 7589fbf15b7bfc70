// SPDX-License-Identifier: MIT
//
// Planes and pictures with a known kind of content, the same in every run.
#ifndef QOLM_TESTS_VIDEO_SAMPLE_PLANES_H_
#define QOLM_TESTS_VIDEO_SAMPLE_PLANES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::test {

inline std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// Smooth non-repeating noise: random values every `spacing` samples with linear
// interpolation. The value at (x, y) does not depend on the size.
inline uint8_t TextureSample(int x, int y, int spacing, uint32_t seed) {
  const auto lattice = [&](int column, int row) {
    uint32_t hash = static_cast<uint32_t>(column) * 2654435761U ^
                    static_cast<uint32_t>(row) * 2246822519U ^ seed * 3266489917U;
    hash = (hash ^ (hash >> 15)) * 2246822519U;
    hash = (hash ^ (hash >> 13)) * 3266489917U;
    return static_cast<int>((hash >> 16) & 255U);
  };
  const int shifted_x = x + 4096 * spacing;
  const int shifted_y = y + 4096 * spacing;
  const int column = shifted_x / spacing;
  const int row = shifted_y / spacing;
  const int fx = shifted_x % spacing;
  const int fy = shifted_y % spacing;
  const int top = lattice(column, row) * (spacing - fx) + lattice(column + 1, row) * fx;
  const int bottom = lattice(column, row + 1) * (spacing - fx) + lattice(column + 1, row + 1) * fx;
  return static_cast<uint8_t>((top * (spacing - fy) + bottom * fy) / (spacing * spacing));
}

// The texture seen from (offset_x, offset_y) on.
inline std::vector<uint8_t> TexturePlane(uint32_t width, uint32_t height, int offset_x,
                                         int offset_y, uint32_t seed) {
  std::vector<uint8_t> plane(size_t{width} * height);
  for (size_t i = 0; i < plane.size(); ++i) {
    plane[i] = TextureSample(static_cast<int>(i % width) + offset_x,
                             static_cast<int>(i / width) + offset_y, 5, seed);
  }
  return plane;
}

inline video::YuvPlanes RandomPicture(uint32_t width, uint32_t height, uint32_t seed) {
  video::YuvPlanes planes;
  video::ResizeYuvPlanes(planes, width, height);
  planes.y = RandomBytes(planes.y.size(), seed);
  planes.cb = RandomBytes(planes.cb.size(), seed + 1);
  planes.cr = RandomBytes(planes.cr.size(), seed + 2);
  return planes;
}

// Texture in all planes, with noise of up to +-`noise` over it.
inline video::YuvPlanes TexturedPicture(uint32_t width, uint32_t height, uint32_t seed, int noise) {
  video::YuvPlanes planes;
  video::ResizeYuvPlanes(planes, width, height);
  planes.y = TexturePlane(width, height, 0, 0, seed);
  planes.cb = TexturePlane(planes.ChromaWidth(), planes.ChromaHeight(), 0, 0, seed + 1);
  planes.cr = TexturePlane(planes.ChromaWidth(), planes.ChromaHeight(), 0, 0, seed + 2);
  std::mt19937 random(seed);
  for (auto* plane : {&planes.y, &planes.cb, &planes.cr}) {
    for (uint8_t& sample : *plane) {
      const int change = static_cast<int>(random() % static_cast<uint32_t>(2 * noise + 1)) - noise;
      sample = static_cast<uint8_t>(std::clamp(sample + change, 0, 255));
    }
  }
  return planes;
}

// Of two planes of equal size.
inline double MeanAbsoluteError(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

// Random bytes, all black, all white, and blocks that alternate between both.
inline std::vector<std::vector<uint8_t>> ExtremePlanes(size_t count) {
  std::vector<std::vector<uint8_t>> planes;
  for (uint32_t seed = 0; seed < 60; ++seed) planes.push_back(RandomBytes(count, seed));
  planes.emplace_back(count, uint8_t{0});
  planes.emplace_back(count, uint8_t{255});
  for (uint32_t seed = 100; seed < 130; ++seed) {
    std::vector<uint8_t> plane = RandomBytes(count, seed);
    for (uint8_t& sample : plane) sample = sample < 128 ? 0 : 255;
    planes.push_back(plane);
  }
  return planes;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_SAMPLE_PLANES_H_
