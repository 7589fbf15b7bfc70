// SPDX-License-Identifier: MIT
//
// Windows strings and system messages as UTF-8.
#ifndef QOLM_PLATFORM_WINDOWS_TEXT_H_
#define QOLM_PLATFORM_WINDOWS_TEXT_H_

#include <windows.h>

#include <array>
#include <string>
#include <string_view>

namespace qolm::platform {

inline std::string Utf8FromWide(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string converted(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), bytes, nullptr, nullptr);
  return converted;
}

// The message for an error code in the user's language: one line without a final full
// stop, empty when there is none. `source` is a module with a message table, or null for
// the system's own.
inline std::string WindowsMessage(DWORD code, HMODULE source = nullptr) {
  std::array<wchar_t, 1024> text;
  const DWORD origin = source != nullptr ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM;
  const DWORD length =
      FormatMessageW(origin | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK, source,
                     code, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
  std::wstring line(text.data(), length);
  for (wchar_t& character : line) {
    if (character < L' ') character = L' ';
  }
  line.resize(line.find_last_not_of(L" .") + 1);  // npos + 1 is 0
  return Utf8FromWide(line);
}

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_WINDOWS_TEXT_H_
