// SPDX-License-Identifier: MIT
//
// Quantiser steps from a quality value, and the zigzag order of levels.
//
// The base tables are the example luminance and chrominance tables of
// ITU-T T.81 (JPEG), Annex K, tables K.1 and K.2.
#ifndef QOLM_VIDEO_TRANSFORM_QUANT_TABLE_H_
#define QOLM_VIDEO_TRANSFORM_QUANT_TABLE_H_

#include <array>
#include <cstdint>

namespace qolm::video {

// Step sizes in natural order: index 8 * row + column of the coefficient.
struct QuantTable {
  alignas(32) std::array<float, 64> step;
};

// kZigzag[k] is the natural index of scan position k; kScanPosition is its inverse.
extern const std::array<uint8_t, 64> kZigzag;
extern const std::array<uint8_t, 64> kScanPosition;

// The byte that a payload stores for a quality setting: the setting itself when it fits
// a byte, otherwise clamped to 1..100. Encoder and decoder derive their tables from it.
uint8_t QualityByte(int32_t quality);

// The intra tables: integer steps from 1 to 255. Quality is clamped to 1..100.
// Chroma is deliberately 35 % coarser than the JPEG convention.
QuantTable BuildQuantTable(int32_t quality, bool chroma);

// The inter tables: steps of at least 2, not rounded to integers, from base entries
// capped at 48 (luma) and 64 (chroma). Quality is clamped to 1..100.
QuantTable BuildInterQuantTable(int32_t quality, bool chroma);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_QUANT_TABLE_H_
