// SPDX-License-Identifier: MIT
//
// The size at which a stored picture is to be seen: the pixels of some sources are
// wider or taller than they are high or wide.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_SHAPE_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_SHAPE_H_

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

struct PictureShape {
  int width = 0;   // of square pixels
  int height = 0;  // of square pixels
  // The pixels are not square, and the picture keeps its stored size all the same.
  bool left_as_stored = false;

  friend bool operator==(const PictureShape&, const PictureShape&) = default;
};

// The side that the pixels squeeze is enlarged, so that no detail is lost. Left as
// stored are ratios up to 1.1, whose correction would cost more sharpness than its
// shape is worth, ratios above 4, which are damage, and what would be larger than a
// picture may be. Ratios within 1 % of square are square.
PictureShape ShapeOf(const AVFrame& frame);

// Where a picture goes that keeps its shape in a frame of another one: in the middle,
// as large as it can be. A bar narrower than a fiftieth of its side is none.
struct PicturePlace {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;

  friend bool operator==(const PicturePlace&, const PicturePlace&) = default;
};

PicturePlace PlaceIn(int frame_width, int frame_height, const PictureShape& shape);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_SHAPE_H_
