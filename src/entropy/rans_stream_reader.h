// Decodes a rANS stream a piece at a time, where the whole would take too much memory.
#ifndef QOLM_ENTROPY_RANS_STREAM_READER_H_
#define QOLM_ENTROPY_RANS_STREAM_READER_H_

#include <cstdint>
#include <span>

#include "entropy/rans_decoder.h"

namespace qolm::entropy {

class RansStreamReader {
 public:
  // False where RansDecodeBytes is for `count` values, at least 1. `stream` must
  // outlive the reading.
  [[nodiscard]] bool open(std::span<const uint8_t> stream, uint32_t count) {
    return count > 0 && OpenRansStream(stream, count, slots_, reader_);
  }

  // The next values, all in all no more than the count.
  void read(std::span<uint8_t> values) { StepRansValues(slots_, reader_, values); }

 private:
  RansSlotTable slots_;
  RansReader reader_;
};

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_STREAM_READER_H_
