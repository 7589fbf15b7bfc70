// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "platform/program_main.h"

namespace {

// Keeps freed memory for the next picture. By default glibc returns much of it to the
// system, and clearing the pages anew takes a twelfth of a conversion.
void KeepFreedMemory() {
#if defined(__GLIBC__)
  mallopt(M_MMAP_THRESHOLD, 8 << 20);
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
#endif
}

// A program may be started with standard descriptors closed. The first file that it opens
// would then take such a number and receive what is printed. Each missing one is opened
// here for the opposite direction, so that reading or printing fails as on a closed
// descriptor.
bool OccupyStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    const int unused_direction = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", unused_direction) != descriptor) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!OccupyStandardDescriptors()) {
    std::cerr << "[-] Error: a standard descriptor is closed and /dev/null cannot replace it ("
              << std::strerror(errno) << ")\n";
    return 1;
  }
  KeepFreedMemory();
  try {
    return qolm::ProgramMain(std::vector<std::string>(argv, argv + argc));
  } catch (const std::bad_alloc&) {
    // Not even the error message could be allocated.
    std::cerr << "[-] Error: out of memory\n";
    return 1;
  }
}
