// SPDX-License-Identifier: MIT
//
// Reads record headers at ascending offsets with fewer than one system call for each.
#ifndef QOLM_CONTAINER_RECORD_HEADER_WALK_H_
#define QOLM_CONTAINER_RECORD_HEADER_WALK_H_

#include <cstdint>
#include <vector>

#include "container/input_file.h"
#include "container/layout.h"

namespace qolm::container {

// Where headers are close together (repeat runs, static pictures) it reads a window that
// contains many of them; where large payloads lie between them it reads only the eight
// bytes of each, so a walk never reads the whole file.
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
