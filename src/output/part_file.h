// SPDX-License-Identifier: MIT
//
// A file that is written beside the output and renamed over it when complete, so that a
// failed run harms no file. An output that is a symbolic link stays one: its target is
// replaced. The new file takes the permissions of an existing output and, where the system
// allows it, its owner.
#ifndef QOLM_OUTPUT_PART_FILE_H_
#define QOLM_OUTPUT_PART_FILE_H_

#include <filesystem>
#include <system_error>

#include "output/output_path.h"
#include "platform/locked_file.h"

namespace qolm::output {

class PartFile {
 public:
  PartFile() = default;
  // Removes the part file unless it was committed or kept.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  // Validates `output` and creates its part file, empty; call it once. Special files are
  // refused too.
  [[nodiscard]] std::error_code Prepare(const std::filesystem::path& output,
                                        const std::filesystem::path& input,
                                        const ReplacePolicy& policy);

  const std::filesystem::path& path() const { return paths_.part; }

  // From now on a signal that terminates the program removes the part file first. At most
  // one part file of a process at a time.
  void RemoveOnSignal();

  // Syncs the part file, which must be closed, and renames it over the output, unless a
  // file that the policy protects has appeared there since Prepare. On failure the part
  // file is unchanged.
  [[nodiscard]] std::error_code Commit();

  // Keeps the part file under its own name.
  void Keep();

 private:
  OutputPath paths_;
  ReplacePolicy policy_;
  platform::LockedFile file_;
  bool owned_ = false;              // the part file is this object's to remove
  bool removed_on_signal_ = false;  // by platform/removal_on_signal.h
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_FILE_H_
