// SPDX-License-Identifier: MIT
//
// The one record that carries a conversion's parameters from the command line
// to the coders. It is plain data: the session copies it and hands each coder
// the few fields that concern it.
#ifndef QOLM_ENCODER_ENCODE_SETTINGS_H_
#define QOLM_ENCODER_ENCODE_SETTINGS_H_

#include <cstdint>

#include "audio/audio_coding_mode.h"

namespace qolm::encoder {

struct EncodeSettings {
  // From the video source.
  int32_t width = 0;          // pixels
  int32_t height = 0;         // pixels
  int32_t fps_numerator = 0;  // frames per second = numerator / denominator
  int32_t fps_denominator = 0;

  int32_t gop_length = 60;  // maximum frames between key frames
  int32_t quality = 45;     // 1 to 100
  // Written into the file header; no coder reads them.
  int32_t coder_param_a = 20;
  int32_t coder_param_b = 12;
  int32_t coder_param_c = 16;

  bool vfr = true;                // count static frames into repeat runs
  bool gabor = true;              // written into the file header; no coder reads it
  bool bidirectional = false;     // hold every other frame for record type 4
  bool fast_start = true;         // index in front (true) or at the end (false)
  bool cclc = true;               // chroma from luma in key frames
  bool flat_blocks = true;        // drop weak high-frequency levels in flat key-frame blocks
  bool sparse_levels = true;      // drop levels whose rate outweighs their distortion
  bool motion_prediction = true;  // code vectors against a median, not against the last one
  bool deblocking = true;         // filter the block edges of every reconstruction
  bool temporal_filter = true;    // denoise the luma against the previous frame
  bool adaptive_gop = true;       // double the GOP for calm frames, capped at 180
  bool pre_analysis = true;       // estimate the global motion before the motion search

  bool audio_present = true;
  bool audio_interleave = false;  // chunks before key frames instead of one block
  audio::AudioCodingMode audio_coding_mode = audio::AudioCodingMode::kTransform;
  // Part of the record, but nothing reads them: the rate and the channel count are those
  // of the audio track, the transform coder has its own quantiser strengths.
  uint32_t audio_default_rate = 32000;  // Hz
  uint16_t audio_default_channels = 1;
  float audio_factor = 1.6F;

  int32_t expected_frame_count = 0;  // 0 when unknown
  // Upper bound on the frames that the driver will deliver, below 1 none.
  int32_t frame_limit = 0;
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_ENCODE_SETTINGS_H_
