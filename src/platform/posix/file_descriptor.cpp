// SPDX-License-Identifier: MIT
#include "platform/file_descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qolm::platform {

int OpenForReading(const std::filesystem::path& path) {
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

int OpenForWriting(const std::filesystem::path& path) {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
}

int CloseDescriptor(int descriptor) {
  // The descriptor is gone even where the call was interrupted.
  return ::close(descriptor) == 0 || errno == EINTR ? 0 : -1;
}

int64_t SeekTo(int descriptor, uint64_t position) {
  return ::lseek(descriptor, static_cast<off_t>(position), SEEK_SET);
}

int64_t SeekToEnd(int descriptor) { return ::lseek(descriptor, 0, SEEK_END); }

int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes) {
  return ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(position));
}

int64_t WriteSome(int descriptor, std::span<const uint8_t> bytes) {
  return ::write(descriptor, bytes.data(), bytes.size());
}

int SyncDescriptor(int descriptor) {
  int result = 0;
  do {
    result = ::fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result;
}

}  // namespace qolm::platform
