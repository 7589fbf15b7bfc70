// SPDX-License-Identifier: MIT
//
// A file of its own, since a compiler that inlines only one of a pair takes them
// for mismatched.
#include "faults/failing_allocations.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace qolm::test {
namespace {

std::atomic<bool> counting{false};
std::atomic<uint64_t> asked_for{0};
std::atomic<uint64_t> refused{0};
std::atomic<int64_t> held{0};
// Written only while nothing is counted.
AllocationFault fault_wanted;

bool Refuse() {
  if (!counting) return false;
  const uint64_t number = ++asked_for;
  const bool fails = fault_wanted.from_then ? number >= fault_wanted.at : number == fault_wanted.at;
  if (fails) ++refused;
  return fails;
}

void* Allocate(size_t size, size_t alignment) noexcept {
  if (Refuse()) return nullptr;
  void* memory = nullptr;
  if (alignment <= alignof(std::max_align_t)) {
    memory = std::malloc(std::max<size_t>(size, 1));
  } else if (posix_memalign(&memory, alignment, std::max<size_t>(size, 1)) != 0) {
    memory = nullptr;
  }
  if (memory != nullptr) ++held;
  return memory;
}

void* AllocateOrThrow(size_t size, size_t alignment) {
  if (void* const memory = Allocate(size, alignment)) return memory;
  throw std::bad_alloc();
}

void Free(void* memory) noexcept {
  if (memory != nullptr) --held;
  std::free(memory);
}

constexpr size_t kAnyAlignment = 1;

}  // namespace

FailingAllocations::FailingAllocations(const AllocationFault& fault) {
  fault_wanted = fault;
  asked_for = 0;
  refused = 0;
  counting = fault.at > 0;
}

FailingAllocations::~FailingAllocations() { counting = false; }

uint64_t FailingAllocations::asked() const { return asked_for; }
uint64_t FailingAllocations::failed() const { return refused; }

int64_t BlocksHeld() { return held; }

}  // namespace qolm::test

using qolm::test::Allocate;
using qolm::test::AllocateOrThrow;
using qolm::test::Free;
using qolm::test::kAnyAlignment;

void* operator new(size_t size) { return AllocateOrThrow(size, kAnyAlignment); }
void* operator new[](size_t size) { return AllocateOrThrow(size, kAnyAlignment); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, kAnyAlignment);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, kAnyAlignment);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<size_t>(alignment));
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<size_t>(alignment));
}

void operator delete(void* memory) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete(void* memory, size_t) noexcept { Free(memory); }
void operator delete[](void* memory, size_t) noexcept { Free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { Free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { Free(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { Free(memory); }
void operator delete[](void* memory, size_t, std::align_val_t) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  Free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  Free(memory);
}
