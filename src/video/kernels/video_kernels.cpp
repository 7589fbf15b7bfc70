// SPDX-License-Identifier: MIT
#include "video/kernels/video_kernels.h"

#if defined(QOLM_X86_KERNELS)
#include "video/kernels/x86/video_kernels_x86.h"
#endif

namespace qolm::video {

const VideoKernels& VideoKernelsFor(SimdLevel level) {
#if defined(QOLM_X86_KERNELS)
  static const VideoKernels avx2 = [] {
    VideoKernels kernels = ScalarVideoKernels();
    x86::UseAvx2VideoKernels(kernels);
    return kernels;
  }();
  if (level >= SimdLevel::kAvx2) return avx2;
#else
  (void)level;
#endif
  return ScalarVideoKernels();
}

const VideoKernels& ActiveVideoKernels() { return VideoKernelsFor(ActiveSimdLevel()); }

}  // namespace qolm::video
