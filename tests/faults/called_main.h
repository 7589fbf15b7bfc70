// SPDX-License-Identifier: MIT
//
// A program's main, called inside the test, with what it prints.
#ifndef QOLM_TESTS_FAULTS_CALLED_MAIN_H_
#define QOLM_TESTS_FAULTS_CALLED_MAIN_H_

#include <string>
#include <vector>

#include "faults/failing_allocations.h"
#include "support/forked_program.h"
#include "support/temporary_folder.h"

namespace qolm::test {

struct MainCall {
  int exit_code = -1;
  std::string out;
  std::string err;
  uint64_t allocations = 0;  // that it asked for
  uint64_t refused = 0;      // of them
  int64_t blocks_left = 0;   // that it did not give back
};

class CalledMain {
 public:
  explicit CalledMain(CalledProgram program) : program_(program) {}

  // `arguments` follow the program's name.
  MainCall Call(const std::vector<std::string>& arguments, const AllocationFault& fault = {});

 private:
  const CalledProgram program_;
  const TemporaryFolder folder_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_CALLED_MAIN_H_
