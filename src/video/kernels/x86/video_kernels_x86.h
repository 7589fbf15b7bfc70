// SPDX-License-Identifier: MIT
//
// The x86 variants of the video kernels. Each file of this folder is compiled
// for its own instruction set and shares no inline function with baseline code: the
// linker could otherwise pick the wide copy of it for a baseline caller.
#ifndef QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_
#define QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_

#include "video/kernels/video_kernels.h"

namespace qolm::video::x86 {

// Replaces the entries of `kernels` by their AVX2 variants.
void UseAvx2VideoKernels(VideoKernels& kernels);

}  // namespace qolm::video::x86

#endif  // QOLM_VIDEO_KERNELS_X86_VIDEO_KERNELS_X86_H_
