// SPDX-License-Identifier: MIT
#include "output/part_file.h"

#include "platform/file_system.h"
#include "platform/removal_on_signal.h"

namespace qolm::output {

namespace fs = std::filesystem;

PartFile::~PartFile() {
  std::error_code ignored;
  if (owned_ && file_.IsNamed(paths_.part)) fs::remove(paths_.part, ignored);
  Keep();
}

std::error_code PartFile::Prepare(const fs::path& output, const fs::path& input,
                                  const ReplacePolicy& policy) {
  policy_ = policy;
  if (const std::error_code refusal = ValidateOutputPath(output, input, policy, paths_)) {
    return refusal;
  }
  if (paths_.special) return OutputRefusal::kNotRegular;
  const std::error_code error = file_.Create(paths_.part, paths_.exists ? &paths_.target : nullptr);
  if (error == std::errc::resource_unavailable_try_again) return OutputRefusal::kOwnedByAnotherRun;
  owned_ = !error;
  return error;
}

void PartFile::RemoveOnSignal() {
  platform::RemoveFileOnSignal(&paths_.part);
  removed_on_signal_ = true;
}

std::error_code PartFile::Commit() {
  if (!file_.IsNamed(paths_.part)) {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  std::error_code error = file_.Sync();
  // The output may have appeared during the conversion.
  if (!error) error = CheckReplacement(paths_.target, policy_);
  if (error) return error;
  if (paths_.exists) platform::CopyOwnerAndPermissions(paths_.target, paths_.part);
  error = platform::RenameOver(paths_.part, paths_.target);
  if (error) return error;
  Keep();
  file_.Release();  // other runs may use the name again
  return {};
}

void PartFile::Keep() {
  if (removed_on_signal_) platform::RemoveFileOnSignal(nullptr);
  removed_on_signal_ = false;
  owned_ = false;
}

}  // namespace qolm::output
