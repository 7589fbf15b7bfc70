// SPDX-License-Identifier: MIT
#include "entropy/rans_encoder.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"

namespace qolm::entropy {
namespace {

// Every step stores two bytes below its position, whether or not it keeps them.
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

}  // namespace

RansStreamEncoder::RansStreamEncoder(std::span<const uint8_t> input, const ByteCounts& counts)
    : input_(input) {
  if (input.empty()) return;
  table_ = BuildRansFrequencyTable(counts);
  for (size_t s = 0; s < symbols_.size(); ++s) {
    if (table_.freq[s] > 0) symbols_[s] = MakeRansEncodeSymbol(table_.freq[s], table_.cum[s]);
  }
  const size_t capacity = RenormalisationBound(table_, counts) + kStoreSlack;
  scratch_ = std::make_unique_for_overwrite<uint8_t[]>(capacity);
  scratch_end_ = scratch_.get() + capacity;
  cursor_ = {input.data(), input.data() + input.size(), scratch_end_, kRansLowerBound};
}

inline void RansStreamEncoder::Cursor::Step(const RansEncodeSymbol* symbols) {
  const RansEncodeSymbol& symbol = symbols[*--input_end];
  position[-1] = static_cast<uint8_t>(state);
  position[-2] = static_cast<uint8_t>(state >> 8);
  const uint32_t shed = 2 - OneIfBelow(state, symbol.limit) - OneIfBelow(state >> 8, symbol.limit);
  position -= shed;
  state = RansEncodeStep(state >> (8 * shed), symbol);
}

bool RansStreamEncoder::Run(const StopCallback& stop) {
  Cursor cursor = cursor_;
  while (cursor.left() > 0) {
    if (IsToStop(stop)) return false;
    const uint8_t* const piece = cursor.input_end - std::min(cursor.left(), kStopInterval);
    while (cursor.input_end != piece) cursor.Step(symbols_.data());
  }
  cursor_ = cursor;
  return true;
}

bool RansStreamEncoder::RunInterleaved(RansStreamEncoder& first, RansStreamEncoder& second,
                                       const StopCallback& stop) {
  Cursor a = first.cursor_;
  Cursor b = second.cursor_;
  while (a.left() > 0 && b.left() > 0) {
    if (IsToStop(stop)) return false;
    const uint8_t* const piece = a.input_end - std::min({a.left(), b.left(), kStopInterval});
    while (a.input_end != piece) {
      a.Step(first.symbols_.data());
      b.Step(second.symbols_.data());
    }
  }
  first.cursor_ = a;
  second.cursor_ = b;
  return first.Run(stop) && second.Run(stop);
}

size_t RansStreamEncoder::StreamSize() const {
  if (input_.empty()) return 0;
  return 8 + StoredTableSize(table_) + static_cast<size_t>(scratch_end_ - cursor_.position);
}

void RansStreamEncoder::AppendTo(std::vector<uint8_t>& out) const {
  if (input_.empty()) return;
  const size_t table_size = StoredTableSize(table_);
  const size_t head = out.size();
  out.resize(head + StreamSize());
  uint8_t* bytes = out.data() + head;
  StoreLe32(bytes, static_cast<uint32_t>(input_.size()));
  StoreRansFrequencyTable(table_, bytes + 4);
  StoreLe32(bytes + 4 + table_size, cursor_.state);
  std::memcpy(bytes + 8 + table_size, cursor_.position,
              static_cast<size_t>(scratch_end_ - cursor_.position));
}

}  // namespace qolm::entropy
