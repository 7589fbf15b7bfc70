// SPDX-License-Identifier: MIT
//
// The display size of a stored picture, whose pixels may not be square.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_SHAPE_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_SHAPE_H_

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

struct PictureShape {
  int width = 0;   // of square pixels
  int height = 0;  // of square pixels
  // The pixels are not square, but the picture keeps its stored size.
  bool left_as_stored = false;

  friend bool operator==(const PictureShape&, const PictureShape&) = default;
};

// The side that the pixels compress is enlarged, so that no detail is lost. Ratios up to
// 1.1, whose correction would cost more sharpness than it gains, ratios above 4, which are
// damage, and results beyond the size limit are left as stored. Ratios within 1 % of
// square count as square.
PictureShape ShapeOf(const AVFrame& frame);

// The area of a picture that keeps its aspect ratio in a frame of another one: centred, as
// large as possible. Bars narrower than a fiftieth of the side are left out.
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
