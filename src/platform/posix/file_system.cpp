// SPDX-License-Identifier: MIT
#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qolm::platform {

namespace fs = std::filesystem;

fs::path FollowLinks(const fs::path& path, std::error_code& error) {
  constexpr int kMostLinks = 40;
  fs::path followed = path;
  for (int i = 0; i < kMostLinks; ++i) {
    if (!fs::is_symlink(fs::symlink_status(followed, error))) {
      error.clear();  // a place that cannot be looked at was refused before
      return followed;
    }
    const fs::path target = fs::read_symlink(followed, error);
    if (error) return followed;
    followed = followed.parent_path() / target;
  }
  error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  return followed;
}

bool IsSameFile(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

bool IsSpecialFile(const fs::path&, const fs::file_status& status) {
  return fs::exists(status) && !fs::is_regular_file(status);
}

std::error_code CheckWritable(const fs::path& path) {
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0) return {};
  return {errno, std::generic_category()};
}

std::error_code ReadFilePart(const fs::path& path, FilePart part, std::span<uint8_t> bytes,
                             size_t& count) {
  count = 0;
  // Never waits, should a pipe have taken the file's place.
  int descriptor = -1;
  do {
    descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) return {errno, std::generic_category()};
  // A file that is shorter is read from its beginning, where it stands already.
  if (part == FilePart::kEnd) lseek(descriptor, -static_cast<off_t>(bytes.size()), SEEK_END);
  std::error_code error;
  while (count < bytes.size()) {
    const ssize_t got = read(descriptor, bytes.data() + count, bytes.size() - count);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error.assign(errno, std::generic_category());
    if (got <= 0) break;
    count += static_cast<size_t>(got);
  }
  close(descriptor);
  return error;
}

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

std::error_code RenameOver(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::rename(from, to, error);
  if (error) return error;
  // Not every file system can be waited for; the rename has happened all the same.
  const fs::path directory = to.parent_path();
  const int descriptor =
      open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return {};
  [[maybe_unused]] const int result = fsync(descriptor);
  close(descriptor);
  return {};
}

}  // namespace qolm::platform
