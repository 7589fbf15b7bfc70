#include "base/team.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>

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

// A loop in pieces, of which every member takes the next until none is left.
class SharedLoop {
 public:
  SharedLoop(size_t count, LoopPiece piece, const void* work)
      : count_(count),
        length_((count + kMostPieces - 1) / kMostPieces),
        piece_(piece),
        work_(work) {}

  void TakePieces() noexcept {
    while (true) {
      const size_t first = length_ * next_.fetch_add(1, std::memory_order_relaxed);
      if (first >= count_) return;
      trap_.Run([&] { piece_(work_, first, std::min(first + length_, count_)); });
    }
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

// Set while a thread is a member.
thread_local bool in_a_loop = false;

// The threads that help the one that calls ShareLoop, which sleep between loops.
class Helpers {
 public:
  // Never destroyed: the threads have no end but the program's.
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
    loops_.fetch_add(1, std::memory_order_release);
    loops_.notify_all();
    in_a_loop = true;
    loop.TakePieces();
    in_a_loop = false;
    // Who has not come by now is not waited for.
    gate_.fetch_and(~kOpen, std::memory_order_acq_rel);
    for (uint32_t gate = gate_.load(std::memory_order_acquire); gate != 0;
         gate = gate_.load(std::memory_order_acquire)) {
      gate_.wait(gate, std::memory_order_acquire);
    }
    return true;
  }

 private:
  static constexpr uint32_t kOpen = 1;
  static constexpr uint32_t kOneInside = 2;

  // Where the system has no more threads to give, fewer have to do.
  void Start(size_t number) {
    try {
      for (; started_ < number; ++started_) std::thread([this] { Run(); }).detach();
    } catch (const std::exception&) {
    }
  }

  [[noreturn]] void Run() {
    in_a_loop = true;
    for (uint32_t seen = 0;;) {
      loops_.wait(seen, std::memory_order_acquire);
      seen = loops_.load(std::memory_order_acquire);
      if (!Enter()) continue;
      loop_->TakePieces();
      if (gate_.fetch_sub(kOneInside, std::memory_order_acq_rel) == kOneInside) gate_.notify_one();
    }
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
  size_t started_ = 0;
  SharedLoop* loop_ = nullptr;  // valid for those inside
  std::atomic<uint32_t> most_inside_ = 0;
  std::atomic<uint32_t> gate_ = 0;   // open or not, and how many helpers are inside
  std::atomic<uint32_t> loops_ = 0;  // that were ever shared
};

}  // namespace

void ForceTeamSize(size_t size) { forced_size.store(size, std::memory_order_relaxed); }

void ShareLoop(size_t count, LoopPiece piece, const void* work) {
  const size_t members = in_a_loop ? 1 : TeamSize();
  SharedLoop loop(count, piece, work);
  if (members == 1 || !Helpers::Get().Share(loop, members)) loop.TakePieces();
  loop.Rethrow();
}

}  // namespace qolm
