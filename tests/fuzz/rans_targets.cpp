// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include "base/byte_order.h"
#include "entropy/context_rans.h"
#include "entropy/rans.h"
#include "entropy/rans_frequency_table.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"

namespace qolm::fuzz {
namespace {

constexpr uint32_t kMostValues = 1 << 14;

bool Same(Input a, Input b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

// The stored form's rules, one after the other.
bool IsStoredTable(Input bytes) {
  if (bytes.size() < 2) return false;
  const uint32_t entries = LoadLe16(bytes.data());
  if (entries < 1 || entries > 256 || bytes.size() < 2 + size_t{3} * entries) return false;
  uint32_t sum = 0;
  int last_symbol = -1;
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t* entry = bytes.data() + 2 + size_t{3} * i;
    if (entry[0] <= last_symbol || LoadLe16(entry + 1) == 0) return false;
    last_symbol = entry[0];
    sum += LoadLe16(entry + 1);
  }
  return sum == entropy::kRansTotal;
}

void CheckTable(const entropy::RansFrequencyTable& table) {
  uint32_t sum = 0;
  uint32_t entries = 0;
  for (size_t symbol = 0; symbol < table.freq.size(); ++symbol) {
    QOLM_REQUIRE(table.cum[symbol] == sum || table.freq[symbol] == 0);
    sum += table.freq[symbol];
    entries += table.freq[symbol] > 0 ? 1 : 0;
  }
  QOLM_REQUIRE(sum == entropy::kRansTotal);
  QOLM_REQUIRE(entries == table.entry_count);
}

std::vector<uint8_t> Stored(const entropy::RansFrequencyTable& table) {
  std::vector<uint8_t> bytes(entropy::StoredTableSize(table));
  entropy::StoreRansFrequencyTable(table, bytes.data());
  return bytes;
}

// Five bytes each: a value, and how often it occurs.
entropy::ByteCounts CountsOf(Input input) {
  entropy::ByteCounts counts{};
  uint32_t left = 0xFFFFFFFF;
  for (; input.size() >= 5; input = input.subspan(5)) {
    const uint32_t count = std::min(LoadLe32(input.data() + 1), left);
    counts[input[0]] += count;
    left -= count;
  }
  return counts;
}

void CheckBuiltTable(const entropy::ByteCounts& counts) {
  const auto most = std::max_element(counts.begin(), counts.end());
  if (*most == 0) return;
  const entropy::RansFrequencyTable table = entropy::BuildRansFrequencyTable(counts);
  CheckTable(table);
  const uint16_t highest = table.freq[static_cast<size_t>(most - counts.begin())];
  for (size_t symbol = 0; symbol < counts.size(); ++symbol) {
    QOLM_REQUIRE((table.freq[symbol] > 0) == (counts[symbol] > 0));
    QOLM_REQUIRE(table.freq[symbol] <= highest);
  }
  const std::vector<uint8_t> stored = Stored(table);
  entropy::RansFrequencyTable loaded;
  QOLM_REQUIRE(entropy::LoadRansFrequencyTable(stored, loaded));
  QOLM_REQUIRE(loaded.freq == table.freq && loaded.entry_count == table.entry_count);
}

void CheckPlainCoding(Input values) {
  const std::vector<uint8_t> stream = entropy::RansEncodeBytes(values);
  QOLM_REQUIRE(stream.empty() == values.empty());
  if (values.empty()) return;
  std::vector<uint8_t> decoded(values.size());
  QOLM_REQUIRE(entropy::RansDecodeBytes(stream, decoded));
  QOLM_REQUIRE(Same(decoded, values));

  // Whatever follows the stream, its end is found.
  std::vector<uint8_t> longer = stream;
  longer.insert(longer.end(), values.begin(), values.end());
  size_t size = 0;
  const auto count = static_cast<uint32_t>(values.size());
  QOLM_REQUIRE(entropy::RansPrefixSize(longer, count, size));
  QOLM_REQUIRE(size == stream.size());
}

void CheckContextCoding(Input values) {
  const std::vector<uint8_t> stream = entropy::ContextRansEncode(values);
  QOLM_REQUIRE(stream.empty() == values.empty());
  if (values.empty()) return;
  std::vector<uint8_t> decoded(values.size());
  QOLM_REQUIRE(entropy::ContextRansDecode(stream, decoded));
  QOLM_REQUIRE(Same(decoded, values));
}

}  // namespace

void Rans(Input input) {
  CheckPlainCoding(input);
  if (input.size() < 4) return;
  const uint32_t count = LoadLe32(input.data());
  if (count == 0 || count > kMostValues) return;

  std::vector<uint8_t> values(count);
  const bool decodes = entropy::RansDecodeBytes(input, values);
  size_t size = 0;
  if (entropy::RansPrefixSize(input, count, size)) {
    QOLM_REQUIRE(decodes);
    QOLM_REQUIRE(size <= input.size());
    std::vector<uint8_t> prefix_values(count);
    QOLM_REQUIRE(entropy::RansDecodeBytes(input.first(size), prefix_values));
    QOLM_REQUIRE(Same(prefix_values, values));
  }
  if (decodes) CheckPlainCoding(values);
  values.push_back(0);
  QOLM_REQUIRE(!entropy::RansDecodeBytes(input, values));
}

void FrequencyTable(Input input) {
  CheckBuiltTable(CountsOf(input));
  entropy::RansFrequencyTable table;
  const bool loads = entropy::LoadRansFrequencyTable(input, table);
  QOLM_REQUIRE(loads == IsStoredTable(input));
  if (!loads) return;
  CheckTable(table);
  QOLM_REQUIRE(Same(Stored(table), input.first(entropy::StoredTableSize(table))));
}

void ContextRans(Input input) {
  CheckContextCoding(input);
  uint32_t count = 0;
  const bool has_head = entropy::ContextRansCount(input, count);
  QOLM_REQUIRE(has_head == (input.size() >= 5));
  if (!has_head || count == 0 || count > kMostValues) return;

  std::vector<uint8_t> values(count);
  if (entropy::ContextRansDecode(input, values)) CheckContextCoding(values);
  values.push_back(0);
  QOLM_REQUIRE(!entropy::ContextRansDecode(input, values));
}

}  // namespace qolm::fuzz
