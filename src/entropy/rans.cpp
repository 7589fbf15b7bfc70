// SPDX-License-Identifier: MIT
#include "entropy/rans.h"

#include <algorithm>
#include <array>
#include <limits>

#include "base/byte_order.h"
#include "entropy/rans_decoder.h"
#include "entropy/rans_encoder.h"

namespace qolm::entropy {
std::vector<uint8_t> RansEncodeBytes(std::span<const uint8_t> input, const StopCallback& stop) {
  std::vector<uint8_t> out;
  if (input.empty() || input.size() > std::numeric_limits<uint32_t>::max()) return out;
  RansStreamEncoder encoder(input, CountBytes(input));
  if (!encoder.Run(stop)) return out;
  encoder.AppendTo(out);
  return out;
}

bool RansDecodeBytes(std::span<const uint8_t> stream, std::span<uint8_t> output) {
  if (output.size() > std::numeric_limits<uint32_t>::max()) return false;
  const auto count = static_cast<uint32_t>(output.size());
  if (count == 0) return stream.size() >= 6 && LoadLe32(stream.data()) == 0;

  RansSlotTable slots;
  RansReader reader;
  if (!OpenRansStream(stream, count, slots, reader)) return false;
  StepRansValues(slots, reader, output);
  return true;
}

bool RansPrefixSize(std::span<const uint8_t> bytes, uint32_t count, size_t& stream_size) {
  if (count == 0) return false;
  RansSlotTable slots;
  RansReader reader;
  if (!OpenRansStream(bytes, count, slots, reader)) return false;
  std::array<uint8_t, 4096> values;
  for (uint32_t left = count; left > 0;) {
    const uint32_t step = std::min<uint32_t>(left, values.size());
    StepRansValues(slots, reader, std::span(values).first(step));
    left -= step;
  }
  if (reader.state != kRansLowerBound) return false;
  stream_size = static_cast<size_t>(reader.next - bytes.data());
  return true;
}

}  // namespace qolm::entropy
