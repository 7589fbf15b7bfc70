// SPDX-License-Identifier: MIT
#include "platform/interrupt.h"

#include <windows.h>

#include <atomic>

namespace qolm::platform {
namespace {

// The handler, which runs in a thread of its own, touches nothing else.
std::atomic<bool> g_listening{false};
std::atomic<bool> g_interrupted{false};

BOOL WINAPI HandleConsoleEvent(DWORD event) {
  if (!g_listening) return FALSE;
  const bool again = g_interrupted.exchange(true);
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
    return again ? FALSE : TRUE;  // FALSE ends the program at once
  }
  // The console closes, the user logs off or the system shuts down. The system terminates
  // the program when its handler returns, but at the latest after a few seconds, in which
  // the program finishes its file and ends by itself.
  Sleep(INFINITE);
  return TRUE;
}

}  // namespace

// One Ctrl-C is one event here, so events need no clock.
InterruptListener::InterruptListener(SignalClock /*clock*/) {
  // It is never removed: removal may wait for a running handler, and the one above does
  // not return once the console closes.
  [[maybe_unused]] static const BOOL handled = SetConsoleCtrlHandler(HandleConsoleEvent, TRUE);
  g_interrupted = false;
  g_listening = true;
}

InterruptListener::~InterruptListener() { g_listening = false; }

bool InterruptListener::interrupted() const { return g_interrupted; }

}  // namespace qolm::platform
