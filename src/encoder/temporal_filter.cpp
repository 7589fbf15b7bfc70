// SPDX-License-Identifier: MIT
#include "encoder/temporal_filter.h"

#include <algorithm>
#include <cstddef>

#include "base/parallel_for.h"
#include "video/kernels/video_kernels.h"

namespace qolm::encoder {
namespace {

// Samples per call of the parallel loop.
constexpr size_t kPieceSamples = 16384;

}  // namespace

void FilterLuma(std::span<const uint8_t> current, std::span<const uint8_t> previous,
                std::span<uint8_t> filtered) {
  const video::VideoKernels& kernels = video::ActiveVideoKernels();
  const size_t samples = filtered.size();
  const size_t pieces = (samples + kPieceSamples - 1) / kPieceSamples;
  ParallelFor(pieces, samples >= kMinParallelSamples, [&](size_t piece) {
    const size_t first = piece * kPieceSamples;
    kernels.denoise_luma(current.data() + first, previous.data() + first,
                         std::min(kPieceSamples, samples - first), filtered.data() + first);
  });
}

}  // namespace qolm::encoder
