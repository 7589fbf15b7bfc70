// SPDX-License-Identifier: MIT
#include <windows.h>

#include <filesystem>
#include <stdexcept>

#include "support/run_program.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

HANDLE AsHandle(intptr_t process) { return reinterpret_cast<HANDLE>(process); }

// In quotes, so that the program's own splitting finds the word again.
std::wstring Quoted(const std::string& word) {
  const std::wstring text = std::filesystem::path(std::u8string(word.begin(), word.end())).native();
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t unit : text) {
    // Backslashes count double only before a quote.
    if (unit == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L"\"";
}

HANDLE OpenInheritable(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                     disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE ClosedPipe() {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  HANDLE read_end = nullptr;
  HANDLE write_end = INVALID_HANDLE_VALUE;
  if (CreatePipe(&read_end, &write_end, &inheritable, 0) != FALSE) CloseHandle(read_end);
  return write_end;
}

}  // namespace

ProgramRun::ProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                       const std::function<void()>&, OutputEnd output_end) {
  if (output_end == OutputEnd::kTerminal) throw std::runtime_error("no terminal");
  std::wstring command = Quoted(program);
  for (const std::string& argument : arguments) command += L" " + Quoted(argument);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;  // null handles where none are set below
  if (output_end != OutputEnd::kNoStreams) {
    startup.hStdInput = OpenInheritable("NUL", GENERIC_READ, OPEN_EXISTING);
    startup.hStdOutput = output_end == OutputEnd::kClosedPipe
                             ? ClosedPipe()
                             : OpenInheritable(folder_ / "out", GENERIC_WRITE, CREATE_ALWAYS);
    startup.hStdError = OpenInheritable(folder_ / "err", GENERIC_WRITE, CREATE_ALWAYS);
  }
  PROCESS_INFORMATION started = {};
  const BOOL success = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                      nullptr, &startup, &started);
  for (const HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError}) {
    if (handle != nullptr) CloseHandle(handle);
  }
  if (success == FALSE) throw std::runtime_error("the program does not start");
  CloseHandle(started.hThread);
  process_ = reinterpret_cast<intptr_t>(started.hProcess);
  running_ = true;
}

ProgramRun::~ProgramRun() {
  if (IsRunning()) {
    TerminateProcess(AsHandle(process_), 1);
    Wait();
  }
  CloseHandle(AsHandle(process_));
}

bool ProgramRun::IsRunning() {
  if (running_ && WaitForSingleObject(AsHandle(process_), 0) == WAIT_OBJECT_0) Wait();
  return running_;
}

void ProgramRun::Wait() {
  if (!running_) return;
  WaitForSingleObject(AsHandle(process_), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(AsHandle(process_), &code);
  Take(static_cast<int>(code));
}

std::string ProgramRun::out() const { return ReadFile(folder_ / "out"); }
std::string ProgramRun::err() const { return ReadFile(folder_ / "err"); }

void ProgramRun::Take(int status) {
  running_ = false;
  exit_code_ = status;
}

}  // namespace qolm::test
