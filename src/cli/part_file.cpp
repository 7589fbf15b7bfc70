#include "cli/part_file.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace qolm::cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOwnedByAnotherRun = "another run is writing its part file";

std::string Message(std::errc error) { return std::make_error_code(error).message(); }

// Follows the links at `path`, whose last target need not exist.
fs::path FollowLinks(fs::path path, std::error_code& error) {
  constexpr int kMostLinks = 40;
  for (int i = 0; i < kMostLinks; ++i) {
    if (!fs::is_symlink(fs::symlink_status(path, error))) {
      error.clear();  // a place that cannot be looked at was refused before
      return path;
    }
    const fs::path target = fs::read_symlink(path, error);
    if (error) return path;
    path = path.parent_path() / target;
  }
  error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  return path;
}

bool SameFile(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

#ifdef _WIN32

std::error_code CheckWritable(const fs::path& path) {
  std::error_code error;
  const fs::perms permissions = fs::status(path, error).permissions();
  if (!error && (permissions & fs::perms::owner_write) == fs::perms::none) {
    error = std::make_error_code(std::errc::permission_denied);
  }
  return error;
}

void CopyOwnerAndPermissions(const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  fs::permissions(to, fs::status(from, ignored).permissions(), ignored);
}

void SyncDirectory(const fs::path&) {}

// An open file cannot be removed or replaced here, which is all that a lock
// could add.
bool IsOwned(const fs::path&) { return false; }

#else

std::error_code CheckWritable(const fs::path& path) {
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0) return {};
  return std::error_code(errno, std::generic_category());
}

// As far as the system lets this user do so; a file that keeps other rights is
// still a finished conversion.
void CopyOwnerAndPermissions(const fs::path& from, const fs::path& to) {
  struct stat original = {};
  if (stat(from.c_str(), &original) != 0) return;
  struct stat copy = {};
  if (stat(to.c_str(), &copy) != 0) return;
  if (copy.st_uid != original.st_uid || copy.st_gid != original.st_gid) {
    // Changing the owner may clear permission bits, so it comes first.
    [[maybe_unused]] const int result = chown(to.c_str(), original.st_uid, original.st_gid);
  }
  [[maybe_unused]] const int result = chmod(to.c_str(), original.st_mode & 07777);
}

// Makes the new name last through a power cut. Some file systems cannot; the
// rename has happened all the same.
void SyncDirectory(const fs::path& directory) {
  const int descriptor =
      open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  [[maybe_unused]] const int result = fsync(descriptor);
  close(descriptor);
}

// False when another run holds the lock. Some file systems know no locks; a
// conversion works there all the same.
bool Lock(int descriptor) {
  return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Whether a run that is still alive writes the part file at `path`.
bool IsOwned(const fs::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool free = Lock(descriptor);
  close(descriptor);
  return !free;
}

#endif

}  // namespace

#ifdef _WIN32

std::string PartFile::Claim() { return {}; }
bool PartFile::PartIsOurs() const { return true; }

PartFile::~PartFile() {
  std::error_code ignored;
  if (owns_part_) fs::remove(part_, ignored);
}

#else

std::string PartFile::Claim() {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  lock_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
  if (lock_ < 0) {
    if (errno == EEXIST) return kOwnedByAnotherRun;
    return std::error_code(errno, std::generic_category()).message();
  }
  // Another run may have taken the file for an abandoned one before it was locked.
  if (!Lock(lock_) || !PartIsOurs()) return kOwnedByAnotherRun;
  return {};
}

bool PartFile::PartIsOurs() const {
  struct stat named = {};
  struct stat opened = {};
  return lstat(part_.c_str(), &named) == 0 && fstat(lock_, &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

PartFile::~PartFile() {
  std::error_code ignored;
  if (owns_part_ && PartIsOurs()) fs::remove(part_, ignored);
  if (lock_ >= 0) close(lock_);
}

#endif

std::string PartFile::Prepare(const fs::path& output, const fs::path& input) {
  if (output.empty()) return Message(std::errc::no_such_file_or_directory);
  std::error_code error;
  const fs::file_status status = fs::status(output, error);
  if (status.type() == fs::file_type::none) return error.message();
  if (fs::is_directory(status) || !output.has_filename()) {
    return Message(std::errc::is_a_directory);
  }
  replaces_ = fs::exists(status);
  if (replaces_) {
    if (SameFile(output, input)) return "it is the input file";
    if (!fs::is_regular_file(status)) return "it is not a regular file";
    if (const std::error_code denied = CheckWritable(output)) return denied.message();
  }
  target_ = FollowLinks(output, error);
  if (error) return error.message();
  part_ = target_;
  part_ += ".part";

  // A part file that an earlier run left is replaced, never written through:
  // it may have other names.
  const fs::file_status part_status = fs::symlink_status(part_, error);
  if (fs::exists(part_status)) {
    if (SameFile(part_, input)) return "its part file is the input file";
    if (!fs::is_regular_file(part_status)) return "its part file is not a regular file";
    if (IsOwned(part_)) return kOwnedByAnotherRun;
    if (!fs::remove(part_, error) && error) return error.message();
  } else if (part_status.type() == fs::file_type::none) {
    return error.message();
  }
  if (std::string refusal = Claim(); !refusal.empty()) return refusal;
  owns_part_ = true;
  return {};
}

std::error_code PartFile::Commit() {
  owns_part_ = false;
  if (!PartIsOurs()) return std::make_error_code(std::errc::no_such_file_or_directory);
  if (replaces_) CopyOwnerAndPermissions(target_, part_);
  std::error_code error;
  fs::rename(part_, target_, error);
  if (!error) SyncDirectory(target_.parent_path());
  return error;
}

}  // namespace qolm::cli
