// The processor's vector level, asked for once, and a way for tests and
// benchmarks to pretend that the processor is older than it is.
#ifndef QOLM_BASE_SIMD_LEVEL_H_
#define QOLM_BASE_SIMD_LEVEL_H_

namespace qolm {

// Ordered: a higher level includes the lower ones.
enum class SimdLevel { kScalar = 0, kAvx2 = 1 };

// What this processor (and the operating system's saved state) offers.
SimdLevel DetectedSimdLevel();

// The level that kernels shall use: the detected one, or a lower one that was
// forced. Kernel tables are filled from it, never from CPUID directly.
SimdLevel ActiveSimdLevel();

// Lowers the active level; a level above the detected one has no effect beyond
// restoring the detected one. For tests and benchmarks; call it before the
// kernels under test run, from one thread.
void ForceSimdLevel(SimdLevel level);

}  // namespace qolm

#endif  // QOLM_BASE_SIMD_LEVEL_H_
