#include "entropy/coefficient_stream.h"

#include <cstddef>
#include <memory>

#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"

namespace qolm::entropy {

std::vector<uint8_t> EncodeCoefficients(std::span<const int16_t> values) {
  return ContextRansEncode(EncodeCoefficientTokens(values));
}

bool DecodeCoefficients(std::span<const uint8_t> stream, std::span<int16_t> values) {
  if (stream.empty() || values.empty()) return stream.empty() && values.empty();
  uint32_t count = 0;
  if (!ContextRansCount(stream, count)) return false;
  if (count < 1 || count > uint64_t{kMaxTokenBytesPerValue} * values.size()) return false;

  const auto storage = std::make_unique_for_overwrite<uint8_t[]>(count);
  const std::span<uint8_t> tokens(storage.get(), count);
  return ContextRansDecode(stream, tokens) && DecodeCoefficientTokens(tokens, values);
}

}  // namespace qolm::entropy
