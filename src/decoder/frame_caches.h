// SPDX-License-Identifier: MIT
//
// Caches that shorten a later seek: the reconstruction of every key frame, and a snapshot
// of the decoder every few frames.
//
// The pictures are shared with the decoder and between entries, never copied; the decoder
// allocates a new picture instead of modifying a cached one. The total size is limited
// by a byte budget; the oldest entries are evicted first.
#ifndef QOLM_DECODER_FRAME_CACHES_H_
#define QOLM_DECODER_FRAME_CACHES_H_

#include <cstdint>
#include <deque>
#include <map>
#include <unordered_map>

#include "decoder/decoded_picture.h"
#include "decoder/display_order.h"
#include "video/picture/yuv_planes.h"

namespace qolm::decoder {

// The decoder state after one delivered frame, from which decoding can resume.
struct Snapshot {
  int32_t frame_number = 0;    // the delivered frame, counted from 0
  int32_t cursor = 0;          // the next index entry to read
  uint32_t width = 0;          // pixels
  uint32_t height = 0;         // pixels
  SharedPlanes planes;         // the last reconstructed anchor
  SharedPlanes secondary_ref;  // the anchor before it; null without bidirectional frames
  DecodedPicture shown;        // the delivered picture: the last anchor or a reordered one
  DisplayOrder order{DisplayOrder::Mode::kStored, 0};  // with its pending pictures
};

class FrameCaches {
 public:
  // Added to the size of each picture for its entries in maps and lists, so that the
  // budget also limits a million tiny pictures.
  static constexpr uint64_t kBookkeepingBytes = 512;

  explicit FrameCaches(uint64_t budget_bytes) : budget_bytes_(budget_bytes) {}

  // Storing a frame number again replaces the older entry. An entry larger than the
  // whole budget is not kept.
  void store_key_frame(int32_t frame_number, const SharedPlanes& planes);
  void store_snapshot(const Snapshot& snapshot);

  const std::map<int32_t, SharedPlanes>& key_cache() const { return key_cache_; }
  const std::map<int32_t, Snapshot>& snapshot_cache() const { return snapshot_cache_; }

  // Bytes of the cached pictures and their bookkeeping; shared pictures count once.
  uint64_t bytes_held() const { return bytes_held_; }

 private:
  enum class Kind { kKeyFrame, kSnapshot };
  struct Entry {
    Kind kind;
    int32_t frame_number;
  };

  void Hold(const SharedPlanes& planes);
  void Release(const SharedPlanes& planes);
  void Hold(const Snapshot& snapshot);
  void Release(const Snapshot& snapshot);
  void Drop(Kind kind, int32_t frame_number);
  void Append(Kind kind, int32_t frame_number);

  uint64_t budget_bytes_;
  uint64_t bytes_held_ = 0;
  std::map<int32_t, SharedPlanes> key_cache_;
  std::map<int32_t, Snapshot> snapshot_cache_;
  std::deque<Entry> oldest_first_;
  std::unordered_map<const video::YuvPlanes*, int32_t> holders_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_FRAME_CACHES_H_
