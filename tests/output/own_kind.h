// SPDX-License-Identifier: MIT
//
// The files that the tests' outputs may replace.
#ifndef QOLM_TESTS_OUTPUT_OWN_KIND_H_
#define QOLM_TESTS_OUTPUT_OWN_KIND_H_

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace qolm::output {

inline bool BeginsAsOwn(std::span<const uint8_t> bytes) {
  constexpr std::string_view kOwn = "own";
  return bytes.size() >= kOwn.size() && std::equal(kOwn.begin(), kOwn.end(), bytes.begin());
}

}  // namespace qolm::output

#endif  // QOLM_TESTS_OUTPUT_OWN_KIND_H_
