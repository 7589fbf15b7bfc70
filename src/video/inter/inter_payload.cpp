// SPDX-License-Identifier: MIT
#include "video/inter/inter_payload.h"

#include "base/byte_order.h"
#include "video/inter/motion_field.h"
#include "video/payload/payload_streams.h"

namespace qolm::video {
namespace {

constexpr size_t kSizesOffset = 9;

}  // namespace

std::vector<uint8_t> AssembleInterPayload(
    const YuvPlanes& picture, uint8_t quality,
    const std::array<std::vector<uint8_t>, kInterStreams>& streams) {
  const MacroblockGrid grid(picture.width, picture.height);
  std::vector<uint8_t> payload;
  AppendLe16(payload, static_cast<uint16_t>(picture.width));
  AppendLe16(payload, static_cast<uint16_t>(picture.height));
  payload.push_back(quality);
  AppendLe16(payload, static_cast<uint16_t>(grid.columns));
  AppendLe16(payload, static_cast<uint16_t>(grid.rows));
  AppendStreams(streams, payload);
  return payload;
}

bool ParseInterPayload(std::span<const uint8_t> payload, const YuvPlanes& reference,
                       InterPayload& parsed) {
  if (reference.Empty() || !SplitStreams(payload, kSizesOffset, parsed.streams)) return false;
  const MacroblockGrid grid(reference.width, reference.height);
  parsed.quality = payload[4];
  return LoadLe16(payload.data()) == reference.width &&
         LoadLe16(payload.data() + 2) == reference.height &&
         LoadLe16(payload.data() + 5) == grid.columns && LoadLe16(payload.data() + 7) == grid.rows;
}

}  // namespace qolm::video
