// Runs a program that meets one fault, or the same one again and again.
#ifndef QOLM_TESTS_FAULTS_FAULTED_RUN_H_
#define QOLM_TESTS_FAULTS_FAULTED_RUN_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qolm::test {

// What the words mean is told in fault_plan.h.
struct Fault {
  std::vector<std::string> files = {};
  std::string call = "any";
  std::string action = {};
  uint64_t at = 0;
  bool from_then = false;
  uint64_t longest_write = 0;  // bytes; 0 is any number
};

struct FaultedRun {
  int exit_code = -1;  // or minus the signal that ended it
  std::string out;
  std::string err;
  uint64_t calls = 0;   // of the kind that the fault names
  uint64_t faults = 0;  // that it met
};

// `in_child` runs just before the program, in its process.
FaultedRun RunWithFault(
    const std::string& program, const std::vector<std::string>& arguments, const Fault& fault,
    const std::function<void()>& in_child = [] {});

// An output and the part file beside it.
std::vector<std::string> OutputFiles(const std::string& output);

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_FAULTED_RUN_H_
