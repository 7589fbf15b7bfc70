#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "output/part_lock.h"

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

std::error_code LastError() { return {errno, std::generic_category()}; }

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

// Removes what an ended run left at `part`.
std::error_code RemoveAbandoned(const fs::path& part) {
  const int descriptor = open(part.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0 && errno == ENOENT) return {};
  std::error_code error;
  // Another run may have put its own file there since this one was opened.
  if (descriptor >= 0 && (!Lock(descriptor) || !Names(part, descriptor))) {
    error = OutputRefusal::kOwnedByAnotherRun;
  } else {
    fs::remove(part, error);
  }
  if (descriptor >= 0) close(descriptor);
  return error;
}

fs::perms PartPermissions(const OutputPath& place) {
  constexpr fs::perms kOwner = fs::perms::owner_read | fs::perms::owner_write;
  constexpr fs::perms kEverybody = kOwner | fs::perms::group_read | fs::perms::group_write |
                                   fs::perms::others_read | fs::perms::others_write;
  std::error_code error;
  const fs::perms existing = fs::status(place.target, error).permissions();
  return place.exists && !error ? (existing & kEverybody) | kOwner : kEverybody;
}

}  // namespace

PartLock::~PartLock() { Release(); }

std::error_code PartLock::Create(const OutputPath& place) {
  if (const std::error_code error = RemoveAbandoned(place.part)) return error;
  do {
    file_ = open(place.part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                 static_cast<mode_t>(PartPermissions(place)));
  } while (file_ < 0 && errno == EINTR);
  if (file_ < 0) {
    return errno == EEXIST ? make_error_code(OutputRefusal::kOwnedByAnotherRun) : LastError();
  }
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(static_cast<int>(file_)) || !Holds(place.part)) {
    return OutputRefusal::kOwnedByAnotherRun;
  }
  return {};
}

void PartLock::Release() {
  if (file_ >= 0) close(static_cast<int>(file_));
  file_ = kNone;
}

bool PartLock::Holds(const fs::path& part) const {
  return file_ >= 0 && Names(part, static_cast<int>(file_));
}

std::error_code PartLock::Sync() const {
  int result = 0;
  do {
    result = fsync(static_cast<int>(file_));
  } while (result != 0 && errno == EINTR);
  // Some file systems cannot be waited for and answer so.
  if (result == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return LastError();
}

}  // namespace qolm::output
