// Handles that close themselves and the system's reasons. Only on Windows.
#ifndef QOLM_OUTPUT_WINDOWS_HANDLE_H_
#define QOLM_OUTPUT_WINDOWS_HANDLE_H_

#include <windows.h>

#include <filesystem>
#include <system_error>

namespace qolm::output {

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

// GetLastError as an error code whose message is UTF-8. Where the standard has
// a word for it the code is that, so reasons read alike on every system.
std::error_code LastWindowsError();

// Whether both handles are open on one file.
bool SameFile(HANDLE a, HANDLE b);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_WINDOWS_HANDLE_H_
