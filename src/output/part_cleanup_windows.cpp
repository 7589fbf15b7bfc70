#include <windows.h>

#include <atomic>

#include "output/part_cleanup.h"

namespace qolm::output {
namespace {

// All that the handler touches, which runs in a thread of its own.
std::atomic<const wchar_t*> g_file{nullptr};

BOOL WINAPI RemoveAndGoOn(DWORD) {
  // The program still has the file open. It goes with the last handle, which
  // the end of the program closes.
  if (const wchar_t* const file = g_file.exchange(nullptr)) DeleteFileW(file);
  return FALSE;  // the next handler ends the program
}

}  // namespace

void RemoveFileOnSignal(const std::filesystem::path* file) {
  static const BOOL handled = SetConsoleCtrlHandler(RemoveAndGoOn, TRUE);
  g_file = file != nullptr && handled != FALSE ? file->c_str() : nullptr;
}

}  // namespace qolm::output
