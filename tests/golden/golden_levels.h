// SPDX-License-Identifier: MIT
//
// Running the same work at every vector level and with every number of workers.
#ifndef QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_
#define QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_

#include <iterator>
#include <string>
#include <vector>

#include "base/parallel_for.h"
#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"

namespace qolm::golden {

// Calls work(words), where the words name level and workers. Where nothing is large
// enough for several workers, every number of them does the same.
template <typename Work>
void AtEachLevel(bool with_each_count, const Work& work) {
  std::vector<size_t> counts(std::begin(test::kWorkerCounts), std::end(test::kWorkerCounts));
  if (!with_each_count) counts = {kMaxWorkers};
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced_level(level);
    for (const size_t workers : counts) {
      const test::ScopedWorkerCount forced_workers(workers);
      work("level " + std::to_string(static_cast<int>(level)) + ", workers " +
           std::to_string(workers));
    }
  }
}

}  // namespace qolm::golden

#endif  // QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_
