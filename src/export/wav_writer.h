// SPDX-License-Identifier: MIT
//
// WAV files: 16-bit PCM behind a RIFF header, and behind the RF64 header of EBU
// Tech 3306 where the sizes outgrow RIFF's 32 bits.
#ifndef QOLM_EXPORT_WAV_WRITER_H_
#define QOLM_EXPORT_WAV_WRITER_H_

#include <cstdint>
#include <vector>

#include "audio/pcm_track.h"
#include "export/output_target.h"

namespace qolm::exporter {

// Everything in front of the samples. `frames` counts samples per channel; their
// bytes must fit 63 bits.
std::vector<uint8_t> WavHeader(uint32_t sample_rate, uint16_t channels, uint64_t frames);

// Writes header and samples; returns what the target's write returns. Samples
// that do not fill all channels at the end are left out.
[[nodiscard]] bool WriteWav(const PcmTrack& track, OutputTarget& target);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_WAV_WRITER_H_
