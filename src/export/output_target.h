// SPDX-License-Identifier: MIT
//
// Where an export is written: a file that appears under its name only when complete, a
// special file, or standard output.
#ifndef QOLM_EXPORT_OUTPUT_TARGET_H_
#define QOLM_EXPORT_OUTPUT_TARGET_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <system_error>
#include <vector>

#include "output/output_path.h"
#include "output/part_file.h"

namespace qolm::exporter {

// After a failure every operation returns false and error() keeps the first reason.
class OutputTarget {
 public:
  OutputTarget() = default;  // standard output
  // A file; `input` is never written, by whatever name.
  OutputTarget(std::filesystem::path path, std::filesystem::path input,
               output::ReplacePolicy policy);
  ~OutputTarget();  // an output that was not committed is removed
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;

  // Why open() would refuse the file, as far as can be known without creating anything.
  [[nodiscard]] std::error_code Validate() const;

  // Creates the output; call it once. A regular file is written as a part file, which a
  // signal that terminates the program removes; pipes and devices are written directly.
  [[nodiscard]] bool open();

  [[nodiscard]] bool write(std::span<const uint8_t> bytes);

  // Whether seek() works, as on regular files.
  bool seekable() const { return commits_part_; }
  // Sets the position of the next write, in bytes.
  [[nodiscard]] bool seek(uint64_t position);

  // Writes out what is buffered, closes, and gives the file its name.
  [[nodiscard]] bool commit();

  std::error_code error() const { return error_; }
  // The reader closed the pipe (EPIPE), which needs no message.
  bool reader_closed_pipe() const { return error_ == std::errc::broken_pipe; }

 private:
  struct File {
    std::filesystem::path path;
    std::filesystem::path input;
    output::ReplacePolicy policy;
  };

  std::error_code prepare_part();
  bool fail(std::error_code error);
  bool fail_with_errno();

  std::optional<File> file_;  // none: standard output
  std::FILE* stream_ = nullptr;
  bool owns_stream_ = false;
  bool commits_part_ = false;
  output::PartFile part_;
  std::vector<char> buffer_;
  std::error_code error_;
};

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_OUTPUT_TARGET_H_
