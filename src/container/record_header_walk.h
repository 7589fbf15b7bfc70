// Reads record headers at ascending offsets without one system call for each.
#ifndef QOLM_CONTAINER_RECORD_HEADER_WALK_H_
#define QOLM_CONTAINER_RECORD_HEADER_WALK_H_

#include <cstdint>
#include <vector>

#include "container/input_file.h"
#include "container/layout.h"

namespace qolm::container {

// Where headers stand close together (repeat runs, still pictures) it reads a
// window and serves many from it; where payloads of a size lie between them it
// reads the eight bytes alone, so a walk never reads a whole film.
class RecordHeaderWalk {
 public:
  // `file` must be open and outlive the walk.
  explicit RecordHeaderWalk(const InputFile& file) : file_(file) {}

  // False when the header does not lie in the file or cannot be read.
  [[nodiscard]] bool read(uint64_t offset, RecordHeader& header);

 private:
  const InputFile& file_;
  std::vector<uint8_t> window_;
  uint64_t window_position_ = 0;
  uint64_t last_offset_ = 0;
};

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_RECORD_HEADER_WALK_H_
