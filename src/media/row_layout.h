// SPDX-License-Identifier: MIT
//
// The position of a picture's rows in a buffer, derived from the media type.
//
// A decoder may work on a larger frame than the picture, pad its rows, or store them
// bottom-up, and may begin to do so in mid-stream. Ambiguous layouts, and those that would
// reach beyond the buffer, are refused; of a pitched buffer the system reports only the
// length of its rows without padding.
#ifndef QOLM_MEDIA_ROW_LAYOUT_H_
#define QOLM_MEDIA_ROW_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "media/video_framework.h"

namespace qolm::media {

struct PictureArea {
  uint32_t left = 0;  // pixels
  uint32_t top = 0;
  VideoReader::FrameSize size;
};

// A media type of four bytes a pixel.
struct FrameFormat {
  VideoReader::FrameSize size;       // as coded, padding included
  std::optional<PictureArea> shown;  // the part of it that is displayed
  int64_t stride = 0;                // bytes; negative = bottom-up; only its sign is certain
};

class RowLayout {
 public:
  // The layout of a picture of `picture` pixels in frames of `format`. Nothing
  // when the picture is not what such frames show.
  static std::optional<RowLayout> Make(const FrameFormat& format, VideoReader::FrameSize picture);

  // True when linear bytes are the rows of the picture from the top down, so that only
  // their stride is unknown.
  bool IsPlain() const;

  // Nothing when the rows are not within the bytes.
  std::optional<VideoBuffer::PitchedRows> InLinearBytes(const uint8_t* data, size_t length) const;

  // `scanline0` is the top row of the frame, `pitch` leads to the row below it,
  // and `contiguous_length` is what the whole frame takes without padding.
  std::optional<VideoBuffer::PitchedRows> InPitchedMemory(const uint8_t* scanline0, ptrdiff_t pitch,
                                                          size_t contiguous_length) const;

 private:
  RowLayout(const FrameFormat& format, const PictureArea& picture)
      : format_(format), picture_(picture) {}

  size_t FrameRowBytes() const;

  FrameFormat format_;
  PictureArea picture_;  // inside the frame
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_ROW_LAYOUT_H_
