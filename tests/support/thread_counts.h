// SPDX-License-Identifier: MIT
//
// Running the same work with different numbers of threads.
#ifndef QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
#define QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_

#include <cstddef>

#include "base/parallel_for.h"

namespace qolm::test {

inline constexpr size_t kWorkerCounts[] = {1, 2, 3, 8};

// Sets another number of workers for the time of a scope.
class ScopedWorkerCount {
 public:
  explicit ScopedWorkerCount(size_t size) { ForceWorkerCount(size); }
  ~ScopedWorkerCount() { ForceWorkerCount(0); }
  ScopedWorkerCount(const ScopedWorkerCount&) = delete;
  ScopedWorkerCount& operator=(const ScopedWorkerCount&) = delete;
};

// Calls work() with several numbers of workers, and from inside a parallel loop, where
// the calling thread is the only one.
template <typename Work>
void WithEachThreadCount(const Work& work) {
  for (const size_t size : kWorkerCounts) {
    const ScopedWorkerCount forced(size);
    work();
  }
  const ScopedWorkerCount forced(2);
  ParallelFor(2, true, [&](size_t i) {
    if (i == 1) work();
  });
}

// How many threads the pool starts during work() when loops have three workers.
template <typename Work>
size_t StartedThreads(const Work& work) {
  StopWorkerThreads();
  const ScopedWorkerCount forced(3);
  work();
  const size_t started = WorkerThreadCount();
  StopWorkerThreads();
  return started;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
