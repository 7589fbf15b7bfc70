#include <csignal>

#include "output/end_signals.h"

namespace qolm::output {

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

void EndBySignal(int signal_number) {
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

}  // namespace qolm::output
