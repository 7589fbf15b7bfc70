// SPDX-License-Identifier: MIT
#include "entropy/coefficient_tokens.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/byte_order.h"
#include "entropy/nonzero_mask.h"
#include "entropy/token_context.h"
#include "entropy/token_decoder.h"

namespace qolm::entropy {
namespace {

constexpr uint8_t kEndOfBlockToken = 1;
constexpr int kValueBias = 128;
constexpr int kMaxShortValue = 120;
constexpr uint8_t kFirstValueToken = kValueBias - kMaxShortValue;
constexpr uint8_t kLastValueToken = kValueBias + kMaxShortValue;
constexpr size_t kMaxRun = 255;
// The longest tokens of a block or a tail, and one block run.
constexpr size_t kMaxStepBytes = kMaxTokenBytesPerValue * kTokenBlockValues + 4;

// Writes one value that is not zero; returns the position after it.
uint8_t* PutValue(uint8_t* out, int16_t value) {
  if (value >= -kMaxShortValue && value <= kMaxShortValue) {
    *out = static_cast<uint8_t>(value + kValueBias);
    return out + 1;
  }
  out[0] = kEscapeToken;
  StoreLe16(out + 1, static_cast<uint16_t>(value));
  return out + 3;
}

// Writes the values up to the highest one that is not zero. `mask` is not 0.
uint8_t* PutUpToLast(uint8_t* out, const int16_t* values, uint64_t mask) {
  while (mask != 0) {
    const int zeros = std::countr_zero(mask);
    // Stored unconditionally and overwritten when there is no run, which avoids an
    // unpredictable branch.
    out[0] = kZeroRunToken;
    out[1] = static_cast<uint8_t>(zeros);
    out += zeros > 0 ? 2 : 0;
    values += zeros;
    out = PutValue(out, *values++);
    mask = (mask >> zeros) >> 1;
  }
  return out;
}

bool IsShortValue(uint8_t token) {
  return token >= kFirstValueToken && token <= kLastValueToken && token != kValueBias;
}

}  // namespace

std::vector<uint8_t> EncodeCoefficientTokens(std::span<const int16_t> values,
                                             std::span<const uint8_t> coded,
                                             const StopCallback& stop) {
  std::vector<uint8_t> tokens;
  if (values.empty()) return tokens;
  tokens.resize((values.size() >> 2) + 1024);
  size_t used = 0;
  const auto reserve_step = [&tokens, &used] {
    if (tokens.size() - used < kMaxStepBytes) {
      tokens.resize(tokens.size() + tokens.size() / 2 + kMaxStepBytes);
    }
    return tokens.data() + used;
  };

  const size_t blocks = values.size() / kTokenBlockValues;
  size_t empty_blocks = 0;
  for (size_t b = 0; b < blocks; ++b) {
    if (b % (kStopInterval / kTokenBlockValues) == 0 && IsToStop(stop)) return {};
    const int16_t* block = values.data() + b * kTokenBlockValues;
    const uint64_t mask = coded.empty() || coded[b] != 0 ? NonZeroMask64(block) : 0;
    if (mask == 0) {
      ++empty_blocks;
      if (empty_blocks < kMaxRun && b + 1 < blocks) continue;
    }
    uint8_t* out = reserve_step();
    if (empty_blocks > 0) {
      *out++ = kZeroBlocksToken;
      *out++ = static_cast<uint8_t>(empty_blocks);
      empty_blocks = 0;
    }
    if (mask != 0) {
      out = PutUpToLast(out, block, mask);
      if ((mask >> 63) == 0) *out++ = kEndOfBlockToken;
    }
    used = static_cast<size_t>(out - tokens.data());
  }

  const std::span<const int16_t> tail = values.subspan(blocks * kTokenBlockValues);
  if (!tail.empty()) {
    std::array<int16_t, kTokenBlockValues> padded{};
    std::copy(tail.begin(), tail.end(), padded.begin());
    const uint64_t mask = NonZeroMask64(padded.data());
    uint8_t* out = PutUpToLast(reserve_step(), padded.data(), mask);
    const size_t walked = kTokenBlockValues - static_cast<size_t>(std::countl_zero(mask));
    if (walked < tail.size()) {
      *out++ = kZeroRunToken;
      *out++ = static_cast<uint8_t>(tail.size() - walked);
    }
    used = static_cast<size_t>(out - tokens.data());
  }
  tokens.resize(used);
  return tokens;
}

bool DecodeCoefficientTokens(std::span<const uint8_t> tokens, std::span<int16_t> values) {
  TokenSource source(tokens);
  TokenDecoder decoder(values.size());
  return decoder.decode(source, values) && source.at_end();
}

bool TokenDecoder::decode(TokenSource& source, std::span<int16_t> values) {
  std::fill(values.begin(), values.end(), int16_t{0});
  const uint64_t tail_start = count_ - count_ % kTokenBlockValues;
  // A run may extend into a later call: `at` then lies beyond the end of `values`.
  uint64_t at = zeros_;
  uint8_t token = 0;
  while (at < values.size()) {
    if (!source.take(token)) return false;
    if (IsShortValue(token)) {
      values[static_cast<size_t>(at++)] = static_cast<int16_t>(token - kValueBias);
      continue;
    }
    const uint64_t position = first_ + at;
    const bool in_tail = position >= tail_start;
    const uint64_t in_block = position % kTokenBlockValues;
    const uint64_t left = in_tail ? count_ - position : kTokenBlockValues - in_block;
    uint8_t run = 0;
    if (token == kEndOfBlockToken) {
      if (in_tail) return false;
      at += left;
    } else if (token == kZeroRunToken) {
      if (!source.take(run) || run == 0 || run > left) return false;
      at += run;
    } else if (token == kEscapeToken) {
      uint8_t high = 0;
      if (!source.take(token) || !source.take(high)) return false;
      values[static_cast<size_t>(at++)] =
          static_cast<int16_t>(static_cast<uint16_t>(token | high << 8));
    } else if (token == kZeroBlocksToken) {
      if (in_block != 0 || !source.take(run) || run == 0) return false;
      if (run * kTokenBlockValues > tail_start - std::min(position, tail_start)) return false;
      at += run * kTokenBlockValues;
    } else {
      return false;
    }
  }
  first_ += values.size();
  zeros_ = at - values.size();
  return true;
}

}  // namespace qolm::entropy
