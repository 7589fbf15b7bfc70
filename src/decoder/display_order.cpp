#include "decoder/display_order.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace qolm::decoder {
namespace {

using container::RecordType;

int64_t EndOf(const DisplayItem& item) { return item.first_number + item.frames; }

}  // namespace

void DisplayOrder::add(const container::RecordHeader& record, DecodedPicture picture,
                       uint64_t plane_bytes) {
  const bool is_run = record.type == RecordType::kRepeatRun;
  DisplayItem item{.type = record.type,
                   .frames = is_run && record.count > 0 ? record.count : 1,
                   .plane_bytes = plane_bytes,
                   .picture = std::move(picture)};
  if (mode_ == Mode::kNumbersLost && record.type == RecordType::kKeyFrame &&
      record.frame_no == static_cast<uint16_t>(frames_shown_)) {
    mode_ = Mode::kByNumber;
  }
  if (mode_ == Mode::kByNumber) {
    // A run of no frames shows one all the same, which its number does not count.
    const bool counted = !is_run || record.count > 0;
    item.first_number = NumberOf(record);
    if (counted && Park(item)) return;
    mode_ = Mode::kNumbersLost;
  }
  waiting_.push_back(std::move(item));
}

bool DisplayOrder::take(DisplayItem& item) {
  if (waiting_.empty()) return false;
  if (mode_ == Mode::kByNumber && waiting_.front().first_number != frames_shown_) return false;
  item = std::move(waiting_.front());
  waiting_.erase(waiting_.begin());
  frames_shown_ += item.frames;
  return true;
}

// A picture with the number that all others wait for is that frame. Everything
// else continues near the end of what has been added.
int64_t DisplayOrder::NumberOf(const container::RecordHeader& record) const {
  const bool is_picture = record.type != RecordType::kRepeatRun;
  if (is_picture && record.frame_no == static_cast<uint16_t>(frames_shown_)) return frames_shown_;
  const int64_t end = waiting_.empty() ? frames_shown_ : EndOf(waiting_.back());
  return end + static_cast<int16_t>(record.frame_no - static_cast<uint16_t>(end));
}

// Puts the item where its number belongs. False when that number has been shown
// or is taken already, or when too much waits; `item` is then untouched.
bool DisplayOrder::Park(DisplayItem& item) {
  const auto behind = std::find_if(waiting_.begin(), waiting_.end(), [&](const DisplayItem& other) {
    return other.first_number >= item.first_number;
  });
  if (item.first_number < frames_shown_) return false;
  if (behind != waiting_.end() && behind->first_number < EndOf(item)) return false;
  if (behind != waiting_.begin()) {
    DisplayItem& before = *std::prev(behind);
    if (EndOf(before) > item.first_number) return false;
    const bool both_repeat =
        before.type == RecordType::kRepeatRun && item.type == RecordType::kRepeatRun;
    if (both_repeat && EndOf(before) == item.first_number) {
      before.frames += item.frames;
      return true;
    }
  }
  if (item.first_number != frames_shown_ && !HasRoomFor(item)) return false;
  waiting_.insert(behind, std::move(item));
  return true;
}

bool DisplayOrder::HasRoomFor(const DisplayItem& item) const {
  if (waiting_.size() == kMaxParked) return false;
  uint64_t parked_bytes = 0;
  for (const DisplayItem& other : waiting_) parked_bytes += other.plane_bytes;
  return parked_bytes == 0 || item.plane_bytes == 0 ||
         parked_bytes + item.plane_bytes <= kMaxParkedPlaneBytes;
}

}  // namespace qolm::decoder
