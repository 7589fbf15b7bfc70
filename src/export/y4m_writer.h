// Uncompressed 4:2:0 frames in the YUV4MPEG2 stream format that players and
// measuring tools read.
#ifndef QOLM_EXPORT_Y4M_WRITER_H_
#define QOLM_EXPORT_Y4M_WRITER_H_

#include <cstdint>

#include "export/output_target.h"
#include "video/picture/yuv_planes.h"

namespace qolm::exporter {

// Both return what the target's write returns.
// A chroma sample is the mean of its 2x2 pixels and so sits in their middle,
// which the format calls 420jpeg; samples are in studio range.
[[nodiscard]] bool WriteY4mHeader(uint32_t width, uint32_t height, uint32_t fps_numerator,
                                  uint32_t fps_denominator, OutputTarget& target);
[[nodiscard]] bool WriteY4mFrame(const video::YuvPlanes& planes, OutputTarget& target);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_Y4M_WRITER_H_
