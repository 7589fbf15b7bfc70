// Runs the real program and captures what it prints.
#ifndef QOLM_TESTS_CLI_PROGRAM_RUN_H_
#define QOLM_TESTS_CLI_PROGRAM_RUN_H_

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "scratch_directory.h"

namespace qolm::cli {

// The program's name as the tests give it, argument 0.
inline constexpr const char* kProgram = QOLM_PROGRAM_PATH;

class ProgramRun {
 public:
  // Starts the program at once. `in_child` runs just before it.
  explicit ProgramRun(
      std::vector<std::string> arguments, const std::function<void()>& in_child = [] {});
  ~ProgramRun();  // kills it when it still runs
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  void Signal(int signal_number) const;
  bool IsRunning();
  void Wait();

  // After it has ended: the exit code, or minus the signal that killed it.
  int exit_code() const { return exit_code_; }

  // What it has printed so far.
  std::string out() const { return ReadFile(scratch_ / "out"); }
  std::string err() const { return ReadFile(scratch_ / "err"); }

 private:
  void Take(int status);

  ScratchDirectory scratch_;
  pid_t process_ = -1;
  bool running_ = false;
  int exit_code_ = 0;
};

}  // namespace qolm::cli

#endif  // QOLM_TESTS_CLI_PROGRAM_RUN_H_
