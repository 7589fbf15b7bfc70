// SPDX-License-Identifier: MIT
//
// Stands in for ffmpeg/media_muxer.cpp in a build without FFmpeg.
#include "export/media_muxer.h"

namespace qolm::exporter {

bool MediaFormsAvailable() { return false; }

std::unique_ptr<MediaMuxer> StartMedia(const MediaDescription&, OutputTarget&,
                                       std::string& problem) {
  problem = "this program was built without FFmpeg";
  return nullptr;
}

}  // namespace qolm::exporter
