// The claim that one run has on a part file, so that two runs with the same
// output never mix their bytes.
#ifndef QOLM_OUTPUT_PART_LOCK_H_
#define QOLM_OUTPUT_PART_LOCK_H_

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "output/output_path.h"

namespace qolm::output {

// Whoever removes, renames or writes a part file holds its lock. Where the file
// system knows no locks everything works without one.
class PartLock {
 public:
  PartLock() = default;
  ~PartLock();  // as Release
  PartLock(const PartLock&) = delete;
  PartLock& operator=(const PartLock&) = delete;

  // Makes a new, empty part file at `place`, instead of one that an ended run
  // left, and locks it. An old file is replaced, never written through: it may
  // have other names. Nobody may read the new one who may not read the output
  // that exists; this user may write it. Call it once.
  [[nodiscard]] std::error_code Create(const OutputPath& place);

  // Gives the lock up; the file stays.
  void Release();

  // Whether `part` still names the file that Create made.
  bool Holds(const std::filesystem::path& part) const;

  // Waits until the disk holds everything that was written to the file.
  [[nodiscard]] std::error_code Sync() const;

 private:
  static constexpr intptr_t kNone = -1;

  intptr_t file_ = kNone;  // as the system names open files
};

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_LOCK_H_
