// SPDX-License-Identifier: MIT
//
// Uncompressed 4:2:0 frames in the YUV4MPEG2 stream format that players and
// measuring tools read.

#include <cstdint>
#include <string>
#include <string_view>

#include "export/exporter.h"
#include "export/report_text.h"
#include "video/picture/yuv_planes.h"

namespace qolm::exporter {
namespace {

bool WriteText(std::string_view text, OutputTarget& target) {
  return target.write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

// A chroma sample is the mean of its 2x2 pixels and so sits in their middle,
// which the format calls 420jpeg; samples are in studio range.
bool WriteHeader(uint32_t width, uint32_t height, const container::FileHeader& header,
                 OutputTarget& target) {
  const bool rate_known = header.fps_num > 0 && header.fps_den > 0;
  const std::string rate =
      rate_known ? std::to_string(header.fps_num) + ":" + std::to_string(header.fps_den)
                 : "0:0";  // unknown
  return WriteText("YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F" +
                       rate + " Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n",
                   target);
}

bool WriteFrame(const video::YuvPlanes& planes, OutputTarget& target) {
  return WriteText("FRAME\n", target) && target.write(planes.y) && target.write(planes.cb) &&
         target.write(planes.cr);
}

}  // namespace

ExportOutcome ExportY4m(ExportJob& job) {
  decoder::FrameDecoder& decoder = job.decoder;
  bool more = decoder.next_planes();
  if (!more) return {.input_problem = NoFrameText(job.reader, decoder.stream_end())};
  const uint32_t width = decoder.planes().width;
  const uint32_t height = decoder.planes().height;
  if (!job.target.open() || !WriteHeader(width, height, job.reader.header(), job.target)) return {};

  ExportOutcome outcome;
  int32_t written = 0;
  for (; more; more = decoder.next_planes()) {
    if (decoder.planes().width != width || decoder.planes().height != height) {
      outcome.input_problem = "the picture size changes at frame " + std::to_string(written) +
                              ", which Y4M cannot show";
      break;
    }
    if (!WriteFrame(decoder.planes(), job.target)) return {};
    ++written;
  }
  if (!job.target.commit()) return {};
  if (outcome.input_problem.empty()) {
    outcome.input_problem = DamageText(job.reader, decoder.stream_end(), written);
  }
  outcome.summary = FramesText(written) + ", " + SizeText(width, height);
  return outcome;
}

}  // namespace qolm::exporter
