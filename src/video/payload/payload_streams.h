// SPDX-License-Identifier: MIT
//
// The streams of a video payload: the payload header ends with their sizes and is
// followed by their bytes.
#ifndef QOLM_VIDEO_PAYLOAD_PAYLOAD_STREAMS_H_
#define QOLM_VIDEO_PAYLOAD_PAYLOAD_STREAMS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace qolm::video {

// Appends the size fields and then the streams to `payload`, which contains the other
// header fields.
template <size_t kCount>
void AppendStreams(const std::array<std::vector<uint8_t>, kCount>& streams,
                   std::vector<uint8_t>& payload) {
  size_t total = payload.size() + 4 * kCount;
  for (const auto& stream : streams) total += stream.size();
  payload.reserve(total);
  for (const auto& stream : streams) AppendLe32(payload, static_cast<uint32_t>(stream.size()));
  for (const auto& stream : streams) payload.insert(payload.end(), stream.begin(), stream.end());
}

// Splits a payload whose size fields start at `sizes_offset`. False unless the
// header and the streams fill the payload exactly.
template <size_t kCount>
[[nodiscard]] bool SplitStreams(std::span<const uint8_t> payload, size_t sizes_offset,
                                std::array<std::span<const uint8_t>, kCount>& streams) {
  const size_t header_bytes = sizes_offset + 4 * kCount;
  if (payload.size() < header_bytes) return false;
  size_t position = header_bytes;
  for (size_t i = 0; i < kCount; ++i) {
    const size_t size = LoadLe32(payload.data() + sizes_offset + 4 * i);
    if (size > payload.size() - position) return false;
    streams[i] = payload.subspan(position, size);
    position += size;
  }
  return position == payload.size();
}

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PAYLOAD_PAYLOAD_STREAMS_H_
