// SPDX-License-Identifier: MIT
//
// The processor's SIMD level, detected once, which tests and benchmarks can lower.
#ifndef QOLM_BASE_SIMD_LEVEL_H_
#define QOLM_BASE_SIMD_LEVEL_H_

namespace qolm {

// Ordered: a higher level includes the lower ones.
enum class SimdLevel { kScalar = 0, kAvx2 = 1 };

// The level that the processor and the operating system support.
SimdLevel DetectedSimdLevel();

// The level that kernels use: the detected one, or a lower one set by ForceSimdLevel.
// Kernel tables are filled from it, never from CPUID directly.
SimdLevel ActiveSimdLevel();

// Sets the active level, at most the detected one. For tests and benchmarks; call it before the
// kernels under test run, from one thread.
void ForceSimdLevel(SimdLevel level);

}  // namespace qolm

#endif  // QOLM_BASE_SIMD_LEVEL_H_
