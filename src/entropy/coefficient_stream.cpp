// SPDX-License-Identifier: MIT
#include "entropy/coefficient_stream.h"

#include <cstddef>
#include <memory>

#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"

namespace qolm::entropy {
namespace {

// The token count of a stream; false when it is impossible for `values` values.
bool TokenCount(std::span<const uint8_t> stream, uint64_t values, uint32_t& count) {
  if (!ContextRansCount(stream, count)) return false;
  return count >= 1 && count <= kMaxTokenBytesPerValue * values;
}

}  // namespace

std::vector<uint8_t> EncodeCoefficients(std::span<const int16_t> values,
                                        std::span<const uint8_t> coded, const StopCallback& stop) {
  return ContextRansEncode(EncodeCoefficientTokens(values, coded, stop), stop);
}

bool DecodeCoefficients(std::span<const uint8_t> stream, std::span<int16_t> values) {
  if (stream.empty() || values.empty()) return stream.empty() && values.empty();
  uint32_t count = 0;
  if (!TokenCount(stream, values.size(), count)) return false;

  const auto storage = std::make_unique_for_overwrite<uint8_t[]>(count);
  const std::span<uint8_t> tokens(storage.get(), count);
  return ContextRansDecode(stream, tokens) && DecodeCoefficientTokens(tokens, values);
}

bool CoefficientReader::open(std::span<const uint8_t> stream, uint64_t count) {
  uint32_t tokens = 0;
  if (!TokenCount(stream, count, tokens) || !stream_.open(stream, tokens)) return false;
  tokens_.emplace(stream_, tokens);
  decoder_.emplace(count);
  return true;
}

}  // namespace qolm::entropy
