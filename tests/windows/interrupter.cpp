// SPDX-License-Identifier: MIT
//
// Starts a program in a console of its own, and presses Ctrl-C there as soon as
// the program has said a text.
//
//   interrupter TEXT PROGRAM [ARGUMENT ...]
//
// Passes standard output on and ends with the program's exit code; with 99 when
// the program could not be started or ended before it said TEXT.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr int kNotInterrupted = 99;

// The event reaches everyone on the console.
BOOL WINAPI Survive(DWORD) { return TRUE; }

std::wstring Quoted(const std::wstring& argument) { return L"\"" + argument + L"\""; }

std::string Narrow(const std::wstring& text) {
  std::string narrow;
  for (const wchar_t character : text) narrow += static_cast<char>(character);
  return narrow;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count < 3) return kNotInterrupted;
  const std::string awaited = Narrow(arguments[1]);
  std::wstring command;
  for (int i = 2; i < count; ++i) command += (i > 2 ? L" " : L"") + Quoted(arguments[i]);

  const HANDLE error_output = GetStdHandle(STD_ERROR_HANDLE);
  const HANDLE own_output = GetStdHandle(STD_OUTPUT_HANDLE);
  // What Wine attaches a program to that it starts without a terminal takes no
  // events.
  FreeConsole();
  if (!AllocConsole()) return kNotInterrupted;
  SetConsoleCtrlHandler(Survive, TRUE);

  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, &inherited, 0)) return kNotInterrupted;
  SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(error_output, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = INVALID_HANDLE_VALUE;
  startup.hStdOutput = write_end;
  startup.hStdError = error_output;
  PROCESS_INFORMATION process{};
  const BOOL started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &process);
  CloseHandle(write_end);
  if (!started) return kNotInterrupted;

  std::string said;
  bool sent = false;
  char bytes[4096];
  DWORD length = 0;
  while (ReadFile(read_end, bytes, sizeof(bytes), &length, nullptr) && length > 0) {
    said.append(bytes, length);
    if (!sent && said.find(awaited) != std::string::npos) {
      sent = GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE;
    }
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exit_code = 0;
  GetExitCodeProcess(process.hProcess, &exit_code);
  DWORD written = 0;
  WriteFile(own_output, said.data(), static_cast<DWORD>(said.size()), &written, nullptr);
  return sent ? static_cast<int>(exit_code) : kNotInterrupted;
}
