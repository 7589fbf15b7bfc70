// SPDX-License-Identifier: MIT
//
// Rounding to integers, halves away from zero, bit-identical on every platform: some C
// libraries round the largest number below 0.5 up.
#ifndef QOLM_BASE_ROUNDING_H_
#define QOLM_BASE_ROUNDING_H_

#include <cmath>
#include <concepts>

namespace qolm {

// std::round as specified; the subtraction of the integer part is exact.
template <std::floating_point Number>
Number RoundHalfAway(Number value) {
  const Number whole = std::trunc(value);
  if (std::fabs(value - whole) < Number{0.5}) return whole;
  return whole + std::copysign(Number{1}, value);
}

}  // namespace qolm

#endif  // QOLM_BASE_ROUNDING_H_
