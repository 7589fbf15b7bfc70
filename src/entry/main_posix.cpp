#include <iostream>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "entry/program_main.h"

namespace {

// Lets memory that one picture gave back serve the next. By default glibc gives
// much of it back to the system, and clearing its pages again takes a twelfth of a
// conversion.
void KeepFreedMemory() {
#if defined(__GLIBC__)
  mallopt(M_MMAP_THRESHOLD, 8 << 20);
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  KeepFreedMemory();
  try {
    return qolm::ProgramMain(std::vector<std::string>(argv, argv + argc));
  } catch (const std::bad_alloc&) {
    // Not even the words, or an error's own line, found room.
    std::cerr << "[-] Error: out of memory\n";
    return 1;
  }
}
