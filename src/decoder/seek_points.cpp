// SPDX-License-Identifier: MIT
#include "decoder/seek_points.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "base/byte_order.h"
#include "container/layout.h"
#include "container/record_header_walk.h"

namespace qolm::decoder {
namespace {

using container::RecordHeader;
using container::RecordType;

// The plane size of the picture that a key frame's payload declares; 0 when unreadable.
uint64_t KeyFramePlaneBytes(const container::ContainerReader& reader, uint64_t offset,
                            RecordHeader header) {
  constexpr uint32_t kSizeBytes = 4;
  if (header.size < kSizeBytes) return 0;
  header.size = kSizeBytes;
  std::vector<uint8_t> size;
  if (!reader.read_payload(offset, header, size)) return 0;
  return PlaneBytes(LoadLe16(size.data()), LoadLe16(size.data() + 2));
}

}  // namespace

SeekPoints::SeekPoints(const container::ContainerReader& reader)
    : key_frame_numbers_(reader.keyframes().size(), 0), points_(1) {
  DisplayOrder order = DisplayOrder::For(reader.header());
  points_[0].order = order.mode();
  const bool bidirectional = order.mode() != DisplayOrder::Mode::kStored;
  // Predicted and bidirectional frames have the size of the key frame before them.
  uint64_t plane_bytes = PlaneBytes(reader.header().width, reader.header().height);
  int64_t frames_shown = 0;
  size_t key_frames = 0;
  uint32_t last_anchor = 0;  // record
  DisplayItem item;

  // Takes all available items and returns the number of the first frame among them. Key
  // frames are identified by their index among all key frames, plus 1, as picture id.
  const auto take_all = [&] {
    const int64_t first = frames_shown;
    while (order.take(item)) {
      if (item.picture.id != 0) {
        const bool fits = frames_shown <= std::numeric_limits<int32_t>::max();
        const auto key_frame = static_cast<size_t>(item.picture.id) - 1;
        key_frame_numbers_[key_frame] = fits ? static_cast<int32_t>(frames_shown) : -1;
      }
      frames_shown += item.frames;
    }
    return first;
  };

  const std::vector<uint64_t>& index = reader.index();
  container::RecordHeaderWalk walk = reader.record_headers();
  RecordHeader header;
  for (uint32_t entry = 0; entry < index.size(); ++entry) {
    if (!walk.read(index[entry], header)) break;
    const bool is_run = header.type == RecordType::kRepeatRun;
    // An audio block among the media records ends decoding like a damaged picture, so it
    // takes a frame number like one.
    if (header.type == RecordType::kAudio || header.type == RecordType::kIndex) continue;
    const bool is_key = header.type == RecordType::kKeyFrame;
    if (is_key && key_frames == key_frame_numbers_.size()) break;  // not listed by the reader
    if (is_key) ++key_frames;
    if (is_key && bidirectional) plane_bytes = KeyFramePlaneBytes(reader, index[entry], header);
    const bool was_in_order = order.pending().empty();
    const DisplayOrder::Mode mode = order.mode();
    order.add(header, {nullptr, is_key ? key_frames : 0}, is_run ? 0 : plane_bytes);
    const int64_t number = take_all();

    const bool is_point = is_key && was_in_order && order.pending().empty();
    if (is_point && entry > 0 && number <= std::numeric_limits<int32_t>::max()) {
      points_.push_back({static_cast<int32_t>(number), entry, mode});
    }
    // A picture between a key frame and the anchor before it needs both.
    const bool reaches_back = bidirectional && header.type == RecordType::kBidirectionalFrame;
    if (reaches_back && points_.size() > 1 && points_.back().record_index == last_anchor) {
      points_.pop_back();
    }
    if (is_key || header.type == RecordType::kPredictedFrame) last_anchor = entry;
  }
  order.release();
  take_all();
}

const SeekPoint& SeekPoints::last_before_frame(int32_t frame_number) const {
  const auto behind = std::upper_bound(
      std::next(points_.begin()), points_.end(), frame_number,
      [](int32_t number, const SeekPoint& point) { return number < point.frame_number; });
  return *std::prev(behind);
}

const SeekPoint& SeekPoints::last_before_record(uint32_t record_index) const {
  const auto behind = std::upper_bound(
      std::next(points_.begin()), points_.end(), record_index,
      [](uint32_t index, const SeekPoint& point) { return index < point.record_index; });
  return *std::prev(behind);
}

}  // namespace qolm::decoder
