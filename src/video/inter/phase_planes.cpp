// SPDX-License-Identifier: MIT
#include "video/inter/phase_planes.h"

#include <algorithm>

#include "base/parallel_for.h"

namespace qolm::video {

PhasePlanes::PhasePlanes(const uint8_t* plane, uint32_t width, uint32_t height, bool even_only)
    : stride_(static_cast<ptrdiff_t>(width / 2 + width % 2)) {
  const size_t stride = static_cast<size_t>(stride_);
  const size_t phase_rows = height / 2 + height % 2;
  for (size_t phase = 0; phase < (even_only ? size_t{1} : size_t{4}); ++phase) {
    const size_t bytes = stride * phase_rows + kSlackBytes;
    planes_[phase] = std::make_unique_for_overwrite<uint8_t[]>(bytes);
    // Kernels that compare eight candidates at once read bytes that hold no sample: the
    // slack, and the last row and column of an odd phase. They never affect the result
    // but are initialised to keep every run deterministic.
    std::fill_n(planes_[phase].get() + bytes - stride - kSlackBytes, stride + kSlackBytes,
                uint8_t{0});
  }

  ParallelFor(height, size_t{width} * height >= kMinParallelSamples, [&](size_t y) {
    if (even_only && y % 2 != 0) return;
    const size_t pairs = width / 2;  // local, so that stores to the planes cannot alias it
    const uint8_t* const samples = plane + y * width;
    uint8_t* const even = planes_[(y % 2) * 2].get() + (y / 2) * stride;
    if (even_only) {
      for (size_t i = 0; i < pairs; ++i) even[i] = samples[2 * i];
    } else {
      uint8_t* const odd = planes_[(y % 2) * 2 + 1].get() + (y / 2) * stride;
      for (size_t i = 0; i < pairs; ++i) {
        even[i] = samples[2 * i];
        odd[i] = samples[2 * i + 1];
      }
      if (width % 2 != 0) odd[pairs] = 0;
    }
    if (width % 2 != 0) even[pairs] = samples[width - 1];
  });
}

}  // namespace qolm::video
