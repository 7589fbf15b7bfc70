// SPDX-License-Identifier: MIT
//
// The phrases that the reports of several forms share.
#ifndef QOLM_EXPORT_REPORT_TEXT_H_
#define QOLM_EXPORT_REPORT_TEXT_H_

#include <cstdint>
#include <string>

#include "audio/pcm_track.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"

namespace qolm::exporter {

std::string FramesText(int64_t count);
std::string SizeText(uint32_t width, uint32_t height);
std::string AudioText(const PcmTrack& track);

// Why decoding stopped early; empty when it did not.
std::string DamageText(const container::ContainerReader& reader, decoder::StreamEnd end,
                       int32_t delivered);

// Why a file shows no frame at all.
std::string NoFrameText(const container::ContainerReader& reader, decoder::StreamEnd end);

// Whether the track holds at least one sample of each channel.
bool HasAudio(const PcmTrack& track);

// Why `track`, decoded from the file, lacks the audio that the header announces; empty when
// it does not.
std::string AudioDamageText(const container::ContainerReader& reader, const PcmTrack& track);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_REPORT_TEXT_H_
