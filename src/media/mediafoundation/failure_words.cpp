#include "media/mediafoundation/failure_words.h"

#include <array>
#include <string_view>

#include "media/mediafoundation/com.h"
// After windows.h.
#include <mferror.h>

namespace qolm::media::mediafoundation {
namespace {

std::string Utf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string converted(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), bytes, nullptr, nullptr);
  return converted;
}

// Line breaks become blanks, and what ends a sentence is dropped.
std::string OneLine(std::wstring_view message) {
  std::wstring line(message);
  for (wchar_t& character : line) {
    if (character < L' ') character = L' ';
  }
  const size_t last = line.find_last_not_of(L" .");
  if (last == std::wstring::npos) return {};
  line.resize(last + 1);
  return Utf8(line);
}

// `source` is a module's message table, or null for the system's.
std::string Message(DWORD code, HMODULE source) {
  std::array<wchar_t, 1024> text;
  const DWORD origin = source != nullptr ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM;
  const DWORD length = FormatMessageW(origin | FORMAT_MESSAGE_IGNORE_INSERTS, source, code, 0,
                                      text.data(), static_cast<DWORD>(text.size()), nullptr);
  return OneLine({text.data(), length});
}

// The media framework keeps its messages in a library of their own.
std::string FrameworkMessage(DWORD code) {
  const HMODULE messages = LoadLibraryExW(L"mferror.dll", nullptr,
                                          LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (messages == nullptr) return {};
  std::string words = Message(code, messages);
  FreeLibrary(messages);
  return words;
}

}  // namespace

std::string FailureWords(HRESULT result) {
  // A stream number that the file lacks is no number that the user gave.
  if (SUCCEEDED(result) || result == MF_E_INVALIDSTREAMNUMBER) return {};
  const auto code = static_cast<DWORD>(result);
  if (HRESULT_FACILITY(result) == FACILITY_WIN32) {
    return Message(static_cast<DWORD>(HRESULT_CODE(result)), nullptr);
  }
  std::string words = Message(code, nullptr);
  return words.empty() ? FrameworkMessage(code) : words;
}

}  // namespace qolm::media::mediafoundation
