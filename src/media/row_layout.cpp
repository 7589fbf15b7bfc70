// SPDX-License-Identifier: MIT
#include "media/row_layout.h"

#include "media/row_grid.h"

namespace qolm::media {
namespace {

constexpr size_t kBytesPerPixel = 4;

bool SameSize(const VideoReader::FrameSize& a, const VideoReader::FrameSize& b) {
  return a.width == b.width && a.height == b.height;
}

// Video coders work on blocks of 16x16 pixels.
uint64_t WholeBlocks(uint32_t pixels) { return (uint64_t{pixels} + 15) / 16 * 16; }

bool IsInside(const PictureArea& area, const VideoReader::FrameSize& frame) {
  return uint64_t{area.left} + area.size.width <= frame.width &&
         uint64_t{area.top} + area.size.height <= frame.height;
}

}  // namespace

std::optional<RowLayout> RowLayout::Make(const FrameFormat& format,
                                         VideoReader::FrameSize picture) {
  if (picture.width == 0 || picture.height == 0) return std::nullopt;
  if (SameSize(format.size, picture)) return RowLayout(format, {0, 0, picture});
  if (format.shown && SameSize(format.shown->size, picture) &&
      IsInside(*format.shown, format.size)) {
    return RowLayout(format, *format.shown);
  }
  const bool padded_columns = format.size.width == WholeBlocks(picture.width);
  const bool padded_rows = format.size.height == WholeBlocks(picture.height);
  if ((padded_columns || format.size.width == picture.width) &&
      (padded_rows || format.size.height == picture.height)) {
    return RowLayout(format, {0, 0, picture});
  }
  return std::nullopt;
}

bool RowLayout::IsPlain() const {
  return format_.stride >= 0 && SameSize(format_.size, picture_.size);
}

size_t RowLayout::FrameRowBytes() const { return format_.size.width * kBytesPerPixel; }

std::optional<VideoBuffer::PitchedRows> RowLayout::InLinearBytes(const uint8_t* data,
                                                                 size_t length) const {
  const size_t row_bytes = FrameRowBytes();
  const size_t frame_rows = format_.size.height;
  if (data == nullptr || length / frame_rows < row_bytes) return std::nullopt;
  const bool bottom_up = format_.stride < 0;
  const auto reported = static_cast<size_t>(bottom_up ? -format_.stride : format_.stride);
  RowGrid grid = FindRowGrid(length, row_bytes, frame_rows, reported);
  if ((length - row_bytes) / grid.stride < grid.rows - 1) grid.stride = row_bytes;
  const auto stride = static_cast<ptrdiff_t>(grid.stride);
  const uint8_t* const top = bottom_up ? data + (grid.rows - 1) * grid.stride : data;
  return InPitchedMemory(top, bottom_up ? -stride : stride, row_bytes * frame_rows);
}

std::optional<VideoBuffer::PitchedRows> RowLayout::InPitchedMemory(const uint8_t* scanline0,
                                                                   ptrdiff_t pitch,
                                                                   size_t contiguous_length) const {
  const size_t row_bytes = FrameRowBytes();
  const auto distance = static_cast<size_t>(pitch < 0 ? -pitch : pitch);
  if (scanline0 == nullptr || distance < row_bytes) return std::nullopt;
  if (contiguous_length / format_.size.height < row_bytes) return std::nullopt;
  const ptrdiff_t lowest_row =
      pitch < 0 ? ptrdiff_t{picture_.top} + picture_.size.height - 1 : ptrdiff_t{picture_.top};
  return VideoBuffer::PitchedRows{
      scanline0 + lowest_row * pitch + size_t{picture_.left} * kBytesPerPixel, pitch};
}

}  // namespace qolm::media
