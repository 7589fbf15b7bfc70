// The claim that one run has on a part file, so that two runs with the same
// output never mix their bytes.
#ifndef QOLM_OUTPUT_PART_LOCK_H_
#define QOLM_OUTPUT_PART_LOCK_H_

#include <filesystem>
#include <system_error>

namespace qolm::output {

// Whoever removes, renames or writes a part file holds its lock. Where the file
// system knows no locks, or the system keeps open files from being replaced,
// everything works without one.
class PartLock {
 public:
  PartLock() = default;
  ~PartLock();  // unlocks; the file stays
  PartLock(const PartLock&) = delete;
  PartLock& operator=(const PartLock&) = delete;

  // Makes a new, empty file at `part`, in place of one that an ended run left,
  // and locks it. An old file is replaced, never written through: it may have
  // other names. Call it once.
  [[nodiscard]] std::error_code Create(const std::filesystem::path& part,
                                       std::filesystem::perms permissions);

  // Whether `part` still names the file that Create made.
  bool Holds(const std::filesystem::path& part) const;

  // Waits until the disk holds everything that was written to `part`.
  [[nodiscard]] std::error_code Sync(const std::filesystem::path& part) const;

 private:
  int descriptor_ = -1;
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_LOCK_H_
