// SPDX-License-Identifier: MIT
//
// Calls on files that fail when a test says so. Linking this puts its functions
// ahead of the C library's for the whole program and for the libraries that it
// uses; until MeetFault is called they only pass calls on.
#ifndef QOLM_TESTS_FAULTS_FAULTY_CALLS_H_
#define QOLM_TESTS_FAULTS_FAULTY_CALLS_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace qolm::test {

struct Fault {
  // Paths. Only calls that name one of them, or a descriptor opened by such a
  // name, are looked at.
  std::vector<std::string> files = {};
  // The call: "open", "read", "write", "seek", "sync", "close", "rename",
  // "chmod", "lock", or "any" of them.
  std::string call = "any";
  // What happens, one letter and its value: "e28" the call fails with error 28;
  // before it is done as ever, "s9" signal 9 is raised, "t100" the first file is
  // cut to 100 bytes, "g100" it grows by 100 bytes, "u" it is removed.
  std::string action = {};
  uint64_t at = 0;             // the number of the call that meets it, from 1 on; 0 is none
  bool from_then = false;      // as do all that follow it
  uint64_t longest_write = 0;  // the most bytes that one write takes; 0 is any number
};

struct FaultReport {
  std::atomic<uint64_t> calls;   // of the kind that the fault names
  std::atomic<uint64_t> faults;  // of them that something happened to
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

// Once in a process, before it has other threads; both outlive it.
void MeetFault(const Fault& fault, FaultReport& report);

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_FAULTY_CALLS_H_
