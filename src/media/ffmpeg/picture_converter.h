// Any decoded picture to pixels B, G, R, X of one size, in the picture's own
// colour matrix and range.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/picture.h"
#include "media/ffmpeg/yuv_kernels.h"

namespace qolm::media::ffmpeg {

class PictureConverter {
 public:
  // Pictures of another size than this are scaled to it.
  PictureConverter(int width, int height) : width_(width), height_(height) {}

  // False when the picture cannot be converted; `picture` may be partly written.
  [[nodiscard]] bool Convert(const AVFrame& frame, Picture& picture);

  // True when both frames convert to the same pixels, as one can tell from
  // their samples alone.
  static bool SameSamples(const AVFrame& a, const AVFrame& b);

 private:
  // What a conversion is set up for.
  struct Input {
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int matrix = 0;  // SWS_CS_*
    bool full_range = false;
    friend bool operator==(const Input&, const Input&) = default;
  };
  static Input Describe(const AVFrame& frame);
  bool HasOwnCode(const Input& input) const;
  bool SetUp(const Input& input);
  bool SetUpScaler(const Input& input);
  void ConvertYuv(const AVFrame& frame, Picture& picture);
  void PackPlanes(Picture& picture) const;

  int width_;
  int height_;
  std::optional<Input> input_;
  // Of the common formats, which need no scaler.
  YuvWeights weights_;
  std::vector<uint16_t> cb_;  // a row, at every pixel
  std::vector<uint16_t> cr_;
  Scaler scaler_;  // null while it is not needed
  // Where YUV goes on its way: the scaler has wide code for planes of G, B, R
  // and only scalar code for packed pixels. Null while the input is RGB.
  Frame planes_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_CONVERTER_H_
