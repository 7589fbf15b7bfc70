// SPDX-License-Identifier: MIT
//
// How every coder stores a sequence of levels: coefficient tokens in a context rANS
// stream.
#ifndef QOLM_ENTROPY_COEFFICIENT_STREAM_H_
#define QOLM_ENTROPY_COEFFICIENT_STREAM_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "entropy/context_rans.h"
#include "entropy/token_decoder.h"

namespace qolm::entropy {

// The stream of `values`; empty for no values, and once `stop` returns true. `coded` as for
// EncodeCoefficientTokens.
std::vector<uint8_t> EncodeCoefficients(std::span<const int16_t> values,
                                        std::span<const uint8_t> coded = {},
                                        const StopCallback& stop = nullptr);

// Fills `values`, whose size is the expected count. False, with the values partly
// written or untouched, when the stream is malformed, or when it is absent (size
// 0) although values are expected or the other way round. The stream's token
// count must lie in 1..3 times the values before memory is taken for the tokens.
[[nodiscard]] bool DecodeCoefficients(std::span<const uint8_t> stream, std::span<int16_t> values);

// Decodes a stream incrementally, to bound the memory.
class CoefficientReader {
 public:
  // For `count` values, at least 1. False for a stream whose head is malformed.
  // `stream` must outlive the reader.
  [[nodiscard]] bool open(std::span<const uint8_t> stream, uint64_t count);

  // The next values, in total at most the count. False, with `values` partly written,
  // when the stream is malformed up to here.
  [[nodiscard]] bool read(std::span<int16_t> values) { return decoder_->decode(*tokens_, values); }

  // Whether the stream is exhausted, as it must be after the last value.
  bool at_end() const { return tokens_->at_end(); }

 private:
  ContextRansReader stream_;
  std::optional<TokenSource> tokens_;
  std::optional<TokenDecoder> decoder_;
};

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_COEFFICIENT_STREAM_H_
