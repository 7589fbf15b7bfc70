#include "entropy/rans.h"

#include <limits>

#include "base/byte_order.h"
#include "entropy/rans_decoder.h"
#include "entropy/rans_encoder.h"

namespace qolm::entropy {

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
  uint8_t* out = output.data();
  uint8_t* const out_end = out + output.size();
  while (out != out_end && reader.IsFast()) *out++ = reader.StepFast(slots);
  while (out != out_end) *out++ = reader.StepCareful(slots);
  return true;
}

}  // namespace qolm::entropy
