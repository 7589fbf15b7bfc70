// SPDX-License-Identifier: MIT
//
// The static order-0 model of one rANS stream: how often each byte value occurs,
// scaled to a total of 4096, and its stored form.
//
// Stored form, at offset 4 of a stream, little-endian:
//   0      2   k, the number of entries, 1..256
//   2      3k  entries with ascending symbols: u8 symbol, u16 frequency (1..4096)
// The frequencies of a stored table sum to exactly 4096.
#ifndef QOLM_ENTROPY_RANS_FREQUENCY_TABLE_H_
#define QOLM_ENTROPY_RANS_FREQUENCY_TABLE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qolm::entropy {

inline constexpr uint32_t kRansPrecisionBits = 12;
inline constexpr uint32_t kRansTotal = 1u << kRansPrecisionBits;
// Lower bound of the coder's renormalised state.
inline constexpr uint32_t kRansLowerBound = 1u << 16;

// 1 when a < b, else 0. Compilers turn the plain comparison into a branch, which is
// unpredictable where it decides on the number of renormalisation bytes.
inline uint32_t OneIfBelow(uint32_t a, uint32_t b) {
  return static_cast<uint32_t>((uint64_t{a} - b) >> 63);
}

// Occurrences of each byte value.
using ByteCounts = std::array<uint32_t, 256>;

struct RansFrequencyTable {
  std::array<uint16_t, 256> freq{};  // 0 for absent values, else 1..4096; sums to 4096
  std::array<uint16_t, 256> cum{};   // sum of freq below this value
  uint32_t entry_count = 0;          // values with freq > 0
};

// Counts every value of `input`, which holds fewer than 2^32 bytes.
ByteCounts CountBytes(std::span<const uint8_t> input);

// Scales the counts. At least one count must be non-zero and they must sum to
// less than 2^32. Every present value gets at least 1; the remainder of the rounding
// goes to the most frequent value, the lowest of them if several tie.
RansFrequencyTable BuildRansFrequencyTable(const ByteCounts& counts);

// Bytes of the stored form, the entry count included.
inline size_t StoredTableSize(const RansFrequencyTable& table) {
  return 2 + size_t{3} * table.entry_count;
}

// Writes the StoredTableSize(table) bytes of the stored form.
void StoreRansFrequencyTable(const RansFrequencyTable& table, uint8_t* bytes);

// Reads a stored table from the start of `bytes`, which may be longer. False
// when the entries run past the end, k is not 1..256, the symbols do not strictly
// ascend, a frequency is 0 or the frequencies do not sum to 4096.
[[nodiscard]] bool LoadRansFrequencyTable(std::span<const uint8_t> bytes,
                                          RansFrequencyTable& table);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_FREQUENCY_TABLE_H_
