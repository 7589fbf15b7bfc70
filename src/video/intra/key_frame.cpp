// SPDX-License-Identifier: MIT
#include "video/intra/key_frame.h"

#include <array>

#include "base/picture_limits.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "video/intra/chroma_from_luma.h"
#include "video/intra/intra_plane.h"
#include "video/payload/mode_packing.h"
#include "video/payload/payload_streams.h"
#include "video/picture/deblock.h"
#include "video/transform/block_codec.h"

// Payload, little-endian, with the sizes of the streams that follow:
//
//   0  u16 width   2  u16 height   4  u8 quality
//   5  u32 modes, [u32 chroma-from-luma parameters,] u32 Y, u32 Cb, u32 Cr
//
// The CCLC bit of the file header's flag word indicates whether the parameter stream is
// present.
namespace qolm::video {
namespace {

constexpr size_t kSizesOffset = 5;

struct PictureSize {
  uint32_t width;
  uint32_t height;
};

BlockGrid LumaGrid(const PictureSize& size) { return {size.width, size.height}; }
BlockGrid ChromaGrid(const PictureSize& size) {
  return {size.width / 2 + size.width % 2, size.height / 2 + size.height % 2};
}

struct KeyFrameTables {
  explicit KeyFrameTables(uint8_t quality)
      : luma(BuildQuantTable(quality, false)), chroma(BuildQuantTable(quality, true)) {}
  QuantTable luma;
  QuantTable chroma;
};

void AppendParams(const std::vector<CclcParams>& params, std::vector<uint8_t>& bytes) {
  for (const CclcParams& pair : params) {
    bytes.push_back(static_cast<uint8_t>(pair.alpha));
    bytes.push_back(pair.beta);
  }
}

// `count` pairs of a parameter stream from pair `first` on.
std::vector<CclcParams> ReadParams(std::span<const uint8_t> bytes, size_t first, size_t count) {
  std::vector<CclcParams> params(count);
  for (size_t i = 0; i < count; ++i) {
    params[i].alpha = static_cast<int8_t>(bytes[2 * (first + i)]);
    params[i].beta = bytes[2 * (first + i) + 1];
  }
  return params;
}

std::vector<uint8_t> StartPayload(const YuvPlanes& source, uint8_t quality) {
  std::vector<uint8_t> payload;
  AppendLe16(payload, static_cast<uint16_t>(source.width));
  AppendLe16(payload, static_cast<uint16_t>(source.height));
  payload.push_back(quality);
  return payload;
}

// Chroma from luma: five streams.
std::vector<uint8_t> EncodeWithCclc(const YuvPlanes& source, const KeyFrameTables& tables,
                                    const IntraPlaneLevels& luma, std::vector<uint8_t> payload,
                                    YuvPlanes& reference) {
  std::array<std::vector<uint8_t>, 5> streams;
  std::vector<uint8_t> params;
  params.reserve(4 * ChromaGrid({source.width, source.height}).Count());
  const auto code_plane = [&](const std::vector<uint8_t>& plane, std::vector<uint8_t>& rebuilt) {
    const CclcPlaneLevels coded = CodeChromaCclc(
        plane.data(), reference.y.data(), source.ChromaWidth(), source.ChromaHeight(), source.width,
        source.height, tables.chroma, rebuilt.data());
    AppendParams(coded.params, params);
    return entropy::EncodeCoefficients(coded.levels);
  };
  streams[0] = entropy::RansEncodeBytes(PackModes(luma.modes));
  streams[2] = entropy::EncodeCoefficients(luma.levels);
  streams[3] = code_plane(source.cb, reference.cb);
  streams[4] = code_plane(source.cr, reference.cr);
  streams[1] = entropy::RansEncodeBytes(params);
  AppendStreams(streams, payload);
  return payload;
}

// Chroma coded like luma: four streams, the modes of all planes in one sequence.
std::vector<uint8_t> EncodeWithoutCclc(const YuvPlanes& source, const KeyFrameTables& tables,
                                       const IntraPlaneRules& luma_rules,
                                       const IntraPlaneLevels& luma, std::vector<uint8_t> payload,
                                       YuvPlanes& reference) {
  std::array<std::vector<uint8_t>, 4> streams;
  std::vector<uint8_t> modes = luma.modes;
  IntraPlaneRules rules = luma_rules;
  rules.chroma = true;
  const auto code_plane = [&](const std::vector<uint8_t>& plane, std::vector<uint8_t>& rebuilt) {
    const IntraPlaneLevels coded =
        CodeIntraPlane(plane.data(), source.ChromaWidth(), source.ChromaHeight(), tables.chroma,
                       rules, rebuilt.data());
    modes.insert(modes.end(), coded.modes.begin(), coded.modes.end());
    return entropy::EncodeCoefficients(coded.levels);
  };
  streams[1] = entropy::EncodeCoefficients(luma.levels);
  streams[2] = code_plane(source.cb, reference.cb);
  streams[3] = code_plane(source.cr, reference.cr);
  streams[0] = entropy::RansEncodeBytes(PackModes(modes));
  AppendStreams(streams, payload);
  return payload;
}

bool DecodeModes(std::span<const uint8_t> stream, size_t count, std::vector<uint8_t>& modes) {
  std::vector<uint8_t> packed((count + 3) / 4);
  if (!entropy::RansDecodeBytes(stream, packed)) return false;
  modes = UnpackModes(packed, count);
  return true;
}

// Both decoders allocate the planes only after the mode and parameter streams match the
// size, so that a damaged size field does not cause a large allocation.
bool DecodeWithCclc(std::span<const uint8_t> payload, const PictureSize& size,
                    const KeyFrameTables& tables, YuvPlanes& current) {
  std::array<std::span<const uint8_t>, 5> streams;
  if (!SplitStreams(payload, kSizesOffset, streams)) return false;
  const size_t luma_blocks = LumaGrid(size).Count();
  const size_t chroma_blocks = ChromaGrid(size).Count();

  std::vector<uint8_t> modes;
  std::vector<uint8_t> params(4 * chroma_blocks);
  if (!DecodeModes(streams[0], luma_blocks, modes) ||
      !entropy::RansDecodeBytes(streams[1], params)) {
    return false;
  }
  ResizeYuvPlanes(current, size.width, size.height);
  std::vector<int16_t> levels(64 * luma_blocks);
  if (!entropy::DecodeCoefficients(streams[2], levels)) return false;
  ReconstructIntraPlane(modes, levels, current.width, current.height, tables.luma,
                        current.y.data());

  levels.resize(64 * chroma_blocks);
  const auto decode_plane = [&](std::span<const uint8_t> stream, size_t first_pair,
                                std::vector<uint8_t>& plane) {
    if (!entropy::DecodeCoefficients(stream, levels)) return false;
    ReconstructChromaCclc(ReadParams(params, first_pair, chroma_blocks), levels, current.y.data(),
                          current.ChromaWidth(), current.ChromaHeight(), current.width,
                          current.height, tables.chroma, plane.data());
    return true;
  };
  return decode_plane(streams[3], 0, current.cb) &&
         decode_plane(streams[4], chroma_blocks, current.cr);
}

bool DecodeWithoutCclc(std::span<const uint8_t> payload, const PictureSize& size,
                       const KeyFrameTables& tables, YuvPlanes& current) {
  std::array<std::span<const uint8_t>, 4> streams;
  if (!SplitStreams(payload, kSizesOffset, streams)) return false;
  const size_t block_count = LumaGrid(size).Count() + 2 * ChromaGrid(size).Count();
  std::vector<uint8_t> modes;
  if (!DecodeModes(streams[0], block_count, modes)) return false;
  ResizeYuvPlanes(current, size.width, size.height);

  std::vector<int16_t> levels;
  std::span<const uint8_t> rest = modes;
  const auto decode_plane = [&](std::span<const uint8_t> stream, const BlockGrid& grid,
                                const QuantTable& table, std::vector<uint8_t>& plane) {
    levels.resize(64 * grid.Count());
    if (!entropy::DecodeCoefficients(stream, levels)) return false;
    ReconstructIntraPlane(rest.first(grid.Count()), levels, grid.width, grid.height, table,
                          plane.data());
    rest = rest.subspan(grid.Count());
    return true;
  };
  return decode_plane(streams[1], LumaGrid(size), tables.luma, current.y) &&
         decode_plane(streams[2], ChromaGrid(size), tables.chroma, current.cb) &&
         decode_plane(streams[3], ChromaGrid(size), tables.chroma, current.cr);
}

}  // namespace

std::vector<uint8_t> EncodeKeyFrame(const YuvPlanes& source, const KeyFrameOptions& options,
                                    YuvPlanes& reference) {
  ResizeYuvPlanes(reference, source.width, source.height);
  const uint8_t quality = QualityByte(options.quality);
  const KeyFrameTables tables(quality);
  const IntraPlaneRules rules{options.flat_blocks, options.sparse_levels, /*chroma=*/false};
  const IntraPlaneLevels luma = CodeIntraPlane(source.y.data(), source.width, source.height,
                                               tables.luma, rules, reference.y.data());
  std::vector<uint8_t> payload = StartPayload(source, quality);
  payload = options.cclc
                ? EncodeWithCclc(source, tables, luma, std::move(payload), reference)
                : EncodeWithoutCclc(source, tables, rules, luma, std::move(payload), reference);
  if (options.deblocking) {
    DeblockReference(reference, tables.luma.step[0], tables.chroma.step[0]);
  }
  return payload;
}

bool DecodeKeyFrame(std::span<const uint8_t> payload, bool cclc, bool deblocking,
                    YuvPlanes& current) {
  if (payload.size() < kSizesOffset) return false;
  const PictureSize size{LoadLe16(payload.data()), LoadLe16(payload.data() + 2)};
  if (size.width < 1 || size.width > kMaxPictureSide || size.height < 1 ||
      size.height > kMaxPictureSide) {
    return false;
  }
  const KeyFrameTables tables(payload[4]);
  const bool rebuilt = cclc ? DecodeWithCclc(payload, size, tables, current)
                            : DecodeWithoutCclc(payload, size, tables, current);
  if (rebuilt && deblocking) {
    DeblockReference(current, tables.luma.step[0], tables.chroma.step[0]);
  }
  return rebuilt;
}

}  // namespace qolm::video
