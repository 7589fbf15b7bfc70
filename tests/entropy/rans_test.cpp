// SPDX-License-Identifier: MIT
#include "entropy/rans.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "entropy/naive_coders.h"
#include "entropy/rans_frequency_table.h"
#include "entropy/rans_stream_reader.h"
#include "entropy/sample_inputs.h"
#include "support/fenced_bytes.h"

namespace qolm::entropy {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

bool DecodeRans(const Bytes& stream, Bytes& output) { return RansDecodeBytes(stream, output); }

// A stream with the given table, state 65536 and no renormalisation bytes.
Bytes StreamWithTable(uint32_t n, const std::vector<std::pair<uint8_t, uint16_t>>& entries) {
  Bytes stream;
  naive::Append32(stream, n);
  stream.push_back(static_cast<uint8_t>(entries.size()));
  stream.push_back(static_cast<uint8_t>(entries.size() >> 8));
  for (const auto& [symbol, freq] : entries) {
    stream.push_back(symbol);
    stream.push_back(static_cast<uint8_t>(freq));
    stream.push_back(static_cast<uint8_t>(freq >> 8));
  }
  naive::Append32(stream, 65536);
  return stream;
}

TEST(RansEncodeBytes, EmptyInputGivesEmptyStream) { EXPECT_TRUE(RansEncodeBytes({}).empty()); }

TEST(RansEncodeBytes, OneByteGivesThirteenBytes) {
  EXPECT_THAT(RansEncodeBytes(Bytes{42}),
              ElementsAre(1, 0, 0, 0, 1, 0, 42, 0x00, 0x10, 0, 0, 1, 0));
}

TEST(RansEncodeBytes, OneRepeatedValueNeedsNoRenormalisationBytes) {
  const Bytes stream = RansEncodeBytes(Bytes(100000, 9));
  EXPECT_THAT(stream, ElementsAre(0xA0, 0x86, 1, 0, 1, 0, 9, 0x00, 0x10, 0, 0, 1, 0));
}

TEST(RansEncodeBytes, RemainderGoesToLowestOfEqualTopCounts) {
  // 4093 * 1 / 3 + 1 = 1365 for each of the three, so one is missing.
  const Bytes stream = RansEncodeBytes(Bytes{30, 20, 10});
  EXPECT_THAT(Bytes(stream.begin() + 4, stream.begin() + 15),
              ElementsAre(3, 0, 10, 0x56, 0x05, 20, 0x55, 0x05, 30, 0x55, 0x05));
}

TEST(RansEncodeBytes, RemainderGoesToMostFrequentValue) {
  // 1, 2, 2, 2, 2, 2, 2: 4094 / 7 + 1 = 585, 4094 * 6 / 7 + 1 = 3510, 1 missing.
  const Bytes stream = RansEncodeBytes(Bytes{1, 2, 2, 2, 2, 2, 2});
  EXPECT_THAT(Bytes(stream.begin() + 4, stream.begin() + 12),
              ElementsAre(2, 0, 1, 0x49, 0x02, 2, 0xB7, 0x0D));
}

TEST(RansEncodeBytes, TwoValuesMatchHandComputedBytes) {
  // Frequencies 2048 each. Byte 1 (cum 2048) first: 65536 / 2048 * 4096 + 2048 =
  // 133120; then byte 0: 133120 / 2048 * 4096 + 0 = 266240 = 0x041000.
  EXPECT_THAT(RansEncodeBytes(Bytes{0, 1}),
              ElementsAre(2, 0, 0, 0, 2, 0, 0, 0x00, 0x08, 1, 0x00, 0x08, 0x00, 0x10, 0x04, 0x00));
}

TEST(RansEncodeBytes, AllValuesNeedTableOf774Bytes) {
  Bytes input(256);
  std::iota(input.begin(), input.end(), uint8_t{0});
  const Bytes stream = RansEncodeBytes(input);
  EXPECT_EQ(stream[4], 0);
  EXPECT_EQ(stream[5], 1);
  for (size_t s = 0; s < 256; ++s) {
    EXPECT_EQ(stream[6 + 3 * s], s);
    EXPECT_EQ(stream[7 + 3 * s], 16);
    EXPECT_EQ(stream[8 + 3 * s], 0);
  }
  // 256 values of 8 bits, of which the state holds some: the first state follows
  // at 774 and the total is exact.
  EXPECT_EQ(stream, naive::RansEncode(input));
  EXPECT_GE(stream.size(), 774u + 4u);
  Bytes output(256);
  ASSERT_TRUE(DecodeRans(stream, output));
  EXPECT_EQ(output, input);
}

TEST(RansEncodeBytes, MatchesNaiveCoderAndRoundTrips) {
  for (const size_t size : samples::Sizes()) {
    for (const auto& [name, input] : samples::ByteSamples(size, static_cast<uint32_t>(size) + 1)) {
      const Bytes stream = RansEncodeBytes(input);
      ASSERT_TRUE(stream == naive::RansEncode(input)) << name << " of " << size;
      if (size == 0) continue;
      Bytes output(size, 0xEE);
      ASSERT_TRUE(DecodeRans(stream, output)) << name << " of " << size;
      ASSERT_TRUE(output == input) << name << " of " << size;
    }
  }
}

TEST(RansDecodeBytes, EmptyOutputNeedsCountZero) {
  Bytes none;
  EXPECT_TRUE(DecodeRans({0, 0, 0, 0, 0, 0}, none));
  EXPECT_FALSE(DecodeRans({0, 0, 0, 0, 0}, none));
  EXPECT_FALSE(DecodeRans({1, 0, 0, 0, 1, 0}, none));
  EXPECT_FALSE(DecodeRans({}, none));
}

TEST(RansDecodeBytes, WrongCountIsRejected) {
  const Bytes stream = RansEncodeBytes(Bytes{1, 2, 3});
  Bytes two(2), four(4);
  EXPECT_FALSE(DecodeRans(stream, two));
  EXPECT_FALSE(DecodeRans(stream, four));
}

TEST(RansDecodeBytes, InvalidTablesAreRejected) {
  Bytes output(1);
  EXPECT_TRUE(DecodeRans(StreamWithTable(1, {{5, 4096}}), output));
  EXPECT_TRUE(DecodeRans(StreamWithTable(1, {{5, 1}, {6, 4095}}), output));
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {}), output)) << "no entry";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{6, 2048}, {5, 2048}}), output)) << "descending";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{5, 2048}, {5, 2048}}), output)) << "repeated";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{5, 0}, {6, 4096}}), output)) << "zero frequency";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{5, 4095}}), output)) << "sum too small";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{5, 4096}, {6, 1}}), output)) << "sum too large";
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, {{5, 65535}, {6, 4097}}), output)) << "sum wraps";
  std::vector<std::pair<uint8_t, uint16_t>> entries;
  for (int s = 0; s < 256; ++s) entries.emplace_back(static_cast<uint8_t>(s), uint16_t{16});
  EXPECT_TRUE(DecodeRans(StreamWithTable(1, entries), output));
  entries.emplace_back(uint8_t{255}, uint16_t{16});
  EXPECT_FALSE(DecodeRans(StreamWithTable(1, entries), output)) << "257 entries";
}

// The table or the state may end with the last byte of the stream.
TEST(RansDecodeBytes, TableMayEndWithTheStream) {
  for (const uint32_t entry_count : {1u, 256u}) {
    std::vector<std::pair<uint8_t, uint16_t>> entries;
    for (uint32_t s = 0; s < entry_count; ++s) {
      entries.emplace_back(static_cast<uint8_t>(s), static_cast<uint16_t>(4096 / entry_count));
    }
    const Bytes stream = StreamWithTable(3, entries);
    ASSERT_EQ(stream.size(), 10 + 3 * entry_count);
    test::Fenced<uint8_t> fenced(stream);
    test::Fenced<uint8_t> output(3);
    EXPECT_TRUE(RansDecodeBytes(fenced.span(), output.span()));
    EXPECT_EQ(output.values(), naive::RansDecode(stream));
    for (const size_t cut : {1u, 4u, 5u}) {
      const Bytes shorter(stream.begin(), stream.end() - static_cast<ptrdiff_t>(cut));
      test::Fenced<uint8_t> rest(shorter);
      EXPECT_FALSE(RansDecodeBytes(rest.span(), output.span())) << entry_count << ", " << cut;
    }
  }
}

TEST(RansDecodeBytes, TruncatedHeadTableOrStateIsRejected) {
  const Bytes input{1, 2, 2, 3, 3, 3};
  const Bytes stream = RansEncodeBytes(input);
  Bytes output(input.size());
  for (size_t size = 0; size < 6 + 3 * 3 + 4; ++size) {
    EXPECT_FALSE(
        DecodeRans(Bytes(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size)), output))
        << size;
  }
}

TEST(RansDecodeBytes, MissingRenormalisationBytesAreTolerated) {
  for (const auto& [name, input] : samples::ByteSamples(700, 5)) {
    const Bytes stream = RansEncodeBytes(input);
    const size_t head = 10 + 3 * (stream[4] + size_t{256} * stream[5]);
    for (size_t size = head; size <= stream.size(); ++size) {
      const Bytes cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
      Bytes output(input.size());
      ASSERT_TRUE(DecodeRans(cut, output)) << name << " cut to " << size;
      ASSERT_TRUE(output == naive::RansDecode(cut)) << name << " cut to " << size;
    }
  }
}

TEST(RansDecodeBytes, AnyInitialStateMatchesNaiveDecoder) {
  const Bytes input = samples::ByteSamples(200, 6).front().bytes;
  const Bytes stream = RansEncodeBytes(input);
  const size_t head = 6 + 3 * (stream[4] + size_t{256} * stream[5]);
  for (const uint32_t state : {0u, 1u, 15u, 16u, 255u, 256u, 4095u, 4096u, 65535u, 65536u,
                               0xFFFFFFu, 0x1000000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    Bytes changed = stream;
    for (size_t i = 0; i < 4; ++i) changed[head + i] = static_cast<uint8_t>(state >> (8 * i));
    // Zero bytes do not raise a state of zero, so renormalisation may consume many.
    for (size_t i = head + 4; i < head + 40; ++i) changed[i] = 0;
    Bytes output(input.size());
    ASSERT_TRUE(DecodeRans(changed, output)) << state;
    EXPECT_EQ(output, naive::RansDecode(changed)) << state;

    RansStreamReader reader;
    ASSERT_TRUE(reader.open(changed, static_cast<uint32_t>(input.size())));
    Bytes pieces(input.size());
    for (size_t at = 0; at < pieces.size(); at += 7) {
      reader.read(std::span(pieces).subspan(at, std::min<size_t>(7, pieces.size() - at)));
    }
    EXPECT_EQ(pieces, output) << state;
  }
}

// Rejected exactly when the head is malformed, else decoded like the naive decoder,
// without reading outside the stream or writing outside the output.
TEST(RansDecodeBytes, SingleBitFlipsAreRejectedOrMatchNaiveDecoder) {
  int refused = 0;
  int decoded = 0;
  for (const auto& [name, input] : samples::ByteSamples(90, 7)) {
    const Bytes stream = RansEncodeBytes(input);
    test::Fenced<uint8_t> changed(stream);
    test::Fenced<uint8_t> output(input.size());
    for (size_t bit = 0; bit < 8 * stream.size(); ++bit) {
      uint8_t& byte = changed.span()[bit / 8];
      byte = static_cast<uint8_t>(byte ^ (1u << (bit % 8)));
      const bool opens = naive::RansOpens(changed.values(), input.size());
      ASSERT_EQ(RansDecodeBytes(changed.span(), output.span()), opens) << name << " bit " << bit;
      ASSERT_TRUE(output.SlackIsIntact()) << name << " bit " << bit;
      if (opens) {
        ASSERT_EQ(output.values(), naive::RansDecode(changed.values())) << name << " bit " << bit;
      }
      ++(opens ? decoded : refused);
      byte = stream[bit / 8];
    }
  }
  EXPECT_GT(refused, 1000);
  EXPECT_GT(decoded, 1000);
}

TEST(RansFrequencyTable, StoredTableRoundTrips) {
  ByteCounts counts{};
  counts[0] = 7;
  counts[17] = 1;
  counts[255] = 4000000000u;
  const RansFrequencyTable table = BuildRansFrequencyTable(counts);
  EXPECT_EQ(table.freq[0], 1);
  EXPECT_EQ(table.freq[17], 1);
  EXPECT_EQ(table.freq[255], 4094);
  Bytes bytes(StoredTableSize(table));
  StoreRansFrequencyTable(table, bytes.data());
  RansFrequencyTable loaded;
  ASSERT_TRUE(LoadRansFrequencyTable(bytes, loaded));
  EXPECT_EQ(loaded.freq, table.freq);
  EXPECT_EQ(loaded.cum, table.cum);
  EXPECT_EQ(loaded.entry_count, 3u);
  bytes.pop_back();
  EXPECT_FALSE(LoadRansFrequencyTable(bytes, loaded));
}

TEST(RansPrefixSize, FindsEndBeforeTrailingBytes) {
  std::mt19937 random(11);
  for (const uint32_t count : {1u, 2u, 3u, 50u, 5000u}) {
    for (const uint32_t values : {1u, 2u, 5u, 200u, 256u}) {
      Bytes input(count);
      // Squared, so that some values are rare and shed two bytes.
      for (uint8_t& byte : input) {
        const auto pick = static_cast<uint32_t>(random() % values);
        byte = static_cast<uint8_t>(pick * pick / values);
      }
      const Bytes stream = RansEncodeBytes(input);
      for (const size_t surplus : {0u, 1u, 2u, 400u}) {
        Bytes bytes = stream;
        for (size_t i = 0; i < surplus; ++i) bytes.push_back(static_cast<uint8_t>(random()));
        size_t size = 0;
        ASSERT_TRUE(RansPrefixSize(bytes, count, size));
        EXPECT_EQ(size, stream.size());
      }
    }
  }
}

TEST(RansPrefixSize, StreamWithoutEndIsRejected) {
  Bytes input;
  constexpr uint32_t kCount = 300;
  for (size_t i = 0; i < kCount; ++i) input.push_back(static_cast<uint8_t>(i * i / 7));
  const Bytes stream = RansEncodeBytes(input);
  for (size_t cut = 0; cut < stream.size(); ++cut) {
    size_t size = 77;
    EXPECT_FALSE(RansPrefixSize(std::span(stream).first(cut), kCount, size)) << cut;
    EXPECT_EQ(size, 77u);
  }
  size_t size = 0;
  EXPECT_FALSE(RansPrefixSize(stream, kCount - 1, size));
  EXPECT_FALSE(RansPrefixSize(stream, 0, size));
}

}  // namespace
}  // namespace qolm::entropy
