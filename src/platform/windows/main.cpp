// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <csignal>
#include <cstdio>
#include <new>

#include "base/parallel_for.h"
#include "platform/program_main.h"
#include "platform/windows/text.h"

namespace {

// The code page that the console had before this program; 0 without a console.
UINT g_code_page = 0;

void RestoreCodePage() {
  if (g_code_page != 0) SetConsoleOutputCP(g_code_page);
}

// Installed before all other handlers, so it is called last, only when the program ends.
BOOL WINAPI RestoreAtConsoleEvent(DWORD) {
  RestoreCodePage();
  return FALSE;
}

LONG WINAPI RestoreAtCrash(EXCEPTION_POINTERS*) {
  RestoreCodePage();
  return EXCEPTION_CONTINUE_SEARCH;
}

extern "C" void RestoreAtAbort(int) { RestoreCodePage(); }

void PrintUtf8() {
  g_code_page = GetConsoleOutputCP();
  if (g_code_page == 0 || SetConsoleOutputCP(CP_UTF8) == FALSE) return;
  SetConsoleCtrlHandler(RestoreAtConsoleEvent, TRUE);
  SetUnhandledExceptionFilter(RestoreAtCrash);
  std::signal(SIGABRT, RestoreAtAbort);
}

void PrintUntranslated(std::FILE* stream) {
  if (_fileno(stream) < 0) return;  // the program was started without this handle
  _setmode(_fileno(stream), _O_BINARY);
  // A console garbles a character that two writes share, so the buffer holds whole lines.
  constexpr size_t kBufferBytes = size_t{1} << 14;
  std::setvbuf(stream, nullptr, _IOFBF, kBufferBytes);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  PrintUtf8();
  PrintUntranslated(stdout);
  PrintUntranslated(stderr);
  int exit_code = 1;
  try {
    std::vector<std::string> arguments;
    for (int i = 0; i < argc; ++i) arguments.push_back(qolm::platform::Utf8FromWide(argv[i]));
    exit_code = qolm::ProgramMain(arguments);
  } catch (const std::bad_alloc&) {
    // Not even the error message could be allocated.
    std::fputs("[-] Error: out of memory\n", stderr);
  }
  qolm::StopWorkerThreads();
  std::fflush(stdout);
  std::fflush(stderr);
  RestoreCodePage();
  return exit_code;
}
