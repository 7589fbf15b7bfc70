// SPDX-License-Identifier: MIT
//
// Carries an exception from any worker to the thread that started the loop: Run wraps
// the calls, Rethrow follows the loop.
#ifndef QOLM_BASE_EXCEPTION_TRAP_H_
#define QOLM_BASE_EXCEPTION_TRAP_H_

#include <atomic>
#include <exception>
#include <utility>

namespace qolm {

class ExceptionTrap {
 public:
  // Calls `work`; the first exception of all calls is kept. Any thread.
  template <typename Work>
  void Run(Work&& work) noexcept {
    try {
      std::forward<Work>(work)();
    } catch (...) {
      if (!caught_.test_and_set()) exception_ = std::current_exception();
    }
  }

  // Throws what was caught, if anything was. Only once all calls are done.
  void Rethrow() const {
    if (exception_) std::rethrow_exception(exception_);
  }

 private:
  std::atomic_flag caught_ = ATOMIC_FLAG_INIT;
  std::exception_ptr exception_;
};

}  // namespace qolm

#endif  // QOLM_BASE_EXCEPTION_TRAP_H_
