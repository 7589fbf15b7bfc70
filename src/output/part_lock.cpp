#include "output/part_lock.h"

#include <fcntl.h>

#include <cerrno>

#include "output/output_path.h"
#ifdef _WIN32
#include <io.h>
#else
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

std::error_code LastError() { return {errno, std::generic_category()}; }

}  // namespace

#ifdef _WIN32

PartLock::~PartLock() = default;

std::error_code PartLock::Create(const fs::path& part, fs::perms) {
  std::error_code error;
  fs::remove(part, error);
  return error;
}

bool PartLock::Holds(const fs::path&) const { return true; }

std::error_code PartLock::Sync(const fs::path& part) const {
  const int descriptor = _wopen(part.c_str(), _O_WRONLY | _O_BINARY);
  if (descriptor < 0) return LastError();
  const std::error_code error = _commit(descriptor) == 0 ? std::error_code() : LastError();
  _close(descriptor);
  return error;
}

#else

namespace {

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

}  // namespace

PartLock::~PartLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::error_code PartLock::Create(const fs::path& part, fs::perms permissions) {
  if (const std::error_code error = RemoveAbandoned(part)) return error;
  descriptor_ =
      open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, static_cast<mode_t>(permissions));
  if (descriptor_ < 0) {
    return errno == EEXIST ? make_error_code(OutputRefusal::kOwnedByAnotherRun) : LastError();
  }
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(descriptor_) || !Holds(part)) return OutputRefusal::kOwnedByAnotherRun;
  return {};
}

bool PartLock::Holds(const fs::path& part) const {
  return descriptor_ >= 0 && Names(part, descriptor_);
}

std::error_code PartLock::Sync(const fs::path&) const {
  // Some file systems cannot be waited for and answer so.
  if (fsync(descriptor_) == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return LastError();
}

#endif

}  // namespace qolm::output
