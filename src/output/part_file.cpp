#include "output/part_file.h"

#include "output/part_cleanup.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

#ifdef _WIN32

void CopyOwnerAndPermissions(const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  fs::permissions(to, fs::status(from, ignored).permissions(), ignored);
}

void SyncDirectory(const fs::path&) {}

#else

// As far as the system lets this user do so; a file that keeps other rights is
// still a finished one.
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

#endif

// Nobody may read the part file who may not read the output; this user must be
// able to open it.
fs::perms PartPermissions(const OutputPath& place) {
  constexpr fs::perms kOwner = fs::perms::owner_read | fs::perms::owner_write;
  constexpr fs::perms kEverybody = kOwner | fs::perms::group_read | fs::perms::group_write |
                                   fs::perms::others_read | fs::perms::others_write;
  std::error_code error;
  const fs::perms existing = fs::status(place.target, error).permissions();
  return place.exists && !error ? (existing & kEverybody) | kOwner : kEverybody;
}

}  // namespace

PartFile::~PartFile() {
  std::error_code ignored;
  if (owned_ && lock_.Holds(place_.part)) fs::remove(place_.part, ignored);
  Keep();
}

std::error_code PartFile::Prepare(const fs::path& output, const fs::path& input) {
  if (const std::error_code refusal = JudgeOutputPath(output, input, place_)) return refusal;
  if (place_.special) return OutputRefusal::kNotRegular;
  const std::error_code error = lock_.Create(place_.part, PartPermissions(place_));
  owned_ = !error;
  return error;
}

void PartFile::RemoveOnSignal() {
  RemoveFileOnSignal(&place_.part);
  removed_on_signal_ = true;
}

std::error_code PartFile::Commit() {
  if (!lock_.Holds(place_.part)) {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  std::error_code error = lock_.Sync(place_.part);
  if (error) return error;
  if (place_.exists) CopyOwnerAndPermissions(place_.target, place_.part);
  fs::rename(place_.part, place_.target, error);
  if (error) return error;
  Keep();  // the name is free for other runs now
  SyncDirectory(place_.target.parent_path());
  return {};
}

void PartFile::Keep() {
  if (removed_on_signal_) RemoveFileOnSignal(nullptr);
  removed_on_signal_ = false;
  owned_ = false;
}

}  // namespace qolm::output
