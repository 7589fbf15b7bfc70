// SPDX-License-Identifier: MIT
#include "export/report_text.h"

namespace qolm::exporter {

std::string FramesText(int64_t count) {
  return std::to_string(count) + (count == 1 ? " frame" : " frames");
}

std::string SizeText(uint32_t width, uint32_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string AudioText(const PcmTrack& track) {
  return std::to_string(track.sample_rate) + " Hz " + (track.channels == 1 ? "mono" : "stereo");
}

std::string DamageText(const container::ContainerReader& reader, decoder::StreamEnd end,
                       int32_t delivered) {
  const uint32_t announced = reader.header().frame_count;
  switch (end) {
    case decoder::StreamEnd::kDamagedRecord:
      return "damaged record behind " + FramesText(delivered) +
             (announced != 0 ? " of " + std::to_string(announced) : "");
    case decoder::StreamEnd::kFramesMissing:
      return announced != 0 ? "the file ends after " + FramesText(delivered) + " of " +
                                  std::to_string(announced)
                            : "the file was never finished, it ends after " + FramesText(delivered);
    default:
      return {};
  }
}

std::string NoFrameText(const container::ContainerReader& reader, decoder::StreamEnd end) {
  const std::string damage = DamageText(reader, end, 0);
  return damage.empty() ? "the file holds no frames" : damage;
}

bool HasAudio(const PcmTrack& track) {
  return track.channels != 0 && track.sample_rate != 0 && track.samples.size() >= track.channels;
}

std::string AudioDamageText(const container::ContainerReader& reader, const PcmTrack& track) {
  // A header names the channels of a file with audio.
  const bool announced = reader.header().audio_channels != 0;
  return announced && !HasAudio(track) ? "the sound cannot be decoded" : "";
}

}  // namespace qolm::exporter
