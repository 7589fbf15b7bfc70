// Where a conversion writes, so that a run that fails harms no file.
//
// The bytes go to a part file beside the output, which takes the output's
// place only once it is finished. An output that is a symbolic link keeps the
// link: its target is what gets replaced. An output that exists already hands
// its permissions and, where the system allows it, its owner on.
#ifndef QOLM_CLI_PART_FILE_H_
#define QOLM_CLI_PART_FILE_H_

#include <filesystem>
#include <string>
#include <system_error>

namespace qolm::cli {

class PartFile {
 public:
  PartFile() = default;
  // Removes the part file unless it was committed or kept.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  // Judges `output` and makes room for its part file; call it once. Empty when
  // part_path() may be written now, else why not, in a few words: the output
  // is the input by any name, a directory, a special file, not writable,
  // another run's …
  [[nodiscard]] std::string Prepare(const std::filesystem::path& output,
                                    const std::filesystem::path& input);

  const std::filesystem::path& part_path() const { return part_; }

  // Renames the part file, which must be closed, over the output. When that
  // fails the part file stays.
  [[nodiscard]] std::error_code Commit();

  // Leaves the part file where it is.
  void Keep() { owns_part_ = false; }

 private:
  // Creates part_ and locks it; empty or why that cannot be.
  std::string Claim();
  // Whether part_ still names the file that Claim created.
  bool PartIsOurs() const;

  std::filesystem::path target_;  // the output with symbolic links followed
  std::filesystem::path part_;
  bool replaces_ = false;   // the target exists
  bool owns_part_ = false;  // the part file is ours to remove
  int lock_ = -1;           // descriptor of the part file; closing it unlocks
};

}  // namespace qolm::cli

#endif  // QOLM_CLI_PART_FILE_H_
