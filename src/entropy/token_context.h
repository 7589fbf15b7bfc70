// SPDX-License-Identifier: MIT
//
// The state machine that derives each byte's context from the bytes before it.
#ifndef QOLM_ENTROPY_TOKEN_CONTEXT_H_
#define QOLM_ENTROPY_TOKEN_CONTEXT_H_

#include <cstddef>

namespace qolm::entropy {

inline constexpr size_t kContextCount = 5;

// The tokens with arguments: one byte after the first two (contexts 1 and 2), two bytes
// after the third (contexts 3 and 4).
inline constexpr unsigned kZeroRunToken = 0;
inline constexpr unsigned kZeroBlocksToken = 2;
inline constexpr unsigned kEscapeToken = 255;

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_TOKEN_CONTEXT_H_
