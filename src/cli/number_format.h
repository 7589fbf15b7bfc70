// SPDX-License-Identifier: MIT
//
// Numbers as a freshly made output stream prints them, whatever locale or
// flags the caller's own stream carries.
#ifndef QOLM_CLI_NUMBER_FORMAT_H_
#define QOLM_CLI_NUMBER_FORMAT_H_

#include <string>

namespace qolm::cli {

// Six significant digits, no fixed notation: 30000 / 1001 gives "29.97".
std::string DefaultNumber(double value);

// Fixed notation with `decimals` digits after the point.
std::string FixedNumber(double value, int decimals);

}  // namespace qolm::cli

#endif  // QOLM_CLI_NUMBER_FORMAT_H_
