// SPDX-License-Identifier: MIT
//
// Where a picture's rows lie in a buffer, from what the media type says.
//
// A decoder may work on a larger frame than the picture, pad its rows, or store
// them from the bottom up, and it may begin to do so in mid-stream. Whatever
// cannot be told for certain, or would reach past the buffer, is refused; of a
// pitched buffer the system says only how long the rows are without padding.
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
  std::optional<PictureArea> shown;  // the part of it that is meant to be seen
  int64_t stride = 0;                // bytes; negative = bottom-up; only its sign is certain
};

class RowLayout {
 public:
  // The layout of a picture of `picture` pixels in frames of `format`. Nothing
  // when the picture is not what such frames show.
  static std::optional<RowLayout> Make(const FrameFormat& format, VideoReader::FrameSize picture);

  // True when linear bytes are the rows of the picture from the top down, and
  // how far apart they are is all that is left to find out.
  bool IsPlain() const;

  // Nothing when the rows are not inside the bytes.
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
