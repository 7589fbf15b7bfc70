#include "base/team.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/thread_counts.h"

namespace qolm {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

class TeamTest : public ::testing::TestWithParam<bool> {
 protected:
  bool worth_a_team() const { return GetParam(); }

  // How often the loop made each of its calls.
  std::vector<int> Calls(size_t count) const {
    std::vector<std::atomic<int>> calls(count);
    ForEachInTeam(count, worth_a_team(), [&](size_t i) { ++calls.at(i); });
    return {calls.begin(), calls.end()};
  }
};

TEST_P(TeamTest, NothingToDo) {
  ForEachInTeam(0, worth_a_team(), [](size_t) { FAIL() << "called"; });
}

TEST_P(TeamTest, OneCallIsMadeOnTheCallersThread) {
  std::vector<std::thread::id> threads;
  ForEachInTeam(1, worth_a_team(), [&](size_t i) {
    EXPECT_EQ(i, 0u);
    threads.push_back(std::this_thread::get_id());
  });
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

// Around the numbers of members and of pieces, and where no piece is like the others.
TEST_P(TeamTest, EveryCallIsMadeOnce) {
  for (const size_t count : {2U, 3U, 4U, 5U, 127U, 128U, 129U, 255U, 256U, 257U, 1000U, 10007U}) {
    const std::vector<int> calls = Calls(count);
    EXPECT_EQ(calls.size(), count);
    EXPECT_THAT(calls, Each(1)) << count;
  }
}

TEST_P(TeamTest, WhatTheCallsWroteIsThereAfterwards) {
  std::vector<size_t> squares(5000);
  ForEachInTeam(squares.size(), worth_a_team(), [&](size_t i) { squares[i] = i * i; });
  for (size_t i = 0; i < squares.size(); ++i) ASSERT_EQ(squares[i], i * i);
}

TEST_P(TeamTest, AnExceptionReachesTheCaller) {
  for (const size_t bad : {0U, 1U, 77U, 499U}) {
    try {
      ForEachInTeam(500, worth_a_team(), [&](size_t i) {
        if (i == bad) throw std::runtime_error("call " + std::to_string(i));
      });
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "call " + std::to_string(bad));
    }
  }
}

TEST_P(TeamTest, OneOfManyExceptionsReachesTheCaller) {
  EXPECT_THROW(ForEachInTeam(500, worth_a_team(), [](size_t) { throw std::bad_alloc(); }),
               std::bad_alloc);
}

TEST_P(TeamTest, NoCallIsUnderWayOnceTheExceptionIsThere) {
  std::atomic<int> under_way = 0;
  const auto throw_from_some = [&](size_t i) {
    ++under_way;
    std::this_thread::yield();
    --under_way;
    if (i % 50 == 7) throw std::runtime_error("some");
  };
  EXPECT_THROW(ForEachInTeam(400, worth_a_team(), throw_from_some), std::runtime_error);
  EXPECT_EQ(under_way, 0);
}

TEST_P(TeamTest, WorksAgainAfterAnException) {
  EXPECT_THROW(ForEachInTeam(9, worth_a_team(), [](size_t) { throw 1; }), int);
  EXPECT_THAT(Calls(300), Each(1));
}

// The members of the outer loop each run all of an inner one.
TEST_P(TeamTest, LoopsInLoops) {
  constexpr size_t kOuter = 20;
  constexpr size_t kInner = 300;
  std::vector<std::atomic<int>> calls(kOuter * kInner);
  ForEachInTeam(kOuter, true, [&](size_t outer) {
    ForEachInTeam(kInner, worth_a_team(), [&](size_t inner) { ++calls[outer * kInner + inner]; });
  });
  EXPECT_THAT((std::vector<int>{calls.begin(), calls.end()}), Each(1));
}

TEST_P(TeamTest, AnExceptionPassesThroughBothLoops) {
  const auto outer = [&](size_t i) {
    ForEachInTeam(300, worth_a_team(), [&](size_t j) {
      if (i == 3 && j == 250) throw std::runtime_error("inner");
    });
  };
  EXPECT_THROW(ForEachInTeam(20, true, outer), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(AloneAndTogether, TeamTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Team" : "Alone"; });

TEST(Alone, CallsComeInOrderOnTheCallersThread) {
  std::vector<size_t> order;
  std::set<std::thread::id> threads;
  ForEachInTeam(1000, false, [&](size_t i) {
    order.push_back(i);
    threads.insert(std::this_thread::get_id());
  });
  EXPECT_EQ(order.size(), 1000u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

TEST(Alone, NoCallFollowsAnException) {
  std::vector<size_t> calls;
  EXPECT_THROW(ForEachInTeam(9, false,
                             [&](size_t i) {
                               if (i == 2) throw 1;
                               calls.push_back(i);
                             }),
               int);
  EXPECT_THAT(calls, ElementsAre(0, 1));
}

// The threads of a team. Every call waits for all members, so that none can do
// the whole loop before the others have come, and for so many looks at most.
std::set<std::thread::id> TeamMembers(size_t expected, int most_looks = 100000) {
  std::mutex mutex;
  std::set<std::thread::id> members;
  const auto is_complete = [&] {
    const std::lock_guard lock(mutex);
    members.insert(std::this_thread::get_id());
    return members.size() >= expected;
  };
  ForEachInTeam(32, true, [&](size_t) {
    for (int patience = most_looks; patience > 0 && !is_complete(); --patience) {
      std::this_thread::yield();
    }
  });
  return members;
}

TEST(Team, HasItsSize) {
  const size_t size = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kTeamSize);
  const std::set<std::thread::id> members = TeamMembers(size);
  EXPECT_EQ(members.size(), size);
  EXPECT_EQ(members.count(std::this_thread::get_id()), 1u);
}

TEST(Team, HasTheSizeThatATestWants) {
  for (const size_t size : test::kTeamSizes) {
    const test::ScopedTeamSize forced(size);
    EXPECT_EQ(TeamMembers(size).size(), size);
  }
}

// A team of the usual size has a thread for each member but the calling one.
TEST(Team, StartsAThreadForEachMemberButTheCaller) {
  EndTeamThreads();
  EXPECT_EQ(KeptTeamThreads(), 0U);
  ForEachInTeam(2, true, [](size_t) {});
  const size_t usual = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kTeamSize);
  EXPECT_EQ(KeptTeamThreads(), usual - 1);
  EndTeamThreads();
  for (const size_t size : {1U, 2U, 3U, 8U}) {
    const test::ScopedTeamSize forced(size);
    for (int round = 0; round < 5; ++round) ForEachInTeam(100, true, [](size_t) {});
    EXPECT_EQ(KeptTeamThreads(), size - 1);
  }
  EndTeamThreads();
}

TEST(Team, LoopsThatNeedNoHelpStartNoThread) {
  EndTeamThreads();
  const test::ScopedTeamSize forced(4);
  ForEachInTeam(1000, false, [](size_t) {});
  ForEachInTeam(1, true, [](size_t) {});
  ForEachInTeam(0, true, [](size_t) {});
  EXPECT_EQ(KeptTeamThreads(), 0U);
}

// More threads are kept than a smaller team wants, and all of them are woken.
TEST(Team, ASmallerTeamLeavesTheOtherThreadsAlone) {
  {
    const test::ScopedTeamSize forced(8);
    ForEachInTeam(100, true, [](size_t) {});
  }
  for (const size_t size : {2U, 3U}) {
    const test::ScopedTeamSize forced(size);
    size_t most = 0;
    // On a busy machine a member may come too late for a whole loop, but none too many
    // may ever come.
    for (int round = 0; round < 50 && most != size; ++round) {
      most = std::max(most, TeamMembers(size + 1, 300).size());
    }
    EXPECT_EQ(most, size);
  }
  EXPECT_EQ(KeptTeamThreads(), 7U);
  EndTeamThreads();
}

TEST(Team, AnInnerLoopStaysOnTheThreadOfItsMember) {
  const test::ScopedTeamSize forced(3);
  std::mutex mutex;
  size_t strangers = 0;
  size_t calls = 0;
  const auto inner_loop = [&](size_t) {
    const std::thread::id member = std::this_thread::get_id();
    ForEachInTeam(50, true, [&](size_t) {
      std::this_thread::yield();
      const std::lock_guard lock(mutex);
      ++calls;
      if (std::this_thread::get_id() != member) ++strangers;
    });
  };
  ForEachInTeam(12, true, inner_loop);
  EXPECT_EQ(calls, 600U);
  EXPECT_EQ(strangers, 0U);
}

// Each loop's pieces are its own, however soon the next one follows.
TEST(Team, ManyShortLoops) {
  const test::ScopedTeamSize forced(3);
  for (size_t round = 0; round < 20'000; ++round) {
    std::array<std::atomic<size_t>, 5> calls{};
    ForEachInTeam(calls.size(), true, [&](size_t i) { calls[i] += round + 1; });
    for (const std::atomic<size_t>& call : calls) ASSERT_EQ(call, round + 1);
  }
}

// The calling thread has done its part long before the others.
TEST(Team, WaitsForItsSlowestMember) {
  const test::ScopedTeamSize forced(2);
  const std::thread::id caller = std::this_thread::get_id();
  int helped = 0;
  for (int round = 0; round < 1'000; ++round) {
    std::atomic<int> done = 0;
    std::atomic<bool> someone_helps = false;
    ForEachInTeam(2, true, [&](size_t) {
      if (std::this_thread::get_id() != caller) {
        someone_helps = true;
        std::this_thread::sleep_for(std::chrono::microseconds(round % 100));
      } else {
        for (int patience = 1000; patience > 0 && !someone_helps; --patience) {
          std::this_thread::yield();
        }
      }
      ++done;
    });
    ASSERT_EQ(done, 2);
    if (someone_helps) ++helped;
  }
  EXPECT_GT(helped, 0);
}

// The last of the others may end at any moment of the caller's falling asleep, so it
// takes a little longer from round to round.
TEST(Team, EndsThoughTheLastMemberIsDoneAsTheCallerFallsAsleep) {
  const test::ScopedTeamSize forced(2);
  const std::thread::id caller = std::this_thread::get_id();
  for (int round = 0; round < 100'000; ++round) {
    std::atomic<bool> someone_helps = false;
    std::atomic<int> spent = 0;
    ForEachInTeam(2, true, [&](size_t) {
      if (std::this_thread::get_id() != caller) {
        someone_helps = true;
        while (spent < round % 100) ++spent;
      } else {
        for (int patience = 1000; patience > 0 && !someone_helps; --patience) {
          std::this_thread::yield();
        }
      }
    });
  }
}

TEST(Team, ThreadsThatWereEndedAreStartedAgain) {
  EndTeamThreads();
  EndTeamThreads();
  const test::ScopedTeamSize forced(3);
  EXPECT_EQ(TeamMembers(3).size(), 3U);
  EndTeamThreads();
  EXPECT_EQ(TeamMembers(3).size(), 3U);
}

TEST(Team, LoopsOfSeveralThreadsAtOnce) {
  const test::ScopedTeamSize forced(3);
  std::atomic<size_t> sum = 0;
  const auto many_loops = [&] {
    for (int round = 0; round < 2'000; ++round) {
      ForEachInTeam(10, true, [&](size_t i) { sum += i; });
    }
  };
  std::thread other(many_loops);
  std::thread third(many_loops);
  many_loops();
  other.join();
  third.join();
  EXPECT_EQ(sum, 3U * 2'000U * 45U);
}

}  // namespace
}  // namespace qolm
