// SPDX-License-Identifier: MIT
#include <sys/mman.h>
#include <unistd.h>

#include "support/fenced_bytes.h"

namespace qolm::test {

size_t PageBytes() {
  static const auto bytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return bytes;
}

uint8_t* NewFencedPages(size_t pages) {
  const size_t page = PageBytes();
  void* const all =
      mmap(nullptr, (pages + 2) * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (all == MAP_FAILED) return nullptr;
  uint8_t* const memory = static_cast<uint8_t*>(all) + page;
  if (mprotect(memory, pages * page, PROT_READ | PROT_WRITE) == 0) return memory;
  munmap(all, (pages + 2) * page);
  return nullptr;
}

void DeleteFencedPages(uint8_t* memory, size_t pages) {
  munmap(memory - PageBytes(), (pages + 2) * PageBytes());
}

}  // namespace qolm::test
