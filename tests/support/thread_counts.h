// Running the same work with different numbers of threads.
#ifndef QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
#define QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_

#include <omp.h>

#include "base/team.h"

namespace qolm::test {

inline constexpr int kTeamSizes[] = {1, 2, 3, 8};

// Gives teams another size for the time of a scope.
class ScopedTeamSize {
 public:
  explicit ScopedTeamSize(int size) { ForceTeamSize(size); }
  ~ScopedTeamSize() { ForceTeamSize(kTeamSize); }
  ScopedTeamSize(const ScopedTeamSize&) = delete;
  ScopedTeamSize& operator=(const ScopedTeamSize&) = delete;
};

// Calls work() with teams of several sizes, with teams that the runtime may
// shrink, and from inside a parallel region, where every team has one thread.
template <typename Work>
void WithEachThreadCount(const Work& work) {
  for (const int size : kTeamSizes) {
    const ScopedTeamSize forced(size);
    for (const int dynamic : {0, 1}) {
      omp_set_dynamic(dynamic);
      work();
    }
  }
  omp_set_dynamic(0);
  omp_set_max_active_levels(1);
#pragma omp parallel num_threads(2)
  {
#pragma omp single
    work();
  }
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
