// The largest single request to the heap, so that tests see what a stream made a
// decoder ask for.
#ifndef QOLM_TESTS_ENTROPY_LARGEST_ALLOCATION_H_
#define QOLM_TESTS_ENTROPY_LARGEST_ALLOCATION_H_

#include <cstddef>

namespace qolm::entropy {

void ResetLargestAllocation();

// In bytes, since the last reset.
size_t LargestAllocation();

}  // namespace qolm::entropy

#endif  // QOLM_TESTS_ENTROPY_LARGEST_ALLOCATION_H_
