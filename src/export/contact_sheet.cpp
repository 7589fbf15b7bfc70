// SPDX-License-Identifier: MIT
#include "export/contact_sheet.h"

#include <algorithm>
#include <array>

namespace qolm::exporter {
namespace {

constexpr uint32_t kSheetWidth = 1600;     // pixels, about
constexpr uint32_t kMaxTileHeight = 1000;  // pixels
constexpr uint32_t kGap = 4;               // pixels between tiles and around the sheet
constexpr uint8_t kBackground = 32;

// The source samples [first, last) that one target sample averages.
struct Window {
  uint32_t first;
  uint32_t last;
};

Window SourceWindow(uint32_t target, uint32_t target_size, uint32_t source_size) {
  const uint64_t first = uint64_t{target} * source_size / target_size;
  const uint64_t last = (uint64_t{target} + 1) * source_size / target_size;
  return {static_cast<uint32_t>(first), static_cast<uint32_t>(std::max(last, first + 1))};
}

}  // namespace

uint32_t FrameOfTile(uint32_t tile, uint32_t tiles, uint32_t frames) {
  if (frames <= tiles) return tile;
  return static_cast<uint32_t>(uint64_t{tile} * frames / tiles);
}

ContactSheet::ContactSheet(const SheetLayout& layout, uint32_t frame_width, uint32_t frame_height)
    : layout_(layout), frame_width_(frame_width), frame_height_(frame_height) {
  const uint32_t widest = (kSheetWidth - kGap) / layout.columns - kGap;
  const double scale = std::min({1.0, static_cast<double>(widest) / frame_width,
                                 static_cast<double>(kMaxTileHeight) / frame_height});
  tile_width_ = std::max(1U, static_cast<uint32_t>(frame_width * scale + 0.5));
  tile_height_ = std::max(1U, static_cast<uint32_t>(frame_height * scale + 0.5));
  picture_.width = kGap + layout.columns * (tile_width_ + kGap);
  picture_.height = kGap + layout.rows * (tile_height_ + kGap);
  picture_.pixels.assign(size_t{picture_.width} * picture_.height * 4, kBackground);
  for (size_t alpha = 3; alpha < picture_.pixels.size(); alpha += 4) picture_.pixels[alpha] = 255;
}

void ContactSheet::place(uint32_t tile, std::span<const uint8_t> rgba) {
  const uint32_t left = kGap + tile % layout_.columns * (tile_width_ + kGap);
  const uint32_t top = kGap + tile / layout_.columns * (tile_height_ + kGap);
  for (uint32_t y = 0; y < tile_height_; ++y) {
    const Window rows = SourceWindow(y, tile_height_, frame_height_);
    uint8_t* target = picture_.pixels.data() + (size_t{top + y} * picture_.width + left) * 4;
    for (uint32_t x = 0; x < tile_width_; ++x, target += 4) {
      const Window columns = SourceWindow(x, tile_width_, frame_width_);
      std::array<uint64_t, 3> sums{};
      for (uint32_t row = rows.first; row < rows.last; ++row) {
        const uint8_t* source = rgba.data() + (size_t{row} * frame_width_ + columns.first) * 4;
        for (uint32_t column = columns.first; column < columns.last; ++column, source += 4) {
          for (size_t channel = 0; channel < 3; ++channel) sums[channel] += source[channel];
        }
      }
      const uint64_t samples = uint64_t{rows.last - rows.first} * (columns.last - columns.first);
      for (size_t channel = 0; channel < 3; ++channel) {
        target[channel] = static_cast<uint8_t>((sums[channel] + samples / 2) / samples);
      }
    }
  }
}

}  // namespace qolm::exporter
