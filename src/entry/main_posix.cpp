#include <iostream>
#include <new>

#include "entry/program_main.h"

int main(int argc, char** argv) {
  try {
    return qolm::ProgramMain(std::vector<std::string>(argv, argv + argc));
  } catch (const std::bad_alloc&) {
    // Not even the words, or an error's own line, found room.
    std::cerr << "[-] Error: out of memory\n";
    return 1;
  }
}
