// SPDX-License-Identifier: MIT
#include "support/forked_program.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "support/default_signals.h"
#include "support/text_file.h"

namespace {

bool is_fork = false;

}  // namespace

// Asked for by the leak sanitizer, where there is one. Its search at the end of each
// fork would take as long as all else; tests that count what a program gives back
// call it in their own process.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() { return is_fork ? 1 : 0; }

namespace qolm::test {
namespace {

// A file in memory that takes what a program prints.
class Captured {
 public:
  Captured() : descriptor_(memfd_create("captured", 0)) {
    if (descriptor_ < 0) throw std::runtime_error("no file in memory");
  }
  ~Captured() { close(descriptor_); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  void Take(int descriptor) const {
    if (dup2(descriptor_, descriptor) < 0) _exit(126);
  }
  std::string text() const { return ReadFile("/proc/self/fd/" + std::to_string(descriptor_)); }

 private:
  int descriptor_;
};

}  // namespace

MainArguments::MainArguments(const std::vector<std::string>& arguments) : words_{"program"} {
  words_.insert(words_.end(), arguments.begin(), arguments.end());
  for (std::string& word : words_) pointers_.push_back(word.data());
  pointers_.push_back(nullptr);
}

ForkedRun RunForked(CalledProgram program, const std::vector<std::string>& arguments,
                    const std::function<void()>& in_child) {
  const Captured out;
  const Captured err;
  std::fflush(nullptr);  // what waits here would be printed by the child, too
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error("fork failed");
  if (process == 0) {
    // Nothing may be thrown into the test's own frames, where it would go on.
    [&]() noexcept {
      is_fork = true;
      out.Take(STDOUT_FILENO);
      err.Take(STDERR_FILENO);
      const DefaultSignals signals;
      in_child();
      std::exit(MainArguments(arguments).Pass(program));
    }();
  }
  int status = 0;
  if (waitpid(process, &status, 0) != process) throw std::runtime_error("the program is lost");
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), out.text(), err.text()};
}

}  // namespace qolm::test
