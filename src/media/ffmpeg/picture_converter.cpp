#include "media/ffmpeg/picture_converter.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace qolm::media::ffmpeg {
namespace {

// Streams that do not say what they are follow the practice of broadcasting:
// BT.709 from this height on, BT.601 below.
constexpr int kHighDefinitionHeight = 720;

int MatrixOf(const AVFrame& frame) {
  switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
      return SWS_CS_ITU709;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return SWS_CS_BT2020;
    case AVCOL_SPC_SMPTE240M:
      return SWS_CS_SMPTE240M;
    case AVCOL_SPC_FCC:
      return SWS_CS_FCC;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      return SWS_CS_ITU601;
    default:
      return frame.height >= kHighDefinitionHeight ? SWS_CS_ITU709 : SWS_CS_ITU601;
  }
}

// The formats that imply full range are older names of plain ones.
AVPixelFormat WithoutImpliedRange(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ411P:
      return AV_PIX_FMT_YUV411P;
    case AV_PIX_FMT_YUVJ420P:
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ440P:
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ444P:
      return AV_PIX_FMT_YUV444P;
    default:
      return format;
  }
}

bool IsGray(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  return description != nullptr && description->nb_components <= 2 &&
         (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0;
}

}  // namespace

PictureConverter::Input PictureConverter::Describe(const AVFrame& frame) {
  Input input;
  const auto format = static_cast<AVPixelFormat>(frame.format);
  input.width = frame.width;
  input.height = frame.height;
  input.format = WithoutImpliedRange(format);
  input.matrix = MatrixOf(frame);
  input.full_range = input.format != format || frame.color_range == AVCOL_RANGE_JPEG ||
                     (frame.color_range == AVCOL_RANGE_UNSPECIFIED && IsGray(format));
  return input;
}

bool PictureConverter::SetUp(const Input& input) {
  input_.reset();
  scaler_.reset(sws_alloc_context());
  if (scaler_ == nullptr) return false;
  const bool same_size = input.width == width_ && input.height == height_;
  // Chroma is interpolated for every pixel and all sums are rounded.
  const int flags =
      (same_size ? SWS_BILINEAR : SWS_BICUBIC) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
  SwsContext* const scaler = scaler_.get();
  av_opt_set_int(scaler, "srcw", input.width, 0);
  av_opt_set_int(scaler, "srch", input.height, 0);
  av_opt_set_int(scaler, "src_format", input.format, 0);
  av_opt_set_int(scaler, "src_range", input.full_range ? 1 : 0, 0);
  av_opt_set_int(scaler, "dstw", width_, 0);
  av_opt_set_int(scaler, "dsth", height_, 0);
  av_opt_set_int(scaler, "dst_format", AV_PIX_FMT_BGR0, 0);
  av_opt_set_int(scaler, "dst_range", 1, 0);
  av_opt_set_int(scaler, "sws_flags", flags, 0);
  if (sws_init_context(scaler, nullptr, nullptr) < 0) return false;
  // Refused for sources without a matrix (RGB), which need none.
  constexpr int kUnchanged = 1 << 16;
  sws_setColorspaceDetails(scaler, sws_getCoefficients(input.matrix), input.full_range ? 1 : 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, kUnchanged, kUnchanged);
  input_ = input;
  return true;
}

bool PictureConverter::Convert(const AVFrame& frame, Picture& picture) {
  const Input input = Describe(frame);
  if (input_ != input && !SetUp(input)) return false;
  uint8_t* const planes[4] = {picture.data(), nullptr, nullptr, nullptr};
  const int pitches[4] = {static_cast<int>(picture.pitch()), 0, 0, 0};
  return sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes, pitches) > 0;
}

}  // namespace qolm::media::ffmpeg
