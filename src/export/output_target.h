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

namespace qolm::exporter {

// Pictures on a terminal are never meant.
bool StandardOutputIsTerminal();

// Where a regular file is written until it is complete.
std::filesystem::path PartPathOf(const std::filesystem::path& output);

// After a failure every operation returns false and error() keeps the first
// reason.
class OutputTarget {
 public:
  OutputTarget() = default;
  ~OutputTarget();  // an output that was not committed is removed
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;

  // A regular file is written as `<path>.part`, of which a signal that ends the
  // program leaves nothing either; pipes and devices directly. A link stays one.
  [[nodiscard]] bool open(const std::filesystem::path& path);
  [[nodiscard]] bool open_standard_output();

  [[nodiscard]] bool write(std::span<const uint8_t> bytes);

  // Writes out what is buffered, closes, and gives the file its name.
  [[nodiscard]] bool commit();

  std::error_code error() const { return error_; }
  // The reader of a pipe has gone, which is its right.
  bool reader_has_gone() const { return error_ == std::errc::broken_pipe; }

 private:
  bool open_part();
  bool fail(std::error_code error);
  bool fail_with_errno();

  std::FILE* stream_ = nullptr;
  bool owns_stream_ = false;
  std::filesystem::path path_;
  std::filesystem::path part_path_;  // empty when nothing is renamed
  std::vector<char> buffer_;
  std::error_code error_;
};

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_OUTPUT_TARGET_H_
