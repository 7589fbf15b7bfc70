// SPDX-License-Identifier: MIT
#include "base/parallel_for.h"

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

class ParallelForTest : public ::testing::TestWithParam<bool> {
 protected:
  bool parallel() const { return GetParam(); }

  // The number of times that each call of the loop was made.
  std::vector<int> Calls(size_t count) const {
    std::vector<std::atomic<int>> calls(count);
    ParallelFor(count, parallel(), [&](size_t i) { ++calls.at(i); });
    return {calls.begin(), calls.end()};
  }
};

TEST_P(ParallelForTest, EmptyLoopMakesNoCall) {
  ParallelFor(0, parallel(), [](size_t) { FAIL() << "called"; });
}

TEST_P(ParallelForTest, SingleCallRunsOnCallingThread) {
  std::vector<std::thread::id> threads;
  ParallelFor(1, parallel(), [&](size_t i) {
    EXPECT_EQ(i, 0u);
    threads.push_back(std::this_thread::get_id());
  });
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

// Counts around the number of workers and of chunks, and with chunks of unequal length.
TEST_P(ParallelForTest, EveryCallIsMadeOnce) {
  for (const size_t count : {2U, 3U, 4U, 5U, 127U, 128U, 129U, 255U, 256U, 257U, 1000U, 10007U}) {
    const std::vector<int> calls = Calls(count);
    EXPECT_EQ(calls.size(), count);
    EXPECT_THAT(calls, Each(1)) << count;
  }
}

TEST_P(ParallelForTest, WritesOfAllCallsAreVisibleAfterTheLoop) {
  std::vector<size_t> squares(5000);
  ParallelFor(squares.size(), parallel(), [&](size_t i) { squares[i] = i * i; });
  for (size_t i = 0; i < squares.size(); ++i) ASSERT_EQ(squares[i], i * i);
}

TEST_P(ParallelForTest, ExceptionReachesCaller) {
  for (const size_t bad : {0U, 1U, 77U, 499U}) {
    try {
      ParallelFor(500, parallel(), [&](size_t i) {
        if (i == bad) throw std::runtime_error("call " + std::to_string(i));
      });
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "call " + std::to_string(bad));
    }
  }
}

TEST_P(ParallelForTest, OneOfManyExceptionsReachesCaller) {
  EXPECT_THROW(ParallelFor(500, parallel(), [](size_t) { throw std::bad_alloc(); }),
               std::bad_alloc);
}

TEST_P(ParallelForTest, NoCallRunsAfterException) {
  std::atomic<int> under_way = 0;
  const auto throw_from_some = [&](size_t i) {
    ++under_way;
    std::this_thread::yield();
    --under_way;
    if (i % 50 == 7) throw std::runtime_error("some");
  };
  EXPECT_THROW(ParallelFor(400, parallel(), throw_from_some), std::runtime_error);
  EXPECT_EQ(under_way, 0);
}

TEST_P(ParallelForTest, WorksAgainAfterAnException) {
  EXPECT_THROW(ParallelFor(9, parallel(), [](size_t) { throw 1; }), int);
  EXPECT_THAT(Calls(300), Each(1));
}

// Each worker of the outer loop runs a whole inner loop.
TEST_P(ParallelForTest, NestedLoopsMakeEveryCallOnce) {
  constexpr size_t kOuter = 20;
  constexpr size_t kInner = 300;
  std::vector<std::atomic<int>> calls(kOuter * kInner);
  ParallelFor(kOuter, true, [&](size_t outer) {
    ParallelFor(kInner, parallel(), [&](size_t inner) { ++calls[outer * kInner + inner]; });
  });
  EXPECT_THAT((std::vector<int>{calls.begin(), calls.end()}), Each(1));
}

TEST_P(ParallelForTest, ExceptionPropagatesThroughNestedLoops) {
  const auto outer = [&](size_t i) {
    ParallelFor(300, parallel(), [&](size_t j) {
      if (i == 3 && j == 250) throw std::runtime_error("inner");
    });
  };
  EXPECT_THROW(ParallelFor(20, true, outer), std::runtime_error);
}

INSTANTIATE_TEST_SUITE_P(SequentialAndParallel, ParallelForTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Parallel" : "Sequential"; });

TEST(SequentialFor, CallsAreInOrderOnCallingThread) {
  std::vector<size_t> order;
  std::set<std::thread::id> threads;
  ParallelFor(1000, false, [&](size_t i) {
    order.push_back(i);
    threads.insert(std::this_thread::get_id());
  });
  EXPECT_EQ(order.size(), 1000u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

TEST(SequentialFor, NoCallsAfterException) {
  std::vector<size_t> calls;
  EXPECT_THROW(ParallelFor(9, false,
                           [&](size_t i) {
                             if (i == 2) throw 1;
                             calls.push_back(i);
                           }),
               int);
  EXPECT_THAT(calls, ElementsAre(0, 1));
}

// The threads that run a loop. Every call waits, for at most `max_polls` polls, until all
// workers have entered, so that none can finish the loop alone.
std::set<std::thread::id> LoopThreads(size_t expected, int max_polls = 100000) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  const auto is_complete = [&] {
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
    return threads.size() >= expected;
  };
  ParallelFor(32, true, [&](size_t) {
    for (int patience = max_polls; patience > 0 && !is_complete(); --patience) {
      std::this_thread::yield();
    }
  });
  return threads;
}

TEST(WorkerPool, UsesOneWorkerPerProcessorUpToLimit) {
  const size_t size = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kMaxWorkers);
  const std::set<std::thread::id> threads = LoopThreads(size);
  EXPECT_EQ(threads.size(), size);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 1u);
}

TEST(WorkerPool, UsesTheForcedWorkerCount) {
  for (const size_t size : test::kWorkerCounts) {
    const test::ScopedWorkerCount forced(size);
    EXPECT_EQ(LoopThreads(size).size(), size);
  }
}

TEST(WorkerPool, StartsOneThreadPerAdditionalWorker) {
  StopWorkerThreads();
  EXPECT_EQ(WorkerThreadCount(), 0U);
  ParallelFor(2, true, [](size_t) {});
  const size_t default_count =
      std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kMaxWorkers);
  EXPECT_EQ(WorkerThreadCount(), default_count - 1);
  StopWorkerThreads();
  for (const size_t size : {1U, 2U, 3U, 8U}) {
    const test::ScopedWorkerCount forced(size);
    for (int round = 0; round < 5; ++round) ParallelFor(100, true, [](size_t) {});
    EXPECT_EQ(WorkerThreadCount(), size - 1);
  }
  StopWorkerThreads();
}

TEST(WorkerPool, SequentialLoopsStartNoThread) {
  StopWorkerThreads();
  const test::ScopedWorkerCount forced(4);
  ParallelFor(1000, false, [](size_t) {});
  ParallelFor(1, true, [](size_t) {});
  ParallelFor(0, true, [](size_t) {});
  EXPECT_EQ(WorkerThreadCount(), 0U);
}

// The pool has more threads than the loop has workers, and all of them are woken.
TEST(WorkerPool, FewerWorkersUseFewerThreads) {
  {
    const test::ScopedWorkerCount forced(8);
    ParallelFor(100, true, [](size_t) {});
  }
  for (const size_t size : {2U, 3U}) {
    const test::ScopedWorkerCount forced(size);
    size_t most = 0;
    // On a busy machine a worker may miss a whole loop, but there must never be too many.
    for (int round = 0; round < 50 && most != size; ++round) {
      most = std::max(most, LoopThreads(size + 1, 300).size());
    }
    EXPECT_EQ(most, size);
  }
  EXPECT_EQ(WorkerThreadCount(), 7U);
  StopWorkerThreads();
}

TEST(WorkerPool, InnerLoopRunsOnItsWorker) {
  const test::ScopedWorkerCount forced(3);
  std::mutex mutex;
  size_t strangers = 0;
  size_t calls = 0;
  const auto inner_loop = [&](size_t) {
    const std::thread::id outer_worker = std::this_thread::get_id();
    ParallelFor(50, true, [&](size_t) {
      std::this_thread::yield();
      const std::lock_guard lock(mutex);
      ++calls;
      if (std::this_thread::get_id() != outer_worker) ++strangers;
    });
  };
  ParallelFor(12, true, inner_loop);
  EXPECT_EQ(calls, 600U);
  EXPECT_EQ(strangers, 0U);
}

// No worker takes a chunk of the previous loop, however soon the next one follows.
TEST(WorkerPool, ConsecutiveLoopsDoNotOverlap) {
  const test::ScopedWorkerCount forced(3);
  for (size_t round = 0; round < 20'000; ++round) {
    std::array<std::atomic<size_t>, 5> calls{};
    ParallelFor(calls.size(), true, [&](size_t i) { calls[i] += round + 1; });
    for (const std::atomic<size_t>& call : calls) ASSERT_EQ(call, round + 1);
  }
}

// The calling thread finishes long before the other workers.
TEST(WorkerPool, WaitsForTheSlowestWorker) {
  const test::ScopedWorkerCount forced(2);
  const std::thread::id caller = std::this_thread::get_id();
  int entered = 0;
  for (int round = 0; round < 1'000; ++round) {
    std::atomic<int> done = 0;
    std::atomic<bool> worker_entered = false;
    ParallelFor(2, true, [&](size_t) {
      if (std::this_thread::get_id() != caller) {
        worker_entered = true;
        std::this_thread::sleep_for(std::chrono::microseconds(round % 100));
      } else {
        for (int patience = 1000; patience > 0 && !worker_entered; --patience) {
          std::this_thread::yield();
        }
      }
      ++done;
    });
    ASSERT_EQ(done, 2);
    if (worker_entered) ++entered;
  }
  EXPECT_GT(entered, 0);
}

// The last worker may finish at any point while the caller blocks, so its delay grows from
// round to round.
TEST(WorkerPool, ReturnsWhenLastWorkerFinishesDuringBlocking) {
  const test::ScopedWorkerCount forced(2);
  const std::thread::id caller = std::this_thread::get_id();
  for (int round = 0; round < 100'000; ++round) {
    std::atomic<bool> worker_entered = false;
    std::atomic<int> delay = 0;
    ParallelFor(2, true, [&](size_t) {
      if (std::this_thread::get_id() != caller) {
        worker_entered = true;
        while (delay < round % 100) ++delay;
      } else {
        for (int patience = 1000; patience > 0 && !worker_entered; --patience) {
          std::this_thread::yield();
        }
      }
    });
  }
}

TEST(WorkerPool, StoppedThreadsAreRestarted) {
  StopWorkerThreads();
  StopWorkerThreads();
  const test::ScopedWorkerCount forced(3);
  EXPECT_EQ(LoopThreads(3).size(), 3U);
  StopWorkerThreads();
  EXPECT_EQ(LoopThreads(3).size(), 3U);
}

TEST(WorkerPool, ConcurrentLoopsComplete) {
  const test::ScopedWorkerCount forced(3);
  std::atomic<size_t> sum = 0;
  const auto many_loops = [&] {
    for (int round = 0; round < 2'000; ++round) {
      ParallelFor(10, true, [&](size_t i) { sum += i; });
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
