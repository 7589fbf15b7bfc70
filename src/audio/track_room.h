// How payload decoders append to a track.
#ifndef QOLM_AUDIO_TRACK_ROOM_H_
#define QOLM_AUDIO_TRACK_ROOM_H_

#include <cstdint>

#include "audio/pcm_track.h"

namespace qolm::audio {

// Whether `values` more sample values of this kind may be appended: the rate is
// not 0, the track holds at most `max_values` afterwards, and a track that has
// samples already has this rate and channel count.
bool TrackTakes(const PcmTrack& track, uint32_t sample_rate, uint16_t channels, uint64_t values,
                uint64_t max_values);

// Appends `values` zeros, which the caller then overwrites, and tells where they
// start. A track without samples takes over rate and channel count.
int16_t* ExtendTrack(PcmTrack& track, uint32_t sample_rate, uint16_t channels, uint64_t values);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_TRACK_ROOM_H_
