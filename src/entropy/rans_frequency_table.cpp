// SPDX-License-Identifier: MIT
#include "entropy/rans_frequency_table.h"

#include "base/byte_order.h"

namespace qolm::entropy {

ByteCounts CountBytes(std::span<const uint8_t> input) {
  // Four tables, so that runs of equal bytes do not stall on store-to-load forwarding.
  std::array<ByteCounts, 4> lanes{};
  const uint8_t* bytes = input.data();
  const size_t size = input.size();
  size_t i = 0;
  for (; size - i >= 4; i += 4) {
    ++lanes[0][bytes[i]];
    ++lanes[1][bytes[i + 1]];
    ++lanes[2][bytes[i + 2]];
    ++lanes[3][bytes[i + 3]];
  }
  for (; i < size; ++i) ++lanes[0][bytes[i]];

  ByteCounts counts;
  for (size_t s = 0; s < counts.size(); ++s) {
    counts[s] = lanes[0][s] + lanes[1][s] + lanes[2][s] + lanes[3][s];
  }
  return counts;
}

RansFrequencyTable BuildRansFrequencyTable(const ByteCounts& counts) {
  RansFrequencyTable table;
  uint64_t total = 0;
  for (const uint32_t count : counts) {
    total += count;
    if (count > 0) ++table.entry_count;
  }
  if (total == 0) return table;

  uint32_t sum = 0;
  size_t most_frequent = 0;
  for (size_t s = 0; s < counts.size(); ++s) {
    if (counts[s] == 0) continue;
    const uint64_t share = uint64_t{kRansTotal - table.entry_count} * counts[s] / total;
    table.freq[s] = static_cast<uint16_t>(share + 1);
    sum += table.freq[s];
    if (counts[s] > counts[most_frequent]) most_frequent = s;
  }
  // Every share is rounded down, so the sum is at most 4096.
  table.freq[most_frequent] = static_cast<uint16_t>(table.freq[most_frequent] + kRansTotal - sum);

  uint32_t below = 0;
  for (size_t s = 0; s < counts.size(); ++s) {
    table.cum[s] = static_cast<uint16_t>(below);
    below += table.freq[s];
  }
  return table;
}

void StoreRansFrequencyTable(const RansFrequencyTable& table, uint8_t* bytes) {
  StoreLe16(bytes, static_cast<uint16_t>(table.entry_count));
  bytes += 2;
  for (size_t s = 0; s < table.freq.size(); ++s) {
    if (table.freq[s] == 0) continue;
    bytes[0] = static_cast<uint8_t>(s);
    StoreLe16(bytes + 1, table.freq[s]);
    bytes += 3;
  }
}

bool LoadRansFrequencyTable(std::span<const uint8_t> bytes, RansFrequencyTable& table) {
  if (bytes.size() < 2) return false;
  const uint32_t entry_count = LoadLe16(bytes.data());
  if (entry_count < 1 || entry_count > 256) return false;
  if (bytes.size() - 2 < size_t{3} * entry_count) return false;

  table = {};
  table.entry_count = entry_count;
  const uint8_t* entry = bytes.data() + 2;
  uint32_t sum = 0;
  size_t next_symbol = 0;
  for (uint32_t e = 0; e < entry_count; ++e, entry += 3) {
    const size_t symbol = entry[0];
    const uint32_t freq = LoadLe16(entry + 1);
    if (symbol < next_symbol || freq < 1 || freq > kRansTotal - sum) return false;
    for (; next_symbol <= symbol; ++next_symbol)
      table.cum[next_symbol] = static_cast<uint16_t>(sum);
    table.freq[symbol] = static_cast<uint16_t>(freq);
    sum += freq;
  }
  for (; next_symbol < table.cum.size(); ++next_symbol) {
    table.cum[next_symbol] = static_cast<uint16_t>(sum);
  }
  return sum == kRansTotal;
}

}  // namespace qolm::entropy
