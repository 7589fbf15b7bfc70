// Where payload decoders put their samples: at the end of a track, or nowhere when
// only their number matters.
#ifndef QOLM_AUDIO_TRACK_ROOM_H_
#define QOLM_AUDIO_TRACK_ROOM_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/pcm_track.h"

namespace qolm::audio {

// For one payload.
class TrackRoom {
 public:
  explicit TrackRoom(PcmTrack& track);
  explicit TrackRoom(SoundExtent& extent);

  // Whether `values` sample values of this kind may come, which are then expected:
  // the rate is not 0, `max_values` at most are held afterwards if each of the new
  // ones counts as `weight`, and a track that has samples already has this rate and
  // channel count.
  [[nodiscard]] bool open(uint32_t sample_rate, uint16_t channels, uint64_t values,
                          uint64_t max_values, uint64_t weight = 1);

  // Room for the next of the expected values, all of which the caller writes before
  // it calls again.
  int16_t* extend(size_t values);

  // Work beside that on the values, which counts as so many.
  void spend(uint64_t values) { spent_ += values; }

  // All came. A track without samples takes over rate and channel count.
  void keep();
  // The payload is malformed: the track is as it was.
  void take_back();

  // What a payload cost beyond the values that were kept, in sample values: what was
  // spent beside, and for one that was refused those taken back, together at least
  // that of the smallest step; 0 when the room was never open.
  uint64_t values_in_vain() const { return values_in_vain_; }

 private:
  PcmTrack* track_ = nullptr;
  SoundExtent* extent_ = nullptr;
  SoundExtent held_;
  SoundExtent added_;
  uint64_t spent_ = 0;
  uint64_t values_in_vain_ = 0;
  std::vector<int16_t> unkept_;
};

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_TRACK_ROOM_H_
