// SPDX-License-Identifier: MIT
#include <vector>

#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"

namespace qolm::fuzz {
namespace {

constexpr size_t kMostValues = 1 << 13;

// Bytes as values: long zero runs, short values and escaped ones all occur.
std::vector<int16_t> ValuesOf(Input input) {
  std::vector<int16_t> values;
  for (size_t i = 0; i < input.size(); ++i) {
    const uint8_t byte = input[i];
    if (byte == 0) {
      values.insert(values.end(), 20, 0);
    } else if (byte == 255 && i + 2 < input.size()) {
      values.push_back(static_cast<int16_t>(LoadLe16(input.data() + i + 1)));
      i += 2;
    } else {
      values.push_back(static_cast<int16_t>(byte - 128));
    }
  }
  return values;
}

void CheckTokens(const std::vector<int16_t>& values) {
  const std::vector<uint8_t> tokens = entropy::EncodeCoefficientTokens(values);
  QOLM_REQUIRE(tokens.size() <= entropy::kMaxTokenBytesPerValue * values.size());
  std::vector<int16_t> decoded(values.size(), 77);
  QOLM_REQUIRE(entropy::DecodeCoefficientTokens(tokens, decoded));
  QOLM_REQUIRE(decoded == values);
}

void CheckStream(const std::vector<int16_t>& values) {
  const std::vector<uint8_t> stream = entropy::EncodeCoefficients(values);
  QOLM_REQUIRE(stream.empty() == values.empty());
  std::vector<int16_t> decoded(values.size(), 77);
  QOLM_REQUIRE(entropy::DecodeCoefficients(stream, decoded));
  QOLM_REQUIRE(decoded == values);
}

}  // namespace

void CoefficientTokens(Input input) {
  CheckTokens(ValuesOf(input));
  if (input.size() < 2) return;
  const Input tokens = input.subspan(2);
  std::vector<int16_t> values(LoadLe16(input.data()) % kMostValues, 77);
  if (!entropy::DecodeCoefficientTokens(tokens, values)) return;
  CheckTokens(values);
  // A single block of zeros as an end of block is the one spelling that is
  // shorter than the encoder's, by half.
  QOLM_REQUIRE(entropy::EncodeCoefficientTokens(values).size() <= 2 * tokens.size());
  // Every count has its own tokens.
  values.push_back(77);
  QOLM_REQUIRE(!entropy::DecodeCoefficientTokens(tokens, values));
}

void CoefficientStream(Input input) {
  CheckStream(ValuesOf(input));
  if (input.size() < 2) return;
  const Input stream = input.subspan(2);
  std::vector<int16_t> values(LoadLe16(input.data()) % kMostValues, 77);
  if (!entropy::DecodeCoefficients(stream, values)) return;
  CheckStream(values);
  uint32_t tokens = 0;
  if (entropy::ContextRansCount(stream, tokens)) {
    QOLM_REQUIRE(tokens >= 1 && tokens <= entropy::kMaxTokenBytesPerValue * values.size());
  } else {
    QOLM_REQUIRE(stream.empty() && values.empty());
  }
}

}  // namespace qolm::fuzz
