// SPDX-License-Identifier: MIT
//
// The prediction of a bidirectional picture from its two anchors.
#ifndef QOLM_VIDEO_INTER_BIDIRECTIONAL_COMPENSATION_H_
#define QOLM_VIDEO_INTER_BIDIRECTIONAL_COMPENSATION_H_

#include "video/inter/bidirectional_field.h"
#include "video/inter/motion_field.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Computes `prediction` (of the anchors' size): each macroblock is motion-compensated as
// in CompensateMotion from the anchor of its mode; for modes with both anchors every
// sample is (P + F + 1) >> 1.
void CompensateBidirectional(const YuvPlanes& past, const YuvPlanes& future,
                             const MacroblockGrid& grid, const BidirectionalField& field,
                             YuvPlanes& prediction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BIDIRECTIONAL_COMPENSATION_H_
