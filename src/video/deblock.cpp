#include "video/deblock.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "base/team.h"

namespace qolm::video {
namespace {

struct DeblockThresholds {
  int across;      // limit of the jump over the edge
  int beside;      // limit of the slope on either side
  int correction;  // limit of the change
};

DeblockThresholds MakeThresholds(float step) {
  return {static_cast<int>(std::clamp(0.7F * step, 4.0F, 26.0F)),
          static_cast<int>(std::clamp(0.35F * step, 2.0F, 12.0F)),
          static_cast<int>(std::clamp(0.25F * step, 1.0F, 7.0F))};
}

// One sample pair on either side of an edge. Written without branches so that
// a loop over columns becomes vector code.
inline void FilterEdge(const DeblockThresholds& limits, int p1, uint8_t& p0_sample,
                       uint8_t& q0_sample, int q1) {
  const int p0 = p0_sample;
  const int q0 = q0_sample;
  const bool smooth = (std::abs(q0 - p0) < limits.across) & (std::abs(p1 - p0) < limits.beside) &
                      (std::abs(q1 - q0) < limits.beside);
  const int half = std::clamp((q0 - p0) / 2, -limits.correction, limits.correction);
  const int delta = smooth ? half : 0;
  // Both lie between p0 and q0, so no clamp to a byte is needed.
  p0_sample = static_cast<uint8_t>(p0 + delta);
  q0_sample = static_cast<uint8_t>(q0 - delta);
}

// Limits by value, so that no sample written can be one of them.
void FilterVerticalEdges(DeblockThresholds limits, uint8_t* row, uint32_t width) {
  for (uint32_t x = 8; x + 5 <= width; x += 8) {
    FilterEdge(limits, row[x - 2], row[x - 1], row[x], row[x + 1]);
  }
}

void FilterHorizontalEdge(DeblockThresholds limits, const uint8_t* p1, uint8_t* p0, uint8_t* q0,
                          const uint8_t* q1, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x) FilterEdge(limits, p1[x], p0[x], q0[x], q1[x]);
}

}  // namespace

void DeblockPlane(uint8_t* plane, uint32_t width, uint32_t height, float step) {
  if (width < 16 || height < 16) return;
  const DeblockThresholds limits = MakeThresholds(step);
  const size_t stride = width;
  const bool worth_a_team = stride * height >= kSamplesWorthATeam;

  ForEachInTeam(height, worth_a_team,
                [&](size_t y) { FilterVerticalEdges(limits, plane + y * stride, width); });
  // Edges lie 8 rows apart, the last at least 5 above the end, and each touches
  // 4, so they are independent.
  ForEachInTeam((height - 5) / 8, worth_a_team, [&](size_t edge) {
    uint8_t* const q0 = plane + 8 * (edge + 1) * stride;
    FilterHorizontalEdge(limits, q0 - 2 * stride, q0 - stride, q0, q0 + stride, width);
  });
}

void DeblockReference(YuvPlanes& planes, float luma_step, float chroma_step) {
  DeblockPlane(planes.y.data(), planes.width, planes.height, luma_step);
  DeblockPlane(planes.cb.data(), planes.ChromaWidth(), planes.ChromaHeight(), chroma_step);
  DeblockPlane(planes.cr.data(), planes.ChromaWidth(), planes.ChromaHeight(), chroma_step);
}

}  // namespace qolm::video
