// SPDX-License-Identifier: MIT
//
// Validates an output path before anything is written.
#ifndef QOLM_OUTPUT_OUTPUT_PATH_H_
#define QOLM_OUTPUT_OUTPUT_PATH_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <system_error>

namespace qolm::output {

// Refusals without a std::errc value. Their messages are phrases about the output, such as
// "it is the input file".
enum class OutputRefusal {
  kIsInput = 1,
  kNotRegular,
  kPartIsInput,
  kPartNotRegular,
  kOwnedByAnotherRun,
  kOtherKind,
  kPartOfOtherKind,
  kOtherOrigin,
};

const std::error_category& OutputRefusalCategory();

// The standard library finds it by argument-dependent lookup.
inline std::error_code make_error_code(OutputRefusal refusal) {
  return {static_cast<int>(refusal), OutputRefusalCategory()};
}

// Which existing files an output may replace. Empty ones always.
struct ReplacePolicy {
  // Whether a file that begins with these bytes, the first 32 or all that it has, is of
  // the kind that the program writes. Applies to part files, too.
  std::function<bool(std::span<const uint8_t>)> is_own_kind;
  bool overwrite = false;  // replaces any file without reading it
  // If not empty, an output must also contain this text in its first or last 4 KiB, so that
  // of a kind that other programs write too only this program's files are replaced.
  std::string mark = {};
};

// Why the regular file at `path`, if any, may not be replaced.
[[nodiscard]] std::error_code CheckReplacement(const std::filesystem::path& path,
                                               const ReplacePolicy& policy);

struct OutputPath {
  std::filesystem::path target;  // the output with symbolic links followed
  std::filesystem::path part;    // where it is written, see part_name.h
  bool exists = false;
  // A pipe or device, which is written directly; `part` is then empty.
  bool special = false;
};

// Fills `validated`, or returns why `output` cannot be written: it is empty, a directory,
// the input by any name, not writable, or a file that `policy` protects; or the name of its
// part file is taken by the input, by a file that `policy` protects, or by something that
// is not a regular file. Changes nothing, so a missing or read-only directory is reported
// only when the part file is created. A link stands for its target, existing or not.
[[nodiscard]] std::error_code ValidateOutputPath(const std::filesystem::path& output,
                                                 const std::filesystem::path& input,
                                                 const ReplacePolicy& policy,
                                                 OutputPath& validated);

}  // namespace qolm::output

template <>
struct std::is_error_code_enum<qolm::output::OutputRefusal> : std::true_type {};

#endif  // QOLM_OUTPUT_OUTPUT_PATH_H_
