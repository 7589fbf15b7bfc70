// Loops that a fork-join team shares, and when a team pays.
#ifndef QOLM_BASE_TEAM_H_
#define QOLM_BASE_TEAM_H_

#include <cstddef>

namespace qolm {

// The members of a team, which are fewer only on a machine of fewer processors.
inline constexpr size_t kTeamSize = 4;

// Gives every team from here on `size` members, 0 the usual number again. For tests,
// which show with it that results do not depend on the number.
void ForceTeamSize(size_t size);

// Below this many samples a team takes longer to start than one thread needs
// for the work.
inline constexpr size_t kSamplesWorthATeam = 32768;

// Does the calls `first` .. `end` - 1 of the loop body at `work`.
using LoopPiece = void (*)(const void* work, size_t first, size_t end);

// What ForEachInTeam does when a team pays: the calling thread takes piece after piece
// of the loop, and threads that are kept for it help. Who comes too late for a piece is
// not waited for, and who has none sleeps at once, since decoding and other programs
// want the processors too.
void ShareLoop(size_t count, LoopPiece piece, const void* work);

// Ends the threads that are kept, for the end of a program; a later loop has new ones.
// Not while a loop is under way.
void EndTeamThreads();

// How many threads are kept. For tests, which show with it that loops start no more
// than their teams have members. Not while a loop is under way.
size_t KeptTeamThreads();

// Calls work(i) for every i from 0 to count - 1, and is back when all calls are.
//
// Without a team they come in ascending order on the calling thread. A team takes
// them in any order, a few at a time, so that fast members take more. The calling
// thread is the only member inside another such loop, and while another thread's is
// under way.
//
// An exception of `work` leaves out the calls that would have followed in order, or, in
// a team, a few of them; once every member is done the first one caught is thrown.
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
