// SPDX-License-Identifier: MIT
//
// Rate-distortion optimised quantisation of the blocks of predicted and bidirectional
// pictures.
//
// The encoder chooses the levels with the smallest distortion + lambda * rate: each
// nearest level is kept, reduced by one or set to zero. The rate is an estimate for the
// token coder. The optimum is a shortest path over the scan, as in trellis quantisation,
// restricted to these candidates.
#ifndef QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_
#define QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_

#include <cstdint>

#include "video/kernels/skip_thresholds.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

struct LevelSelection {
  bool rate_rule = true;   // false: keep every nearest level
  float lambda = 0.0F;     // squared error per bit
  float dc_weight = 1.0F;  // weight of errors of the DC level
};

// `luma` is the luma table of the picture, for chroma planes too: a lambda derived from
// the coarse chroma steps would cause visible chroma artefacts.
LevelSelection MakeLevelSelection(const QuantTable& luma, bool rate_rule);

// For a picture that is not used for reference, whose errors do not propagate.
LevelSelection MakeUnreferencedLevelSelection(const QuantTable& luma, bool rate_rule);

// The thresholds below which `selection` sets all levels of a block to zero.
SkipThresholds MakeSkipThresholds(const LevelSelection& selection, const QuantTable& table);

// Writes the chosen levels of one block in scan order to `zigzag`, which must be
// zero-initialised. `nearest` and `coefficients` are in natural order; bit i of
// `nonzero` is set when nearest[i] is not 0.
void SelectLevels(const LevelSelection& selection, const QuantTable& table,
                  const float* coefficients, const int16_t* nearest, uint64_t nonzero,
                  int16_t* zigzag);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_
