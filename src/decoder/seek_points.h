// SPDX-License-Identifier: MIT
//
// The records at which decoding can start, derived from all record headers.
#ifndef QOLM_DECODER_SEEK_POINTS_H_
#define QOLM_DECODER_SEEK_POINTS_H_

#include <cstdint>
#include <vector>

#include "container/container_reader.h"
#include "decoder/display_order.h"

namespace qolm::decoder {

// A record from which decoding gives the same frames as decoding from the start: all
// records before it are displayed before it, and no later record refers to them.
struct SeekPoint {
  int32_t frame_number = 0;    // of the record's frame
  uint32_t record_index = 0;   // its entry in the reader's index
  DisplayOrder::Mode order{};  // the mode of a decoder that arrives at the record
};

class SeekPoints {
 public:
  // Reads every record header of `reader` once, and in files with bidirectional frames
  // also the sizes of the key frames.
  explicit SeekPoints(const container::ContainerReader& reader);

  // The display number of each entry of reader.keyframes(); -1 when it exceeds 2^31 - 1.
  const std::vector<int32_t>& key_frame_numbers() const { return key_frame_numbers_; }

  // The last seek point at or before a frame or record. The start of the file is one.
  const SeekPoint& last_before_frame(int32_t frame_number) const;
  const SeekPoint& last_before_record(uint32_t record_index) const;

 private:
  std::vector<int32_t> key_frame_numbers_;
  std::vector<SeekPoint> points_;  // ascending in both numbers, never empty
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_SEEK_POINTS_H_
