// SPDX-License-Identifier: MIT
//
// Coding a long stream takes long enough for a user to wait for its end.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "entropy/coefficient_stream.h"
#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"
#include "entropy/rans.h"

namespace qolm::entropy {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kPieces = 6;
constexpr size_t kSymbols = kPieces * kStopInterval + 77;

std::vector<int16_t> Levels() {
  std::vector<int16_t> levels(kSymbols);
  uint32_t noise = 1;
  for (int16_t& level : levels) {
    noise = noise * 1664525U + 1013904223U;
    level = static_cast<int16_t>(noise % 5 == 0 ? (noise >> 16) % 400 : 0);
  }
  return levels;
}

Bytes EvenBytes() {
  Bytes bytes(kSymbols);
  uint32_t noise = 1;
  for (uint8_t& byte : bytes) {
    noise = noise * 1664525U + 1013904223U;
    byte = static_cast<uint8_t>(3 + (noise >> 24) % 200);  // none announces an argument
  }
  return bytes;
}

// Asks at least `least` times, ends at whichever question says so and asks no more.
void ExpectToStop(size_t least, const std::function<Bytes(const StopCallback&)>& encode) {
  const Bytes undisturbed = encode(nullptr);
  ASSERT_FALSE(undisturbed.empty());
  size_t questions = 0;
  EXPECT_EQ(encode([&questions] {
              ++questions;
              return false;
            }),
            undisturbed);
  EXPECT_GE(questions, least);
  for (size_t last = 1; last <= questions; ++last) {
    size_t asked = 0;
    EXPECT_TRUE(encode([&] { return ++asked == last; }).empty()) << last;
    EXPECT_EQ(asked, last);
  }
}

TEST(StopCallback, EndsThePlainCoder) {
  const Bytes bytes = EvenBytes();
  ExpectToStop(kPieces, [&](const StopCallback& stop) { return RansEncodeBytes(bytes, stop); });
}

TEST(StopCallback, EndsTheTokensOfLevels) {
  const std::vector<int16_t> levels = Levels();
  ExpectToStop(kPieces,
               [&](const StopCallback& stop) { return EncodeCoefficientTokens(levels, {}, stop); });
}

TEST(StopCallback, EndsTheContextCoder) {
  // Sorted by context, in five streams, and in the plain one that is tried as well.
  const Bytes bytes = EvenBytes();
  ExpectToStop(3 * kPieces,
               [&](const StopCallback& stop) { return ContextRansEncode(bytes, stop); });
  const Bytes tokens = EncodeCoefficientTokens(Levels());
  ExpectToStop(2 * (tokens.size() / kStopInterval) - 2,
               [&](const StopCallback& stop) { return ContextRansEncode(tokens, stop); });
}

TEST(StopCallback, EndsTheStreamOfLevels) {
  const std::vector<int16_t> levels = Levels();
  ExpectToStop(2 * kPieces,
               [&](const StopCallback& stop) { return EncodeCoefficients(levels, {}, stop); });
}

}  // namespace
}  // namespace qolm::entropy
