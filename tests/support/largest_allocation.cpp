// SPDX-License-Identifier: MIT
//
// Replaces the program's allocation functions. A file of its own, since a compiler
// that inlines only one of the pair takes them for mismatched.
#include "support/largest_allocation.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace qolm::test {
namespace {

std::atomic<size_t> largest_request{0};

void Note(size_t size) {
  size_t largest = largest_request.load();
  while (size > largest && !largest_request.compare_exchange_weak(largest, size)) {
  }
}

}  // namespace

void ResetLargestAllocation() { largest_request = 0; }
size_t LargestAllocation() { return largest_request; }

}  // namespace qolm::test

void* operator new(size_t size) {
  qolm::test::Note(size);
  if (void* memory = std::malloc(std::max<size_t>(size, 1))) return memory;
  throw std::bad_alloc();
}

// The sanitizers' own array form does not come by the one above.
void* operator new[](size_t size) { return operator new(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }
