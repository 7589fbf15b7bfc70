#include <signal.h>

#include "cli/interrupt.h"
#include "output/end_signals.h"

namespace qolm::cli {
namespace {

// All that the handlers touch. A signal may arrive on any thread.
output::EndRequest g_request;

extern "C" void HandleInterrupt(int signal_number) {
  if (g_request.Repeated()) output::EndBySignal(signal_number);
}

// A terminal that closes sends it more than once, so it never counts as a
// second request.
extern "C" void HandleHangUp(int /*signal_number*/) { static_cast<void>(g_request.Repeated()); }

}  // namespace

InterruptListener::InterruptListener(SignalClock clock) {
  g_request.Reset(clock != nullptr ? clock : output::SignalMilliseconds);
  output::HandleEndSignal(SIGINT, HandleInterrupt);
  output::HandleEndSignal(SIGTERM, HandleInterrupt);
  output::HandleEndSignal(SIGHUP, HandleHangUp);
}

InterruptListener::~InterruptListener() {
  output::StopHandlingEndSignal(SIGINT);
  output::StopHandlingEndSignal(SIGTERM);
  output::StopHandlingEndSignal(SIGHUP);
}

bool InterruptListener::interrupted() const { return g_request.made(); }

}  // namespace qolm::cli
