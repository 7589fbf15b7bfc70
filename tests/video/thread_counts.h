// Running the same work with different numbers of threads.
#ifndef QOLM_TESTS_VIDEO_THREAD_COUNTS_H_
#define QOLM_TESTS_VIDEO_THREAD_COUNTS_H_

#include <omp.h>

namespace qolm::test {

// Calls work() with several default team sizes, with teams that the runtime may
// shrink, and from inside a parallel region, where every team has one thread.
template <typename Work>
void WithEachThreadCount(const Work& work) {
  const int before = omp_get_max_threads();
  for (const int threads : {1, 2, 3, 8}) {
    omp_set_num_threads(threads);
    for (const int dynamic : {0, 1}) {
      omp_set_dynamic(dynamic);
      work();
    }
  }
  omp_set_dynamic(0);
  omp_set_num_threads(before);
  omp_set_max_active_levels(1);
#pragma omp parallel num_threads(2)
  {
#pragma omp single
    work();
  }
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_THREAD_COUNTS_H_
