// SPDX-License-Identifier: MIT
//
// The reorder buffer: brings the records of a file from coding order into display order.
//
// A held frame is coded after the frame that follows it. For frames 1 to 6, of which 2
// to 5 repeat frame 1, the records are (type[x count]@frame number):
//
//   5x4@2   2@6   4@1      coding order: the run precedes the picture that it repeats
//   4@1   5x4@2   2@6      display order
//
// A record stores only the low 16 bits of its frame number, and the repeat runs after
// one held frame may exceed their range. Numbers are therefore extended relative to the
// last pending record, and consecutive runs are merged. One length remains ambiguous:
// after a run of exactly 65535 (131071, ...) frames the next anchor has the same 16 bits
// as the held frame. These two pictures are then swapped; nothing else is affected.
//
// When the numbers are inconsistent, frames are shown in stored order until a key frame
// whose number equals the count of frames shown so far: all records stored before a key
// frame are displayed before it. After a loss of frames no number matches again, so the
// stored order applies to the end. In either order every record that is added is
// returned exactly once.
#ifndef QOLM_DECODER_DISPLAY_ORDER_H_
#define QOLM_DECODER_DISPLAY_ORDER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "container/layout.h"
#include "decoder/decoded_picture.h"

namespace qolm::decoder {

// One picture, or a run of frames that repeat the previous picture.
struct DisplayItem {
  container::RecordType type{};  // kRepeatRun, or what the picture was coded as
  int64_t first_number = 0;      // of its first frame; unused in stored order
  int64_t frames = 0;            // at least 1, exactly 1 for a picture
  uint64_t plane_bytes = 0;      // of the picture; 0 for a repeat run
  DecodedPicture picture;        // none for a repeat run
};

class DisplayOrder {
 public:
  // The most records that can be pending at a time.
  static constexpr size_t kMaxPending = 8;
  // Limit on the memory of their pictures, unless only one of them is a picture.
  static constexpr uint64_t kMaxPendingPlaneBytes = uint64_t{128} << 20;

  enum class Mode : uint8_t {
    kStored,       // in stored order, numbers are ignored
    kByNumber,     // in ascending frame number
    kNumbersLost,  // in stored order until a key frame has the expected number
  };

  // The initial state for a file.
  static DisplayOrder For(const container::FileHeader& header) {
    const bool bidirectional = (header.flags & container::kFlagBidirectional) != 0;
    return {bidirectional ? Mode::kByNumber : Mode::kStored, 0};
  }

  // The state after `frames_shown` frames with no pending records.
  DisplayOrder(Mode mode, int64_t frames_shown) : mode_(mode), frames_shown_(frames_shown) {}

  // Adds the next record of the file that shows frames, neither audio nor index; only
  // after take() has returned false. `picture` is the decoded picture of the record,
  // `plane_bytes` the size of its planes.
  void add(const container::RecordHeader& record, DecodedPicture picture, uint64_t plane_bytes);

  // The next item in display order; false when another record is needed first.
  [[nodiscard]] bool take(DisplayItem& item);

  // At the end of the records: take() then returns all pending items by number.
  void release() { mode_ = Mode::kStored; }

  Mode mode() const { return mode_; }

  // The items added and not yet taken, in display order.
  const std::vector<DisplayItem>& pending() const { return pending_; }

 private:
  int64_t NumberOf(const container::RecordHeader& record) const;
  bool Insert(DisplayItem& item);
  bool HasCapacityFor(const DisplayItem& item) const;

  Mode mode_;
  int64_t frames_shown_;  // which is also the number of the next frame to show
  std::vector<DisplayItem> pending_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_DISPLAY_ORDER_H_
