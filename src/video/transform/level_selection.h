// Which levels of a block of a predicted or bidirectional picture are worth
// storing.
//
// The decoder accepts any levels, so the encoder picks those with the least
// distortion + lambda * rate: each nearest level may stay, shrink by one or
// vanish. The rate is an estimate of what the token coder and its contexts
// spend, walked as a shortest path over the scan (the idea of trellis
// quantisation, cut down to the levels that can matter).
#ifndef QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_
#define QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_

#include <cstdint>

#include "video/kernels/skip_thresholds.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

struct LevelSelection {
  bool rate_rule = true;   // false: every nearest level is stored
  float lambda = 0.0F;     // squared error that one bit is worth
  float dc_weight = 1.0F;  // how much more an error of the DC level counts
};

// `luma` is the luma table of the picture, whatever plane the selection serves:
// the chroma steps are so coarse that a price of their own would leave stains.
LevelSelection MakeLevelSelection(const QuantTable& luma, bool rate_rule);

// For a picture that no other refers to: its errors end with it.
LevelSelection MakeUnreferencedLevelSelection(const QuantTable& luma, bool rate_rule);

// The thresholds below which `selection` stores nothing of a block of the plane.
SkipThresholds MakeSkipThresholds(const LevelSelection& selection, const QuantTable& table);

// Stores the chosen levels of one block at their scan positions; `zigzag` is
// all zero before. `nearest` and `coefficients` are in natural order, bit i of
// `nonzero` tells whether nearest[i] is not 0.
void SelectLevels(const LevelSelection& selection, const QuantTable& table,
                  const float* coefficients, const int16_t* nearest, uint64_t nonzero,
                  int16_t* zigzag);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_LEVEL_SELECTION_H_
