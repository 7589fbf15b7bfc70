// SPDX-License-Identifier: MIT
#include "platform/removal_on_signal.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

#include "platform/posix/termination_signals.h"

namespace qolm::platform {
namespace {

constexpr int kNotDeferring = -1;

// All that the handler touches; a signal may arrive on any thread.
std::atomic<const char*> g_file{nullptr};
// The deferred signal; 0 while none has come yet.
std::atomic<int> g_deferred{kNotDeferring};
TerminationRequest g_request;  // while signals are deferred
static_assert(std::atomic<const char*>::is_always_lock_free);
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void RemoveAndEnd(int signal_number) {
  int deferred = 0;
  if (g_deferred.compare_exchange_strong(deferred, signal_number) || deferred != kNotDeferring) {
    if (!g_request.Repeated()) return;
  }
  // The file stays named: a signal that arrives before it is removed must not end the
  // program first.
  if (const char* const file = g_file) unlink(file);
  TerminateBySignal(signal_number);
}

void HandleTerminationSignals() {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    HandleTerminationSignal(signal_number, RemoveAndEnd);
  }
}

}  // namespace

void RemoveFileOnSignal(const std::filesystem::path* file) {
  g_file = file != nullptr ? file->c_str() : nullptr;
  if (file != nullptr) HandleTerminationSignals();
}

ScopedSignalBlock::ScopedSignalBlock(SignalClock clock) {
  g_request.Reset(clock != nullptr ? clock : SignalMilliseconds);
  g_deferred = 0;
  HandleTerminationSignals();
}

ScopedSignalBlock::~ScopedSignalBlock() {
  const int signal_number = g_deferred.exchange(kNotDeferring);
  if (signal_number != 0) RemoveAndEnd(signal_number);
}

}  // namespace qolm::platform
