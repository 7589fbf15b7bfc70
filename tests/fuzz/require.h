// SPDX-License-Identifier: MIT
//
// What a fuzz target claims about the code under it. A claim that does not hold
// ends the process, as a crash would, so that a fuzzer keeps the input.
#ifndef QOLM_TESTS_FUZZ_REQUIRE_H_
#define QOLM_TESTS_FUZZ_REQUIRE_H_

#include <cstdio>
#include <cstdlib>

#define QOLM_REQUIRE(condition)                                                           \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

#endif  // QOLM_TESTS_FUZZ_REQUIRE_H_
