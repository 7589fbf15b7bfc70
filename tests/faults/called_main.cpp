// SPDX-License-Identifier: MIT
#include "faults/called_main.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "support/text_file.h"

namespace qolm::test {
namespace {

// Leads a descriptor into a file while it lives.
class Redirected {
 public:
  Redirected(int descriptor, const std::filesystem::path& file)
      : descriptor_(descriptor), original_(dup(descriptor)) {
    const int target = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (original_ < 0 || target < 0 || dup2(target, descriptor_) < 0) {
      throw std::runtime_error("cannot redirect");
    }
    close(target);
  }
  ~Redirected() {
    dup2(original_, descriptor_);
    close(original_);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int descriptor_;
  int original_;
};

}  // namespace

MainCall CalledMain::Call(const std::vector<std::string>& arguments, const AllocationFault& fault) {
  MainArguments words(arguments);
  std::cout.clear();
  std::cerr.clear();
  std::fflush(stdout);

  MainCall call;
  {
    const Redirected out(STDOUT_FILENO, folder_ / "out");
    const Redirected err(STDERR_FILENO, folder_ / "err");
    const int64_t held_before = BlocksHeld();
    {
      const FailingAllocations allocations(fault);
      call.exit_code = words.Pass(program_);
      call.allocations = allocations.asked();
      call.refused = allocations.failed();
    }
    call.blocks_left = BlocksHeld() - held_before;
    std::fflush(stdout);
  }
  call.out = ReadFile(folder_ / "out");
  call.err = ReadFile(folder_ / "err");
  return call;
}

}  // namespace qolm::test
