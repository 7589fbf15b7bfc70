// SPDX-License-Identifier: MIT
//
// Makes everything run on scalar kernels while it lives, for comparing with the
// vector variants.
#ifndef QOLM_TESTS_FUZZ_SCALAR_LEVEL_H_
#define QOLM_TESTS_FUZZ_SCALAR_LEVEL_H_

#include "base/simd_level.h"

namespace qolm::fuzz {

class ScalarLevel {
 public:
  ScalarLevel() { ForceSimdLevel(SimdLevel::kScalar); }
  ~ScalarLevel() { ForceSimdLevel(DetectedSimdLevel()); }
  ScalarLevel(const ScalarLevel&) = delete;
  ScalarLevel& operator=(const ScalarLevel&) = delete;
};

}  // namespace qolm::fuzz

#endif  // QOLM_TESTS_FUZZ_SCALAR_LEVEL_H_
