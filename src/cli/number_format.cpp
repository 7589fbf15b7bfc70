// SPDX-License-Identifier: MIT
#include "cli/number_format.h"

#include <locale>
#include <sstream>

namespace qolm::cli {

std::string DefaultNumber(double value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

std::string FixedNumber(double value, int decimals) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text.precision(decimals);
  text << std::fixed << value;
  return text.str();
}

}  // namespace qolm::cli
