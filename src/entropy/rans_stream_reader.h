// SPDX-License-Identifier: MIT
//
// Decodes a rANS stream incrementally, to bound the memory.
#ifndef QOLM_ENTROPY_RANS_STREAM_READER_H_
#define QOLM_ENTROPY_RANS_STREAM_READER_H_

#include <cstdint>
#include <span>

#include "entropy/rans_decoder.h"

namespace qolm::entropy {

class RansStreamReader {
 public:
  // False when RansDecodeBytes of `count` values would fail, or for a count of 0.
  // `stream` must outlive the reader.
  [[nodiscard]] bool open(std::span<const uint8_t> stream, uint32_t count) {
    return count > 0 && OpenRansStream(stream, count, slots_, reader_);
  }

  // The next values, in total at most the count.
  void read(std::span<uint8_t> values) { StepRansValues(slots_, reader_, values); }

 private:
  RansSlotTable slots_;
  RansReader reader_;
};

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_STREAM_READER_H_
