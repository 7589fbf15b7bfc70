// SPDX-License-Identifier: MIT
#include "video/picture/colour_conversion.h"

#include <algorithm>

#include "base/parallel_for.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {

void ConvertFrameToYuv(const VideoFrame& frame, YuvPlanes& planes) {
  const VideoKernels& kernels = ActiveVideoKernels();
  ResizeYuvPlanes(planes, static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height));
  const size_t width = planes.width;
  const size_t chroma_width = planes.ChromaWidth();
  const uint8_t* pixels = frame.pixels.data();
  // Two rows at a time, which are still cached for the chroma conversion.
  ParallelFor(
      planes.ChromaHeight(), planes.y.size() >= kMinParallelSamples, [&](size_t chroma_row) {
        const size_t top = 2 * chroma_row;
        const size_t bottom = std::min(top + 1, size_t{planes.height} - 1);
        for (size_t row = top; row <= bottom; ++row) {
          kernels.rgba_to_luma_row(pixels + row * width * 4, width, planes.y.data() + row * width);
        }
        kernels.rgba_to_chroma_row(pixels + top * width * 4, pixels + bottom * width * 4, width,
                                   planes.cb.data() + chroma_row * chroma_width,
                                   planes.cr.data() + chroma_row * chroma_width);
      });
}

void ConvertYuvToPacked(const YuvPlanes& planes, PixelOrder order, std::vector<uint8_t>& pixels) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const size_t width = planes.width;
  const size_t chroma_width = planes.ChromaWidth();
  pixels.resize(width * planes.height * 4);
  uint8_t* const packed = pixels.data();

  ParallelFor(planes.height, planes.y.size() >= kMinParallelSamples, [&](size_t row) {
    const size_t chroma_row = (row / 2) * chroma_width;
    kernels.yuv_to_packed_row(planes.y.data() + row * width, planes.cb.data() + chroma_row,
                              planes.cr.data() + chroma_row, width, order == PixelOrder::kBgra,
                              packed + row * width * 4);
  });
}

}  // namespace qolm::video
