// SPDX-License-Identifier: MIT
//
// Runs a program that meets one fault, or the same one again and again.
#ifndef QOLM_TESTS_FAULTS_FAULTED_RUN_H_
#define QOLM_TESTS_FAULTS_FAULTED_RUN_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "faults/faulty_calls.h"
#include "support/forked_program.h"

namespace qolm::test {

struct FaultedRun : ForkedRun {
  uint64_t calls = 0;   // of the kind that the fault names
  uint64_t faults = 0;  // that it met
};

// `in_child` runs just before the program, in its process.
FaultedRun RunWithFault(
    CalledProgram program, const std::vector<std::string>& arguments, const Fault& fault = {},
    const std::function<void()>& in_child = [] {});

// An output and the part file beside it.
std::vector<std::string> OutputFiles(const std::string& output);

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_FAULTED_RUN_H_
