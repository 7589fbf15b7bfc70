// SPDX-License-Identifier: MIT
//
// Converts any decoded picture to one of a fixed size that can be written as pixels, in the
// picture's own colour matrix and range.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_

#include <memory>
#include <optional>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/picture.h"
#include "media/ffmpeg/picture_shape.h"

namespace qolm::media::ffmpeg {

class PictureConverter {
 public:
  // Pictures of other sizes are scaled to this one, with black bars if their aspect ratio
  // differs.
  PictureConverter(int width, int height) : width_(width), height_(height), pool_(width, height) {}

  // Without a number. Null when the picture cannot be converted.
  [[nodiscard]] std::unique_ptr<Picture> Convert(std::shared_ptr<const AVFrame> frame);

  // True when both frames have equal samples and so convert to the same pixels.
  bool SameSamples(const AVFrame& a, const AVFrame& b) const;

 private:
  // What a conversion depends on.
  struct Input {
    int width = 0;
    int height = 0;
    PicturePlace place;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int matrix = 0;  // SWS_CS_*
    bool full_range = false;
    friend bool operator==(const Input&, const Input&) = default;
  };
  Input Describe(const AVFrame& frame) const;
  bool NeedsScaler(const Input& input) const;
  bool SetUpScaler(const Input& input);
  bool Scale(const AVFrame& frame, PackedPicture& picture);
  void PackPlanes(PackedPicture& picture) const;
  void BlackenBars(PackedPicture& picture) const;

  int width_;
  int height_;
  PicturePool pool_;
  std::optional<Input> scaler_input_;  // what the scaler is configured for
  Scaler scaler_;
  // Intermediate for YUV: the scaler has vector code for planes of G, B, R and only scalar
  // code for packed pixels. Null while the input is RGB.
  Frame planes_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_
