// SPDX-License-Identifier: MIT
//
// A reference implementation of motion compensation, sample by sample.
#ifndef QOLM_TESTS_VIDEO_INTER_NAIVE_MOTION_H_
#define QOLM_TESTS_VIDEO_INTER_NAIVE_MOTION_H_

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "video/inter/motion_field.h"
#include "video/intra/naive_intra.h"
#include "video/picture/yuv_planes.h"

namespace qolm::test {

// One chroma sample, displaced by a vector in half samples.
inline int NaiveChromaSample(const NaivePlane& plane, int x, int y,
                             const video::MotionVector& vector) {
  const int left = x + static_cast<int>(std::floor(vector.dx / 2.0));
  const int top = y + static_cast<int>(std::floor(vector.dy / 2.0));
  const bool half_x = vector.dx % 2 != 0;
  const bool half_y = vector.dy % 2 != 0;
  if (half_x && half_y) {
    return (plane.At(left, top) + plane.At(left + 1, top) + plane.At(left, top + 1) +
            plane.At(left + 1, top + 1) + 2) /
           4;
  }
  if (half_x) return (plane.At(left, top) + plane.At(left + 1, top) + 1) / 2;
  if (half_y) return (plane.At(left, top) + plane.At(left, top + 1) + 1) / 2;
  return plane.At(left, top);
}

// Every sample with the vector of its quarter.
inline video::YuvPlanes NaiveCompensation(const video::YuvPlanes& reference,
                                          const std::vector<video::MacroblockMotion>& field) {
  const video::MacroblockGrid grid(reference.width, reference.height);
  const auto vector_at = [&](int x, int y, int size) {
    const video::MacroblockMotion& motion =
        field[static_cast<size_t>(y / size) * grid.columns + static_cast<size_t>(x / size)];
    const int quarter = (y % size) / (size / 2) * 2 + (x % size) / (size / 2);
    return motion.split != 0 ? motion.vectors[static_cast<size_t>(quarter)] : motion.vectors[0];
  };
  video::YuvPlanes result = reference;
  const NaivePlane luma{reference.y.data(), static_cast<int>(reference.width),
                        static_cast<int>(reference.height)};
  for (int y = 0; y < luma.height; ++y) {
    for (int x = 0; x < luma.width; ++x) {
      const video::MotionVector vector = vector_at(x, y, 16);
      result.y[static_cast<size_t>(y * luma.width + x)] =
          static_cast<uint8_t>(luma.At(x + vector.dx, y + vector.dy));
    }
  }
  const auto move_chroma = [&](const std::vector<uint8_t>& from, std::vector<uint8_t>& to) {
    const NaivePlane plane{from.data(), static_cast<int>(reference.ChromaWidth()),
                           static_cast<int>(reference.ChromaHeight())};
    for (int y = 0; y < plane.height; ++y) {
      for (int x = 0; x < plane.width; ++x) {
        to[static_cast<size_t>(y * plane.width + x)] =
            static_cast<uint8_t>(NaiveChromaSample(plane, x, y, vector_at(x, y, 8)));
      }
    }
  };
  move_chroma(reference.cb, result.cb);
  move_chroma(reference.cr, result.cr);
  return result;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_INTER_NAIVE_MOTION_H_
