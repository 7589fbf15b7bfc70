// SPDX-License-Identifier: MIT
//
// The largest picture of the format.
#ifndef QOLM_BASE_PICTURE_LIMITS_H_
#define QOLM_BASE_PICTURE_LIMITS_H_

#include <cstdint>

namespace qolm {

inline constexpr uint32_t kMaxPictureSide = 16384;  // pixels, width and height

}  // namespace qolm

#endif  // QOLM_BASE_PICTURE_LIMITS_H_
