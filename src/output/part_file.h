// Where a program writes, so that a run that fails harms no file.
//
// The bytes go to a part file beside the output, which takes the output's
// place only once it is finished. An output that is a symbolic link keeps the
// link: its target is what gets replaced. An output that exists already hands
// its permissions and, where the system allows it, its owner on.
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

  // Judges `output` and makes its part file, empty; call it once. An error says
  // why path() may not be written; special files are refused too.
  [[nodiscard]] std::error_code Prepare(const std::filesystem::path& output,
                                        const std::filesystem::path& input,
                                        const ReplacePolicy& policy);

  const std::filesystem::path& path() const { return place_.part; }

  // From now on a signal that ends the program removes the part file first.
  // Only one part file of a process can ask for it at a time.
  void RemoveOnSignal();

  // Waits for the disk and renames the part file, which must be closed, over
  // the output, unless a file that the policy protects has come there since
  // Prepare. When that fails the part file is as before.
  [[nodiscard]] std::error_code Commit();

  // Leaves the part file where it is.
  void Keep();

 private:
  OutputPath place_;
  ReplacePolicy policy_;
  platform::LockedFile file_;
  bool owned_ = false;              // the part file is ours to remove
  bool removed_on_signal_ = false;  // by part_cleanup.h
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_FILE_H_
