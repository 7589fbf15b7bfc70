// SPDX-License-Identifier: MIT
#include "platform/file_system.h"

#include <windows.h>

#include <string>
#include <string_view>

#include "platform/windows/handle.h"
#include "platform/windows/shared_file.h"

namespace qolm::platform {
namespace {

namespace fs = std::filesystem;

// Whether `path` is a link, and not one of the other things that a reparse
// point may be: a file in the cloud is one, too.
bool IsLink(const fs::path& path) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         IsReparseTagNameSurrogate(found.dwReserved0);
}

bool IsPipeName(const fs::path& path) {
  constexpr std::wstring_view kPipes = L"\\\\.\\pipe\\";
  return _wcsnicmp(path.c_str(), kPipes.data(), kPipes.size()) == 0;
}

}  // namespace

fs::path FollowLinks(const fs::path& path, std::error_code& error) {
  error.clear();
  if (!IsLink(path)) return path;
  const WindowsHandle file(
      CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  std::wstring followed(size_t{1} << 15, L'\0');
  const DWORD length = file.valid()
                           ? GetFinalPathNameByHandleW(file.get(), followed.data(),
                                                       static_cast<DWORD>(followed.size()), 0)
                           : 0;
  if (length == 0 || length >= followed.size()) {
    error = LastWindowsError();
    return path;
  }
  followed.resize(length);
  // The form without limits is not the one that a user would write.
  constexpr std::wstring_view kPrefix = L"\\\\?\\";
  if (followed.starts_with(kPrefix) && followed.size() < MAX_PATH && followed.size() > 6 &&
      followed[5] == L':') {
    followed.erase(0, kPrefix.size());
  }
  return followed;
}

// The standard library's answer does not see through drive letters and shares
// that stand for one another.
bool IsSameFile(const fs::path& a, const fs::path& b) {
  // Opening a pipe takes the place of its one reader.
  if (IsPipeName(a) || IsPipeName(b)) return false;
  const auto open = [](const fs::path& path) {
    return CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);  // folders as well
  };
  const WindowsHandle first(open(a));
  const WindowsHandle second(open(b));
  return first.valid() && second.valid() && SameFile(first.get(), second.get());
}

bool IsSpecialFile(const fs::path& path, const fs::file_status& status) {
  // NUL, CON, COM1 … become names among the devices.
  wchar_t full[16];
  const DWORD length =
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(full)), full, nullptr);
  if (length < std::size(full) && std::wstring_view(full, length).starts_with(L"\\\\.\\")) {
    return true;
  }
  if (path.native().starts_with(L"\\\\.\\")) return true;
  return fs::exists(status) && !fs::is_regular_file(status);
}

std::error_code CheckWritable(const fs::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    return std::make_error_code(std::errc::permission_denied);
  }
  const WindowsHandle file(
      CreateFileW(path.c_str(), GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  return file.valid() ? std::error_code() : LastWindowsError();
}

std::error_code ReadFilePart(const fs::path& path, FilePart part, std::span<uint8_t> bytes,
                             size_t& count) {
  count = 0;
  const WindowsHandle file(
      CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!file.valid()) return LastWindowsError();
  // A file that is shorter is read from its beginning, where it stands already.
  LARGE_INTEGER distance = {};
  distance.QuadPart = -static_cast<LONGLONG>(bytes.size());
  if (part == FilePart::kEnd) SetFilePointerEx(file.get(), distance, nullptr, FILE_END);
  while (count < bytes.size()) {
    DWORD got = 0;
    if (ReadFile(file.get(), bytes.data() + count, static_cast<DWORD>(bytes.size() - count), &got,
                 nullptr) == FALSE) {
      return LastWindowsError();
    }
    if (got == 0) break;
    count += got;
  }
  return {};
}

// The part file was made with the output's rights.
void CopyOwnerAndPermissions(const fs::path&, const fs::path&) {}

std::error_code RenameOver(const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  if (fs::is_directory(to, ignored)) return std::make_error_code(std::errc::is_a_directory);
  if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return {};
  }
  return LastWindowsError();
}

}  // namespace qolm::platform
