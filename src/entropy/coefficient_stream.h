// The one way in which every coder stores a sequence of levels: coefficient
// tokens inside a context rANS stream.
#ifndef QOLM_ENTROPY_COEFFICIENT_STREAM_H_
#define QOLM_ENTROPY_COEFFICIENT_STREAM_H_

#include <cstdint>
#include <span>
#include <vector>

namespace qolm::entropy {

// The stream of `values`; empty for no values.
std::vector<uint8_t> EncodeCoefficients(std::span<const int16_t> values);

// Fills `values`, whose size is the expected count. False, with the values partly
// written or untouched, when the stream is malformed, or when it is absent (size
// 0) although values are expected or the other way round. The stream's token
// count must lie in 1..3 times the values before memory is taken for the tokens.
[[nodiscard]] bool DecodeCoefficients(std::span<const uint8_t> stream, std::span<int16_t> values);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_COEFFICIENT_STREAM_H_
