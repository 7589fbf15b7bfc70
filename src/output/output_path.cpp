#include "output/output_path.h"

#include <string>

#include "output/file_system.h"

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

class RefusalCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "output"; }
  std::string message(int value) const override {
    switch (static_cast<OutputRefusal>(value)) {
      case OutputRefusal::kIsInput:
        return "it is the input file";
      case OutputRefusal::kNotRegular:
        return "it is not a regular file";
      case OutputRefusal::kPartIsInput:
        return "its part file is the input file";
      case OutputRefusal::kPartNotRegular:
        return "its part file is not a regular file";
      case OutputRefusal::kOwnedByAnotherRun:
        return "another run is writing its part file";
    }
    return "it cannot be written";
  }
};

std::error_code JudgePart(const fs::path& part, const fs::path& input) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(part, error);
  if (status.type() == fs::file_type::none) return error;
  if (!fs::exists(status)) return {};
  if (IsSameFile(part, input)) return OutputRefusal::kPartIsInput;
  if (fs::is_directory(status)) return std::make_error_code(std::errc::is_a_directory);
  if (!fs::is_regular_file(status)) return OutputRefusal::kPartNotRegular;
  return {};
}

}  // namespace

const std::error_category& OutputRefusalCategory() {
  static const RefusalCategory category;
  return category;
}

std::error_code JudgeOutputPath(const fs::path& output, const fs::path& input, OutputPath& judged) {
  judged = {};
  if (output.empty()) return std::make_error_code(std::errc::no_such_file_or_directory);
  std::error_code error;
  const fs::file_status status = fs::status(output, error);
  if (status.type() == fs::file_type::none) return error;
  if (fs::is_directory(status) || !output.has_filename()) {
    return std::make_error_code(std::errc::is_a_directory);
  }
  judged.exists = fs::exists(status);
  judged.special = IsSpecialFile(output, status);
  // A device that is no file is not opened just to be compared.
  if ((judged.exists || !judged.special) && IsSameFile(output, input)) {
    return OutputRefusal::kIsInput;
  }
  judged.target = FollowLinks(output, error);
  if (error) return error;
  if (judged.special) return {};
  if (judged.exists) error = CheckWritable(output);
  if (error) return error;
  judged.part = judged.target;
  judged.part += ".part";
  return JudgePart(judged.part, input);
}

}  // namespace qolm::output
