// SPDX-License-Identifier: MIT
//
// Starts a program with standard handles that a shell does not give it, or feeds it
// through a pipe, and ends with its exit code; with 99 when that did not work.
//
//   starter null PROGRAM [ARGUMENT ...]          no standard handles at all
//   starter anonymous FILE PROGRAM [ARGUMENT ...]  FILE through standard input
//   starter PIPE FILE PROGRAM [ARGUMENT ...]       FILE through the named pipe
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kNotStarted = 99;

std::vector<char> BytesOf(const wchar_t* name) {
  std::ifstream file(std::filesystem::path(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool Feed(HANDLE pipe, const std::vector<char>& bytes) {
  size_t done = 0;
  DWORD written = 0;
  while (done < bytes.size() &&
         WriteFile(pipe, bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &written,
                   nullptr) != FALSE) {
    done += written;
  }
  return done == bytes.size();
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count < 3) return kNotStarted;
  const std::wstring_view mode = arguments[1];
  const bool without_handles = mode == L"null";
  const bool anonymous = mode == L"anonymous";
  const int program = without_handles ? 2 : 3;
  if (count <= program) return kNotStarted;
  std::wstring command;
  for (int i = program; i < count; ++i) {
    command += (command.empty() ? L"\"" : L" \"") + std::wstring(arguments[i]) + L"\"";
  }

  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  HANDLE feed = nullptr;
  if (anonymous) {
    if (!CreatePipe(&startup.hStdInput, &feed, &inherited, 0)) return kNotStarted;
    SetHandleInformation(feed, HANDLE_FLAG_INHERIT, 0);
  } else if (!without_handles) {
    feed = CreateNamedPipeW(arguments[1], PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1,
                            1 << 16, 1 << 16, 0, nullptr);
    if (feed == INVALID_HANDLE_VALUE) return kNotStarted;
  }
  if (!without_handles) {
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    SetHandleInformation(startup.hStdOutput, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    SetHandleInformation(startup.hStdError, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  }
  PROCESS_INFORMATION process{};
  // A console would lend its handles in place of those that are missing.
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE,
                      without_handles ? DETACHED_PROCESS : 0, nullptr, nullptr, &startup,
                      &process)) {
    return kNotStarted;
  }
  bool fed = true;
  if (!without_handles) {
    if (anonymous) CloseHandle(startup.hStdInput);
    // Waits for the reader of a named pipe; one that is there already is as good.
    if (!anonymous && !ConnectNamedPipe(feed, nullptr) && GetLastError() != ERROR_PIPE_CONNECTED) {
      return kNotStarted;
    }
    fed = Feed(feed, BytesOf(arguments[2]));
    if (!anonymous) FlushFileBuffers(feed);
    CloseHandle(feed);
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exit_code = kNotStarted;
  GetExitCodeProcess(process.hProcess, &exit_code);
  return fed ? static_cast<int>(exit_code) : kNotStarted;
}
