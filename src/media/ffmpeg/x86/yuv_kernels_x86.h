// SPDX-License-Identifier: MIT
//
// The x86 variants of the YUV kernels, compiled for their own instruction set
// and sharing no inline helper with baseline code.
#ifndef QOLM_MEDIA_FFMPEG_X86_YUV_KERNELS_X86_H_
#define QOLM_MEDIA_FFMPEG_X86_YUV_KERNELS_X86_H_

#include "media/ffmpeg/yuv_kernels.h"

namespace qolm::media::ffmpeg::x86 {

const YuvKernels& Avx2YuvKernels();

}  // namespace qolm::media::ffmpeg::x86

#endif  // QOLM_MEDIA_FFMPEG_X86_YUV_KERNELS_X86_H_
