#include "container/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace qolm::container {
namespace {

// One call never asks for more: it keeps the count inside every system's type.
constexpr size_t kMaxBytesPerCall = size_t{1} << 30;

std::error_code LastError() { return {errno, std::generic_category()}; }

#ifdef _WIN32
int OpenForReading(const std::filesystem::path& path) {
  return _wopen(path.c_str(), _O_RDONLY | _O_BINARY);
}
void CloseDescriptor(int descriptor) { _close(descriptor); }
int64_t SeekToEnd(int descriptor) { return _lseeki64(descriptor, 0, SEEK_END); }
int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes) {
  if (_lseeki64(descriptor, static_cast<int64_t>(position), SEEK_SET) < 0) return -1;
  return _read(descriptor, bytes.data(), static_cast<unsigned>(bytes.size()));
}
#else
int OpenForReading(const std::filesystem::path& path) {
  // Does not wait for the other end of a pipe, which is refused anyway.
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}
void CloseDescriptor(int descriptor) { ::close(descriptor); }
int64_t SeekToEnd(int descriptor) { return ::lseek(descriptor, 0, SEEK_END); }
int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes) {
  return ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(position));
}
#endif

}  // namespace

InputFile::~InputFile() { close(); }

bool InputFile::open(const std::filesystem::path& path) {
  close();
  error_.clear();
  // A directory opens like a file on some systems and only its reads fail.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    error_ = std::make_error_code(std::errc::is_a_directory);
    return false;
  }
  descriptor_ = OpenForReading(path);
  if (descriptor_ < 0) {
    error_ = LastError();
    return false;
  }
  const int64_t end = SeekToEnd(descriptor_);
  if (end < 0) {
    error_ = LastError();
    close();
    return false;
  }
  size_ = static_cast<uint64_t>(end);
  return true;
}

void InputFile::close() {
  if (descriptor_ >= 0) CloseDescriptor(std::exchange(descriptor_, -1));
  size_ = 0;
}

bool InputFile::read_at(uint64_t position, std::span<uint8_t> bytes) const {
  if (descriptor_ < 0 || position > size_ || bytes.size() > size_ - position) return false;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(bytes.size(), kMaxBytesPerCall));
    const int64_t got = ReadSome(descriptor_, position, part);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error_ = LastError();
    if (got <= 0) return false;  // 0: the file has shrunk since it was opened
    bytes = bytes.subspan(static_cast<size_t>(got));
    position += static_cast<uint64_t>(got);
  }
  return true;
}

}  // namespace qolm::container
