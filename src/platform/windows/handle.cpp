// SPDX-License-Identifier: MIT
#include "platform/windows/handle.h"

#include <string>

#include "platform/windows/text.h"

namespace qolm::platform {
namespace {

class WindowsCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "windows"; }
  std::string message(int value) const override {
    const std::string words = WindowsMessage(static_cast<DWORD>(value));
    return words.empty() ? "Windows error " + std::to_string(value) : words;
  }
};

// Empty where it cannot be had.
std::wstring FinalPath(HANDLE file) {
  std::wstring path(size_t{1} << 15, L'\0');
  const DWORD length =
      GetFinalPathNameByHandleW(file, path.data(), static_cast<DWORD>(path.size()), 0);
  path.resize(length < path.size() ? length : 0);
  return path;
}

}  // namespace

std::error_code LastWindowsError() {
  static const WindowsCategory category;
  const auto code = static_cast<int>(GetLastError());
  const std::error_condition known = std::system_category().default_error_condition(code);
  if (known.category() == std::generic_category()) return {known.value(), known.category()};
  return {code, category};
}

bool SameFile(HANDLE a, HANDLE b) {
  BY_HANDLE_FILE_INFORMATION first;
  BY_HANDLE_FILE_INFORMATION second;
  if (GetFileInformationByHandle(a, &first) == FALSE ||
      GetFileInformationByHandle(b, &second) == FALSE) {
    return false;
  }
  // Some network drives give no numbers to their files.
  if (first.nFileIndexHigh == 0 && first.nFileIndexLow == 0) {
    const std::wstring path = FinalPath(a);
    return !path.empty() && path == FinalPath(b);
  }
  return first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
         first.nFileIndexHigh == second.nFileIndexHigh &&
         first.nFileIndexLow == second.nFileIndexLow;
}

}  // namespace qolm::platform
