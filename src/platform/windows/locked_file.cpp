// SPDX-License-Identifier: MIT
#include "platform/locked_file.h"

#include <windows.h>

#include <vector>

#include "platform/windows/handle.h"
#include "platform/windows/shared_file.h"

namespace qolm::platform {
namespace {

namespace fs = std::filesystem;

std::error_code HeldByAnother() {
  return std::make_error_code(std::errc::resource_unavailable_try_again);
}

HANDLE AsHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

// Locks one byte beyond every file, since the bytes under a lock can be
// written through no other handle. False when another run holds it.
bool Lock(HANDLE file) {
  OVERLAPPED position = {};
  position.OffsetHigh = 0x7FFFFFFF;
  return LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                    &position) != FALSE ||
         (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING);
}

// Removes what an ended run left at `path`.
std::error_code RemoveAbandoned(const fs::path& path) {
  const WindowsHandle file(CreateFileW(path.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file.valid()) {
    return GetLastError() == ERROR_FILE_NOT_FOUND ? std::error_code() : LastWindowsError();
  }
  if (!Lock(file.get())) return HeldByAnother();
  FILE_DISPOSITION_INFO disposition = {TRUE};
  if (SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                 sizeof disposition) == FALSE) {
    return LastWindowsError();
  }
  return {};
}

// Who may do what with the existing file; empty when the file system has none, as FAT.
std::vector<uint8_t> AccessRights(const fs::path& path) {
  DWORD size = 0;
  GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<uint8_t> rights(size);
  if (GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, rights.data(), size, &size) ==
      FALSE) {
    rights.clear();
  }
  return rights;
}

}  // namespace

LockedFile::~LockedFile() { Release(); }

std::error_code LockedFile::Create(const fs::path& path, const fs::path* rights_of) {
  if (const std::error_code error = RemoveAbandoned(path)) return error;
  std::vector<uint8_t> rights;
  if (rights_of != nullptr) rights = AccessRights(*rights_of);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, rights.data(), FALSE};
  const HANDLE file =
      CreateFileW(path.c_str(), GENERIC_WRITE, kShareAll, rights.empty() ? nullptr : &attributes,
                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return GetLastError() == ERROR_FILE_EXISTS ? HeldByAnother() : LastWindowsError();
  }
  file_ = reinterpret_cast<intptr_t>(file);
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(file) || !IsNamed(path)) return HeldByAnother();
  return {};
}

void LockedFile::Release() {
  if (file_ != kNone) CloseHandle(AsHandle(file_));
  file_ = kNone;
}

bool LockedFile::IsNamed(const fs::path& path) const {
  const WindowsHandle named(CreateFileW(path.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return file_ != kNone && named.valid() && SameFile(named.get(), AsHandle(file_));
}

std::error_code LockedFile::Sync() const {
  return FlushFileBuffers(AsHandle(file_)) != FALSE ? std::error_code() : LastWindowsError();
}

}  // namespace qolm::platform
