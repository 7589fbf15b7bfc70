// SPDX-License-Identifier: MIT
#include "video/inter/inter_frame.h"

#include <array>
#include <utility>

#include "entropy/rans.h"
#include "video/inter/inter_payload.h"
#include "video/inter/motion_compensation.h"
#include "video/inter/motion_field.h"
#include "video/inter/motion_search.h"
#include "video/picture/deblock.h"
#include "video/transform/residual_planes.h"

namespace qolm::video {
namespace {

// lambda = factor * luma DC step, in absolute differences per vector bit. The factor is
// tuned for the smallest size at equal PSNR.
constexpr float kVectorCostFactor = 0.6F;

}  // namespace

std::vector<uint8_t> EncodeInterFrame(const YuvPlanes& source, const InterFrameOptions& options,
                                      YuvPlanes& reference) {
  const uint8_t quality = QualityByte(options.quality);
  const InterTables tables(quality);
  const MacroblockGrid grid(source.width, source.height);

  MotionSearchOptions search;
  search.pre_analysis = options.pre_analysis;
  search.vector_cost = kVectorCostFactor * tables.luma.step[0];
  const std::vector<MacroblockMotion> field =
      SearchMotion(source.y.data(), reference.y.data(), source.width, source.height, search);

  YuvPlanes picture;
  ResizeYuvPlanes(picture, source.width, source.height);
  CompensateMotion(reference, grid, field, picture);

  ResidualPlanes residuals(tables, picture);
  residuals.Code(source, MakeLevelSelection(tables.luma, options.sparse_levels), true);
  if (options.deblocking) DeblockReference(picture, tables.luma.step[0], tables.chroma.step[0]);

  std::array<std::vector<uint8_t>, kInterStreams> streams;
  streams[0] = entropy::RansEncodeBytes(PackSplitMap(field));
  streams[1] = entropy::RansEncodeBytes(CodeMotionBytes(grid, field, options.motion_prediction));
  residuals.EncodeLevels(std::span(streams).subspan<2>());
  reference = std::move(picture);
  return AssembleInterPayload(source, quality, streams);
}

bool DecodeInterFrame(std::span<const uint8_t> payload, bool motion_prediction, bool deblocking,
                      const YuvPlanes& reference, YuvPlanes& picture) {
  InterPayload parsed;
  if (!ParseInterPayload(payload, reference, parsed)) return false;
  const MacroblockGrid grid(reference.width, reference.height);

  std::vector<uint8_t> split_map((grid.Count() + 7) / 8);
  if (!entropy::RansDecodeBytes(parsed.streams[0], split_map)) return false;
  std::vector<uint8_t> motion_bytes(MotionByteCount(grid, split_map));
  if (!entropy::RansDecodeBytes(parsed.streams[1], motion_bytes)) return false;

  const InterTables tables(parsed.quality);
  ResizeYuvPlanes(picture, reference.width, reference.height);
  ResidualPlanes residuals(tables, picture);
  if (!residuals.DecodeLevels(std::span(parsed.streams).subspan<2>())) return false;

  CompensateMotion(reference, grid,
                   DecodeMotionField(grid, split_map, motion_bytes, motion_prediction), picture);
  residuals.Reconstruct();
  if (deblocking) DeblockReference(picture, tables.luma.step[0], tables.chroma.step[0]);
  return true;
}

}  // namespace qolm::video
