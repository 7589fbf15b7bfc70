// SPDX-License-Identifier: MIT
//
// The basis of the 8x8 transform that every coder shares.
//
// The transform is the orthonormal DCT-II, evaluated as two matrix products in single
// precision. A fast factorisation is not possible: the order of the additions is part of
// the format, since the decoder must reconstruct the encoder's picture bit for bit. Each
// sum starts with its first product and adds in ascending index order, without fused
// multiply-add.
//
//   forward   F  = (B X) B^t         inverse   X' = (B^t F') B
//
// Matrices are 64 floats, row-major.
#ifndef QOLM_VIDEO_KERNELS_DCT_BASIS_H_
#define QOLM_VIDEO_KERNELS_DCT_BASIS_H_

namespace qolm::video {

struct DctBasis {
  alignas(32) float rows[8][8];     // rows[u][x]: basis vector u
  alignas(32) float columns[8][8];  // columns[x][u], the transpose
};

// Built on first use, once per process; safe from any thread.
const DctBasis& GetDctBasis();

}  // namespace qolm::video

#endif  // QOLM_VIDEO_KERNELS_DCT_BASIS_H_
