// SPDX-License-Identifier: MIT
#include "container/input_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/file_descriptor.h"

namespace qolm::container {
namespace {

std::error_code LastError() { return {errno, std::generic_category()}; }

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
  descriptor_ = platform::OpenForReading(path);
  if (descriptor_ < 0) {
    error_ = LastError();
    return false;
  }
  const int64_t end = platform::SeekToEnd(descriptor_);
  if (end < 0) {
    error_ = LastError();
    close();
    return false;
  }
  size_ = static_cast<uint64_t>(end);
  return true;
}

void InputFile::close() {
  if (descriptor_ >= 0) platform::CloseDescriptor(std::exchange(descriptor_, -1));
  size_ = 0;
}

bool InputFile::read_at(uint64_t position, std::span<uint8_t> bytes) const {
  if (descriptor_ < 0 || position > size_ || bytes.size() > size_ - position) return false;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(bytes.size(), platform::kMaxBytesPerCall));
    const int64_t got = platform::ReadSome(descriptor_, position, part);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error_ = LastError();
    if (got <= 0) return false;  // 0: the file has shrunk since it was opened
    bytes = bytes.subspan(static_cast<size_t>(got));
    position += static_cast<uint64_t>(got);
  }
  return true;
}

}  // namespace qolm::container
