// SPDX-License-Identifier: MIT
#include "platform/removal_on_signal.h"

#include <windows.h>

#include <mutex>
#include <string>

namespace qolm::platform {
namespace {

// The handler runs in a thread of its own, so it has a copy of the path.
struct Removal {
  std::recursive_mutex mutex;  // held while a ScopedSignalBlock exists
  std::wstring file;           // empty: nothing is to be removed
};

// Never destroyed, since the handler may still run when the program returns.
Removal& GetRemoval() {
  static Removal& removal = *new Removal;
  return removal;
}

BOOL WINAPI RemoveAndGoOn(DWORD) {
  Removal& removal = GetRemoval();
  const std::lock_guard lock(removal.mutex);
  // The program still has the file open. The file disappears with its last handle, which
  // the end of the program closes.
  if (!removal.file.empty()) DeleteFileW(removal.file.c_str());
  removal.file.clear();
  return FALSE;  // the next handler ends the program
}

bool HandleConsoleEvents() {
  static const BOOL handled = SetConsoleCtrlHandler(RemoveAndGoOn, TRUE);
  return handled != FALSE;
}

}  // namespace

void RemoveFileOnSignal(const std::filesystem::path* file) {
  const bool handled = HandleConsoleEvents();
  Removal& removal = GetRemoval();
  const std::lock_guard lock(removal.mutex);
  removal.file = file != nullptr && handled ? file->native() : std::wstring();
}

ScopedSignalBlock::ScopedSignalBlock(SignalClock /*clock*/) {
  HandleConsoleEvents();
  GetRemoval().mutex.lock();
}

ScopedSignalBlock::~ScopedSignalBlock() { GetRemoval().mutex.unlock(); }

}  // namespace qolm::platform
