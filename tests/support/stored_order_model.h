// SPDX-License-Identifier: MIT
//
// Which records a session that holds every other frame writes, in which order.
#ifndef QOLM_TESTS_SUPPORT_STORED_ORDER_MODEL_H_
#define QOLM_TESTS_SUPPORT_STORED_ORDER_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "container/layout.h"

namespace qolm::test {

enum class FrameKind { kStatic, kChanged, kKey };

// Takes one kind for each frame; the first frame is a key frame whatever it says.
class StoredOrderModel {
 public:
  explicit StoredOrderModel(bool holds_frames = true) : holds_frames_(holds_frames) {}

  void frame(FrameKind kind) {
    const size_t number = shown_record_.size();
    shown_record_.push_back(0);
    if (number == 0) kind = FrameKind::kKey;
    if (kind == FrameKind::kStatic) {
      if (run_count_ == 0) run_first_ = number;
      if (++run_count_ == container::kMaxRepeatRun) CloseRun();
      return;
    }
    CloseRun();
    if (kind == FrameKind::kKey) {
      FlushHeldFrame();
      Write(container::RecordType::kKeyFrame, number);
    } else if (!holds_frames_) {
      Write(container::RecordType::kPredictedFrame, number);
    } else if (!held_) {
      held_ = number;
    } else {
      Write(container::RecordType::kPredictedFrame, number);
      Write(container::RecordType::kBidirectionalFrame, *held_);
      held_.reset();
    }
  }

  void finish() {
    FlushHeldFrame();
    CloseRun();
    // A static frame shows what the frame before it shows.
    for (size_t number = 1; number < shown_record_.size(); ++number) {
      if (shown_record_[number] == 0) shown_record_[number] = shown_record_[number - 1];
    }
  }

  const std::vector<container::RecordHeader>& records() const { return records_; }

  // After finish(): for each frame in display order the record that holds its
  // picture, counted from 1.
  const std::vector<size_t>& shown_record() const { return shown_record_; }

 private:
  void Write(container::RecordType type, size_t number) {
    records_.push_back({.type = type, .frame_no = static_cast<uint16_t>(number)});
    shown_record_[number] = records_.size();
  }

  void CloseRun() {
    if (run_count_ == 0) return;
    records_.push_back({.type = container::RecordType::kRepeatRun,
                        .count = static_cast<uint8_t>(run_count_),
                        .frame_no = static_cast<uint16_t>(run_first_)});
    run_count_ = 0;
  }

  void FlushHeldFrame() {
    if (!held_) return;
    Write(container::RecordType::kPredictedFrame, *held_);
    held_.reset();
  }

  bool holds_frames_;
  std::vector<container::RecordHeader> records_;
  std::vector<size_t> shown_record_;
  std::optional<size_t> held_;
  size_t run_first_ = 0;
  uint32_t run_count_ = 0;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_STORED_ORDER_MODEL_H_
