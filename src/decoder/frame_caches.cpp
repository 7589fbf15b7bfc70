// SPDX-License-Identifier: MIT
#include "decoder/frame_caches.h"

#include <algorithm>

namespace qolm::decoder {
namespace {

uint64_t HeldBytes(const video::YuvPlanes& planes) {
  return FrameCaches::kBookkeepingBytes + planes.y.size() + planes.cb.size() + planes.cr.size();
}

}  // namespace

void FrameCaches::store_key_frame(int32_t frame_number, const SharedPlanes& planes) {
  Drop(Kind::kKeyFrame, frame_number);
  key_cache_.emplace(frame_number, planes);
  Hold(planes);
  Append(Kind::kKeyFrame, frame_number);
}

void FrameCaches::store_snapshot(const Snapshot& snapshot) {
  Drop(Kind::kSnapshot, snapshot.frame_number);
  snapshot_cache_.emplace(snapshot.frame_number, snapshot);
  Hold(snapshot);
  Append(Kind::kSnapshot, snapshot.frame_number);
}

void FrameCaches::Hold(const SharedPlanes& planes) {
  if (planes && ++holders_[planes.get()] == 1) bytes_held_ += HeldBytes(*planes);
}

void FrameCaches::Release(const SharedPlanes& planes) {
  if (!planes) return;
  const auto holder = holders_.find(planes.get());
  if (--holder->second > 0) return;
  bytes_held_ -= HeldBytes(*planes);
  holders_.erase(holder);
}

void FrameCaches::Hold(const Snapshot& snapshot) {
  Hold(snapshot.planes);
  Hold(snapshot.secondary_ref);
  Hold(snapshot.shown.planes);
  for (const DisplayItem& item : snapshot.order.pending()) Hold(item.picture.planes);
}

void FrameCaches::Release(const Snapshot& snapshot) {
  Release(snapshot.planes);
  Release(snapshot.secondary_ref);
  Release(snapshot.shown.planes);
  for (const DisplayItem& item : snapshot.order.pending()) Release(item.picture.planes);
}

void FrameCaches::Drop(Kind kind, int32_t frame_number) {
  if (kind == Kind::kKeyFrame) {
    const auto found = key_cache_.find(frame_number);
    if (found == key_cache_.end()) return;
    Release(found->second);
    key_cache_.erase(found);
  } else {
    const auto found = snapshot_cache_.find(frame_number);
    if (found == snapshot_cache_.end()) return;
    Release(found->second);
    snapshot_cache_.erase(found);
  }
  const auto entry = std::find_if(oldest_first_.begin(), oldest_first_.end(), [&](const Entry& e) {
    return e.kind == kind && e.frame_number == frame_number;
  });
  oldest_first_.erase(entry);
}

void FrameCaches::Append(Kind kind, int32_t frame_number) {
  oldest_first_.push_back({kind, frame_number});
  while (bytes_held_ > budget_bytes_ && !oldest_first_.empty()) {
    const Entry oldest = oldest_first_.front();
    Drop(oldest.kind, oldest.frame_number);
  }
}

}  // namespace qolm::decoder
