// The pictures that a decoder rebuilds from record payloads, and the ones it
// keeps because later records refer to them.
#ifndef QOLM_DECODER_RECONSTRUCT_H_
#define QOLM_DECODER_RECONSTRUCT_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "container/layout.h"
#include "decoder/decoded_picture.h"
#include "video/picture/yuv_planes.h"

namespace qolm::decoder {

class Reconstruction {
 public:
  // `header_flags`, `width` and `height` are the file header's. Nothing is
  // allocated before a picture is needed.
  Reconstruction(uint16_t header_flags, uint32_t width, uint32_t height);

  // Rebuilds the payload of a record of type 1, 2 or 4 into `picture`. Types 1
  // and 2 also make it the last anchor. Returns false, with `picture` untouched
  // and the anchors unspecified, when the payload is malformed, the type carries
  // no picture or a type 4 payload does not find both of its anchors. The memory
  // of an earlier picture that nobody holds any more is used again.
  [[nodiscard]] bool reconstruct(container::RecordType type, uint8_t count,
                                 std::span<const uint8_t> payload, SharedPlanes& picture);

  // The picture of a repeat before any other: the header's size, zero in all planes.
  SharedPlanes blank() const;

  // The last rebuilt anchor; null before the first.
  const SharedPlanes& current() const { return current_; }

  // The anchor before `current`, kept only when the file may hold
  // bidirectional frames; null until there is one.
  const SharedPlanes& secondary_ref() const { return secondary_ref_; }

  // Goes on as if `current` and `secondary_ref` had just been rebuilt. Null
  // planes mean the state before the first record.
  void restore(SharedPlanes current, SharedPlanes secondary_ref);

 private:
  std::shared_ptr<video::YuvPlanes> FreePicture();

  uint16_t header_flags_;
  uint32_t width_;        // pixels
  uint32_t height_;       // pixels
  SharedPlanes current_;  // null before the first picture
  SharedPlanes secondary_ref_;
  std::vector<std::shared_ptr<video::YuvPlanes>> rebuilt_;  // the last few, oldest first
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_RECONSTRUCT_H_
