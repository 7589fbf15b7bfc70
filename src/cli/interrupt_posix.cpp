#include <signal.h>

#include <atomic>

#include "cli/interrupt.h"
#include "output/end_signals.h"

namespace qolm::cli {
namespace {

// The only thing that the handlers touch. A signal may arrive on any thread.
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void HandleInterrupt(int signal_number) {
  const bool again = g_interrupted.exchange(true);
  if (again) output::EndBySignal(signal_number);
}

// A terminal that closes sends it more than once, so it never counts as a
// second request.
extern "C" void HandleHangUp(int /*signal_number*/) { g_interrupted = true; }

}  // namespace

InterruptListener::InterruptListener() {
  g_interrupted = false;
  output::HandleEndSignal(SIGINT, HandleInterrupt);
  output::HandleEndSignal(SIGTERM, HandleInterrupt);
  output::HandleEndSignal(SIGHUP, HandleHangUp);
}

InterruptListener::~InterruptListener() {
  output::StopHandlingEndSignal(SIGINT);
  output::StopHandlingEndSignal(SIGTERM);
  output::StopHandlingEndSignal(SIGHUP);
}

bool InterruptListener::interrupted() const { return g_interrupted; }

}  // namespace qolm::cli
