// The sound of one output file: stored whole before the pictures, or in pieces
// between them.
#ifndef QOLM_ENCODER_SOUND_STORE_H_
#define QOLM_ENCODER_SOUND_STORE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/pcm_track.h"
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
  void set_track(PcmTrack track) { track_ = std::move(track); }

  // Decides how the sound is stored and resets the position. Returns the whole
  // track as one payload, or nothing when the file holds no such block: no
  // sound, sound in pieces as the settings ask, or a track too long for one
  // payload or one record, which is stored in pieces instead.
  std::vector<uint8_t> start(const EncodeSettings& settings);

  // The next piece: the sound of `frames` frames, or with `final` all that is
  // left. Nothing when the sound is not stored in pieces or has all been taken.
  std::vector<uint8_t> next_chunk(uint64_t frames, bool final, const EncodeSettings& settings);

  // What start decided, for the header.
  const StoredSound& stored() const { return stored_; }

 private:
  PcmTrack track_{.sample_rate = 48000, .channels = 2, .samples = {}};
  StoredSound stored_;
  size_t position_ = 0;  // sample values already stored in pieces
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_SOUND_STORE_H_
