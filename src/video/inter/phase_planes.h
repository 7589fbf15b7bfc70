// A luma plane taken apart by the parity of its coordinates.
//
// The coarse motion search compares every second sample of every second row,
// and its candidates lie two samples apart. In the plane of one parity those
// samples lie side by side, so a candidate reads contiguous bytes.
#ifndef QOLM_VIDEO_INTER_PHASE_PLANES_H_
#define QOLM_VIDEO_INTER_PHASE_PLANES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace qolm::video {

class PhasePlanes {
 public:
  // A reader may go so far beyond the last sample that At tells of.
  static constexpr size_t kSlackBytes = 16;

  // Takes apart `plane`, which is width x height. With `even_only` just the
  // samples at even columns of even rows are kept.
  PhasePlanes(const uint8_t* plane, uint32_t width, uint32_t height, bool even_only);

  // The sample at (x, y) of the original plane; the next one of its row there
  // is the one at x + 2, and Stride() bytes on lies the one at y + 2.
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
