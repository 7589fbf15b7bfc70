// Running the same work with different numbers of threads.
#ifndef QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
#define QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_

#include <cstddef>

#include "base/team.h"

namespace qolm::test {

inline constexpr size_t kTeamSizes[] = {1, 2, 3, 8};

// Gives teams another size for the time of a scope.
class ScopedTeamSize {
 public:
  explicit ScopedTeamSize(size_t size) { ForceTeamSize(size); }
  ~ScopedTeamSize() { ForceTeamSize(0); }
  ScopedTeamSize(const ScopedTeamSize&) = delete;
  ScopedTeamSize& operator=(const ScopedTeamSize&) = delete;
};

// Calls work() with teams of several sizes, and from inside a team's loop, where every
// team has one member.
template <typename Work>
void WithEachThreadCount(const Work& work) {
  for (const size_t size : kTeamSizes) {
    const ScopedTeamSize forced(size);
    work();
  }
  const ScopedTeamSize forced(2);
  ForEachInTeam(2, true, [&](size_t i) {
    if (i == 1) work();
  });
}

// How many threads help in work() when teams have three members.
template <typename Work>
size_t StartedThreads(const Work& work) {
  EndTeamThreads();
  const ScopedTeamSize forced(3);
  work();
  const size_t started = KeptTeamThreads();
  EndTeamThreads();
  return started;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_THREAD_COUNTS_H_
