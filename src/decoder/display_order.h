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
// each other wait as one. One length stays ambiguous: behind a run of exactly
// 65535 (131071, ...) frames the next anchor has the held frame's very number.
// The two then change places, and nothing else does.
//
// A file whose numbers make no sense is shown as it is stored from there on, up
// to a key frame whose number is that of the frames shown so far: all that is
// stored before a key frame is shown before it. Where frames were lost no later
// number is, and the stored order holds to the end. In either order every
// record that is added comes out exactly once.
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
  uint64_t plane_bytes = 0;      // of the picture; 0 for a repeat run
  DecodedPicture picture;        // none for a repeat run
};

class DisplayOrder {
 public:
  // Records that may wait for earlier frames at a time.
  static constexpr size_t kMaxParked = 8;
  // What their pictures may take together, unless only one of them is a picture.
  static constexpr uint64_t kMaxParkedPlaneBytes = uint64_t{128} << 20;

  enum class Mode : uint8_t {
    kStored,       // numbers are not looked at
    kByNumber,     // pictures and runs wait for the numbers before theirs
    kNumbersLost,  // as stored until a key frame has the number that it must have
  };

  // At the start of a file.
  static DisplayOrder For(const container::FileHeader& header) {
    const bool bidirectional = (header.flags & container::kFlagBidirectional) != 0;
    return {bidirectional ? Mode::kByNumber : Mode::kStored, 0};
  }

  // Behind `frames_shown` frames, with nothing that waits.
  DisplayOrder(Mode mode, int64_t frames_shown) : mode_(mode), frames_shown_(frames_shown) {}

  // Adds the next record of the file, one that shows at least a frame: not
  // sound, not an index. Only when take() has nothing more to give. `picture`
  // is what the record was decoded to, `plane_bytes` what its planes take.
  void add(const container::RecordHeader& record, DecodedPicture picture, uint64_t plane_bytes);

  // The next item to show; false when a further record is needed first.
  [[nodiscard]] bool take(DisplayItem& item);

  // No further record comes: take() then gives all that waits, by number.
  void release() { mode_ = Mode::kStored; }

  Mode mode() const { return mode_; }

  // What has been added and not taken, the next to show first.
  const std::vector<DisplayItem>& waiting() const { return waiting_; }

 private:
  int64_t NumberOf(const container::RecordHeader& record) const;
  bool Park(DisplayItem& item);
  bool HasRoomFor(const DisplayItem& item) const;

  Mode mode_;
  int64_t frames_shown_;  // by number that is the next number to show
  std::vector<DisplayItem> waiting_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_DISPLAY_ORDER_H_
