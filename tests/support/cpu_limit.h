// SPDX-License-Identifier: MIT
//
// Bounds on the work of a process, as CPU time that it may use. Only on POSIX systems.
#ifndef QOLM_TESTS_SUPPORT_CPU_LIMIT_H_
#define QOLM_TESTS_SUPPORT_CPU_LIMIT_H_

#include <sys/resource.h>

namespace qolm::test {

// From here on this process, or the program that it turns into, ends by SIGXCPU
// when it uses `seconds` more.
inline void LimitCpuSeconds(rlim_t seconds) {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  rlimit limit{};
  getrlimit(RLIMIT_CPU, &limit);
  limit.rlim_cur = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + 1 + seconds;
  setrlimit(RLIMIT_CPU, &limit);
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_CPU_LIMIT_H_
