// SPDX-License-Identifier: MIT
//
// A file that one process writes under an exclusive lock, so that two runs with the
// same output never mix their bytes.
#ifndef QOLM_PLATFORM_LOCKED_FILE_H_
#define QOLM_PLATFORM_LOCKED_FILE_H_

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace qolm::platform {

// Whoever removes, renames or writes such a file holds its lock. File systems without
// locks are used without one.
class LockedFile {
 public:
  LockedFile() = default;
  ~LockedFile();  // as Release
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  // Makes a new, empty file at `path`, in place of one that an ended run left, and locks
  // it. An old file is replaced, never written through: it may have other names. The new
  // file takes the access rights of `*rights_of`, and this user may write it; without
  // `rights_of` it takes the user's defaults. The error is
  // std::errc::resource_unavailable_try_again where another process holds the lock. Call
  // it once.
  [[nodiscard]] std::error_code Create(const std::filesystem::path& path,
                                       const std::filesystem::path* rights_of);

  // Releases the lock; the file remains.
  void Release();

  // Whether `path` still names the file that Create made.
  bool IsNamed(const std::filesystem::path& path) const;

  // Waits until the disk holds everything that was written to the file.
  [[nodiscard]] std::error_code Sync() const;

 private:
  static constexpr intptr_t kNone = -1;

  intptr_t file_ = kNone;  // as the system names open files
};

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_LOCKED_FILE_H_
