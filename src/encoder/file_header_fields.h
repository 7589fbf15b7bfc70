// SPDX-License-Identifier: MIT
//
// Turns the settings into the fields and the flag word of a file header.
#ifndef QOLM_ENCODER_FILE_HEADER_FIELDS_H_
#define QOLM_ENCODER_FILE_HEADER_FIELDS_H_

#include <cstdint>

#include "container/layout.h"
#include "encoder/encode_settings.h"

namespace qolm::encoder {

// The audio that the file contains; all zero for none.
struct StoredAudio {
  uint32_t sample_rate = 0;  // Hz
  uint16_t channels = 0;
  bool interleaved = false;  // in type 8 records, not in one block
};

// Frame count and duration are 0; the container writer sets the fast-start flag.
// Width and height must be 1..16384.
container::FileHeader MakeFileHeader(const EncodeSettings& settings, const StoredAudio& audio);

// The same with the values that are known after the last frame.
container::FileHeader MakeFinalFileHeader(const EncodeSettings& settings, const StoredAudio& audio,
                                          uint32_t frame_count);

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_FILE_HEADER_FIELDS_H_
