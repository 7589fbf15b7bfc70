// SPDX-License-Identifier: MIT
#include "video/picture/deblock.h"

#include <algorithm>
#include <cstddef>

#include "base/parallel_for.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {
namespace {

DeblockLimits MakeLimits(float step) {
  return {static_cast<int>(std::clamp(0.7F * step, 4.0F, 26.0F)),
          static_cast<int>(std::clamp(0.35F * step, 2.0F, 12.0F)),
          static_cast<int>(std::clamp(0.25F * step, 1.0F, 7.0F))};
}

}  // namespace

void DeblockPlane(uint8_t* plane, uint32_t width, uint32_t height, float step) {
  if (width < 16 || height < 16) return;
  const VideoKernels& kernels = ActiveVideoKernels();
  const DeblockLimits limits = MakeLimits(step);
  const size_t stride = width;
  const bool parallel = stride * height >= kMinParallelSamples;

  ParallelFor(height, parallel, [&](size_t y) {
    kernels.deblock_vertical_edges(limits, plane + y * stride, stride);
  });
  // Edges are 8 rows apart and each reads or writes 4 rows, so they are independent. The
  // last is at least 5 rows above the end of the plane.
  ParallelFor((height - 5) / 8, parallel, [&](size_t edge) {
    uint8_t* const q0 = plane + 8 * (edge + 1) * stride;
    kernels.deblock_horizontal_edge(limits, q0 - 2 * stride, q0 - stride, q0, q0 + stride, stride);
  });
}

void DeblockReference(YuvPlanes& planes, float luma_step, float chroma_step) {
  DeblockPlane(planes.y.data(), planes.width, planes.height, luma_step);
  DeblockPlane(planes.cb.data(), planes.ChromaWidth(), planes.ChromaHeight(), chroma_step);
  DeblockPlane(planes.cr.data(), planes.ChromaWidth(), planes.ChromaHeight(), chroma_step);
}

}  // namespace qolm::video
