#include "base/team.h"

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

// Enough that no member waits long for the last piece of another, and few
// enough that taking one costs nothing beside short rows.
constexpr size_t kMostPieces = 128;

std::atomic<size_t> forced_size = 0;  // 0: none is

size_t TeamSize() {
  static const size_t usual = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kTeamSize);
  const size_t forced = forced_size.load(std::memory_order_relaxed);
  return forced != 0 ? forced : usual;
}

// Set while a thread is a member.
thread_local bool in_a_loop = false;

// A loop in pieces, of which every member takes the next until none is left.
class SharedLoop {
 public:
  SharedLoop(size_t count, LoopPiece piece, const void* work)
      : count_(count),
        length_((count + kMostPieces - 1) / kMostPieces),
        piece_(piece),
        work_(work) {}

  void TakePieces() noexcept {
    const bool inside_another = std::exchange(in_a_loop, true);
    while (true) {
      const size_t first = length_ * next_.fetch_add(1, std::memory_order_relaxed);
      if (first >= count_) break;
      trap_.Run([&] { piece_(work_, first, std::min(first + length_, count_)); });
    }
    in_a_loop = inside_another;
  }

  void Rethrow() const { trap_.Rethrow(); }

 private:
  const size_t count_;
  const size_t length_;
  const LoopPiece piece_;
  const void* const work_;
  std::atomic<size_t> next_ = 0;
  ExceptionTrap trap_;
};

// The threads that help the one that calls ShareLoop, which sleep between loops.
class Helpers {
 public:
  // Never destroyed: a program may end while the threads sleep.
  static Helpers& Get() {
    static Helpers& helpers = *new Helpers;
    return helpers;
  }

  // Back when nobody works on the loop any more. False, with nothing done, while
  // another thread's loop is shared.
  [[nodiscard]] bool Share(SharedLoop& loop, size_t members) {
    const std::unique_lock one_at_a_time(caller_, std::try_to_lock);
    if (!one_at_a_time) return false;
    Start(members - 1);
    loop_ = &loop;
    most_inside_.store(static_cast<uint32_t>(members - 1), std::memory_order_relaxed);
    gate_.store(kOpen, std::memory_order_release);
    {
      const std::lock_guard lock(mutex_);
      ++loops_;
    }
    work_.notify_all();
    loop.TakePieces();
    // Who has not come by now is not waited for.
    if (gate_.fetch_and(~kOpen, std::memory_order_acq_rel) == kOpen) return true;
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return gate_.load(std::memory_order_acquire) == 0; });
    return true;
  }

  void End() {
    const std::lock_guard one_at_a_time(caller_);
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    work_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    ending_ = false;
  }

  size_t Kept() {
    const std::lock_guard one_at_a_time(caller_);
    return threads_.size();
  }

 private:
  static constexpr uint32_t kOpen = 1;
  static constexpr uint32_t kOneInside = 2;

  // Where the system has no more threads to give, fewer have to do.
  void Start(size_t number) {
    try {
      while (threads_.size() < number) threads_.emplace_back([this] { Run(); });
    } catch (...) {
    }
  }

  void Run() {
    for (uint64_t seen = 0;;) {
      {
        std::unique_lock lock(mutex_);
        work_.wait(lock, [&] { return ending_ || loops_ != seen; });
        if (ending_) return;
        seen = loops_;
      }
      if (!Enter()) continue;
      loop_->TakePieces();
      if (gate_.fetch_sub(kOneInside, std::memory_order_acq_rel) == kOneInside) Tell();
    }
  }

  // The one who waits has either not looked at the gate yet or sleeps.
  void Tell() {
    { const std::lock_guard lock(mutex_); }
    done_.notify_one();
  }

  bool Enter() {
    uint32_t gate = gate_.load(std::memory_order_acquire);
    while ((gate & kOpen) != 0 &&
           gate / kOneInside < most_inside_.load(std::memory_order_relaxed)) {
      if (gate_.compare_exchange_weak(gate, gate + kOneInside, std::memory_order_acquire)) {
        return true;
      }
    }
    return false;
  }

  std::mutex caller_;
  std::vector<std::thread> threads_;
  SharedLoop* loop_ = nullptr;  // valid for those inside
  std::atomic<uint32_t> most_inside_ = 0;
  std::atomic<uint32_t> gate_ = 0;  // open or not, and how many helpers are inside
  // For sleeping. (std::atomic's own wait may miss what wakes it where GCC 12 has no
  // futex for it, as on Windows.)
  std::mutex mutex_;
  std::condition_variable work_;
  std::condition_variable done_;
  uint64_t loops_ = 0;  // that were ever shared
  bool ending_ = false;
};

}  // namespace

void ForceTeamSize(size_t size) { forced_size.store(size, std::memory_order_relaxed); }

void EndTeamThreads() { Helpers::Get().End(); }

size_t KeptTeamThreads() { return Helpers::Get().Kept(); }

void ShareLoop(size_t count, LoopPiece piece, const void* work) {
  const size_t members = in_a_loop ? 1 : TeamSize();
  SharedLoop loop(count, piece, work);
  if (members == 1 || !Helpers::Get().Share(loop, members)) loop.TakePieces();
  loop.Rethrow();
}

}  // namespace qolm
