// SPDX-License-Identifier: MIT
#include "platform/source_copy.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace qolm::platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStandardInput = "/dev/stdin";
constexpr size_t kBlockBytes = size_t{1} << 18;
constexpr int kMostMillisecondsBetweenStops = 100;

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

std::string LastReason() { return std::generic_category().message(errno); }

// Opening a pipe must not wait for its writer, since a signal would not end that.
// A socket cannot be opened by a path, not even by that of standard input.
int OpenSource(const std::optional<fs::path>& source) {
  if (!source || *source == kStandardInput) return fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
  return open(source->c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

int CreateNamelessFile(const fs::path& folder) {
  const fs::path place = folder.empty() ? fs::path(".") : folder;
#ifdef O_TMPFILE
  const int nameless = open(place.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (nameless >= 0) return nameless;
#endif
  // Not every file system can do so; then the file has a name for a moment.
  std::string name = (place / ".qolm-source-XXXXXX").string();
  const int file = mkostemp(name.data(), O_CLOEXEC);
  if (file < 0 || unlink(name.c_str()) == 0) return file;
  const int error = errno;
  close(file);
  errno = error;
  return -1;
}

bool WriteAll(int file, const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t written = write(file, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return true;
}

SourceCopy::Result Copy(int from, int to, const std::function<bool()>& stop) {
  using Status = SourceCopy::Status;
  std::vector<char> block(kBlockBytes);
  while (!stop()) {
    // Unlike a read, this ends when a signal arrives.
    pollfd readable = {from, POLLIN, 0};
    const int ready = poll(&readable, 1, kMostMillisecondsBetweenStops);
    if (ready < 0 && errno != EINTR) return {Status::kSourceUnreadable, LastReason()};
    if (ready <= 0) continue;
    const ssize_t count = read(from, block.data(), block.size());
    if (count == 0) return {};
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count < 0) return {Status::kSourceUnreadable, LastReason()};
    if (!WriteAll(to, block.data(), static_cast<size_t>(count))) {
      return {Status::kWriteFailed, LastReason()};
    }
  }
  return {Status::kStopped, {}};
}

}  // namespace

SourceCopy::~SourceCopy() {
  if (file_ != kNone) close(static_cast<int>(file_));
}

bool SourceCopy::IsNeeded(const fs::path& source) {
  std::error_code error;
  const fs::file_status status = fs::status(source, error);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

std::optional<fs::path> SourceCopy::FileOfStandardInput() {
  struct stat status = {};
  if (fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (lseek(STDIN_FILENO, 0, SEEK_CUR) != 0) return std::nullopt;
  // Its owner may not let this user open it anew.
  const Descriptor opened(open(kStandardInput, O_RDONLY | O_CLOEXEC));
  if (opened.get() < 0) return std::nullopt;
  return kStandardInput;
}

SourceCopy::Result SourceCopy::Make(const std::optional<fs::path>& source, const fs::path& folder,
                                    const std::function<bool()>& stop) {
  const Descriptor from(OpenSource(source));
  if (from.get() < 0) return {Status::kSourceUnreadable, LastReason()};
  if (isatty(from.get()) != 0) return {Status::kSourceUnreadable, "it is a terminal"};
  const int file = CreateNamelessFile(folder);
  if (file < 0) return {Status::kFolderRefused, LastReason()};
  file_ = file;
  path_ = "/proc/self/fd/" + std::to_string(file);
  std::error_code error;
  if (!fs::is_regular_file(path_, error)) return {Status::kFolderRefused, error.message()};
  return Copy(from.get(), file, stop);
}

}  // namespace qolm::platform
