// SPDX-License-Identifier: MIT
#include "video/picture/yuv_planes.h"

#include <cstddef>

namespace qolm::video {

void ResizeYuvPlanes(YuvPlanes& planes, uint32_t width, uint32_t height) {
  planes.width = width;
  planes.height = height;
  const size_t chroma_bytes = size_t{planes.ChromaWidth()} * planes.ChromaHeight();
  planes.y.resize(size_t{width} * height);
  planes.cb.resize(chroma_bytes);
  planes.cr.resize(chroma_bytes);
}

}  // namespace qolm::video
