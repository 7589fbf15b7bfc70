// SPDX-License-Identifier: MIT
//
// Many scaled-down frames in one picture.
#ifndef QOLM_EXPORT_CONTACT_SHEET_H_
#define QOLM_EXPORT_CONTACT_SHEET_H_

#include <cstdint>
#include <span>

#include "export/export_options.h"
#include "export/rgba_picture.h"

namespace qolm::exporter {

// The frame that tile `tile` of `tiles` shows, of a file with `frames` frames.
// Ascending; with fewer frames than tiles each frame has one tile and the last
// tiles stay empty: then the result is not below `frames`.
uint32_t FrameOfTile(uint32_t tile, uint32_t tiles, uint32_t frames);

class ContactSheet {
 public:
  // Tiles fit the frame size given, scaled so that the sheet is at most about
  // 1600 pixels wide, and never enlarged. The background is dark grey, as
  // are the tiles of damaged frames.
  ContactSheet(const SheetLayout& layout, uint32_t frame_width, uint32_t frame_height);

  uint32_t tiles() const { return layout_.columns * layout_.rows; }

  // Puts a frame of the constructor's size into a tile, counted in rows from
  // the top left. `rgba` holds width * height * 4 bytes.
  void place(uint32_t tile, std::span<const uint8_t> rgba);

  const RgbaPicture& picture() const { return picture_; }

 private:
  SheetLayout layout_;
  uint32_t frame_width_;
  uint32_t frame_height_;
  uint32_t tile_width_ = 1;
  uint32_t tile_height_ = 1;
  RgbaPicture picture_;
};

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_CONTACT_SHEET_H_
