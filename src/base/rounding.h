// Rounding to whole numbers, halves away from zero, to the same bits everywhere: some C
// libraries round the largest number below a half up.
#ifndef QOLM_BASE_ROUNDING_H_
#define QOLM_BASE_ROUNDING_H_

#include <cmath>
#include <concepts>

namespace qolm {

// As std::round is defined. What is left behind the whole part is exact.
template <std::floating_point Number>
Number RoundHalfAway(Number value) {
  const Number whole = std::trunc(value);
  if (std::fabs(value - whole) < Number{0.5}) return whole;
  return whole + std::copysign(Number{1}, value);
}

}  // namespace qolm

#endif  // QOLM_BASE_ROUNDING_H_
