// SPDX-License-Identifier: MIT
//
// Runs a program whose main function the test is linked with, in a fork of the
// test: loading a program with all of its libraries takes several times as long
// as most runs on small files.
#ifndef QOLM_TESTS_SUPPORT_FORKED_PROGRAM_H_
#define QOLM_TESTS_SUPPORT_FORKED_PROGRAM_H_

#include <functional>
#include <string>
#include <vector>

namespace qolm::test {

// Their main functions, as the build names them for tests.
using CalledProgram = int (*)(int argc, char** argv);

// A program's name and what follows it, as its main function takes them.
class MainArguments {
 public:
  explicit MainArguments(const std::vector<std::string>& arguments);

  int Pass(CalledProgram program) {
    return program(static_cast<int>(words_.size()), &pointers_[0]);
  }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};

struct ForkedRun {
  int exit_code = -1;  // or minus the signal that ended it
  std::string out;
  std::string err;
};

// Calls the program in a process of its own and waits for its end. `in_child` runs
// just before it, in its process. The test must have no other threads.
ForkedRun RunForked(
    CalledProgram program, const std::vector<std::string>& arguments,
    const std::function<void()>& in_child = [] {});

}  // namespace qolm::test

int ConverterMain(int argc, char** argv);
int ExportMain(int argc, char** argv);

#endif  // QOLM_TESTS_SUPPORT_FORKED_PROGRAM_H_
