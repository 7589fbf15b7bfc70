// Judges the place that an output shall take, before anything is written.
#ifndef QOLM_OUTPUT_OUTPUT_PATH_H_
#define QOLM_OUTPUT_OUTPUT_PATH_H_

#include <filesystem>
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
};

const std::error_category& OutputRefusalCategory();

// Found by argument-dependent lookup, under the name that the library asks for.
inline std::error_code make_error_code(OutputRefusal refusal) {
  return {static_cast<int>(refusal), OutputRefusalCategory()};
}

struct OutputPath {
  std::filesystem::path target;  // the output with symbolic links followed
  std::filesystem::path part;    // `<target>.part`, where it is written
  bool exists = false;
  // A pipe, a device …, which only takes bytes as it stands; then `part` is
  // empty.
  bool special = false;
};

// Fills `judged`, or tells why `output` cannot be written: it is empty, a
// directory, the input by any name, not writable, or its part file's place is
// taken by the input or by no regular file. Nothing is opened or changed, so a
// directory that is missing or takes no files shows only when the part file is
// made. A link whose target does not exist is as good as its target.
[[nodiscard]] std::error_code JudgeOutputPath(const std::filesystem::path& output,
                                              const std::filesystem::path& input,
                                              OutputPath& judged);

}  // namespace qolm::output

template <>
struct std::is_error_code_enum<qolm::output::OutputRefusal> : std::true_type {};

#endif  // QOLM_OUTPUT_OUTPUT_PATH_H_
