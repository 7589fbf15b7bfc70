#include <windows.h>

#include <vector>

#include "base/windows_file.h"
#include "output/part_lock.h"
#include "output/windows_handle.h"

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

HANDLE AsHandle(intptr_t file) { return reinterpret_cast<HANDLE>(file); }

// Locks one byte beyond every file, since the bytes under a lock can be
// written through no other handle. False when another run holds it.
bool Lock(HANDLE file) {
  OVERLAPPED place = {};
  place.OffsetHigh = 0x7FFFFFFF;
  return LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) !=
             FALSE ||
         (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING);
}

// Removes what an ended run left at `part`.
std::error_code RemoveAbandoned(const fs::path& part) {
  const WindowsHandle file(CreateFileW(part.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file.valid()) {
    return GetLastError() == ERROR_FILE_NOT_FOUND ? std::error_code() : LastWindowsError();
  }
  if (!Lock(file.get())) return OutputRefusal::kOwnedByAnotherRun;
  FILE_DISPOSITION_INFO disposition = {TRUE};
  if (SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                 sizeof disposition) == FALSE) {
    return LastWindowsError();
  }
  return {};
}

// Who may do what with the existing file; empty when the file system does not
// tell, as FAT.
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

PartLock::~PartLock() { Release(); }

std::error_code PartLock::Create(const OutputPath& place) {
  if (const std::error_code error = RemoveAbandoned(place.part)) return error;
  std::vector<uint8_t> rights;
  if (place.exists) rights = AccessRights(place.target);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, rights.data(), FALSE};
  const HANDLE file = CreateFileW(place.part.c_str(), GENERIC_WRITE, kShareAll,
                                  rights.empty() ? nullptr : &attributes, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    return GetLastError() == ERROR_FILE_EXISTS ? make_error_code(OutputRefusal::kOwnedByAnotherRun)
                                               : LastWindowsError();
  }
  file_ = reinterpret_cast<intptr_t>(file);
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(file) || !Holds(place.part)) return OutputRefusal::kOwnedByAnotherRun;
  return {};
}

void PartLock::Release() {
  if (file_ != kNone) CloseHandle(AsHandle(file_));
  file_ = kNone;
}

bool PartLock::Holds(const fs::path& part) const {
  const WindowsHandle named(CreateFileW(part.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return file_ != kNone && named.valid() && SameFile(named.get(), AsHandle(file_));
}

std::error_code PartLock::Sync() const {
  return FlushFileBuffers(AsHandle(file_)) != FALSE ? std::error_code() : LastWindowsError();
}

}  // namespace qolm::output
