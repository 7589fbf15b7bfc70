// SPDX-License-Identifier: MIT
#include "platform/posix/termination_signals.h"

#include <time.h>

#include <algorithm>
#include <csignal>

namespace qolm::platform {

void HandleTerminationSignal(int signal_number, SignalHandler handler) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler != SIG_DFL) return;
  action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(signal_number, &action, nullptr);
}

void StopHandlingTerminationSignal(int signal_number) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler != SIG_IGN) std::signal(signal_number, SIG_DFL);
}

void TerminateBySignal(int signal_number) {
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

uint32_t SignalMilliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(now.tv_sec) * 1000 + static_cast<uint32_t>(now.tv_nsec / 1'000'000);
}

void TerminationRequest::Reset(SignalClock clock) {
  clock_ = clock;
  first_ = 0;
}

bool TerminationRequest::Repeated() {
  const uint32_t now = std::max(clock_.load()(), uint32_t{1});
  uint32_t first = 0;
  return !first_.compare_exchange_strong(first, now) && now - first >= kEchoMilliseconds;
}

}  // namespace qolm::platform
