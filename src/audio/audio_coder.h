// The sound coders behind one door: a PCM track in, a payload out, and back.
//
// A payload starts either with the ADPCM header (its first field is the sample
// rate) or with the tag of the transform coder; the tag alone tells which.
// Every payload decodes by itself.
#ifndef QOLM_AUDIO_AUDIO_CODER_H_
#define QOLM_AUDIO_AUDIO_CODER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "audio/pcm_track.h"
#include "audio/track_room.h"

namespace qolm::audio {

enum class AudioCodingMode : uint16_t { kAdpcm = 1, kTransform = 2 };

// A piece of sound, channels interleaved.
struct PcmView {
  uint32_t sample_rate = 0;  // Hz
  uint32_t channels = 0;
  std::span<const int16_t> samples;
};

// Sample values that one payload may hold at most, all channels together.
inline constexpr uint64_t kMaxPayloadValues = 0x7FFFFFFF;

// Codes `sound` as one payload. False, and no payload, when the rate or the
// channel count is 0 or there are no samples; in transform mode also for
// channel counts other than 1 and 2, for rates above 768,000 Hz and for 2^31
// values and more (fewer from 384 kHz on); in ADPCM mode also for channel counts from 65,536 on,
// 2^32 samples per channel, and the one rate that would read as the transform's tag.
// False also once `stop` says true, which is asked before each batch of frames and again
// and again while the streams of a channel are made of them.
[[nodiscard]] bool EncodeAudio(
    const PcmView& sound, AudioCodingMode mode, std::vector<uint8_t>& payload,
    const std::function<bool()>& stop = [] { return false; });

// Decodes a payload and appends its samples to `track`, taking over rate and
// channel count when the track has no samples yet. `max_values` bounds the
// track's sample values after the call. Takes no memory beyond the track but for
// a few batches of frames, whatever the payload claims. An incomplete last frame
// of channels that the payload counts is not delivered. False, with the track as
// it was, for a malformed payload, a channel count other than 1 and 2, a payload
// that takes the track past `max_values`, and one whose rate or channel count is
// not that of the samples that the track already has.
[[nodiscard]] bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values,
                               PcmTrack& track);

// The same into a room of the caller's, for one that needs only the number of
// values, or what a refused payload cost.
[[nodiscard]] bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values,
                               TrackRoom& room);

// The sample values that a payload claims, told from its first kClaimBytes; 0 when
// it is shorter.
inline constexpr size_t kClaimBytes = 20;
uint64_t ClaimedValues(std::span<const uint8_t> head);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_AUDIO_CODER_H_
