// SPDX-License-Identifier: MIT
//
// The output of the payload decoders: appends samples to a track, or only counts them
// when their number is all that is needed.
#ifndef QOLM_AUDIO_SAMPLE_SINK_H_
#define QOLM_AUDIO_SAMPLE_SINK_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/pcm_track.h"

namespace qolm::audio {

// Takes the samples of one payload.
class SampleSink {
 public:
  explicit SampleSink(PcmTrack& track);
  explicit SampleSink(AudioExtent& extent);

  // Announces `values` sample values. False when the rate is 0, when the track would
  // hold more than `max_values` with each new value counted `weight` times, or when it
  // already has samples of another rate or channel count.
  [[nodiscard]] bool open(uint32_t sample_rate, uint16_t channels, uint64_t values,
                          uint64_t max_values, uint64_t weight = 1);

  // A buffer for the next `values` of the announced values. The caller fills it
  // completely before the next call, which may invalidate it.
  int16_t* extend(size_t values);

  // Accounts for decoding work that produces no output, in sample values.
  void add_cost(uint64_t values) { extra_cost_ += values; }

  // The payload is complete. A track without samples takes over rate and channel count.
  void commit();
  // The payload is malformed: restores the track.
  void roll_back();

  // The decoding work that produced no output, in sample values: the cost added, and
  // after roll_back also the discarded values, together at least kMinWastedValues.
  // 0 when open was never successful.
  uint64_t wasted_values() const { return wasted_values_; }

 private:
  PcmTrack* track_ = nullptr;
  AudioExtent* extent_ = nullptr;
  AudioExtent held_;
  AudioExtent added_;
  uint64_t extra_cost_ = 0;
  uint64_t wasted_values_ = 0;
  std::vector<int16_t> discarded_;
};

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_SAMPLE_SINK_H_
