// SPDX-License-Identifier: MIT
//
// The audio of one output file: one block before the pictures, or chunks interleaved
// with them.
#ifndef QOLM_ENCODER_AUDIO_STORE_H_
#define QOLM_ENCODER_AUDIO_STORE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "audio/pcm_track.h"
#include "container/layout.h"
#include "encoder/encode_settings.h"
#include "encoder/file_header_fields.h"

namespace qolm::encoder {

// The number of sample values, all channels together, for the duration of `frames`
// frames: rounded down to whole sample frames, at least one. One second when the
// numerator of the frame rate is not positive.
uint64_t AudioChunkValues(uint64_t frames, const EncodeSettings& settings, uint32_t sample_rate,
                          uint32_t channels);

class AudioStore {
 public:
  // A block has at most `max_payload_bytes`, a chunk fewer.
  explicit AudioStore(size_t max_payload_bytes = container::kMaxPayloadBytes)
      : max_payload_bytes_(max_payload_bytes) {}

  void set_track(PcmTrack track) { track_ = std::move(track); }

  // Decides how the audio is stored and resets the position. Returns the whole track as
  // one payload. Empty when the file has no audio block: without audio, with interleaved
  // audio by the settings, and when the track is too long for one payload or record and
  // is interleaved instead. Empty also once `stop`, polled during coding, returns true.
  std::vector<uint8_t> start(
      const EncodeSettings& settings, const std::function<bool()>& stop = [] { return false; });

  // The next chunk: the audio of `frames` frames, or with `final` the rest, in either
  // case shortened to what fits one payload. Empty when the audio is not interleaved, is
  // exhausted, or cannot be coded.
  std::vector<uint8_t> next_chunk(uint64_t frames, bool final, const EncodeSettings& settings);

  // Whether at least one sample frame is left for further chunks.
  bool has_frames_left() const {
    return stored_.interleaved && track_.samples.size() - position_ >= track_.channels;
  }

  // The decision of start, for the file header.
  const StoredAudio& stored() const { return stored_; }

 private:
  PcmTrack track_{.sample_rate = 48000, .channels = 2, .samples = {}};
  size_t max_payload_bytes_;
  StoredAudio stored_;
  size_t position_ = 0;  // sample values already stored in chunks
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_AUDIO_STORE_H_
