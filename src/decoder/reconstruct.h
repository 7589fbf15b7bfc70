// SPDX-License-Identifier: MIT
//
// Reconstructs the pictures of record payloads and keeps the reference pictures.
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
  // `header_flags`, `width` and `height` are those of the file header. Pictures are
  // allocated on demand.
  Reconstruction(uint16_t header_flags, uint32_t width, uint32_t height);

  // Reconstructs the payload of a record of type 1, 2 or 4 into `picture`. A picture of
  // type 1 or 2 becomes the last anchor. Returns false, with `picture` unchanged and the
  // anchors unspecified, when the payload is malformed, the type has no picture or a
  // type 4 payload lacks an anchor. Reuses the memory of earlier pictures that are no
  // longer referenced.
  [[nodiscard]] bool reconstruct(container::RecordType type, uint8_t count,
                                 std::span<const uint8_t> payload, SharedPlanes& picture);

  // The picture of a repeat run before any picture: the header's size, all planes zero.
  SharedPlanes blank() const;

  // The last reconstructed anchor; null before the first.
  const SharedPlanes& current() const { return current_; }

  // The anchor before `current`, kept only when the file may hold
  // bidirectional frames; null until there is one.
  const SharedPlanes& secondary_ref() const { return secondary_ref_; }

  // Sets the anchors; null for both restores the state before the first record.
  void restore(SharedPlanes current, SharedPlanes secondary_ref);

 private:
  std::shared_ptr<video::YuvPlanes> AcquirePicture();

  uint16_t header_flags_;
  uint32_t width_;        // pixels
  uint32_t height_;       // pixels
  SharedPlanes current_;  // null before the first picture
  SharedPlanes secondary_ref_;
  std::vector<std::shared_ptr<video::YuvPlanes>> pool_;  // recent pictures, oldest first
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_RECONSTRUCT_H_
