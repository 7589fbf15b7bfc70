// SPDX-License-Identifier: MIT
#include "entropy/context_rans.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

#include "entropy/naive_coders.h"
#include "entropy/rans.h"
#include "entropy/sample_inputs.h"
#include "support/fenced_bytes.h"

namespace qolm::entropy {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

bool DecodeContextRans(const Bytes& stream, Bytes& output) {
  return ContextRansDecode(stream, output);
}

// Zero runs of varied length: five streams are clearly smaller.
Bytes RunsInput(size_t size) {
  Bytes input;
  for (size_t i = 0; input.size() < size; ++i) {
    input.push_back(0);
    input.push_back(static_cast<uint8_t>(1 + i * 7 % 200));
  }
  input.resize(size);
  return input;
}

// The five records of a stream in mode 1.
struct Record {
  uint32_t raw_count;
  Bytes coded;
};

std::vector<Record> Records(const Bytes& stream) {
  std::vector<Record> records;
  size_t at = 5;
  for (int c = 0; c < 5; ++c) {
    const uint32_t raw_count = naive::Read32(stream, at);
    const uint32_t size = naive::Read32(stream, at + 4);
    at += 8;
    const auto begin = stream.begin() + static_cast<ptrdiff_t>(at);
    records.push_back({raw_count, Bytes(begin, begin + static_cast<ptrdiff_t>(size))});
    at += size;
  }
  return records;
}

Bytes FiveStreams(uint32_t n, const std::vector<Record>& records) {
  Bytes stream;
  naive::Append32(stream, n);
  stream.push_back(1);
  for (const Record& record : records) {
    naive::Append32(stream, record.raw_count);
    naive::Append32(stream, record.coded.size());
    stream.insert(stream.end(), record.coded.begin(), record.coded.end());
  }
  return stream;
}

Bytes RepeatedValue(uint32_t count, uint8_t value) { return RansEncodeBytes(Bytes(count, value)); }

TEST(ContextRansEncode, EmptyInputGivesEmptyStream) { EXPECT_TRUE(ContextRansEncode({}).empty()); }

TEST(ContextRansEncode, OneByteIsCodedAsPlainStream) {
  EXPECT_THAT(ContextRansEncode(Bytes{42}),
              ElementsAre(1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 42, 0x00, 0x10, 0, 0, 1, 0));
}

TEST(ContextRansEncode, InputsBelow64BytesAreCodedAsPlainStream) {
  for (const auto& [name, input] : samples::ByteSamples(63, 1)) {
    EXPECT_EQ(ContextRansEncode(input)[4], 0) << name;
  }
  EXPECT_EQ(ContextRansEncode(RunsInput(63))[4], 0);
}

TEST(ContextRansEncode, FiveStreamsMatchHandComputedBytes) {
  // 100 pairs 0, 7 and one escape: contexts 0 to 4 hold 101, 100, 0, 1 and 1
  // bytes; context 1 holds one value only.
  Bytes input;
  for (int i = 0; i < 100; ++i) input.insert(input.end(), {0, 7});
  input.insert(input.end(), {255, 0x34, 0x12});
  const Bytes plain = RansEncodeBytes(input);
  const Bytes stream = ContextRansEncode(input);
  ASSERT_EQ(stream.size(), plain.size() + 5) << "39 bytes of heads are not won here";
  EXPECT_EQ(stream[4], 0);

  for (int i = 0; i < 400; ++i) input.insert(input.end(), {0, 7});
  const Bytes longer = ContextRansEncode(input);
  ASSERT_EQ(longer[4], 1);
  EXPECT_EQ(naive::Read32(longer, 0), 1003u);
  const std::vector<Record> records = Records(longer);
  EXPECT_EQ(records[0].raw_count, 501u);
  EXPECT_EQ(records[1].raw_count, 500u);
  EXPECT_EQ(records[1].coded, RepeatedValue(500, 7));
  EXPECT_EQ(records[2].raw_count, 0u);
  EXPECT_TRUE(records[2].coded.empty());
  EXPECT_EQ(records[3].coded, RepeatedValue(1, 0x34));
  EXPECT_EQ(records[4].coded, RepeatedValue(1, 0x12));
}

TEST(ContextRansEncode, FiveStreamsAreUsedOnlyWhenStrictlySmaller) {
  // Lengths around the break-even point of one input family, so that a smaller,
  // an equal and a larger five-stream form all occur.
  bool smaller = false, tie = false, larger = false;
  for (size_t size = 64; size < 1200; ++size) {
    for (const size_t spread : {1u, 2u, 3u, 5u, 9u}) {
      Bytes input;
      for (size_t i = 0; input.size() < size; ++i) {
        input.push_back(0);
        input.push_back(static_cast<uint8_t>(1 + i % spread));
      }
      input.resize(size);
      Bytes zeros, runs;
      for (size_t i = 0; i < size; ++i) (i % 2 == 0 ? zeros : runs).push_back(input[i]);
      const size_t five = 45 + RansEncodeBytes(zeros).size() + RansEncodeBytes(runs).size();
      const size_t plain = 5 + RansEncodeBytes(input).size();
      const Bytes stream = ContextRansEncode(input);
      ASSERT_EQ(stream[4], five < plain ? 1 : 0) << size;
      ASSERT_EQ(stream.size(), five < plain ? five : plain) << size;
      smaller |= five < plain;
      tie |= five == plain;
      larger |= five > plain;
    }
  }
  EXPECT_TRUE(smaller);
  EXPECT_TRUE(tie);
  EXPECT_TRUE(larger);
}

TEST(ContextRansEncode, MatchesNaiveCoderAndRoundTrips) {
  bool saw_plain = false, saw_five = false;
  for (const size_t size : samples::Sizes()) {
    for (const auto& [name, input] : samples::ByteSamples(size, static_cast<uint32_t>(size) + 9)) {
      const Bytes stream = ContextRansEncode(input);
      ASSERT_TRUE(stream == naive::ContextEncode(input)) << name << " of " << size;
      if (size == 0) continue;
      if (size >= 64) (stream[4] == 1 ? saw_five : saw_plain) = true;
      uint32_t count = 0;
      ASSERT_TRUE(ContextRansCount(stream, count));
      ASSERT_EQ(count, size);
      Bytes output(size, 0xEE);
      ASSERT_TRUE(DecodeContextRans(stream, output)) << name << " of " << size;
      ASSERT_TRUE(output == input) << name << " of " << size;
    }
  }
  EXPECT_TRUE(saw_plain);
  EXPECT_TRUE(saw_five);
}

TEST(ContextRansEncode, InputEndingInsideTokenRoundTrips) {
  for (const Bytes& end : {Bytes{0}, Bytes{2}, Bytes{255}, Bytes{255, 7}}) {
    Bytes input = RunsInput(3000);
    input.insert(input.end(), end.begin(), end.end());
    const Bytes stream = ContextRansEncode(input);
    ASSERT_EQ(stream[4], 1);
    Bytes output(input.size());
    ASSERT_TRUE(DecodeContextRans(stream, output));
    EXPECT_EQ(output, input);
  }
}

TEST(ContextRansCount, TooShortStreamIsRejected) {
  uint32_t count = 0;
  EXPECT_FALSE(ContextRansCount(Bytes{1, 0, 0, 0}, count));
  ASSERT_TRUE(ContextRansCount(Bytes{1, 2, 3, 4, 9}, count));
  EXPECT_EQ(count, 0x04030201u);
}

TEST(ContextRansDecode, EmptyOutputIsRejected) {
  Bytes none;
  EXPECT_FALSE(DecodeContextRans({}, none));
  EXPECT_FALSE(DecodeContextRans({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, none));
}

TEST(ContextRansDecode, WrongCountAndUnknownModeAreRejected) {
  Bytes stream = ContextRansEncode(Bytes{1, 2, 3});
  Bytes two(2), three(3);
  EXPECT_FALSE(DecodeContextRans(stream, two));
  ASSERT_TRUE(DecodeContextRans(stream, three));
  stream[4] = 2;
  EXPECT_FALSE(DecodeContextRans(stream, three));
}

TEST(ContextRansDecode, FiveStreamsBelow45BytesAreRejected) {
  Bytes stream = FiveStreams(1, {{1, {}}, {0, {}}, {0, {}}, {0, {}}, {0, {}}});
  ASSERT_EQ(stream.size(), 45u);
  Bytes output(1);
  EXPECT_FALSE(DecodeContextRans(stream, output)) << "a count without a stream";
  stream.pop_back();
  EXPECT_FALSE(DecodeContextRans(stream, output));
}

// Each stream breaks one rule and would decode without it.
TEST(ContextRansDecode, EachFiveStreamRuleIsEnforced) {
  const Record none{0, {}};
  // 0 7 0 7 0 7
  const Record zeros{3, RepeatedValue(3, 0)}, sevens{3, RepeatedValue(3, 7)};
  Bytes output(6);
  ASSERT_TRUE(DecodeContextRans(FiveStreams(6, {zeros, sevens, none, none, none}), output));
  EXPECT_THAT(output, ElementsAre(0, 7, 0, 7, 0, 7));

  EXPECT_FALSE(DecodeContextRans(FiveStreams(6, {zeros, none, sevens, none, none}), output))
      << "context 1 runs out";
  EXPECT_FALSE(DecodeContextRans(
      FiveStreams(6, {{2, RepeatedValue(2, 0)}, {4, RepeatedValue(4, 7)}, none, none, none}),
      output))
      << "context 0 runs out";
  EXPECT_FALSE(DecodeContextRans(
      FiveStreams(6, {zeros, sevens, {1, RepeatedValue(1, 7)}, none, none}), output))
      << "counts sum to 7";
  EXPECT_FALSE(DecodeContextRans(
      FiveStreams(6, {zeros, {3, RepeatedValue(2, 7)}, none, none, none}), output))
      << "inner count differs";
  EXPECT_FALSE(DecodeContextRans(FiveStreams(6, {zeros, sevens, {0, {1}}, none, none}), output))
      << "bytes for an unused context";
  Bytes endless = RepeatedValue(1, 7);
  std::fill_n(endless.begin(), 4, uint8_t{0xFF});  // its count of values
  EXPECT_FALSE(DecodeContextRans(
      FiveStreams(6, {zeros, sevens, {0xFFFFFFFFu, endless}, {1, RepeatedValue(1, 7)}, none}),
      output))
      << "counts that sum to 6 only in 32 bits";
}

// One argument context at a time lacks a value.
TEST(ContextRansDecode, ExhaustedContextIsRejected) {
  const Bytes input = {0, 7, 2, 9, 255, 1, 2, 130};
  std::vector<Bytes> split = {{0, 2, 255, 130}, {7}, {9}, {1}, {2}};
  const auto stream_of = [&input](const std::vector<Bytes>& contexts) {
    std::vector<Record> records;
    for (const Bytes& bytes : contexts) {
      records.push_back({static_cast<uint32_t>(bytes.size()), RansEncodeBytes(bytes)});
    }
    return FiveStreams(static_cast<uint32_t>(input.size()), records);
  };
  Bytes output(input.size());
  ASSERT_TRUE(DecodeContextRans(stream_of(split), output));
  EXPECT_EQ(output, input);
  for (size_t c = 0; c < 5; ++c) {
    std::vector<Bytes> contexts = split;
    contexts[c].pop_back();
    contexts[c == 4 ? 3 : 4].push_back(5);  // where one more is no fault
    EXPECT_FALSE(DecodeContextRans(stream_of(contexts), output)) << c;
  }
}

// The last record may end with the stream but not beyond it.
TEST(ContextRansDecode, LastRecordMayEndWithTheStream) {
  const Record zeros{3, RepeatedValue(3, 0)}, sevens{3, RepeatedValue(3, 7)};
  const Record last{1, RepeatedValue(1, 0x12)};
  // 0 7 0 7 0 7 255 0x12 0x12
  const Record tokens{4, RansEncodeBytes(Bytes{0, 0, 0, 255})};
  Bytes stream = FiveStreams(9, {tokens, sevens, {0, {}}, last, last});
  test::Fenced<uint8_t> whole(stream);
  test::Fenced<uint8_t> output(9);
  EXPECT_TRUE(ContextRansDecode(whole.span(), output.span()));
  stream[stream.size() - last.coded.size() - 4] += 1;  // its coded size
  test::Fenced<uint8_t> beyond(stream);
  EXPECT_FALSE(ContextRansDecode(beyond.span(), output.span()));
}

TEST(ContextRansDecode, SizesBeyondTheEndAreRejected) {
  const Bytes stream = ContextRansEncode(RunsInput(3000));
  ASSERT_EQ(stream[4], 1);
  Bytes output(3000);
  for (const uint8_t high : Bytes{0x01, 0x7F, 0xFF}) {
    Bytes changed = stream;
    changed[12] = high;  // the top byte of context 0's coded size
    EXPECT_FALSE(DecodeContextRans(changed, output));
  }
}

TEST(ContextRansDecode, EveryTruncationOfFiveStreamsIsRejected) {
  const Bytes stream = ContextRansEncode(RunsInput(2400));
  ASSERT_EQ(stream[4], 1);
  Bytes output(2400);
  for (size_t size = 0; size < stream.size(); ++size) {
    const Bytes cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_FALSE(DecodeContextRans(cut, output)) << size;
  }
}

// Long enough for every stream to fill its buffer several times.
TEST(ContextRansDecode, AnyInitialRunStateMatchesNaiveDecoder) {
  std::mt19937 random(5);
  Bytes input;
  while (input.size() < 60'000) {
    const uint32_t kind = static_cast<uint32_t>(random()) % 16;
    const auto byte = [&random] { return static_cast<uint8_t>(1 + random() % 3); };
    if (kind < 7) {
      input.insert(input.end(), {0, byte()});
    } else if (kind == 7) {
      input.insert(input.end(), {2, byte()});
    } else if (kind == 8) {
      input.insert(input.end(), {255, byte(), byte()});
    } else {
      input.push_back(static_cast<uint8_t>(120 + byte()));
    }
  }
  const Bytes stream = ContextRansEncode(input);
  ASSERT_EQ(stream[4], 1);
  for (const uint32_t state : {0u, 255u, 65535u, 65536u, 0xFFFFFFFFu}) {
    std::vector<Record> records = Records(stream);
    Bytes& runs = records[1].coded;
    const size_t head = 6 + 3 * (runs[4] + size_t{256} * runs[5]);
    for (size_t i = 0; i < 4; ++i) runs[head + i] = static_cast<uint8_t>(state >> (8 * i));
    const Bytes changed_runs = naive::RansDecode(runs);
    Bytes expected = input;
    int context = 0;
    size_t run = 0;
    for (uint8_t& byte : expected) {
      const int next = naive::NextContext(context, byte);
      if (context == 1) byte = changed_runs[run++];
      context = next;
    }
    Bytes output(input.size());
    ASSERT_TRUE(
        DecodeContextRans(FiveStreams(static_cast<uint32_t>(input.size()), records), output));
    EXPECT_TRUE(output == expected) << state;
  }
}

// Rejected exactly when a rule is broken, else decoded like the naive decoder, without
// reading outside the stream or writing outside the output.
TEST(ContextRansDecode, SingleBitFlipsAreRejectedOrMatchNaiveDecoder) {
  int refused = 0;
  int decoded = 0;
  int five_streams = 0;
  std::vector<samples::ByteSample> inputs = samples::ByteSamples(300, 3);
  inputs.push_back({"runs", RunsInput(900)});
  for (const auto& [name, input] : inputs) {
    const Bytes stream = ContextRansEncode(input);
    five_streams += stream[4];
    test::Fenced<uint8_t> changed(stream);
    test::Fenced<uint8_t> output(input.size());
    for (size_t bit = 0; bit < 8 * stream.size(); ++bit) {
      uint8_t& byte = changed.span()[bit / 8];
      byte = static_cast<uint8_t>(byte ^ (1u << (bit % 8)));
      const std::optional<Bytes> expected = naive::ContextDecode(changed.values(), input.size());
      ASSERT_EQ(ContextRansDecode(changed.span(), output.span()), expected.has_value())
          << name << " bit " << bit;
      ASSERT_TRUE(output.SlackIsIntact()) << name << " bit " << bit;
      if (expected) {
        ASSERT_EQ(output.values(), *expected) << name << " bit " << bit;
      }
      ++(expected ? decoded : refused);
      byte = stream[bit / 8];
    }
  }
  EXPECT_GT(refused, 1000);
  EXPECT_GT(decoded, 1000);
  EXPECT_GT(five_streams, 0);
}

}  // namespace
}  // namespace qolm::entropy
