// SPDX-License-Identifier: MIT
//
// A file opened for reading at any 64-bit position.
#ifndef QOLM_CONTAINER_INPUT_FILE_H_
#define QOLM_CONTAINER_INPUT_FILE_H_

#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

namespace qolm::container {

class InputFile {
 public:
  InputFile() = default;
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Closes what is open and opens `path`. False with error() set when the
  // system refuses, or when the path is a directory or not seekable.
  [[nodiscard]] bool open(const std::filesystem::path& path);
  void close();

  bool is_open() const { return descriptor_ >= 0; }
  uint64_t size() const { return size_; }           // bytes, at open
  std::error_code error() const { return error_; }  // of the last open or failed read

  // Fills `bytes` from `position`. False when they are not all in the file or on
  // a system error.
  [[nodiscard]] bool read_at(uint64_t position, std::span<uint8_t> bytes) const;

 private:
  int descriptor_ = -1;
  uint64_t size_ = 0;
  mutable std::error_code error_;
};

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_INPUT_FILE_H_
