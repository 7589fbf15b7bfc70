// Running the same check on every vector level that this processor offers.
#ifndef QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_
#define QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_

#include <vector>

#include "base/simd_level.h"

namespace qolm::test {

// Whether levels differ here at all: below AVX2 every level runs the scalar kernels.
inline bool HasVectorKernels() { return DetectedSimdLevel() >= SimdLevel::kAvx2; }

// What a test that only compares levels says where they do not.
inline constexpr const char* kNothingCompared =
    "this processor runs the scalar kernels alone: nothing was compared";

inline std::vector<SimdLevel> AvailableSimdLevels() {
  std::vector<SimdLevel> levels;
  for (const SimdLevel level : {SimdLevel::kScalar, SimdLevel::kAvx2}) {
    if (level <= DetectedSimdLevel()) levels.push_back(level);
  }
  return levels;
}

// Forces a level for the time of a scope.
class ScopedSimdLevel {
 public:
  explicit ScopedSimdLevel(SimdLevel level) { ForceSimdLevel(level); }
  ~ScopedSimdLevel() { ForceSimdLevel(DetectedSimdLevel()); }
  ScopedSimdLevel(const ScopedSimdLevel&) = delete;
  ScopedSimdLevel& operator=(const ScopedSimdLevel&) = delete;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_KERNELS_KERNEL_LEVELS_H_
