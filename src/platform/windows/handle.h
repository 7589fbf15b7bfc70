// SPDX-License-Identifier: MIT
//
// Scoped handles, and GetLastError as an error code.
#ifndef QOLM_PLATFORM_WINDOWS_HANDLE_H_
#define QOLM_PLATFORM_WINDOWS_HANDLE_H_

#include <windows.h>

#include <filesystem>
#include <system_error>

namespace qolm::platform {

class WindowsHandle {
 public:
  explicit WindowsHandle(HANDLE handle) : handle_(handle) {}
  ~WindowsHandle() {
    if (valid()) CloseHandle(handle_);
  }
  WindowsHandle(const WindowsHandle&) = delete;
  WindowsHandle& operator=(const WindowsHandle&) = delete;

  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

// GetLastError as an error code with a UTF-8 message. Codes that std::errc knows are mapped
// to it, so that messages are the same on every system.
std::error_code LastWindowsError();

// Whether both handles are open on one file.
bool SameFile(HANDLE a, HANDLE b);

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_WINDOWS_HANDLE_H_
