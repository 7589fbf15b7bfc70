// Brings the records of a file into the order in which their frames are shown.
//
// A held frame is coded behind the frame that follows it, so the file has, for
// frames 1 to 6 of which 2 to 5 stand still:
//
//   5x4@2   2@6   4@1      stored: the run stands before the picture that it repeats
//   4@1   5x4@2   2@6      shown
//
// What surprises: a record says only the low 16 bits of its number, and a run of
// still frames behind one held frame may be longer than those can tell. Numbers
// are therefore continued from the record furthest ahead, and runs that follow
// each other wait as one.
//
// A file whose numbers make no sense is shown as it is stored from there on. In
// either order every record that is added comes out exactly once.
#ifndef QOLM_DECODER_DISPLAY_ORDER_H_
#define QOLM_DECODER_DISPLAY_ORDER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "container/layout.h"
#include "decoder/decoded_picture.h"

namespace qolm::decoder {

// One picture, or frames that show the picture before them again.
struct DisplayItem {
  container::RecordType type{};  // kRepeatRun, or what the picture was coded as
  int64_t first_number = 0;      // of its first frame; without meaning in stored order
  int64_t frames = 0;            // at least 1, exactly 1 for a picture
  DecodedPicture picture;        // none for a repeat run
};

class DisplayOrder {
 public:
  // Records that may wait for earlier frames at a time.
  static constexpr size_t kMaxParked = 8;

  // The order of a file that stores its frames as they are shown: numbers are
  // not looked at.
  static DisplayOrder Stored() { return DisplayOrder(true, 0); }
  // The order by frame numbers, of which `next_number` is the next to show.
  static DisplayOrder ByNumber(int64_t next_number) { return DisplayOrder(false, next_number); }

  // Adds the next record of the file, one that shows at least a frame: not
  // sound, not an index. Only when take() has nothing more to give. `picture`
  // is what the record was decoded to.
  void add(const container::RecordHeader& record, DecodedPicture picture);

  // The next item to show; false when a further record is needed first.
  [[nodiscard]] bool take(DisplayItem& item);

  // No further record comes: take() then gives all that waits, by number.
  void release() { stored_order_ = true; }

  // True from the start, or since numbers made no sense or release().
  bool in_stored_order() const { return stored_order_; }

  // What has been added and not taken, the next to show first.
  const std::vector<DisplayItem>& waiting() const { return waiting_; }

 private:
  DisplayOrder(bool stored_order, int64_t next_number)
      : stored_order_(stored_order), next_number_(next_number) {}

  int64_t NumberOf(const container::RecordHeader& record) const;
  bool Park(DisplayItem& item);

  bool stored_order_;
  int64_t next_number_;  // to show; without meaning in stored order
  std::vector<DisplayItem> waiting_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_DISPLAY_ORDER_H_
