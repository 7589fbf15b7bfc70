// The sound of one output file: stored whole before the pictures, or in pieces
// between them.
#ifndef QOLM_ENCODER_SOUND_STORE_H_
#define QOLM_ENCODER_SOUND_STORE_H_

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

// The sample values that belong to `frames` frames, channels counted, rounded
// down to whole sample frames and at least one of them. Where the frame-rate
// numerator is not positive the piece is one second long.
uint64_t SoundChunkValues(uint64_t frames, const EncodeSettings& settings, uint32_t sample_rate,
                          uint32_t channels);

class SoundStore {
 public:
  // Payloads stay within `max_payload_bytes`, pieces below it.
  explicit SoundStore(size_t max_payload_bytes = container::kMaxPayloadBytes)
      : max_payload_bytes_(max_payload_bytes) {}

  void set_track(PcmTrack track) { track_ = std::move(track); }

  // Decides how the sound is stored and resets the position. Returns the whole
  // track as one payload, or nothing when the file holds no such block: no
  // sound, sound in pieces as the settings ask, or a track too long for one
  // payload or one record, which is stored in pieces instead. Nothing also once
  // `stop` says true, which is asked again and again while the track is coded.
  std::vector<uint8_t> start(
      const EncodeSettings& settings, const std::function<bool()>& stop = [] { return false; });

  // The next piece: the sound of `frames` frames, or with `final` all that is
  // left, or the beginning of it where it does not fit one payload. Nothing when
  // the sound is not stored in pieces, has all been taken, or cannot be coded.
  std::vector<uint8_t> next_chunk(uint64_t frames, bool final, const EncodeSettings& settings);

  // Whether pieces of at least one sample of each channel are still to be taken.
  bool has_frames_left() const {
    return stored_.interleaved && track_.samples.size() - position_ >= track_.channels;
  }

  // What start decided, for the header.
  const StoredSound& stored() const { return stored_; }

 private:
  PcmTrack track_{.sample_rate = 48000, .channels = 2, .samples = {}};
  size_t max_payload_bytes_;
  StoredSound stored_;
  size_t position_ = 0;  // sample values already stored in pieces
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_SOUND_STORE_H_
