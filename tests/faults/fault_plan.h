// What faulty_calls.cpp, loaded ahead of the C library, does to a program. It
// reads the plan from the environment, under these names.
#ifndef QOLM_TESTS_FAULTS_FAULT_PLAN_H_
#define QOLM_TESTS_FAULTS_FAULT_PLAN_H_

#include <atomic>
#include <cstdint>

namespace qolm::test::fault_plan {

// Paths, with colons between them. Only calls that name one of them, or a
// descriptor opened by such a name, are looked at.
inline constexpr const char* kFiles = "QOLM_FAULT_FILES";
// The call: "open", "read", "write", "seek", "sync", "close", "rename",
// "chmod", "lock", or "any" of them.
inline constexpr const char* kCall = "QOLM_FAULT_CALL";
// The number of the call to which it happens, from 1 on; 0 is none.
inline constexpr const char* kAt = "QOLM_FAULT_AT";
// Set: to all calls from that one on.
inline constexpr const char* kFromThen = "QOLM_FAULT_FROM_THEN";
// What happens, one letter and its value: "e28" the call fails with error 28;
// before it is done as ever, "s9" signal 9 is raised, "t100" the first file is
// cut to 100 bytes, "g100" it grows by 100 bytes, "u" it is removed.
inline constexpr const char* kAction = "QOLM_FAULT_ACTION";
// The most bytes that one write takes.
inline constexpr const char* kLongestWrite = "QOLM_FAULT_LONGEST_WRITE";
// A file that holds a Report, which tells what happened.
inline constexpr const char* kReport = "QOLM_FAULT_REPORT";

struct Report {
  std::atomic<uint64_t> calls;   // of the kind that the plan names
  std::atomic<uint64_t> faults;  // of them that something happened to
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

}  // namespace qolm::test::fault_plan

#endif  // QOLM_TESTS_FAULTS_FAULT_PLAN_H_
