// SPDX-License-Identifier: MIT
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
    // A run with a count of 0 shows one frame, which the frame numbers do not include.
    const bool counted = !is_run || record.count > 0;
    item.first_number = NumberOf(record);
    if (counted && Insert(item)) return;
    mode_ = Mode::kNumbersLost;
  }
  pending_.push_back(std::move(item));
}

bool DisplayOrder::take(DisplayItem& item) {
  if (pending_.empty()) return false;
  if (mode_ == Mode::kByNumber && pending_.front().first_number != frames_shown_) return false;
  item = std::move(pending_.front());
  pending_.erase(pending_.begin());
  frames_shown_ += item.frames;
  return true;
}

// A picture whose low 16 bits equal those of the next frame to show is that frame. All
// other numbers are extended to the value closest to the end of the pending records.
int64_t DisplayOrder::NumberOf(const container::RecordHeader& record) const {
  const bool is_picture = record.type != RecordType::kRepeatRun;
  if (is_picture && record.frame_no == static_cast<uint16_t>(frames_shown_)) return frames_shown_;
  const int64_t end = pending_.empty() ? frames_shown_ : EndOf(pending_.back());
  return end + static_cast<int16_t>(record.frame_no - static_cast<uint16_t>(end));
}

// Inserts the item by its number. False, with `item` unchanged, when that number has been
// shown or is occupied, or when the buffer is full.
bool DisplayOrder::Insert(DisplayItem& item) {
  const auto behind = std::find_if(pending_.begin(), pending_.end(), [&](const DisplayItem& other) {
    return other.first_number >= item.first_number;
  });
  if (item.first_number < frames_shown_) return false;
  if (behind != pending_.end() && behind->first_number < EndOf(item)) return false;
  if (behind != pending_.begin()) {
    DisplayItem& before = *std::prev(behind);
    if (EndOf(before) > item.first_number) return false;
    const bool both_repeat =
        before.type == RecordType::kRepeatRun && item.type == RecordType::kRepeatRun;
    if (both_repeat && EndOf(before) == item.first_number) {
      before.frames += item.frames;
      return true;
    }
  }
  if (item.first_number != frames_shown_ && !HasCapacityFor(item)) return false;
  pending_.insert(behind, std::move(item));
  return true;
}

bool DisplayOrder::HasCapacityFor(const DisplayItem& item) const {
  if (pending_.size() == kMaxPending) return false;
  uint64_t pending_bytes = 0;
  for (const DisplayItem& other : pending_) pending_bytes += other.plane_bytes;
  return pending_bytes == 0 || item.plane_bytes == 0 ||
         pending_bytes + item.plane_bytes <= kMaxPendingPlaneBytes;
}

}  // namespace qolm::decoder
