// SPDX-License-Identifier: MIT
#include "output/output_path.h"

#include <algorithm>
#include <array>
#include <vector>

#include "output/part_name.h"
#include "platform/file_system.h"

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
      case OutputRefusal::kOtherKind:
        return "an existing file of another kind is not replaced without --overwrite";
      case OutputRefusal::kPartOfOtherKind:
        return "its part file's name is taken by a file of another kind, which is not replaced "
               "without --overwrite";
      case OutputRefusal::kOtherOrigin:
        return "an existing file that this program did not write is not replaced without "
               "--overwrite";
    }
    return "it cannot be written";
  }
};

// Whether `bytes` contain the mark.
bool Contains(std::span<const uint8_t> bytes, const std::string& mark) {
  return std::search(bytes.begin(), bytes.end(), mark.begin(), mark.end()) != bytes.end();
}

std::error_code CheckKind(const fs::path& path, const ReplacePolicy& policy) {
  std::error_code ignored;
  if (policy.overwrite || !fs::is_regular_file(path, ignored)) return {};
  std::array<uint8_t, 32> bytes{};
  size_t count = 0;
  const std::error_code error =
      platform::ReadFilePart(path, platform::FilePart::kBeginning, bytes, count);
  if (error == std::errc::no_such_file_or_directory) return {};
  if (error) return error;
  if (count == 0) return {};
  if (policy.is_own_kind && policy.is_own_kind(std::span(bytes).first(count))) return {};
  return OutputRefusal::kOtherKind;
}

std::error_code CheckPart(const fs::path& part, const fs::path& input,
                          const ReplacePolicy& policy) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(part, error);
  if (status.type() == fs::file_type::none) return error;
  if (!fs::exists(status)) return {};
  if (platform::IsSameFile(part, input)) return OutputRefusal::kPartIsInput;
  if (fs::is_directory(status)) return std::make_error_code(std::errc::is_a_directory);
  if (!fs::is_regular_file(status)) return OutputRefusal::kPartNotRegular;
  error = CheckKind(part, policy);
  return error == OutputRefusal::kOtherKind ? OutputRefusal::kPartOfOtherKind : error;
}

}  // namespace

const std::error_category& OutputRefusalCategory() {
  static const RefusalCategory category;
  return category;
}

std::error_code CheckReplacement(const fs::path& path, const ReplacePolicy& policy) {
  std::error_code error = CheckKind(path, policy);
  if (error || policy.overwrite || policy.mark.empty()) return error;
  std::error_code ignored;
  if (!fs::is_regular_file(path, ignored)) return {};
  constexpr size_t kMarkedBytes = 4096;
  std::vector<uint8_t> bytes(kMarkedBytes);
  for (const platform::FilePart part : {platform::FilePart::kBeginning, platform::FilePart::kEnd}) {
    size_t count = 0;
    error = platform::ReadFilePart(path, part, bytes, count);
    if (error == std::errc::no_such_file_or_directory) return {};
    if (error) return error;
    if (count == 0 || Contains(std::span(bytes).first(count), policy.mark)) return {};
  }
  return OutputRefusal::kOtherOrigin;
}

std::error_code ValidateOutputPath(const fs::path& output, const fs::path& input,
                                   const ReplacePolicy& policy, OutputPath& validated) {
  validated = {};
  if (output.empty()) return std::make_error_code(std::errc::no_such_file_or_directory);
  std::error_code error;
  const fs::file_status status = fs::status(output, error);
  if (status.type() == fs::file_type::none) return error;
  if (fs::is_directory(status) || !output.has_filename()) {
    return std::make_error_code(std::errc::is_a_directory);
  }
  validated.exists = fs::exists(status);
  validated.special = platform::IsSpecialFile(output, status);
  // A device is not opened just to be compared.
  if ((validated.exists || !validated.special) && platform::IsSameFile(output, input)) {
    return OutputRefusal::kIsInput;
  }
  validated.target = platform::FollowLinks(output, error);
  if (error) return error;
  if (validated.special) return {};
  if (validated.exists) error = platform::CheckWritable(output);
  if (!error && validated.exists) error = CheckReplacement(validated.target, policy);
  if (error) return error;
  validated.part = PartNameOf(validated.target);
  return CheckPart(validated.part, input, policy);
}

}  // namespace qolm::output
