// SPDX-License-Identifier: MIT
//
// Allocations that fail when a test says so. Linking this replaces operator new
// and operator delete, in all their forms, for the whole program and for the
// libraries that it uses.
#ifndef QOLM_TESTS_FAULTS_FAILING_ALLOCATIONS_H_
#define QOLM_TESTS_FAULTS_FAILING_ALLOCATIONS_H_

#include <cstdint>

namespace qolm::test {

struct AllocationFault {
  uint64_t at = 0;         // the number of the allocation that fails, from 1 on
  bool from_then = false;  // as do all that follow it
};

// Counts and fails the allocations of all threads while it lives. One at a time.
class FailingAllocations {
 public:
  explicit FailingAllocations(const AllocationFault& fault);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  uint64_t asked() const;
  uint64_t failed() const;
};

// Blocks that operator new has handed out and nobody has given back.
int64_t BlocksHeld();

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_FAILING_ALLOCATIONS_H_
