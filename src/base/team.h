// Loops that a fork-join team shares, and when a team pays.
#ifndef QOLM_BASE_TEAM_H_
#define QOLM_BASE_TEAM_H_

#include <cstddef>

namespace qolm {

// One size everywhere lets the OpenMP runtime keep its threads between loops;
// with changing sizes it would end and start threads several times a picture.
inline constexpr int kTeamSize = 4;

// Gives every team from here on `size` members, at least 1. For tests, which
// show with it that results do not depend on the number; call it from one thread.
void ForceTeamSize(int size);

// Below this many samples a team takes longer to start than one thread needs
// for the work.
inline constexpr size_t kSamplesWorthATeam = 32768;

// Does the calls `first` .. `end` - 1 of the loop body at `work`.
using LoopPiece = void (*)(const void* work, size_t first, size_t end);

// What ForEachInTeam does when a team pays.
void ShareLoop(size_t count, LoopPiece piece, const void* work);

// Calls work(i) for every i from 0 to count - 1, and is back when all calls are.
//
// Without a team they come in ascending order on the calling thread, and the
// OpenMP runtime, which would make even a team of one at some cost, never hears
// of it. A team takes them in any order, a few at a time, so that fast members
// take more. Inside a parallel region the team has one member.
//
// An exception of `work` ends the loop: of the calls that have not begun, some or
// all are left out, and once every member is done the first one caught is thrown.
template <typename Work>
void ForEachInTeam(size_t count, bool worth_a_team, const Work& work) {
  const LoopPiece piece = [](const void* body, size_t first, size_t end) {
    const Work& call = *static_cast<const Work*>(body);
    for (size_t i = first; i < end; ++i) call(i);
  };
  if (worth_a_team && count > 1) {
    ShareLoop(count, piece, &work);
  } else {
    piece(&work, 0, count);
  }
}

}  // namespace qolm

#endif  // QOLM_BASE_TEAM_H_
