// Judges the place that an output shall take, before anything is written.
#ifndef QOLM_OUTPUT_OUTPUT_PATH_H_
#define QOLM_OUTPUT_OUTPUT_PATH_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <system_error>

namespace qolm::output {

// Refusals that the system has no word for. Their messages are phrases about
// the output, "it is the input file".
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

// Found by argument-dependent lookup, under the name that the library asks for.
inline std::error_code make_error_code(OutputRefusal refusal) {
  return {static_cast<int>(refusal), OutputRefusalCategory()};
}

// Which files an output may replace. Empty ones always.
struct ReplacePolicy {
  // Whether a file that begins with these bytes, the first 32 or all that it
  // has, is of the kind that the program writes there. Part files are held to it, too.
  std::function<bool(std::span<const uint8_t>)> is_own_kind;
  bool overwrite = false;  // any file, so that none is looked into
  // Where it is not empty, an output must also hold this text in its first or last
  // 4 KiB: of a kind that others write as well only the program's own is replaced.
  std::string mark = {};
};

// Why the regular file at `path`, if there is one, may not be replaced.
[[nodiscard]] std::error_code CheckReplacement(const std::filesystem::path& path,
                                               const ReplacePolicy& policy);

struct OutputPath {
  std::filesystem::path target;  // the output with symbolic links followed
  std::filesystem::path part;    // where it is written, see part_name.h
  bool exists = false;
  // A pipe, a device …, which only takes bytes as it stands; then `part` is
  // empty.
  bool special = false;
};

// Fills `judged`, or tells why `output` cannot be written: it is empty, a
// directory, the input by any name, not writable, a file that `policy` protects,
// or its part file's place is taken by the input, by a file that `policy` protects,
// or by no regular file. Nothing
// is changed, so a directory that is missing or takes no files shows only when
// the part file is made. A link whose target does not exist is as good as its
// target.
[[nodiscard]] std::error_code ValidateOutputPath(const std::filesystem::path& output,
                                                 const std::filesystem::path& input,
                                                 const ReplacePolicy& policy, OutputPath& judged);

}  // namespace qolm::output

template <>
struct std::is_error_code_enum<qolm::output::OutputRefusal> : std::true_type {};

#endif  // QOLM_OUTPUT_OUTPUT_PATH_H_
