// SPDX-License-Identifier: MIT
#include "platform/interrupt.h"

#include <signal.h>

#include "platform/posix/termination_signals.h"

namespace qolm::platform {
namespace {

// The handlers touch nothing else. A signal may arrive on any thread.
TerminationRequest g_request;

extern "C" void HandleInterrupt(int signal_number) {
  if (g_request.Repeated()) TerminateBySignal(signal_number);
}

// A terminal that closes sends it more than once, so it never counts as a
// second request.
extern "C" void HandleHangUp(int /*signal_number*/) { static_cast<void>(g_request.Repeated()); }

}  // namespace

InterruptListener::InterruptListener(SignalClock clock) {
  g_request.Reset(clock != nullptr ? clock : SignalMilliseconds);
  HandleTerminationSignal(SIGINT, HandleInterrupt);
  HandleTerminationSignal(SIGTERM, HandleInterrupt);
  HandleTerminationSignal(SIGHUP, HandleHangUp);
}

InterruptListener::~InterruptListener() {
  StopHandlingTerminationSignal(SIGINT);
  StopHandlingTerminationSignal(SIGTERM);
  StopHandlingTerminationSignal(SIGHUP);
}

bool InterruptListener::interrupted() const { return g_request.made(); }

}  // namespace qolm::platform
