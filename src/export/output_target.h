// Where an export goes: a file that appears under its name only once it is
// complete, a special file, or standard output.
#ifndef QOLM_EXPORT_OUTPUT_TARGET_H_
#define QOLM_EXPORT_OUTPUT_TARGET_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <system_error>
#include <vector>

#include "output/output_path.h"
#include "output/part_file.h"

namespace qolm::exporter {

// After a failure every operation returns false and error() keeps the first
// reason.
class OutputTarget {
 public:
  OutputTarget() = default;
  ~OutputTarget();  // an output that was not committed is removed
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;

  // A regular file is written as a part file, of which a signal that ends the
  // program leaves nothing either; pipes and devices directly. `input` is never
  // written, by whatever name.
  [[nodiscard]] bool open(const std::filesystem::path& path, const std::filesystem::path& input,
                          const output::ReplacePolicy& policy);
  [[nodiscard]] bool open_standard_output();

  [[nodiscard]] bool write(std::span<const uint8_t> bytes);

  // Only a file that this program made can be written anywhere but at its end.
  bool seekable() const { return commits_part_; }
  // The byte that the next write starts at.
  [[nodiscard]] bool seek(uint64_t position);

  // Writes out what is buffered, closes, and gives the file its name.
  [[nodiscard]] bool commit();

  std::error_code error() const { return error_; }
  // The reader of a pipe has gone, which is its right.
  bool reader_has_gone() const { return error_ == std::errc::broken_pipe; }

 private:
  std::error_code prepare_part(const std::filesystem::path& path,
                               const std::filesystem::path& input,
                               const output::ReplacePolicy& policy);
  bool fail(std::error_code error);
  bool fail_with_errno();

  std::FILE* stream_ = nullptr;
  bool owns_stream_ = false;
  bool commits_part_ = false;
  output::PartFile part_;
  std::vector<char> buffer_;
  std::error_code error_;
};

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_OUTPUT_TARGET_H_
