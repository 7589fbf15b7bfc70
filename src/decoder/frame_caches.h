// Pictures kept so that a later seek need not decode from the last key frame:
// every key frame's reconstruction, and a snapshot of the decoder every few
// frames.
//
// The pictures are shared with the decoder and with each other, never copied;
// the decoder makes a new picture instead of changing one that is kept here.
// All kept pictures together stay under a byte budget, the oldest go first.
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

// Everything that decoding needs to go on behind one delivered frame.
struct Snapshot {
  int32_t frame_number = 0;    // the delivered frame, counted from 0
  int32_t cursor = 0;          // the next index entry to read
  uint32_t width = 0;          // pixels
  uint32_t height = 0;         // pixels
  SharedPlanes planes;         // the last anchor that was rebuilt
  SharedPlanes secondary_ref;  // the anchor before it; null where the file keeps none
  DecodedPicture shown;        // the delivered picture: the last anchor, or one that waited
  DisplayOrder order{DisplayOrder::Mode::kStored, 0};  // with the pictures that wait behind it
};

class FrameCaches {
 public:
  // What a picture counts beside its samples, roughly its records in maps and
  // lists: a million tiny pictures must not hide behind their few samples.
  static constexpr uint64_t kBookkeepingBytes = 512;

  explicit FrameCaches(uint64_t budget_bytes) : budget_bytes_(budget_bytes) {}

  // A frame number that is stored again replaces the older entry. An entry
  // that is larger than the whole budget is not kept.
  void store_key_frame(int32_t frame_number, const SharedPlanes& planes);
  void store_snapshot(const Snapshot& snapshot);

  const std::map<int32_t, SharedPlanes>& key_cache() const { return key_cache_; }
  const std::map<int32_t, Snapshot>& snapshot_cache() const { return snapshot_cache_; }

  // Bytes of the kept pictures with their bookkeeping; one that several entries share counts once.
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
