// SPDX-License-Identifier: MIT
//
// The x86 variants of the transform's kernel. Each file of this folder is compiled for
// its own instruction set and shares no inline function with baseline code: the linker
// could otherwise pick the wide copy of it for a baseline caller.
#ifndef QOLM_AUDIO_X86_TRANSFORM_KERNELS_X86_H_
#define QOLM_AUDIO_X86_TRANSFORM_KERNELS_X86_H_

#include <cstddef>

namespace qolm::audio::x86 {

void AddTileProductsAvx2(const double* values, const double* basis, size_t count, double* sums);

}  // namespace qolm::audio::x86

#endif  // QOLM_AUDIO_X86_TRANSFORM_KERNELS_X86_H_
