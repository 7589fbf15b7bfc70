#include <windows.h>

#include <atomic>

#include "cli/interrupt.h"

namespace qolm::cli {
namespace {

// All that the handler touches, which runs in a thread of its own.
std::atomic<bool> g_listening{false};
std::atomic<bool> g_interrupted{false};

BOOL WINAPI HandleConsoleEvent(DWORD event) {
  if (!g_listening) return FALSE;
  const bool again = g_interrupted.exchange(true);
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
    return again ? FALSE : TRUE;  // FALSE ends the program at once
  }
  // The console closes, the user leaves or the system shuts down, and this
  // program is ended as soon as its handler returns. It has the system's few
  // seconds to finish its file and to end by itself.
  Sleep(INFINITE);
  return TRUE;
}

}  // namespace

// One Ctrl-C is one event here, so none need be timed.
InterruptListener::InterruptListener(SignalClock /*clock*/) {
  // It stays: taking a handler away may wait for one that runs, and the one
  // above does not return once the console closes.
  [[maybe_unused]] static const BOOL handled = SetConsoleCtrlHandler(HandleConsoleEvent, TRUE);
  g_interrupted = false;
  g_listening = true;
}

InterruptListener::~InterruptListener() { g_listening = false; }

bool InterruptListener::interrupted() const { return g_interrupted; }

}  // namespace qolm::cli
