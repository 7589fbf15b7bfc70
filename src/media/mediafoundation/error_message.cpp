// SPDX-License-Identifier: MIT
#include "media/mediafoundation/error_message.h"

#include "media/mediafoundation/com.h"
#include "platform/windows/text.h"
// After windows.h.
#include <mferror.h>

namespace qolm::media::mediafoundation {
namespace {

// The media framework has a separate message library.
std::string FrameworkMessage(DWORD code) {
  const HMODULE messages = LoadLibraryExW(L"mferror.dll", nullptr,
                                          LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (messages == nullptr) return {};
  std::string words = platform::WindowsMessage(code, messages);
  FreeLibrary(messages);
  return words;
}

}  // namespace

std::string ErrorMessage(HRESULT result) {
  // The user gave no stream number, so its message would mislead.
  if (SUCCEEDED(result) || result == MF_E_INVALIDSTREAMNUMBER) return {};
  const auto code = static_cast<DWORD>(result);
  if (HRESULT_FACILITY(result) == FACILITY_WIN32) {
    return platform::WindowsMessage(static_cast<DWORD>(HRESULT_CODE(result)));
  }
  std::string words = platform::WindowsMessage(code);
  return words.empty() ? FrameworkMessage(code) : words;
}

}  // namespace qolm::media::mediafoundation
