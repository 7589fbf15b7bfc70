#include "video/color_conversion.h"

#include <algorithm>

#include "base/team.h"
#include "video/video_kernels.h"

namespace qolm::video {

void ConvertFrameToYuv(const VideoFrame& frame, YuvPlanes& planes) {
  const VideoKernels& kernels = ActiveVideoKernels();
  ResizeYuvPlanes(planes, static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height));
  const size_t width = planes.width;
  const size_t chroma_width = planes.ChromaWidth();
  const int64_t rows = frame.height;
  const int64_t chroma_rows = planes.ChromaHeight();
  const uint8_t* pixels = frame.pixels.data();
  [[maybe_unused]] const bool team = planes.y.size() >= kSamplesWorthATeam;

#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (team)
  for (int64_t y = 0; y < rows; ++y) {
    const size_t row = static_cast<size_t>(y);
    kernels.rgba_to_luma_row(pixels + row * width * 4, width, planes.y.data() + row * width);
  }

#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (team)
  for (int64_t cy = 0; cy < chroma_rows; ++cy) {
    const size_t row = static_cast<size_t>(cy);
    const size_t bottom = static_cast<size_t>(std::min(2 * cy + 1, rows - 1));
    kernels.rgba_to_chroma_row(pixels + 2 * row * width * 4, pixels + bottom * width * 4, width,
                               planes.cb.data() + row * chroma_width,
                               planes.cr.data() + row * chroma_width);
  }
}

void ConvertYuvToPacked(const YuvPlanes& planes, PixelOrder order, std::vector<uint8_t>& pixels) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const size_t width = planes.width;
  const size_t chroma_width = planes.ChromaWidth();
  const int64_t rows = planes.height;
  pixels.resize(width * planes.height * 4);
  uint8_t* const packed = pixels.data();
  [[maybe_unused]] const bool team = planes.y.size() >= kSamplesWorthATeam;

#pragma omp parallel for num_threads(kTeamSize) schedule(static) if (team)
  for (int64_t y = 0; y < rows; ++y) {
    const size_t row = static_cast<size_t>(y);
    const size_t chroma_row = (row / 2) * chroma_width;
    kernels.yuv_to_packed_row(planes.y.data() + row * width, planes.cb.data() + chroma_row,
                              planes.cr.data() + chroma_row, width, order == PixelOrder::kBgra,
                              packed + row * width * 4);
  }
}

}  // namespace qolm::video
