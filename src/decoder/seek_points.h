// Where decoding can start, told from the headers of all records.
#ifndef QOLM_DECODER_SEEK_POINTS_H_
#define QOLM_DECODER_SEEK_POINTS_H_

#include <cstdint>
#include <vector>

#include "container/container_reader.h"
#include "decoder/display_order.h"

namespace qolm::decoder {

// A record from which on all is shown as when decoding from the start:
// everything before it in the file is shown before it, and nothing behind it
// refers further back.
struct SeekPoint {
  int32_t frame_number = 0;    // that the record shows
  uint32_t record_index = 0;   // its entry in the reader's index
  DisplayOrder::Mode order{};  // in which a decoder comes to the record
};

class SeekPoints {
 public:
  // Walks every record header of `reader` once, and the sizes of key frames
  // where pictures may wait for each other.
  explicit SeekPoints(const container::ContainerReader& reader);

  // For each entry of reader.keyframes() the number that its frame is shown
  // as; negative where that is more than 2^31 - 1.
  const std::vector<int32_t>& key_frame_numbers() const { return key_frame_numbers_; }

  // The last point at or before a frame, or at a record. The start of the file is one.
  const SeekPoint& last_before_frame(int32_t frame_number) const;
  const SeekPoint& last_before_record(uint32_t record_index) const;

 private:
  std::vector<int32_t> key_frame_numbers_;
  std::vector<SeekPoint> points_;  // ascending in both numbers, never empty
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_SEEK_POINTS_H_
