// SPDX-License-Identifier: MIT
#include "base/parallel_for.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "base/exception_trap.h"

namespace qolm {
namespace {

// Enough chunks that workers finish at about the same time, few enough that the cost
// of taking one is negligible even for short calls.
constexpr size_t kMaxChunks = 128;

std::atomic<size_t> forced_count = 0;  // 0: the default applies

size_t WorkerCount() {
  static const size_t default_count =
      std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kMaxWorkers);
  const size_t forced = forced_count.load(std::memory_order_relaxed);
  return forced != 0 ? forced : default_count;
}

// Set while a thread runs chunks.
thread_local bool in_a_loop = false;

// A loop split into chunks; every worker takes the next chunk until none is left.
class ChunkedLoop {
 public:
  ChunkedLoop(size_t count, LoopChunk chunk, const void* work)
      : count_(count), length_((count + kMaxChunks - 1) / kMaxChunks), chunk_(chunk), work_(work) {}

  void TakeChunks() noexcept {
    const bool inside_another = std::exchange(in_a_loop, true);
    while (true) {
      const size_t first = length_ * next_.fetch_add(1, std::memory_order_relaxed);
      if (first >= count_) break;
      trap_.Run([&] { chunk_(work_, first, std::min(first + length_, count_)); });
    }
    in_a_loop = inside_another;
  }

  void Rethrow() const { trap_.Rethrow(); }

 private:
  const size_t count_;
  const size_t length_;
  const LoopChunk chunk_;
  const void* const work_;
  std::atomic<size_t> next_ = 0;
  ExceptionTrap trap_;
};

// The threads that work beside the caller of RunChunks; they block between loops.
class WorkerPool {
 public:
  // Never destroyed: a program may end while the threads block.
  static WorkerPool& Get() {
    static WorkerPool& pool = *new WorkerPool;
    return pool;
  }

  // Returns when no worker runs chunks of the loop any more. Returns false, with nothing
  // done, while the pool works on another thread's loop.
  [[nodiscard]] bool Run(ChunkedLoop& loop, size_t workers) {
    const std::unique_lock one_loop_at_a_time(caller_, std::try_to_lock);
    if (!one_loop_at_a_time) return false;
    Start(workers - 1);
    loop_ = &loop;
    max_inside_.store(static_cast<uint32_t>(workers - 1), std::memory_order_relaxed);
    gate_.store(kOpen, std::memory_order_release);
    {
      const std::lock_guard lock(mutex_);
      ++loops_;
    }
    work_.notify_all();
    loop.TakeChunks();
    // Closes the gate: workers that have not entered do not delay completion.
    if (gate_.fetch_and(~kOpen, std::memory_order_acq_rel) == kOpen) return true;
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return gate_.load(std::memory_order_acquire) == 0; });
    return true;
  }

  void Stop() {
    const std::lock_guard one_loop_at_a_time(caller_);
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    work_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    stopping_ = false;
  }

  size_t ThreadCount() {
    const std::lock_guard one_loop_at_a_time(caller_);
    return threads_.size();
  }

 private:
  static constexpr uint32_t kOpen = 1;
  static constexpr uint32_t kOneInside = 2;

  // When the system cannot start more threads, fewer share the work.
  void Start(size_t number) {
    try {
      while (threads_.size() < number) threads_.emplace_back([this] { ThreadMain(); });
    } catch (...) {
    }
  }

  void ThreadMain() {
    for (uint64_t seen = 0;;) {
      {
        std::unique_lock lock(mutex_);
        work_.wait(lock, [&] { return stopping_ || loops_ != seen; });
        if (stopping_) return;
        seen = loops_;
      }
      if (!Enter()) continue;
      loop_->TakeChunks();
      if (gate_.fetch_sub(kOneInside, std::memory_order_acq_rel) == kOneInside) NotifyDone();
    }
  }

  // Under the lock the waiting caller either has not read the gate yet or blocks on done_.
  void NotifyDone() {
    { const std::lock_guard lock(mutex_); }
    done_.notify_one();
  }

  bool Enter() {
    uint32_t gate = gate_.load(std::memory_order_acquire);
    while ((gate & kOpen) != 0 && gate / kOneInside < max_inside_.load(std::memory_order_relaxed)) {
      if (gate_.compare_exchange_weak(gate, gate + kOneInside, std::memory_order_acquire)) {
        return true;
      }
    }
    return false;
  }

  std::mutex caller_;
  std::vector<std::thread> threads_;
  ChunkedLoop* loop_ = nullptr;  // valid for the workers inside the gate
  std::atomic<uint32_t> max_inside_ = 0;
  std::atomic<uint32_t> gate_ = 0;  // kOpen, and kOneInside for each worker inside
  // For blocking. std::atomic::wait can miss a notification on platforms for which GCC 12
  // has no futex, such as Windows.
  std::mutex mutex_;
  std::condition_variable work_;
  std::condition_variable done_;
  uint64_t loops_ = 0;  // started so far
  bool stopping_ = false;
};

}  // namespace

void ForceWorkerCount(size_t count) { forced_count.store(count, std::memory_order_relaxed); }

void StopWorkerThreads() { WorkerPool::Get().Stop(); }

size_t WorkerThreadCount() { return WorkerPool::Get().ThreadCount(); }

void RunChunks(size_t count, LoopChunk chunk, const void* work) {
  const size_t workers = in_a_loop ? 1 : WorkerCount();
  ChunkedLoop loop(count, chunk, work);
  if (workers == 1 || !WorkerPool::Get().Run(loop, workers)) loop.TakeChunks();
  loop.Rethrow();
}

}  // namespace qolm
