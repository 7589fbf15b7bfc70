#include "video/inter_frame.h"

#include <array>
#include <utility>

#include "base/exception_trap.h"
#include "base/team.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "video/deblock.h"
#include "video/motion_compensation.h"
#include "video/motion_field.h"
#include "video/motion_search.h"
#include "video/payload_streams.h"
#include "video/residual.h"

// Payload, little-endian; sizes are those of the streams behind them:
//
//   0  u16 width   2  u16 height   4  u8 quality
//   5  u16 macroblock columns      7  u16 macroblock rows
//   9  u32 split map   13  u32 motion   17  u32 Y   21  u32 Cb   25  u32 Cr
namespace qolm::video {
namespace {

constexpr size_t kSizesOffset = 9;

// One vector bit's worth of absolute differences as a part of the luma DC step.
// Measured: the value that gave the least bytes at equal PSNR.
constexpr float kVectorCostFactor = 0.6F;

// One plane of the picture on its way through the residual coder.
struct ResidualPlane {
  BlockGrid grid;
  const QuantTable* table;
  const uint8_t* source;  // null while decoding
  uint8_t* samples;       // the prediction, then the reconstruction
  std::vector<int16_t> levels;
};

using ResidualPlanes = std::array<ResidualPlane, 3>;

struct InterTables {
  explicit InterTables(uint8_t quality)
      : luma(BuildInterQuantTable(quality, false)), chroma(BuildInterQuantTable(quality, true)) {}
  QuantTable luma;
  QuantTable chroma;
};

ResidualPlanes MakeResidualPlanes(const InterTables& tables, const YuvPlanes* source,
                                  YuvPlanes& picture) {
  const BlockGrid luma{picture.width, picture.height};
  const BlockGrid chroma{picture.ChromaWidth(), picture.ChromaHeight()};
  const auto make = [](const BlockGrid& grid, const QuantTable& table, const uint8_t* from,
                       std::vector<uint8_t>& samples) {
    return ResidualPlane{grid, &table, from, samples.data(),
                         std::vector<int16_t>(64 * grid.Count())};
  };
  return {make(luma, tables.luma, source ? source->y.data() : nullptr, picture.y),
          make(chroma, tables.chroma, source ? source->cb.data() : nullptr, picture.cb),
          make(chroma, tables.chroma, source ? source->cr.data() : nullptr, picture.cr)};
}

bool WorthATeam(const ResidualPlanes& planes) {
  return planes[0].levels.size() >= kSamplesWorthATeam;
}

// Calls work(plane, block row) for every block row of the three planes. All
// rows go to one team, since a task for each plane would leave the luma's
// thread with two thirds of the work.
template <typename Work>
void ForEachBlockRow(ResidualPlanes& planes, const Work& work) {
  const int luma_rows = static_cast<int>(planes[0].grid.Rows());
  const int chroma_rows = static_cast<int>(planes[1].grid.Rows());
#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (WorthATeam(planes))
  for (int row = 0; row < luma_rows + 2 * chroma_rows; ++row) {
    if (row < luma_rows) {
      work(planes[0], static_cast<uint32_t>(row));
    } else {
      const int chroma_row = row - luma_rows;
      work(planes[static_cast<size_t>(1 + chroma_row / chroma_rows)],
           static_cast<uint32_t>(chroma_row % chroma_rows));
    }
  }
}

int16_t* RowLevels(ResidualPlane& plane, uint32_t block_row) {
  return plane.levels.data() + size_t{64} * plane.grid.Columns() * block_row;
}

void CodeResiduals(ResidualPlanes& planes, bool rate_rule) {
  const VideoKernels& kernels = ActiveVideoKernels();
  // The luma's price of a bit holds for all planes: the chroma steps are so
  // coarse that a price of their own would leave stains.
  const LevelSelection selection = MakeLevelSelection(*planes[0].table, rate_rule);
  ForEachBlockRow(planes, [&](ResidualPlane& plane, uint32_t row) {
    CodeResidualRow(kernels, plane.source, plane.grid, row, *plane.table, selection,
                    RowLevels(plane, row), plane.samples);
  });
}

void ReconstructResiduals(ResidualPlanes& planes) {
  const VideoKernels& kernels = ActiveVideoKernels();
  ForEachBlockRow(planes, [&](ResidualPlane& plane, uint32_t row) {
    ReconstructResidualRow(kernels, RowLevels(plane, row), plane.grid, row, *plane.table,
                           plane.samples);
  });
}

// The three coefficient streams, each on a thread of its own; a team of three
// has one idle member more, and the same threads as the loops before it.
void EncodeLevels(const ResidualPlanes& planes, std::vector<uint8_t>* streams) {
  ExceptionTrap trap;
#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (WorthATeam(planes))
  for (int i = 0; i < 3; ++i) {
    trap.Run(
        [&] { streams[i] = entropy::EncodeCoefficients(planes[static_cast<size_t>(i)].levels); });
  }
  trap.Rethrow();
}

bool DecodeLevels(const std::span<const uint8_t>* streams, ResidualPlanes& planes) {
  ExceptionTrap trap;
  std::array<bool, 3> decoded{};
#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (WorthATeam(planes))
  for (int i = 0; i < 3; ++i) {
    const size_t plane = static_cast<size_t>(i);
    trap.Run([&] {
      decoded[plane] = entropy::DecodeCoefficients(streams[plane], planes[plane].levels);
    });
  }
  trap.Rethrow();
  return decoded[0] && decoded[1] && decoded[2];
}

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

  ResidualPlanes planes = MakeResidualPlanes(tables, &source, picture);
  CodeResiduals(planes, options.sparse_levels);
  if (options.deblocking) DeblockReference(picture, tables.luma.step[0], tables.chroma.step[0]);

  std::array<std::vector<uint8_t>, 5> streams;
  streams[0] = entropy::RansEncodeBytes(PackSplitMap(field));
  streams[1] = entropy::RansEncodeBytes(CodeMotionBytes(grid, field, options.motion_prediction));
  EncodeLevels(planes, &streams[2]);

  std::vector<uint8_t> payload;
  AppendLe16(payload, static_cast<uint16_t>(source.width));
  AppendLe16(payload, static_cast<uint16_t>(source.height));
  payload.push_back(quality);
  AppendLe16(payload, static_cast<uint16_t>(grid.columns));
  AppendLe16(payload, static_cast<uint16_t>(grid.rows));
  AppendStreams(streams, payload);
  reference = std::move(picture);
  return payload;
}

bool DecodeInterFrame(std::span<const uint8_t> payload, bool motion_prediction, bool deblocking,
                      YuvPlanes& current) {
  std::array<std::span<const uint8_t>, 5> streams;
  if (current.Empty() || !SplitStreams(payload, kSizesOffset, streams)) return false;
  const MacroblockGrid grid(current.width, current.height);
  if (LoadLe16(payload.data()) != current.width || LoadLe16(payload.data() + 2) != current.height ||
      LoadLe16(payload.data() + 5) != grid.columns || LoadLe16(payload.data() + 7) != grid.rows) {
    return false;
  }

  std::vector<uint8_t> split_map((grid.Count() + 7) / 8);
  if (!entropy::RansDecodeBytes(streams[0], split_map)) return false;
  std::vector<uint8_t> motion_bytes(MotionByteCount(grid, split_map));
  if (!entropy::RansDecodeBytes(streams[1], motion_bytes)) return false;

  const InterTables tables(payload[4]);
  YuvPlanes picture;
  ResizeYuvPlanes(picture, current.width, current.height);
  ResidualPlanes planes = MakeResidualPlanes(tables, nullptr, picture);
  if (!DecodeLevels(&streams[2], planes)) return false;

  CompensateMotion(current, grid,
                   DecodeMotionField(grid, split_map, motion_bytes, motion_prediction), picture);
  ReconstructResiduals(planes);
  if (deblocking) DeblockReference(picture, tables.luma.step[0], tables.chroma.step[0]);
  current = std::move(picture);
  return true;
}

}  // namespace qolm::video
