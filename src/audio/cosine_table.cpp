// SPDX-License-Identifier: MIT
#include "audio/cosine_table.h"

namespace qolm::audio {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Taylor series on 0..pi/4, where the first missing term is below 2^-58.
double ShortCosine(double x) {
  const double z = x * x;
  double sum = 1.0 / 20922789888000.0;
  sum = sum * z - 1.0 / 87178291200.0;
  sum = sum * z + 1.0 / 479001600.0;
  sum = sum * z - 1.0 / 3628800.0;
  sum = sum * z + 1.0 / 40320.0;
  sum = sum * z - 1.0 / 720.0;
  sum = sum * z + 1.0 / 24.0;
  sum = sum * z - 0.5;
  return 1.0 + sum * z;
}

double ShortSine(double x) {
  const double z = x * x;
  double sum = -1.0 / 1307674368000.0;
  sum = sum * z + 1.0 / 6227020800.0;
  sum = sum * z - 1.0 / 39916800.0;
  sum = sum * z + 1.0 / 362880.0;
  sum = sum * z - 1.0 / 5040.0;
  sum = sum * z + 1.0 / 120.0;
  sum = sum * z - 1.0 / 6.0;
  return x + x * (sum * z);
}

}  // namespace

double CosineOfPi(uint64_t numerator, uint64_t denominator) {
  // All reductions are exact, in integers: to 0..pi, then 0..pi/2, then 0..pi/4.
  uint64_t p = numerator % (2 * denominator);
  if (p > denominator) p = 2 * denominator - p;
  const bool negative = 2 * p > denominator;
  if (negative) p = denominator - p;
  double value;
  if (4 * p <= denominator) {
    value = ShortCosine(kPi * static_cast<double>(p) / static_cast<double>(denominator));
  } else {
    // cos(pi p / q) = sin(pi (q - 2 p) / (2 q))
    value = ShortSine(kPi * static_cast<double>(denominator - 2 * p) /
                      static_cast<double>(2 * denominator));
  }
  return negative ? -value : value;
}

}  // namespace qolm::audio
