// SPDX-License-Identifier: MIT
//
// A luma plane split into four polyphase components by the parity of its coordinates.
//
// The coarse motion search compares every second sample of every second row at candidate
// positions two samples apart. In a polyphase component these samples are contiguous.
#ifndef QOLM_VIDEO_INTER_PHASE_PLANES_H_
#define QOLM_VIDEO_INTER_PHASE_PLANES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace qolm::video {

class PhasePlanes {
 public:
  // Readable bytes after the last sample of a component.
  static constexpr size_t kSlackBytes = 16;

  // Splits `plane`, which is width x height. With `even_only` only the samples at even
  // columns of even rows are kept.
  PhasePlanes(const uint8_t* plane, uint32_t width, uint32_t height, bool even_only);

  // The sample at (x, y) of the original plane; the next byte is the sample at x + 2, and
  // Stride() bytes further is the one at y + 2.
  const uint8_t* At(int x, int y) const {
    const size_t phase = static_cast<size_t>((y & 1) * 2 + (x & 1));
    return planes_[phase].get() + static_cast<ptrdiff_t>(y >> 1) * stride_ + (x >> 1);
  }

  ptrdiff_t Stride() const { return stride_; }

 private:
  ptrdiff_t stride_;
  // Index 2 * odd row + odd column.
  std::array<std::unique_ptr<uint8_t[]>, 4> planes_;
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_PHASE_PLANES_H_
