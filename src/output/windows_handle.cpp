#include "output/windows_handle.h"

#include <string>

namespace qolm::output {
namespace {

// The system's own words, without the full stop and the line's end.
std::string SystemMessage(DWORD code) {
  wchar_t wide[512];
  const DWORD found = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, code, 0, wide, static_cast<DWORD>(std::size(wide)), nullptr);
  std::wstring_view words(wide, found);
  while (!words.empty() && (words.back() == L' ' || words.back() == L'.')) words.remove_suffix(1);
  const auto units = static_cast<int>(words.size());
  std::string message(words.size() * 3, '\0');
  message.resize(
      static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, words.data(), units, message.data(),
                                              static_cast<int>(message.size()), nullptr, nullptr)));
  return message.empty() ? "Windows error " + std::to_string(code) : message;
}

class WindowsCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "windows"; }
  std::string message(int value) const override { return SystemMessage(static_cast<DWORD>(value)); }
};

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
  return GetFileInformationByHandle(a, &first) != FALSE &&
         GetFileInformationByHandle(b, &second) != FALSE &&
         first.dwVolumeSerialNumber == second.dwVolumeSerialNumber &&
         first.nFileIndexHigh == second.nFileIndexHigh &&
         first.nFileIndexLow == second.nFileIndexLow;
}

}  // namespace qolm::output
