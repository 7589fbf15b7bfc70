// The x86 variants of the video kernels. Each file of this folder is compiled
// for its own instruction set and shares no inline helper with baseline code,
// lest the linker hand a wide copy of a helper to a baseline caller.
#ifndef QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_
#define QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_

#include "video/kernels/video_kernels.h"

namespace qolm::video::x86 {

// Puts the AVX2 variants over the entries of `kernels`.
void UseAvx2VideoKernels(VideoKernels& kernels);

}  // namespace qolm::video::x86

#endif  // QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_
