// SPDX-License-Identifier: MIT
#include "platform/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qolm::platform {
namespace {

namespace fs = std::filesystem;

std::error_code LastError() { return {errno, std::generic_category()}; }

std::error_code HeldByAnother() {
  return std::make_error_code(std::errc::resource_unavailable_try_again);
}

// False when another run holds the lock.
bool Lock(int descriptor) {
  return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

bool Names(const fs::path& path, int descriptor) {
  struct stat named = {};
  struct stat opened = {};
  return lstat(path.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

// Removes what an ended run left at `path`.
std::error_code RemoveAbandoned(const fs::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0 && errno == ENOENT) return {};
  std::error_code error;
  // Another run may have put its own file there since this one was opened.
  if (descriptor >= 0 && (!Lock(descriptor) || !Names(path, descriptor))) {
    error = HeldByAnother();
  } else {
    fs::remove(path, error);
  }
  if (descriptor >= 0) close(descriptor);
  return error;
}

fs::perms PermissionsOf(const fs::path* existing) {
  constexpr fs::perms kOwner = fs::perms::owner_read | fs::perms::owner_write;
  constexpr fs::perms kEverybody = kOwner | fs::perms::group_read | fs::perms::group_write |
                                   fs::perms::others_read | fs::perms::others_write;
  if (existing == nullptr) return kEverybody;
  std::error_code error;
  const fs::perms permissions = fs::status(*existing, error).permissions();
  return error ? kEverybody : (permissions & kEverybody) | kOwner;
}

}  // namespace

LockedFile::~LockedFile() { Release(); }

std::error_code LockedFile::Create(const fs::path& path, const fs::path* rights_of) {
  if (const std::error_code error = RemoveAbandoned(path)) return error;
  do {
    file_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                 static_cast<mode_t>(PermissionsOf(rights_of)));
  } while (file_ < 0 && errno == EINTR);
  if (file_ < 0) {
    return errno == EEXIST ? HeldByAnother() : LastError();
  }
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(static_cast<int>(file_)) || !IsNamed(path)) {
    return HeldByAnother();
  }
  return {};
}

void LockedFile::Release() {
  if (file_ >= 0) close(static_cast<int>(file_));
  file_ = kNone;
}

bool LockedFile::IsNamed(const fs::path& path) const {
  return file_ >= 0 && Names(path, static_cast<int>(file_));
}

std::error_code LockedFile::Sync() const {
  int result = 0;
  do {
    result = fsync(static_cast<int>(file_));
  } while (result != 0 && errno == EINTR);
  // Some file systems cannot be waited for and answer so.
  if (result == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return LastError();
}

}  // namespace qolm::platform
