#include "output/signals.h"

#include <csignal>

namespace qolm::output {

#ifdef _WIN32

void HandleEndSignal(int signal_number, SignalHandler handler) {
  std::signal(signal_number, handler);
}

void StopHandlingEndSignal(int signal_number) { std::signal(signal_number, SIG_DFL); }

#else

void HandleEndSignal(int signal_number, SignalHandler handler) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler != SIG_DFL) return;
  action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(signal_number, &action, nullptr);
}

void StopHandlingEndSignal(int signal_number) {
  struct sigaction action = {};
  sigaction(signal_number, nullptr, &action);
  if (action.sa_handler != SIG_IGN) std::signal(signal_number, SIG_DFL);
}

#endif

void EndBySignal(int signal_number) {
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

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

}  // namespace qolm::output
