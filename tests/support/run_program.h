// Runs a program as a user would and captures what it prints.
#ifndef QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
#define QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace qolm::test {

// Where the program's standard output leads: to out(), to a pipe that nobody
// reads, or to a terminal. out() stays empty for the last two.
enum class OutputEnd { kCaptured, kClosedPipe, kTerminal };

class ProgramRun {
 public:
  // Starts the program at once, with nothing to read on its standard input.
  // `arguments` follow its name. `in_child` runs just before it.
  ProgramRun(
      const std::string& program, const std::vector<std::string>& arguments,
      const std::function<void()>& in_child = [] {}, OutputEnd output_end = OutputEnd::kCaptured);
  ~ProgramRun();  // kills it when it still runs
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  void Signal(int signal_number) const;
  bool IsRunning();
  void Wait();

  // After it has ended: the exit code, or minus the signal that killed it.
  int exit_code() const { return exit_code_; }

  // The bytes that it has printed so far.
  std::string out() const;
  std::string err() const;

 private:
  void Take(int status);

  TemporaryFolder folder_;
  pid_t process_ = -1;
  int terminal_ = -1;
  bool running_ = false;
  int exit_code_ = 0;
};

// For a fork that shall not write everywhere, as root may: goes on as a user
// without rights, or ends with exit code 126.
void DropRoot();

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
