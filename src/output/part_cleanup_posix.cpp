#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <initializer_list>

#include "output/end_signals.h"
#include "output/part_cleanup.h"

namespace qolm::output {
namespace {

constexpr int kNoneWaits = -1;

// All that the handler touches; a signal may arrive on any thread.
std::atomic<const char*> g_file{nullptr};
// The signal that waits, 0 while one would.
std::atomic<int> g_waiting{kNoneWaits};
EndRequest g_request;  // while one would wait
static_assert(std::atomic<const char*>::is_always_lock_free);
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void RemoveAndEnd(int signal_number) {
  int would_wait = 0;
  if (g_waiting.compare_exchange_strong(would_wait, signal_number) || would_wait != kNoneWaits) {
    if (!g_request.Repeated()) return;
  }
  // The file stays named: a signal that arrives before it is removed must not end the
  // program first.
  if (const char* const file = g_file) unlink(file);
  EndBySignal(signal_number);
}

void HandleEndSignals() {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    HandleEndSignal(signal_number, RemoveAndEnd);
  }
}

}  // namespace

void RemoveFileOnSignal(const std::filesystem::path* file) {
  g_file = file != nullptr ? file->c_str() : nullptr;
  if (file != nullptr) HandleEndSignals();
}

EndSignalsWait::EndSignalsWait(SignalClock clock) {
  g_request.Reset(clock != nullptr ? clock : SignalMilliseconds);
  g_waiting = 0;
  HandleEndSignals();
}

EndSignalsWait::~EndSignalsWait() {
  const int signal_number = g_waiting.exchange(kNoneWaits);
  if (signal_number != 0) RemoveAndEnd(signal_number);
}

}  // namespace qolm::output
