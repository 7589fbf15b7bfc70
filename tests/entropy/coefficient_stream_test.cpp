// SPDX-License-Identifier: MIT
#include "entropy/coefficient_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"
#include "entropy/naive_coders.h"
#include "entropy/sample_inputs.h"
#include "support/fenced_bytes.h"
#include "support/largest_allocation.h"

namespace qolm::entropy {
namespace {

using Bytes = std::vector<uint8_t>;
using Values = std::vector<int16_t>;

TEST(CoefficientStream, StreamIsContextCodedTokens) {
  for (const size_t size : {1u, 64u, 6400u, 100000u}) {
    for (const uint32_t spacing : {1u, 9u, 500u}) {
      const Values values = samples::SparseValues(size, spacing, spacing);
      const Bytes stream = EncodeCoefficients(values);
      ASSERT_TRUE(stream == naive::ContextEncode(naive::EncodeTokens(values)));
      Values output(size, 99);
      ASSERT_TRUE(DecodeCoefficients(stream, output));
      ASSERT_TRUE(output == values);
    }
  }
}

// All values, `step` at a time; none when the stream is rejected.
Values ReadInPieces(const Bytes& stream, size_t count, size_t step) {
  CoefficientReader reader;
  if (!reader.open(stream, count)) return {};
  Values values(count, 99);
  for (size_t at = 0; at < count; at += step) {
    if (!reader.read(std::span(values).subspan(at, std::min(step, count - at)))) return {};
  }
  return reader.at_end() ? values : Values{};
}

TEST(CoefficientStream, IncrementalDecodingMatchesWhole) {
  for (const size_t size : {1u, 64u, 6400u, 30001u}) {
    for (const uint32_t spacing : {1u, 9u, 500u, 20000u}) {
      const Values values = samples::SparseValues(size, spacing, spacing);
      const Bytes stream = EncodeCoefficients(values);
      for (const size_t step : {1u, 7u, 64u, 640u, 100000u}) {
        ASSERT_TRUE(ReadInPieces(stream, size, step) == values) << size << ", " << step;
      }
    }
  }
  const Values escapes(5000, 1000);
  EXPECT_TRUE(ReadInPieces(EncodeCoefficients(escapes), 5000, 3) == escapes);
}

// A reader that stopped inside a token, or failed, starts fresh with the next stream.
TEST(CoefficientStream, ReopenedReaderStartsFresh) {
  // Five streams, whose first token needs two more bytes.
  Bytes long_tokens;
  for (int i = 0; i < 3000; ++i) long_tokens.insert(long_tokens.end(), {255, 1, 1});
  const Bytes stream = ContextRansEncode(long_tokens);
  ASSERT_EQ(stream[4], 1);
  ContextRansReader reader;
  for (const size_t taken : {1u, 2u, 3u, 4u}) {
    ASSERT_TRUE(reader.open(stream, 9000));
    Bytes first(taken);
    ASSERT_TRUE(reader.read(first));
    Bytes whole(9000);
    ASSERT_TRUE(reader.open(stream, 9000));
    ASSERT_TRUE(reader.read(whole));
    EXPECT_TRUE(whole == long_tokens) << taken;
    EXPECT_FALSE(reader.open(stream, 8999));
  }
}

TEST(CoefficientStream, IncrementalDecodingRejectsSameStreams) {
  const Bytes tokens[] = {{129, 1}, {129}, {129, 1, 1}, {129, 3}, {129, 2, 1}, {129, 0, 63}};
  for (const Bytes& spelling : tokens) {
    const Bytes stream = ContextRansEncode(spelling);
    Values whole(64);
    const bool right = DecodeCoefficients(stream, whole);
    EXPECT_EQ(ReadInPieces(stream, 64, 10), right ? whole : Values{});
  }
  EXPECT_EQ(ReadInPieces(Bytes{10, 0, 0, 0}, 64, 10), Values{}) << "no head";
}

TEST(CoefficientStream, EmptyStreamMeansNoValues) {
  EXPECT_TRUE(EncodeCoefficients({}).empty());
  Values none, one(1);
  EXPECT_TRUE(DecodeCoefficients({}, none));
  EXPECT_FALSE(DecodeCoefficients({}, one));
  EXPECT_FALSE(DecodeCoefficients(EncodeCoefficients(one), none));
}

// A repeated byte makes a stream of any count from few bytes.
Bytes StreamOfCount(uint32_t count, uint8_t byte) { return ContextRansEncode(Bytes(count, byte)); }

TEST(CoefficientStream, TokenCountIsLimitedByValueCount) {
  Values ten(10);
  EXPECT_TRUE(DecodeCoefficients(StreamOfCount(10, 129), ten));
  EXPECT_FALSE(DecodeCoefficients(StreamOfCount(9, 129), ten));
  EXPECT_FALSE(DecodeCoefficients(StreamOfCount(31, 129), ten));
  Bytes stream = StreamOfCount(10, 129);
  for (size_t i = 0; i < 4; ++i) stream[i] = stream[5 + i] = 0xFF;
  test::ResetLargestAllocation();
  EXPECT_FALSE(DecodeCoefficients(stream, ten)) << "four billion tokens";
  EXPECT_LE(test::LargestAllocation(), 1024u) << "refused before memory is taken";
  for (size_t i = 0; i < 4; ++i) stream[i] = stream[5 + i] = 0;
  EXPECT_FALSE(DecodeCoefficients(stream, ten)) << "no tokens";
  EXPECT_FALSE(DecodeCoefficients(Bytes{10, 0, 0, 0}, ten)) << "no head";
}

// More than three bytes per value could never be valid; the check avoids the allocation.
TEST(CoefficientStream, TokenCountAboveLimitAllocatesNothing) {
  Values values(100'000);
  const Bytes most = StreamOfCount(300'000, 129);
  test::ResetLargestAllocation();
  EXPECT_FALSE(DecodeCoefficients(most, values)) << "a token a value would do";
  EXPECT_GE(test::LargestAllocation(), 300'000u);
  const Bytes more = StreamOfCount(300'001, 129);
  test::ResetLargestAllocation();
  EXPECT_FALSE(DecodeCoefficients(more, values));
  EXPECT_LE(test::LargestAllocation(), 1024u);
}

TEST(CoefficientStream, ThreeTokenBytesPerValueAreAccepted) {
  const Values values(50, 1000);
  Values output(50);
  ASSERT_TRUE(DecodeCoefficients(EncodeCoefficients(values), output));
  EXPECT_EQ(output, values);
}

TEST(CoefficientStream, TooFewOrTooManyTokensAreRejected) {
  Values values(64);
  EXPECT_TRUE(DecodeCoefficients(ContextRansEncode(Bytes{129, 1}), values));
  EXPECT_FALSE(DecodeCoefficients(ContextRansEncode(Bytes{129}), values));
  EXPECT_FALSE(DecodeCoefficients(ContextRansEncode(Bytes{129, 1, 1}), values));
  EXPECT_FALSE(DecodeCoefficients(ContextRansEncode(Bytes{129, 3}), values));
}

TEST(CoefficientStream, DamageIsRejectedOrMatchesNaiveDecoder) {
  int refused = 0;
  int decoded = 0;
  const auto check = [&](const Bytes& changed, size_t count) {
    test::Fenced<uint8_t> stream(changed);
    test::Fenced<int16_t> values(count);
    const std::optional<Values> expected = naive::DecodeCoefficients(changed, count);
    ASSERT_EQ(DecodeCoefficients(stream.span(), values.span()), expected.has_value());
    ASSERT_TRUE(values.SlackIsIntact());
    if (expected) {
      ASSERT_EQ(values.values(), *expected);
    }
    ++(expected ? decoded : refused);
  };
  // A stream of ones needs no renormalisation bytes, so many flips keep the token count.
  for (const Values& values : {samples::SparseValues(640, 6, 2), Values(70, 1)}) {
    const Bytes stream = EncodeCoefficients(values);
    for (size_t size = 0; size < stream.size(); ++size) {
      check(Bytes(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size)), values.size());
    }
    for (size_t bit = 0; bit < 8 * stream.size(); ++bit) {
      Bytes changed = stream;
      changed[bit / 8] = static_cast<uint8_t>(changed[bit / 8] ^ (1u << (bit % 8)));
      check(changed, values.size());
    }
  }
  EXPECT_GT(refused, 100);
  EXPECT_GT(decoded, 10);
}

}  // namespace
}  // namespace qolm::entropy
