// SPDX-License-Identifier: MIT
//
// A buffered file opened for writing, with 64-bit positions and a sticky error.
#ifndef QOLM_CONTAINER_OUTPUT_FILE_H_
#define QOLM_CONTAINER_OUTPUT_FILE_H_

#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>
#include <vector>

namespace qolm::container {

// After a failure every operation but open() and close() does nothing and returns false,
// and error() keeps the reason of the first failure until open(). Bytes are buffered, so a
// failed write may be reported by a later operation; after a successful sync() they are
// on the disk.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();  // flushes and closes, ignoring errors
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Closes what is open and creates `path`, or empties it.
  [[nodiscard]] bool open(const std::filesystem::path& path);
  bool is_open() const { return descriptor_ >= 0; }
  bool good() const { return is_open() && !error_; }
  std::error_code error() const { return error_; }

  bool write(std::span<const uint8_t> bytes);
  // The position of the next byte in the file.
  uint64_t position() const { return buffer_position_ + buffer_.size(); }
  bool seek(uint64_t position);
  bool flush();
  // flush(), then blocks until the bytes are on the disk, on devices that support this.
  bool sync();
  // True when everything since open() succeeded.
  bool close();

  // Records an error of the caller, unless one is recorded already.
  void fail(std::error_code error);

 private:
  bool write_through(std::span<const uint8_t> bytes);
  void fail_with_errno();

  int descriptor_ = -1;
  std::vector<uint8_t> buffer_;
  uint64_t buffer_position_ = 0;  // file position of the buffer's first byte
  std::error_code error_;
};

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_OUTPUT_FILE_H_
