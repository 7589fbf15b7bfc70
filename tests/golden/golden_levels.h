// Running the same work at every vector level and with teams of every size.
#ifndef QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_
#define QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_

#include <iterator>
#include <string>
#include <vector>

#include "base/team.h"
#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"

namespace qolm::golden {

// Calls work(words), where the words name level and team. Where nothing is worth
// a team, teams of any size do the same.
template <typename Work>
void AtEachLevel(bool with_each_team, const Work& work) {
  std::vector<size_t> sizes(std::begin(test::kTeamSizes), std::end(test::kTeamSizes));
  if (!with_each_team) sizes = {kTeamSize};
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced_level(level);
    for (const size_t members : sizes) {
      const test::ScopedTeamSize forced_size(members);
      work("level " + std::to_string(static_cast<int>(level)) + ", team of " +
           std::to_string(members));
    }
  }
}

}  // namespace qolm::golden

#endif  // QOLM_TESTS_GOLDEN_GOLDEN_LEVELS_H_
