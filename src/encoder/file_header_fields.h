// Turns the settings into the fields and the flag word of a file header.
#ifndef QOLM_ENCODER_FILE_HEADER_FIELDS_H_
#define QOLM_ENCODER_FILE_HEADER_FIELDS_H_

#include <cstdint>

#include "container/layout.h"
#include "encoder/encode_settings.h"

namespace qolm::encoder {

// The sound that the file really carries; all zero when it carries none.
struct StoredSound {
  uint32_t sample_rate = 0;  // Hz
  uint16_t channels = 0;
  bool interleaved = false;  // in type 8 records, not in one block
};

// Frame count and duration are 0; the fast-start flag is left to the writer.
// Width and height must be 1..16384.
container::FileHeader MakeFileHeader(const EncodeSettings& settings, const StoredSound& sound);

// The same with the values that are known once the last frame has been taken.
container::FileHeader MakeFinalFileHeader(const EncodeSettings& settings, const StoredSound& sound,
                                          uint32_t frame_count);

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_FILE_HEADER_FIELDS_H_
