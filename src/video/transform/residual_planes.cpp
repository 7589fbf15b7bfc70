// SPDX-License-Identifier: MIT
#include "video/transform/residual_planes.h"

#include "base/parallel_for.h"
#include "entropy/coefficient_stream.h"
#include "video/transform/residual.h"

namespace qolm::video {

ResidualPlanes::Plane::Plane(const BlockGrid& blocks, const QuantTable& quant_table,
                             std::vector<uint8_t>& plane)
    : grid(blocks),
      table(&quant_table),
      samples(plane.data()),
      coded(blocks.Count()),
      levels(std::make_unique_for_overwrite<int16_t[]>(64 * blocks.Count())) {}

ResidualPlanes::ResidualPlanes(const InterTables& tables, YuvPlanes& picture)
    : planes_{Plane({picture.width, picture.height}, tables.luma, picture.y),
              Plane({picture.ChromaWidth(), picture.ChromaHeight()}, tables.chroma, picture.cb),
              Plane({picture.ChromaWidth(), picture.ChromaHeight()}, tables.chroma, picture.cr)} {}

bool ResidualPlanes::IsLargeEnoughToParallelise() const {
  return planes_[0].Levels().size() >= kMinParallelSamples;
}

// Calls work(plane number, block row) for every block row of the three planes.
// All rows share one parallel loop: with one task per plane, the luma task would have two
// thirds of the work.
template <typename Work>
void ResidualPlanes::ForEachBlockRow(const Work& work) {
  const size_t luma_rows = planes_[0].grid.Rows();
  const size_t chroma_rows = planes_[1].grid.Rows();
  ParallelFor(luma_rows + 2 * chroma_rows, IsLargeEnoughToParallelise(), [&](size_t row) {
    if (row < luma_rows) {
      work(size_t{0}, static_cast<uint32_t>(row));
    } else {
      const size_t chroma_row = row - luma_rows;
      work(1 + chroma_row / chroma_rows, static_cast<uint32_t>(chroma_row % chroma_rows));
    }
  });
}

void ResidualPlanes::Code(const YuvPlanes& source, const LevelSelection& selection,
                          bool reconstruct) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const std::array<const uint8_t*, 3> sources = {source.y.data(), source.cb.data(),
                                                 source.cr.data()};
  ForEachBlockRow([&](size_t number, uint32_t row) {
    Plane& plane = planes_[number];
    CodeResidualRow(kernels, sources[number], plane.grid, row, *plane.table, selection, reconstruct,
                    plane.coded.data() + size_t{plane.grid.Columns()} * row, plane.RowLevels(row),
                    plane.samples);
  });
}

void ResidualPlanes::Reconstruct() {
  const VideoKernels& kernels = ActiveVideoKernels();
  ForEachBlockRow([&](size_t number, uint32_t row) {
    Plane& plane = planes_[number];
    ReconstructResidualRow(kernels, plane.RowLevels(row), plane.grid, row, *plane.table,
                           plane.samples);
  });
}

// One parallel task per coefficient stream.
void ResidualPlanes::EncodeLevels(std::span<std::vector<uint8_t>, 3> streams) const {
  ParallelFor(streams.size(), IsLargeEnoughToParallelise(), [&](size_t plane) {
    streams[plane] = entropy::EncodeCoefficients(planes_[plane].Levels(), planes_[plane].coded);
  });
}

bool ResidualPlanes::DecodeLevels(std::span<const std::span<const uint8_t>, 3> streams) {
  std::array<bool, 3> decoded{};
  ParallelFor(streams.size(), IsLargeEnoughToParallelise(), [&](size_t plane) {
    decoded[plane] = entropy::DecodeCoefficients(streams[plane], planes_[plane].Levels());
  });
  return decoded[0] && decoded[1] && decoded[2];
}

}  // namespace qolm::video
