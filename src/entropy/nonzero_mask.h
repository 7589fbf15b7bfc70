// SPDX-License-Identifier: MIT
//
// A bit mask of the non-zero values among 64 consecutive ones: bit i is set when
// values[i] is not 0. Bit scans then replace loops over the values.
#ifndef QOLM_ENTROPY_NONZERO_MASK_H_
#define QOLM_ENTROPY_NONZERO_MASK_H_

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

namespace qolm::entropy {

inline uint64_t NonZeroMask64(const int16_t* values) {
#if defined(__SSE2__) || defined(_M_X64)
  // SSE2 is part of the x86-64 baseline. Packing saturates, so no value becomes zero.
  uint64_t zeros = 0;
  for (size_t i = 0; i < 4; ++i) {
    const auto* source = reinterpret_cast<const __m128i*>(values + 16 * i);
    const __m128i packed = _mm_packs_epi16(_mm_loadu_si128(source), _mm_loadu_si128(source + 1));
    const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(packed, _mm_setzero_si128()));
    zeros |= static_cast<uint64_t>(static_cast<uint32_t>(mask)) << (16 * i);
  }
  return ~zeros;
#else
  uint64_t mask = 0;
  for (size_t i = 0; i < 64; ++i) mask |= static_cast<uint64_t>(values[i] != 0) << i;
  return mask;
#endif
}

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_NONZERO_MASK_H_
