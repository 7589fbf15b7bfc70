#include "output/part_file.h"

#include "platform/file_system.h"
#include "platform/removal_on_signal.h"

namespace qolm::output {

namespace fs = std::filesystem;

PartFile::~PartFile() {
  std::error_code ignored;
  if (owned_ && file_.IsNamed(place_.part)) fs::remove(place_.part, ignored);
  Keep();
}

std::error_code PartFile::Prepare(const fs::path& output, const fs::path& input,
                                  const ReplacePolicy& policy) {
  policy_ = policy;
  if (const std::error_code refusal = ValidateOutputPath(output, input, policy, place_)) {
    return refusal;
  }
  if (place_.special) return OutputRefusal::kNotRegular;
  const std::error_code error = file_.Create(place_.part, place_.exists ? &place_.target : nullptr);
  if (error == std::errc::resource_unavailable_try_again) return OutputRefusal::kOwnedByAnotherRun;
  owned_ = !error;
  return error;
}

void PartFile::RemoveOnSignal() {
  platform::RemoveFileOnSignal(&place_.part);
  removed_on_signal_ = true;
}

std::error_code PartFile::Commit() {
  if (!file_.IsNamed(place_.part)) {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  std::error_code error = file_.Sync();
  // A conversion takes its time, and the name was free when it began.
  if (!error) error = CheckReplacement(place_.target, policy_);
  if (error) return error;
  if (place_.exists) platform::CopyOwnerAndPermissions(place_.target, place_.part);
  error = platform::RenameOver(place_.part, place_.target);
  if (error) return error;
  Keep();
  file_.Release();  // the name is free for other runs now, and the output for everybody
  return {};
}

void PartFile::Keep() {
  if (removed_on_signal_) platform::RemoveFileOnSignal(nullptr);
  removed_on_signal_ = false;
  owned_ = false;
}

}  // namespace qolm::output
