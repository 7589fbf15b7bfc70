// SPDX-License-Identifier: MIT
#include "base/simd_level.h"

#include <atomic>

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace qolm {
namespace {

SimdLevel Detect() {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  // The builtin checks CPUID leaf 7, EBX bit 5, and that the operating system saves the
  // YMM registers.
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
#elif defined(_MSC_VER) && defined(_M_X64)
  int leaf1[4];
  __cpuid(leaf1, 1);
  const bool saves_ymm = (leaf1[2] & (1 << 27)) != 0 && (_xgetbv(0) & 6) == 6;
  int leaf7[4];
  __cpuidex(leaf7, 7, 0);
  if (saves_ymm && (leaf7[1] & (1 << 5)) != 0) return SimdLevel::kAvx2;
#endif
  return SimdLevel::kScalar;
}

std::atomic<SimdLevel>& Active() {
  static std::atomic<SimdLevel> level{Detect()};
  return level;
}

}  // namespace

SimdLevel DetectedSimdLevel() {
  static const SimdLevel level = Detect();
  return level;
}

SimdLevel ActiveSimdLevel() { return Active().load(std::memory_order_relaxed); }

void ForceSimdLevel(SimdLevel level) {
  Active().store(level < DetectedSimdLevel() ? level : DetectedSimdLevel(),
                 std::memory_order_relaxed);
}

}  // namespace qolm
