#include "cli/interrupt.h"

#include <atomic>
#include <csignal>

namespace qolm::cli {
namespace {

// The only thing that the handlers touch. A signal may arrive on any thread.
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void HandleInterrupt(int signal_number) {
  const bool again = g_interrupted.exchange(true);
  if (again) {
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
  }
}

#ifdef SIGHUP
// A terminal that closes sends it more than once, so it never counts as a
// second request.
extern "C" void HandleHangUp(int /*signal_number*/) { g_interrupted = true; }
#endif

using Handler = void (*)(int);

#ifdef _WIN32

void Listen(int signal_number, Handler handler) { std::signal(signal_number, handler); }
void StopListening(int signal_number) { std::signal(signal_number, SIG_DFL); }

#else

void Listen(int signal_number, Handler handler) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  // A program started in the background with the signal ignored keeps ignoring it.
  if (action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // no read or write in progress may fail because of it
  sigaction(signal_number, &action, nullptr);
}

void StopListening(int signal_number) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler != SIG_IGN) std::signal(signal_number, SIG_DFL);
}

#endif

}  // namespace

InterruptListener::InterruptListener() {
  g_interrupted = false;
  Listen(SIGINT, HandleInterrupt);
  Listen(SIGTERM, HandleInterrupt);
#ifdef SIGHUP
  Listen(SIGHUP, HandleHangUp);
#endif
}

InterruptListener::~InterruptListener() {
  StopListening(SIGINT);
  StopListening(SIGTERM);
#ifdef SIGHUP
  StopListening(SIGHUP);
#endif
}

bool InterruptListener::interrupted() const { return g_interrupted; }

void IgnoreFileSizeSignal() {
#ifdef SIGXFSZ
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

void IgnoreBrokenPipeSignal() {
#ifdef SIGPIPE
  std::signal(SIGPIPE, SIG_IGN);
#endif
}

}  // namespace qolm::cli
