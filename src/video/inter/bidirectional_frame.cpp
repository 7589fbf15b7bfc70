// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_frame.h"

#include <algorithm>
#include <array>

#include "entropy/rans.h"
#include "video/inter/bidirectional_compensation.h"
#include "video/inter/bidirectional_field.h"
#include "video/inter/bidirectional_search.h"
#include "video/inter/inter_payload.h"
#include "video/picture/deblock.h"
#include "video/transform/residual_planes.h"

namespace qolm::video {
namespace {

constexpr int32_t kQualityBelowAnchors = 4;

}  // namespace

std::vector<uint8_t> EncodeBidirectionalFrame(const YuvPlanes& source,
                                              const InterFrameOptions& options,
                                              const YuvPlanes& past, const YuvPlanes& future) {
  const int32_t anchor_quality = QualityByte(options.quality);
  const uint8_t quality = QualityByte(std::max(1, anchor_quality - kQualityBelowAnchors));
  const InterTables tables(quality);
  const MacroblockGrid grid(source.width, source.height);
  const BidirectionalField field = SearchBidirectional(
      source, past, future,
      {.pre_analysis = options.pre_analysis, .prediction = options.motion_prediction},
      tables.luma.step[0]);

  YuvPlanes picture;
  ResizeYuvPlanes(picture, source.width, source.height);
  CompensateBidirectional(past, future, grid, field, picture);
  ResidualPlanes residuals(tables, picture);
  residuals.Code(source, MakeUnreferencedLevelSelection(tables.luma, options.sparse_levels), false);

  std::array<std::vector<uint8_t>, kInterStreams> streams;
  streams[0] = entropy::RansEncodeBytes(PackBidirectionalModes(field.modes));
  streams[1] =
      entropy::RansEncodeBytes(CodeBidirectionalVectors(grid, field, options.motion_prediction));
  residuals.EncodeLevels(std::span(streams).subspan<2>());
  return AssembleInterPayload(source, quality, streams);
}

bool DecodeBidirectionalFrame(std::span<const uint8_t> payload, bool motion_prediction,
                              bool deblocking, const YuvPlanes& past, const YuvPlanes& future,
                              YuvPlanes& picture) {
  InterPayload parsed;
  if (!past.SameSize(future) || !ParseInterPayload(payload, past, parsed)) return false;
  const MacroblockGrid grid(past.width, past.height);

  std::vector<uint8_t> packed_modes(PackedModeCount(grid));
  if (!entropy::RansDecodeBytes(parsed.streams[0], packed_modes)) return false;
  std::vector<BidirectionalMode> modes = UnpackBidirectionalModes(grid, packed_modes);
  std::vector<uint8_t> vector_bytes(VectorByteCount(modes));
  if (vector_bytes.empty()) {
    // A picture with only direct macroblocks has an empty vector stream.
    if (!parsed.streams[1].empty()) return false;
  } else if (!entropy::RansDecodeBytes(parsed.streams[1], vector_bytes)) {
    return false;
  }

  const InterTables tables(parsed.quality);
  ResizeYuvPlanes(picture, past.width, past.height);
  ResidualPlanes residuals(tables, picture);
  if (!residuals.DecodeLevels(std::span(parsed.streams).subspan<2>())) return false;

  CompensateBidirectional(
      past, future, grid,
      DecodeBidirectionalField(grid, std::move(modes), vector_bytes, motion_prediction), picture);
  residuals.Reconstruct();
  if (deblocking) DeblockReference(picture, tables.luma.step[0], tables.chroma.step[0]);
  return true;
}

}  // namespace qolm::video
