// SPDX-License-Identifier: MIT
#include <windows.h>

#include "support/fenced_bytes.h"

namespace qolm::test {

size_t PageBytes() {
  static const size_t bytes = [] {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return size_t{info.dwPageSize};
  }();
  return bytes;
}

uint8_t* NewFencedPages(size_t pages) {
  const size_t page = PageBytes();
  void* const all = VirtualAlloc(nullptr, (pages + 2) * page, MEM_RESERVE, PAGE_NOACCESS);
  if (all == nullptr) return nullptr;
  uint8_t* const memory = static_cast<uint8_t*>(all) + page;
  if (VirtualAlloc(memory, pages * page, MEM_COMMIT, PAGE_READWRITE) != nullptr) return memory;
  VirtualFree(all, 0, MEM_RELEASE);
  return nullptr;
}

void DeleteFencedPages(uint8_t* memory, size_t) {
  VirtualFree(memory - PageBytes(), 0, MEM_RELEASE);
}

}  // namespace qolm::test
