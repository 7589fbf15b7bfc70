// SPDX-License-Identifier: MIT
//
// The residuals of the three planes of a predicted or bidirectional picture: coding to
// coefficient streams, and reconstruction from them.
#ifndef QOLM_VIDEO_TRANSFORM_RESIDUAL_PLANES_H_
#define QOLM_VIDEO_TRANSFORM_RESIDUAL_PLANES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"
#include "video/transform/block_codec.h"
#include "video/transform/level_selection.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

// The two tables of one picture.
struct InterTables {
  explicit InterTables(uint8_t quality)
      : luma(BuildInterQuantTable(quality, false)), chroma(BuildInterQuantTable(quality, true)) {}
  QuantTable luma;
  QuantTable chroma;
};

class ResidualPlanes {
 public:
  // `tables` and `picture` must outlive this object. `picture` initially holds the
  // prediction, which the operations below replace in place.
  ResidualPlanes(const InterTables& tables, YuvPlanes& picture);

  // Transforms and quantises source - prediction. With `reconstruct`, replaces the
  // prediction by the reconstruction before deblocking.
  void Code(const YuvPlanes& source, const LevelSelection& selection, bool reconstruct);

  // The streams of Y, Cb and Cr after Code.
  void EncodeLevels(std::span<std::vector<uint8_t>, 3> streams) const;
  [[nodiscard]] bool DecodeLevels(std::span<const std::span<const uint8_t>, 3> streams);

  // Adds the decoded residuals to the prediction, in place.
  void Reconstruct();

 private:
  struct Plane {
    Plane(const BlockGrid& blocks, const QuantTable& quant_table, std::vector<uint8_t>& plane);

    BlockGrid grid;
    const QuantTable* table;
    uint8_t* samples;
    std::vector<uint8_t> coded;         // set by Code: 1 for blocks with non-zero levels
    std::unique_ptr<int16_t[]> levels;  // Code sets those of coded blocks, DecodeLevels all

    std::span<int16_t> Levels() const { return {levels.get(), 64 * grid.Count()}; }
    int16_t* RowLevels(uint32_t block_row) const {
      return levels.get() + size_t{64} * grid.Columns() * block_row;
    }
  };

  bool IsLargeEnoughToParallelise() const;
  template <typename Work>
  void ForEachBlockRow(const Work& work);

  std::array<Plane, 3> planes_;
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_RESIDUAL_PLANES_H_
