// The one way in which every coder stores a sequence of levels: coefficient
// tokens inside a context rANS stream.
#ifndef QOLM_ENTROPY_COEFFICIENT_STREAM_H_
#define QOLM_ENTROPY_COEFFICIENT_STREAM_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "entropy/context_rans.h"
#include "entropy/token_decoder.h"

namespace qolm::entropy {

// The stream of `values`; empty for no values, and once `stop` says true. `coded` as for
// EncodeCoefficientTokens.
std::vector<uint8_t> EncodeCoefficients(std::span<const int16_t> values,
                                        std::span<const uint8_t> coded = {},
                                        const StopCallback& stop = nullptr);

// Fills `values`, whose size is the expected count. False, with the values partly
// written or untouched, when the stream is malformed, or when it is absent (size
// 0) although values are expected or the other way round. The stream's token
// count must lie in 1..3 times the values before memory is taken for the tokens.
[[nodiscard]] bool DecodeCoefficients(std::span<const uint8_t> stream, std::span<int16_t> values);

// Reads a stream a piece at a time, where the whole would take too much memory.
class CoefficientReader {
 public:
  // For `count` values, at least 1. False for a stream whose head is malformed. It
  // must outlive the reading.
  [[nodiscard]] bool open(std::span<const uint8_t> stream, uint64_t count);

  // The next values, all in all no more than the count. False, with them partly
  // written, when the stream is malformed so far.
  [[nodiscard]] bool read(std::span<int16_t> values) { return decoder_->decode(*tokens_, values); }

  // Whether the stream is used up, as it must be behind the last value.
  bool at_end() const { return tokens_->at_end(); }

 private:
  ContextRansReader stream_;
  std::optional<TokenSource> tokens_;
  std::optional<TokenDecoder> decoder_;
};

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_COEFFICIENT_STREAM_H_
