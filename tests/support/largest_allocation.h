// SPDX-License-Identifier: MIT
//
// The largest single request to the heap, so that tests see what an input made its
// reader ask for.
#ifndef QOLM_TESTS_SUPPORT_LARGEST_ALLOCATION_H_
#define QOLM_TESTS_SUPPORT_LARGEST_ALLOCATION_H_

#include <cstddef>

namespace qolm::test {

void ResetLargestAllocation();

// In bytes, since the last reset.
size_t LargestAllocation();

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_LARGEST_ALLOCATION_H_
