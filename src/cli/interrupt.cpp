#include "cli/interrupt.h"

#include <atomic>
#include <csignal>

namespace qolm::cli {
namespace {

// The only thing that a handler touches. A signal may arrive on any thread.
std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void HandleInterrupt(int signal_number) {
  const bool again = g_interrupted.exchange(true);
  if (again) {
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
  }
}

#ifdef _WIN32

void Listen(int signal_number) { std::signal(signal_number, HandleInterrupt); }
void StopListening(int signal_number) { std::signal(signal_number, SIG_DFL); }

#else

void Listen(int signal_number) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  // A program started in the background with the signal ignored keeps ignoring it.
  if (action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = HandleInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // no read or write in progress may fail because of it
  sigaction(signal_number, &action, nullptr);
}

void StopListening(int signal_number) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler == HandleInterrupt) std::signal(signal_number, SIG_DFL);
}

#endif

}  // namespace

InterruptListener::InterruptListener() {
  g_interrupted = false;
  Listen(SIGINT);
  Listen(SIGTERM);
}

InterruptListener::~InterruptListener() {
  StopListening(SIGINT);
  StopListening(SIGTERM);
}

bool InterruptListener::interrupted() const { return g_interrupted; }

void IgnoreFileSizeSignal() {
#ifdef SIGXFSZ
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

}  // namespace qolm::cli
