// SPDX-License-Identifier: MIT
//
// Runs a program as a user would and captures what it prints.
#ifndef QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
#define QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace qolm::test {

// Where the program's standard output leads: to out(), to a pipe that nobody
// reads, or to a terminal, which only POSIX systems have; or the program has none
// of its three standard streams. out() stays empty for all but the first.
enum class OutputEnd { kCaptured, kClosedPipe, kTerminal, kNoStreams };

class ProgramRun {
 public:
  // Starts the program at once, with nothing to read on its standard input.
  // `arguments` follow its name, all in UTF-8. `in_child` runs just before it,
  // in its process; only on POSIX systems.
  ProgramRun(
      const std::string& program, const std::vector<std::string>& arguments,
      const std::function<void()>& in_child = [] {}, OutputEnd output_end = OutputEnd::kCaptured);
  ~ProgramRun();  // kills it when it still runs
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;

  void Signal(int signal_number) const;          // only on POSIX systems
  intptr_t process() const { return process_; }  // as the system names it
  bool IsRunning();
  void Wait();

  // After it has ended: the exit code, or minus the signal that killed it. On
  // Windows a crash is an exit code, too.
  int exit_code() const { return exit_code_; }

  // The most memory that it held at a time, in bytes, or this process where that
  // held more when it started it; only on POSIX systems.
  uint64_t peak_bytes() const { return peak_bytes_; }

  // The bytes that it has printed so far.
  std::string out() const;
  std::string err() const;

 private:
  void Take(int status);

  TemporaryFolder folder_;
  intptr_t process_ = -1;  // as the system names it
  int terminal_ = -1;
  bool running_ = false;
  int exit_code_ = 0;
  uint64_t peak_bytes_ = 0;
};

// Only on Linux: whether a handler of the program waits for this signal.
bool Catches(const ProgramRun& run, int signal_number);

// Only on POSIX systems: for a fork that shall not write everywhere, as root may: goes on as a user
// without rights, or ends with exit code 126.
void DropRoot();

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_RUN_PROGRAM_H_
