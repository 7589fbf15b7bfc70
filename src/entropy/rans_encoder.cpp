#include "entropy/rans_encoder.h"

#include <array>
#include <cstring>
#include <memory>

#include "base/byte_order.h"

namespace qolm::entropy {
namespace {

// The coding loop always stores two bytes below its position, used or not.
constexpr size_t kStoreSlack = 2;

// The state is below 2^24. A value of frequency 4096 never sheds a byte, one of
// frequency 16 or more at most one (a single byte leaves the state below 2^16, and
// the limit is 16 * 4096 or more), any other at most two.
size_t RenormalisationBound(const RansFrequencyTable& table, const ByteCounts& counts) {
  size_t bound = 0;
  for (size_t s = 0; s < counts.size(); ++s) {
    if (table.freq[s] == kRansTotal) continue;
    bound += size_t{counts[s]} * (table.freq[s] < 16 ? 2 : 1);
  }
  return bound;
}

// Writes the renormalisation bytes so that they end at `end`; returns their
// start. `state` receives the final state.
uint8_t* EncodeBackwards(std::span<const uint8_t> input,
                         const std::array<RansEncodeSymbol, 256>& symbols, uint8_t* end,
                         uint32_t& state) {
  uint32_t x = kRansLowerBound;
  uint8_t* position = end;
  const uint8_t* bytes = input.data();
  for (size_t i = input.size(); i-- > 0;) {
    const RansEncodeSymbol& symbol = symbols[bytes[i]];
    // Without branches: how many bytes go is as good as random to a predictor.
    position[-1] = static_cast<uint8_t>(x);
    position[-2] = static_cast<uint8_t>(x >> 8);
    const uint32_t shed = (x >= symbol.limit ? 1u : 0u) + ((x >> 8) >= symbol.limit ? 1u : 0u);
    position -= shed;
    x = RansEncodeStep(x >> (8 * shed), symbol);
  }
  state = x;
  return position;
}

}  // namespace

void AppendRansStream(std::span<const uint8_t> input, const ByteCounts& counts,
                      std::vector<uint8_t>& out) {
  const RansFrequencyTable table = BuildRansFrequencyTable(counts);
  std::array<RansEncodeSymbol, 256> symbols;
  for (size_t s = 0; s < symbols.size(); ++s) {
    if (table.freq[s] > 0) symbols[s] = MakeRansEncodeSymbol(table.freq[s], table.cum[s]);
  }

  const size_t capacity = RenormalisationBound(table, counts) + kStoreSlack;
  const auto scratch = std::make_unique_for_overwrite<uint8_t[]>(capacity);
  uint8_t* const end = scratch.get() + capacity;
  uint32_t state = 0;
  const uint8_t* const start = EncodeBackwards(input, symbols, end, state);

  const size_t table_size = StoredTableSize(table);
  const auto coded_size = static_cast<size_t>(end - start);
  const size_t head = out.size();
  out.resize(head + 4 + table_size + 4 + coded_size);
  uint8_t* bytes = out.data() + head;
  StoreLe32(bytes, static_cast<uint32_t>(input.size()));
  StoreRansFrequencyTable(table, bytes + 4);
  StoreLe32(bytes + 4 + table_size, state);
  std::memcpy(bytes + 8 + table_size, start, coded_size);
}

}  // namespace qolm::entropy
