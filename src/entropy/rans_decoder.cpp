// SPDX-License-Identifier: MIT
#include "entropy/rans_decoder.h"

#include <algorithm>

#include "base/byte_order.h"

namespace qolm::entropy {

bool OpenRansStream(std::span<const uint8_t> stream, uint32_t expected_count, RansSlotTable& slots,
                    RansReader& reader) {
  if (stream.size() < 6 || LoadLe32(stream.data()) != expected_count) return false;
  RansFrequencyTable table;
  if (!LoadRansFrequencyTable(stream.subspan(4), table)) return false;
  const size_t state_offset = 4 + StoredTableSize(table);
  if (stream.size() - state_offset < 4) return false;

  uint32_t* slot = slots.data();
  for (uint32_t s = 0; s < table.freq.size(); ++s) {
    const uint32_t freq = table.freq[s];
    const uint32_t value = s | ((freq - 1) << 8);
    for (uint32_t distance = 0; distance < freq; ++distance) *slot++ = value | (distance << 20);
  }

  reader.state = LoadLe32(stream.data() + state_offset);
  reader.next = stream.data() + state_offset + 4;
  reader.end = stream.data() + stream.size();
  const bool can_be_fast = reader.state >= kRansLowerBound && reader.end - reader.next >= 2;
  reader.fast_end = can_be_fast ? reader.end - 1 : reader.next;
  return true;
}

void StepRansValues(const RansSlotTable& slots, RansReader& reader, std::span<uint8_t> output) {
  RansReader cursor = reader;
  uint8_t* out = output.data();
  uint8_t* const out_end = out + output.size();
  while (const size_t steps = std::min(static_cast<size_t>(out_end - out), cursor.FastSteps())) {
    for (const uint8_t* const end = out + steps; out != end;) *out++ = cursor.StepFast(slots);
  }
  while (out != out_end) *out++ = cursor.StepCareful(slots);
  reader = cursor;
}

void StepInterleavedRansValues(const RansSlotTable& first_slots, RansReader& first,
                               std::span<uint8_t> first_output, const RansSlotTable& second_slots,
                               RansReader& second, std::span<uint8_t> second_output) {
  RansReader a = first;
  RansReader b = second;
  const size_t both = std::min(first_output.size(), second_output.size());
  size_t done = 0;
  while (const size_t steps = std::min({both - done, a.FastSteps(), b.FastSteps()})) {
    for (const size_t end = done + steps; done != end; ++done) {
      first_output[done] = a.StepFast(first_slots);
      second_output[done] = b.StepFast(second_slots);
    }
  }
  first = a;
  second = b;
  StepRansValues(first_slots, first, first_output.subspan(done));
  StepRansValues(second_slots, second, second_output.subspan(done));
}

}  // namespace qolm::entropy
