// SPDX-License-Identifier: MIT
#include "media/ffmpeg/picture_shape.h"

#include <algorithm>
#include <cmath>

#include "base/picture_limits.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr double kStillSquare = 1.01;
constexpr double kStillUnseen = 1.1;
constexpr double kMostStretch = 4;
constexpr int kLeastBar = 50;  // the least share of a side that bars take

}  // namespace

PictureShape ShapeOf(const AVFrame& frame) {
  PictureShape shape{frame.width, frame.height, false};
  const AVRational pixel = frame.sample_aspect_ratio;
  if (pixel.num <= 0 || pixel.den <= 0) return shape;  // unknown
  const double ratio = av_q2d(pixel);
  const double stretch = std::max(ratio, 1 / ratio);
  if (stretch <= kStillSquare) return shape;
  int& side = ratio > 1 ? shape.width : shape.height;
  const double stretched = std::round(side * stretch);
  // A tenth exactly, as 11:10, is no more than a tenth.
  constexpr double kRounding = 1e-9;
  if (stretch <= kStillUnseen + kRounding || stretch > kMostStretch ||
      stretched > double{kMaxPictureSide}) {
    shape.left_as_stored = true;
  } else {
    side = static_cast<int>(stretched);
  }
  return shape;
}

PicturePlace PlaceIn(int frame_width, int frame_height, const PictureShape& shape) {
  const double scale = std::min(static_cast<double>(frame_width) / shape.width,
                                static_cast<double>(frame_height) / shape.height);
  const auto fit = [scale](int side, int frame_side) {
    const int fitted = static_cast<int>(std::lround(side * scale));
    return frame_side - fitted < std::max(2, frame_side / kLeastBar) ? frame_side
                                                                     : std::max(fitted, 1);
  };
  PicturePlace place;
  place.width = fit(shape.width, frame_width);
  place.height = fit(shape.height, frame_height);
  place.left = (frame_width - place.width) / 2;
  place.top = (frame_height - place.height) / 2;
  return place;
}

}  // namespace qolm::media::ffmpeg
