// The state machine that tells each byte's context from the bytes before it.
#ifndef QOLM_ENTROPY_TOKEN_CONTEXT_H_
#define QOLM_ENTROPY_TOKEN_CONTEXT_H_

#include <cstddef>

namespace qolm::entropy {

inline constexpr size_t kContextCount = 5;

// The bytes that lead out of context 0. What follows the first two is one
// argument byte (contexts 1, 2), what follows the third is two (3, then 4).
inline constexpr unsigned kZeroRunToken = 0;
inline constexpr unsigned kZeroBlocksToken = 2;
inline constexpr unsigned kEscapeToken = 255;

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_TOKEN_CONTEXT_H_
