// SPDX-License-Identifier: MIT
#include "container/output_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/file_descriptor.h"

namespace qolm::container {
namespace {

constexpr size_t kBufferBytes = size_t{256} << 10;

}  // namespace

OutputFile::~OutputFile() { close(); }

bool OutputFile::open(const std::filesystem::path& path) {
  close();
  error_.clear();
  buffer_.clear();
  buffer_position_ = 0;
  do {
    descriptor_ = platform::OpenForWriting(path);
  } while (descriptor_ < 0 && errno == EINTR);
  if (descriptor_ < 0) {
    fail_with_errno();
    return false;
  }
  buffer_.reserve(kBufferBytes);
  return true;
}

bool OutputFile::write(std::span<const uint8_t> bytes) {
  if (!good()) return false;
  if (bytes.size() > kBufferBytes - buffer_.size() && !flush()) return false;
  if (bytes.size() >= kBufferBytes) return write_through(bytes);
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  return true;
}

bool OutputFile::seek(uint64_t position) {
  if (!flush()) return false;
  if (platform::SeekTo(descriptor_, position) < 0) {
    fail_with_errno();
    return false;
  }
  buffer_position_ = position;
  return true;
}

bool OutputFile::flush() {
  if (!good()) return false;
  const bool written = write_through(buffer_);
  buffer_.clear();
  return written;
}

bool OutputFile::sync() {
  if (!flush()) return false;
  if (platform::SyncDescriptor(descriptor_) == 0) return true;
  // Pipes and character devices do not support it.
  if (errno == EINVAL || errno == ENOTSUP) return true;
  fail_with_errno();
  return false;
}

bool OutputFile::close() {
  if (descriptor_ < 0) return false;
  flush();
  if (platform::CloseDescriptor(std::exchange(descriptor_, -1)) != 0) fail_with_errno();
  return !error_;
}

void OutputFile::fail(std::error_code error) {
  if (!error_) error_ = error;
}

bool OutputFile::write_through(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const int64_t written = platform::WriteSome(
        descriptor_, bytes.first(std::min(bytes.size(), platform::kMaxBytesPerCall)));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      fail_with_errno();
      return false;
    }
    if (written == 0) {
      fail(std::make_error_code(std::errc::io_error));
      return false;
    }
    bytes = bytes.subspan(static_cast<size_t>(written));
    buffer_position_ += static_cast<uint64_t>(written);
  }
  return true;
}

void OutputFile::fail_with_errno() { fail({errno, std::generic_category()}); }

}  // namespace qolm::container
