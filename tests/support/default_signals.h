// SPDX-License-Identifier: MIT
//
// Signals as a shell leaves them, whatever started the tests: nohup ignores SIGHUP,
// and a service may ignore or block more.
#ifndef QOLM_TESTS_SUPPORT_DEFAULT_SIGNALS_H_
#define QOLM_TESTS_SUPPORT_DEFAULT_SIGNALS_H_

#include <signal.h>

#include <array>
#include <cstddef>

namespace qolm::test {

// While it lives, in this process and in what it starts.
class DefaultSignals {
 public:
  DefaultSignals() {
    struct sigaction by_default = {};
    by_default.sa_handler = SIG_DFL;
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &by_default, &actions_[i]);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, &mask_);
  }
  ~DefaultSignals() {
    sigprocmask(SIG_SETMASK, &mask_, nullptr);
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &actions_[i], nullptr);
  }
  DefaultSignals(const DefaultSignals&) = delete;
  DefaultSignals& operator=(const DefaultSignals&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGXFSZ, SIGPIPE};

  std::array<struct sigaction, kSignals.size()> actions_ = {};
  sigset_t mask_ = {};
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_DEFAULT_SIGNALS_H_
