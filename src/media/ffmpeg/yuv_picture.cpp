// SPDX-License-Identifier: MIT
#include "media/ffmpeg/yuv_picture.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/parallel_for.h"

namespace qolm::media::ffmpeg {
namespace {

// Rows that share one buffer of chroma.
constexpr int kStripRows = 16;

}  // namespace

bool YuvPicture::IsOffered(AVPixelFormat format) {
  return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUV422P ||
         format == AV_PIX_FMT_YUV444P;
}

// Chroma samples are assumed to be centred on their pixels.
void YuvPicture::WriteRgba(uint8_t* rgba) const {
  const YuvKernels& kernels = ActiveYuvKernels();
  const auto width = static_cast<size_t>(frame_->width);
  const int height = frame_->height;
  const int last_chroma_row = (height - 1) / 2;
  const auto row = [this](int plane, int y) {
    return frame_->data[plane] + ptrdiff_t{y} * frame_->linesize[plane];
  };
  const auto write_row = [&](int y, uint16_t* cb, uint16_t* cr) {
    int near = y;
    int far = y;
    if (format_ == AV_PIX_FMT_YUV420P) {
      near = y / 2;
      far = y % 2 == 0 ? std::max(near - 1, 0) : std::min(near + 1, last_chroma_row);
    }
    if (format_ == AV_PIX_FMT_YUV444P) {
      kernels.widen_full_chroma(row(1, y), width, cb);
      kernels.widen_full_chroma(row(2, y), width, cr);
    } else {
      kernels.widen_halved_chroma(row(1, near), row(1, far), width, cb);
      kernels.widen_halved_chroma(row(2, near), row(2, far), width, cr);
    }
    kernels.convert_row(row(0, y), cb, cr, width, weights_,
                        rgba + 4 * width * static_cast<size_t>(y));
  };
  const auto strips = static_cast<size_t>((height + kStripRows - 1) / kStripRows);
  const bool parallel = width * static_cast<size_t>(height) >= kMinParallelSamples;
  ParallelFor(strips, parallel, [&](size_t strip) {
    std::vector<uint16_t> chroma(2 * width);  // at every pixel of a row
    const int first = static_cast<int>(strip) * kStripRows;
    for (int y = first; y < std::min(first + kStripRows, height); ++y) {
      write_row(y, chroma.data(), chroma.data() + width);
    }
  });
}

}  // namespace qolm::media::ffmpeg
