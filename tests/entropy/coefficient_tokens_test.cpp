// SPDX-License-Identifier: MIT
#include "entropy/coefficient_tokens.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "entropy/naive_coders.h"
#include "entropy/sample_inputs.h"
#include "support/fenced_bytes.h"

namespace qolm::entropy {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;
using Values = std::vector<int16_t>;

Values Zeros(size_t size) { return Values(size, 0); }

Values With(size_t size, size_t position, int value) {
  Values values(size, 0);
  values[position] = static_cast<int16_t>(value);
  return values;
}

bool Reads(const Bytes& tokens, size_t size) {
  Values values(size, 99);
  return DecodeCoefficientTokens(tokens, values);
}

TEST(EncodeCoefficientTokens, NoValuesGiveNoTokens) {
  EXPECT_TRUE(EncodeCoefficientTokens({}).empty());
}

TEST(EncodeCoefficientTokens, EmptyBlocksBecomeBlockRuns) {
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(64)), ElementsAre(2, 1));
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(300 * 64)), ElementsAre(2, 255, 2, 45));
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(255 * 64)), ElementsAre(2, 255));
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(256 * 64)), ElementsAre(2, 255, 2, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(192, 64, 1)), ElementsAre(2, 1, 129, 1, 2, 1));
}

TEST(EncodeCoefficientTokens, UncodedBlocksAreNotRead) {
  Values values(5 * 64 + 3, 77);
  std::fill_n(values.begin() + 64, 64, int16_t{0});  // may hold something, and does not
  std::fill_n(values.begin() + 3 * 64, 64, int16_t{0});
  values[3 * 64] = 5;
  const Bytes coded = {0, 1, 0, 1, 0};
  EXPECT_THAT(EncodeCoefficientTokens(values, coded),
              ElementsAre(2, 3, 133, 1, 2, 1, 205, 205, 205));
}

TEST(EncodeCoefficientTokens, BlockWithOneValue) {
  EXPECT_THAT(EncodeCoefficientTokens(With(64, 0, 5)), ElementsAre(133, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(64, 3, -5)), ElementsAre(0, 3, 123, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(64, 62, 1)), ElementsAre(0, 62, 129, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(64, 63, -300)), ElementsAre(0, 63, 255, 0xD4, 0xFE));
}

TEST(EncodeCoefficientTokens, ShortAndEscapedValues) {
  EXPECT_THAT(EncodeCoefficientTokens(Values{120, -120, 121, -121}),
              ElementsAre(248, 8, 255, 121, 0, 255, 0x87, 0xFF));
  EXPECT_THAT(EncodeCoefficientTokens(Values{32767, -32768, 256}),
              ElementsAre(255, 0xFF, 0x7F, 255, 0x00, 0x80, 255, 0x00, 0x01));
}

TEST(EncodeCoefficientTokens, TailEndsWithRun) {
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(63)), ElementsAre(0, 63));
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(1)), ElementsAre(0, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(63, 0, 1)), ElementsAre(129, 0, 62));
  EXPECT_THAT(EncodeCoefficientTokens(Zeros(65)), ElementsAre(2, 1, 0, 1));
  EXPECT_THAT(EncodeCoefficientTokens(With(70, 64, 2)), ElementsAre(2, 1, 130, 0, 5));
}

TEST(EncodeCoefficientTokens, MatchesNaiveCoderAndRoundTrips) {
  for (const size_t size : samples::Sizes()) {
    for (const uint32_t spacing : {1u, 2u, 5u, 30u, 200u, 20000u}) {
      const Values values =
          samples::SparseValues(size, spacing, static_cast<uint32_t>(size) + spacing);
      const Bytes tokens = EncodeCoefficientTokens(values);
      ASSERT_TRUE(tokens == naive::EncodeTokens(values)) << size << " / " << spacing;
      ASSERT_LE(tokens.size(), kMaxTokenBytesPerValue * size);
      Values output(size, 99);
      ASSERT_TRUE(DecodeCoefficientTokens(tokens, output)) << size << " / " << spacing;
      ASSERT_TRUE(output == values) << size << " / " << spacing;
    }
  }
}

TEST(EncodeCoefficientTokens, WorstCaseValuesRoundTripAtEverySize) {
  for (size_t size = 1; size <= 200; ++size) {
    for (const int fill : {0, 1, -2048}) {
      const Values values(size, static_cast<int16_t>(fill));
      const Bytes tokens = EncodeCoefficientTokens(values);
      ASSERT_EQ(tokens, naive::EncodeTokens(values)) << size;
      Values output(size, 99);
      ASSERT_TRUE(DecodeCoefficientTokens(tokens, output)) << size;
      ASSERT_EQ(output, values) << size;
    }
  }
  const Values escaped(5000000, -2048);
  EXPECT_EQ(EncodeCoefficientTokens(escaped).size(), 15000000u);
}

TEST(EncodeCoefficientTokens, EveryValueRoundTrips) {
  Values values;
  for (int v = -32768; v <= 32767; ++v) values.push_back(static_cast<int16_t>(v));
  Values output(values.size());
  ASSERT_TRUE(DecodeCoefficientTokens(EncodeCoefficientTokens(values), output));
  EXPECT_EQ(output, values);
}

TEST(DecodeCoefficientTokens, EmptyTokensNeedEmptyOutput) {
  EXPECT_TRUE(Reads({}, 0));
  EXPECT_FALSE(Reads({}, 1));
  EXPECT_FALSE(Reads({129}, 0));
  EXPECT_FALSE(Reads({}, 64));
}

TEST(DecodeCoefficientTokens, UnusedBytesAreRejected) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool value = byte >= 8 && byte <= 248 && byte != 128;
    EXPECT_EQ(Reads({static_cast<uint8_t>(byte)}, 1), value) << byte;
    const bool unused = (byte >= 3 && byte <= 7) || byte == 128 || (byte >= 249 && byte <= 254);
    if (unused) {
      EXPECT_FALSE(Reads({static_cast<uint8_t>(byte), 1, 1, 1}, 64)) << byte;
    }
  }
}

TEST(DecodeCoefficientTokens, ZeroRunsBeyondBlockOrTailAreRejected) {
  EXPECT_TRUE(Reads({0, 64}, 64));
  EXPECT_TRUE(Reads({0, 64, 0, 64}, 128));
  EXPECT_FALSE(Reads({0, 65, 0, 63}, 128));
  EXPECT_TRUE(Reads({129, 0, 63}, 64));
  EXPECT_FALSE(Reads({129, 0, 64, 0, 63}, 128));
  EXPECT_TRUE(Reads({0, 5}, 5));
  EXPECT_FALSE(Reads({0, 6}, 5));
  EXPECT_TRUE(Reads({2, 1, 0, 5}, 69));
  EXPECT_FALSE(Reads({0, 69}, 69)) << "across the last block boundary";
  EXPECT_FALSE(Reads({0, 0, 129}, 1)) << "a run of nothing";
}

TEST(DecodeCoefficientTokens, MisplacedOrOversizedBlockRunsAreRejected) {
  EXPECT_TRUE(Reads({2, 2}, 128));
  EXPECT_FALSE(Reads({2, 3}, 128));
  EXPECT_FALSE(Reads({2, 3}, 191)) << "the tail is no block";
  EXPECT_FALSE(Reads({129, 2, 1, 0, 63}, 128)) << "inside a block";
  EXPECT_TRUE(Reads({129, 1, 2, 1}, 128));
  EXPECT_FALSE(Reads({2, 0, 2, 1}, 64)) << "a run of nothing";
  EXPECT_FALSE(Reads({2, 1}, 63)) << "no block at all";
  EXPECT_FALSE(Reads({2, 1, 2, 1}, 65)) << "in the tail";
}

TEST(DecodeCoefficientTokens, EndOfBlockInTailIsRejected) {
  EXPECT_TRUE(Reads({129, 1}, 64));
  EXPECT_FALSE(Reads({129, 1}, 63));
  EXPECT_FALSE(Reads({2, 1, 129, 1}, 70));
  EXPECT_FALSE(Reads({2, 1, 1}, 64)) << "after the last block";
}

TEST(DecodeCoefficientTokens, TooFewOrTooManyTokensAreRejected) {
  EXPECT_TRUE(Reads({129, 130}, 2));
  EXPECT_FALSE(Reads({129}, 2));
  EXPECT_FALSE(Reads({129, 130, 131}, 2));
  EXPECT_FALSE(Reads({0, 2, 0}, 2));
}

TEST(DecodeCoefficientTokens, TruncatedTokensAreRejected) {
  EXPECT_FALSE(Reads({0}, 5));
  EXPECT_FALSE(Reads({2}, 64));
  EXPECT_FALSE(Reads({255}, 1));
  EXPECT_FALSE(Reads({255, 1}, 1));
  EXPECT_TRUE(Reads({255, 1, 1}, 1));
}

TEST(DecodeCoefficientTokens, EveryTruncationIsRejected) {
  const Bytes tokens = EncodeCoefficientTokens(samples::SparseValues(1000, 4, 8));
  for (size_t size = 0; size < tokens.size(); ++size) {
    ASSERT_FALSE(Reads(Bytes(tokens.begin(), tokens.begin() + static_cast<ptrdiff_t>(size)), 1000))
        << size;
  }
}

// Mostly complete tokens, so that many sequences are valid for long.
Bytes RandomTokens(std::mt19937& random, size_t most) {
  Bytes tokens;
  while (tokens.size() < most) {
    const uint32_t kind = static_cast<uint32_t>(random()) % 16;
    const auto argument = [&random] { return static_cast<uint8_t>(random() % 70); };
    if (kind == 0) {
      tokens.push_back(static_cast<uint8_t>(random()));
    } else if (kind < 5) {
      tokens.insert(tokens.end(), {0, argument()});
    } else if (kind < 7) {
      tokens.push_back(1);
    } else if (kind == 7) {
      tokens.insert(tokens.end(), {2, static_cast<uint8_t>(random() % 3)});
    } else if (kind < 10) {
      tokens.insert(tokens.end(), {255, argument(), argument()});
    } else {
      tokens.push_back(static_cast<uint8_t>(124 + random() % 9));
    }
  }
  tokens.resize(most);
  return tokens;
}

TEST(DecodeCoefficientTokens, RandomTokensAreRejectedOrMatchNaiveDecoder) {
  std::mt19937 random(11);
  int refused = 0;
  int decoded = 0;
  for (int round = 0; round < 20000; ++round) {
    Bytes tokens = RandomTokens(random, random() % 40u);
    // A value count that the tokens may represent, or an arbitrary one.
    size_t size = random() % 200u;
    for (size_t count = 0; round % 2 == 0 && count < 200; ++count) {
      if (naive::DecodeTokens(tokens, count)) size = count;
    }
    test::Fenced<uint8_t> fenced(tokens);
    test::Fenced<int16_t> values(size);
    const std::optional<Values> expected = naive::DecodeTokens(tokens, size);
    ASSERT_EQ(DecodeCoefficientTokens(fenced.span(), values.span()), expected.has_value());
    ASSERT_TRUE(values.SlackIsIntact());
    if (expected) {
      ASSERT_EQ(values.values(), *expected);
    }
    ++(expected ? decoded : refused);
  }
  EXPECT_GT(refused, 1000);
  EXPECT_GT(decoded, 1000);
}

}  // namespace
}  // namespace qolm::entropy
