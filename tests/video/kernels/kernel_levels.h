// SPDX-License-Identifier: MIT
//
// Runs the same check at every SIMD level that this processor supports.
#ifndef QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_
#define QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_

#include <vector>

#include "base/simd_level.h"

namespace qolm::test {

// Whether this processor has more than the scalar level.
inline bool HasVectorKernels() { return DetectedSimdLevel() >= SimdLevel::kAvx2; }

// The message of skipped tests that only compare levels.
inline constexpr const char* kNothingCompared =
    "this processor runs the scalar kernels alone: nothing was compared";

inline std::vector<SimdLevel> AvailableSimdLevels() {
  std::vector<SimdLevel> levels;
  for (const SimdLevel level : {SimdLevel::kScalar, SimdLevel::kAvx2}) {
    if (level <= DetectedSimdLevel()) levels.push_back(level);
  }
  return levels;
}

// Forces a level within a scope.
class ScopedSimdLevel {
 public:
  explicit ScopedSimdLevel(SimdLevel level) { ForceSimdLevel(level); }
  ~ScopedSimdLevel() { ForceSimdLevel(DetectedSimdLevel()); }
  ScopedSimdLevel(const ScopedSimdLevel&) = delete;
  ScopedSimdLevel& operator=(const ScopedSimdLevel&) = delete;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_
