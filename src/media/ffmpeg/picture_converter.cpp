// SPDX-License-Identifier: MIT
#include "media/ffmpeg/picture_converter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

// Streams with an unspecified matrix follow broadcasting practice: BT.709 for high
// definition, BT.601 below. Upright phone videos and films
// without their black bars are high definition by one side alone.
constexpr int kHighDefinitionLongSide = 1280;
constexpr int kHighDefinitionShortSide = 720;

bool IsHighDefinition(const AVFrame& frame) {
  return std::max(frame.width, frame.height) >= kHighDefinitionLongSide ||
         std::min(frame.width, frame.height) >= kHighDefinitionShortSide;
}

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
      return IsHighDefinition(frame) ? SWS_CS_ITU709 : SWS_CS_ITU601;
  }
}

// Formats that imply full range are deprecated names of plain ones.
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

bool IsRgb(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  return description != nullptr &&
         (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

bool IsGray(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  return description != nullptr && description->nb_components <= 2 &&
         (description->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) == 0;
}

// The weights of the matrix that the scaler would use.
YuvWeights WeightsOf(int matrix, bool full_range) {
  switch (matrix) {
    case SWS_CS_ITU709:
      return MakeYuvWeights(0.2126, 0.0722, full_range);
    case SWS_CS_BT2020:
      return MakeYuvWeights(0.2627, 0.0593, full_range);
    case SWS_CS_SMPTE240M:
      return MakeYuvWeights(0.212, 0.087, full_range);
    case SWS_CS_FCC:
      return MakeYuvWeights(0.30, 0.11, full_range);
    default:
      return MakeYuvWeights(0.299, 0.114, full_range);
  }
}

uint8_t* PixelAt(PackedPicture& picture, int x, int y) {
  return picture.data() + static_cast<size_t>(y) * picture.pitch() + static_cast<size_t>(x) * 4;
}

}  // namespace

PictureConverter::Input PictureConverter::Describe(const AVFrame& frame) const {
  Input input;
  const auto format = static_cast<AVPixelFormat>(frame.format);
  input.width = frame.width;
  input.height = frame.height;
  input.place = PlaceIn(width_, height_, ShapeOf(frame));
  input.format = WithoutImpliedRange(format);
  input.matrix = MatrixOf(frame);
  input.full_range = input.format != format || frame.color_range == AVCOL_RANGE_JPEG ||
                     (frame.color_range == AVCOL_RANGE_UNSPECIFIED && IsGray(format));
  return input;
}

bool PictureConverter::NeedsScaler(const Input& input) const {
  const bool same_size = input.width == width_ && input.height == height_ &&
                         input.place == PicturePlace{0, 0, width_, height_};
  return !same_size || !YuvPicture::IsOffered(input.format);
}

bool PictureConverter::SetUpScaler(const Input& input) {
  scaler_input_.reset();
  planes_.reset();
  scaler_.reset(sws_alloc_context());
  if (scaler_ == nullptr) return false;
  if (!IsRgb(input.format)) {
    planes_.reset(av_frame_alloc());
    if (planes_ == nullptr) return false;
    planes_->width = input.place.width;
    planes_->height = input.place.height;
    planes_->format = AV_PIX_FMT_GBRP;
    if (av_frame_get_buffer(planes_.get(), 0) < 0) return false;
  }
  const bool same_size = input.width == input.place.width && input.height == input.place.height;
  // Chroma is interpolated for every pixel and all sums are rounded.
  const int flags =
      (same_size ? SWS_BILINEAR : SWS_BICUBIC) | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;
  SwsContext* const scaler = scaler_.get();
  av_opt_set_int(scaler, "srcw", input.width, 0);
  av_opt_set_int(scaler, "srch", input.height, 0);
  av_opt_set_int(scaler, "src_format", input.format, 0);
  av_opt_set_int(scaler, "src_range", input.full_range ? 1 : 0, 0);
  av_opt_set_int(scaler, "dstw", input.place.width, 0);
  av_opt_set_int(scaler, "dsth", input.place.height, 0);
  av_opt_set_int(scaler, "dst_format", planes_ != nullptr ? AV_PIX_FMT_GBRP : AV_PIX_FMT_BGR0, 0);
  av_opt_set_int(scaler, "dst_range", 1, 0);
  av_opt_set_int(scaler, "sws_flags", flags, 0);
  if (sws_init_context(scaler, nullptr, nullptr) < 0) return false;
  // Refused for sources without a matrix (RGB), which need none.
  constexpr int kUnchanged = 1 << 16;
  sws_setColorspaceDetails(scaler, sws_getCoefficients(input.matrix), input.full_range ? 1 : 0,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, kUnchanged, kUnchanged);
  scaler_input_ = input;
  return true;
}

void PictureConverter::PackPlanes(PackedPicture& picture) const {
  const PicturePlace& place = scaler_input_->place;
  const auto width = static_cast<size_t>(place.width);
  for (int y = 0; y < place.height; ++y) {
    const uint8_t* const green = planes_->data[0] + ptrdiff_t{y} * planes_->linesize[0];
    const uint8_t* const blue = planes_->data[1] + ptrdiff_t{y} * planes_->linesize[1];
    const uint8_t* const red = planes_->data[2] + ptrdiff_t{y} * planes_->linesize[2];
    uint8_t* const row = PixelAt(picture, place.left, place.top + y);
    for (size_t x = 0; x < width; ++x) {
      // The fourth byte is unused, and whole words let the loop be vectorised.
      const uint32_t pixel = uint32_t{blue[x]} | uint32_t{green[x]} << 8 | uint32_t{red[x]} << 16;
      AV_WL32(row + 4 * x, pixel);
    }
  }
}

// The memory of the picture may hold an earlier one, and the scaler may write slightly
// beyond its rows.
void PictureConverter::BlackenBars(PackedPicture& picture) const {
  const PicturePlace& place = scaler_input_->place;
  const auto bytes_of = [](int pixels) { return static_cast<size_t>(pixels) * 4; };
  for (int y = 0; y < height_; ++y) {
    if (y < place.top || y >= place.top + place.height) {
      std::memset(PixelAt(picture, 0, y), 0, bytes_of(width_));
      continue;
    }
    const int right = place.left + place.width;
    std::memset(PixelAt(picture, 0, y), 0, bytes_of(place.left));
    if (right < width_) std::memset(PixelAt(picture, right, y), 0, bytes_of(width_ - right));
  }
}

bool PictureConverter::SameSamples(const AVFrame& a, const AVFrame& b) const {
  if (Describe(a) != Describe(b)) return false;
  const auto format = static_cast<AVPixelFormat>(a.format);
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  if (description == nullptr) return false;
  constexpr uint64_t kNotInPlanesAlone = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL;
  if ((description->flags & kNotInPlanesAlone) != 0) return false;
  const int planes = av_pix_fmt_count_planes(format);
  for (int plane = 0; plane < planes; ++plane) {
    const int row_bytes = av_image_get_linesize(format, a.width, plane);
    if (row_bytes <= 0) return false;
    const bool is_chroma = plane == 1 || plane == 2;
    const int rows = is_chroma ? AV_CEIL_RSHIFT(a.height, description->log2_chroma_h) : a.height;
    for (int y = 0; y < rows; ++y) {
      if (std::memcmp(a.data[plane] + ptrdiff_t{y} * a.linesize[plane],
                      b.data[plane] + ptrdiff_t{y} * b.linesize[plane],
                      static_cast<size_t>(row_bytes)) != 0) {
        return false;
      }
    }
  }
  return true;
}

bool PictureConverter::Scale(const AVFrame& frame, PackedPicture& picture) {
  if (planes_ == nullptr) {
    const PicturePlace& place = scaler_input_->place;
    uint8_t* const rows[4] = {PixelAt(picture, place.left, place.top), nullptr, nullptr, nullptr};
    const int pitches[4] = {static_cast<int>(picture.pitch()), 0, 0, 0};
    return sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, rows, pitches) > 0;
  }
  if (sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes_->data,
                planes_->linesize) <= 0) {
    return false;
  }
  PackPlanes(picture);
  return true;
}

std::unique_ptr<Picture> PictureConverter::Convert(std::shared_ptr<const AVFrame> frame) {
  const Input input = Describe(*frame);
  auto picture = std::make_unique<Picture>();
  if (!NeedsScaler(input)) {
    picture->yuv.emplace(std::move(frame), input.format, WeightsOf(input.matrix, input.full_range));
    return picture;
  }
  if (scaler_input_ != input && !SetUpScaler(input)) return nullptr;
  const std::shared_ptr<PackedPicture> packed = pool_.Acquire();
  if (!Scale(*frame, *packed)) return nullptr;
  BlackenBars(*packed);
  picture->packed = packed;
  return picture;
}

}  // namespace qolm::media::ffmpeg
