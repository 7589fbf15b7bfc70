#include <windows.h>

#include <mutex>
#include <string>

#include "output/part_cleanup.h"

namespace qolm::output {
namespace {

// The handler runs in a thread of its own, so it has a copy of the path.
struct Removal {
  std::recursive_mutex mutex;  // taken again while EndSignalsWait lives
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
  // The program still has the file open. It goes with the last handle, which
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

EndSignalsWait::EndSignalsWait(SignalClock /*clock*/) {
  HandleConsoleEvents();
  GetRemoval().mutex.lock();
}

EndSignalsWait::~EndSignalsWait() { GetRemoval().mutex.unlock(); }

}  // namespace qolm::output
