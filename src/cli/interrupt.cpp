#include "cli/interrupt.h"

#include <atomic>
#include <csignal>

#include "output/signals.h"

namespace qolm::cli {
namespace {

// The only thing that the handlers touch. A signal may arrive on any thread.
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void HandleInterrupt(int signal_number) {
  const bool again = g_interrupted.exchange(true);
  if (again) output::EndBySignal(signal_number);
}

#ifdef SIGHUP
// A terminal that closes sends it more than once, so it never counts as a
// second request.
extern "C" void HandleHangUp(int /*signal_number*/) { g_interrupted = true; }
#endif

}  // namespace

InterruptListener::InterruptListener() {
  g_interrupted = false;
  output::HandleEndSignal(SIGINT, HandleInterrupt);
  output::HandleEndSignal(SIGTERM, HandleInterrupt);
#ifdef SIGHUP
  output::HandleEndSignal(SIGHUP, HandleHangUp);
#endif
}

InterruptListener::~InterruptListener() {
  output::StopHandlingEndSignal(SIGINT);
  output::StopHandlingEndSignal(SIGTERM);
#ifdef SIGHUP
  output::StopHandlingEndSignal(SIGHUP);
#endif
}

bool InterruptListener::interrupted() const { return g_interrupted; }

}  // namespace qolm::cli
