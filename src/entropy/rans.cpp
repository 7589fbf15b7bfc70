#include "entropy/rans.h"

#include <limits>

#include "base/byte_order.h"
#include "entropy/rans_decoder.h"
#include "entropy/rans_encoder.h"

namespace qolm::entropy {
namespace {

void DecodeValues(const RansSlotTable& slots, RansReader& reader, std::span<uint8_t> output) {
  RansReader cursor = reader;
  uint8_t* out = output.data();
  uint8_t* const out_end = out + output.size();
  while (out != out_end && cursor.IsFast()) *out++ = cursor.StepFast(slots);
  while (out != out_end) *out++ = cursor.StepCareful(slots);
  reader = cursor;
}

}  // namespace

std::vector<uint8_t> RansEncodeBytes(std::span<const uint8_t> input) {
  std::vector<uint8_t> out;
  if (input.empty() || input.size() > std::numeric_limits<uint32_t>::max()) return out;
  RansStreamEncoder encoder(input, CountBytes(input));
  encoder.Run();
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
  DecodeValues(slots, reader, output);
  return true;
}

bool RansDecodePrefix(std::span<const uint8_t> bytes, std::span<uint8_t> output,
                      size_t& stream_size) {
  if (output.empty() || output.size() > std::numeric_limits<uint32_t>::max()) return false;
  RansSlotTable slots;
  RansReader reader;
  if (!OpenRansStream(bytes, static_cast<uint32_t>(output.size()), slots, reader)) return false;
  DecodeValues(slots, reader, output);
  if (reader.state != kRansLowerBound) return false;
  stream_size = static_cast<size_t>(reader.next - bytes.data());
  return true;
}

}  // namespace qolm::entropy
