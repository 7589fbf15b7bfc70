// The one record that carries a conversion's parameters from the command line
// to the coders. It is plain data: the session copies it and hands each coder
// the few fields that concern it.
#ifndef QOLM_ENCODER_ENCODE_SETTINGS_H_
#define QOLM_ENCODER_ENCODE_SETTINGS_H_

#include <array>
#include <cstdint>

namespace qolm::encoder {

struct EncodeSettings {
  // From the video source.
  int32_t width = 0;          // pixels
  int32_t height = 0;         // pixels
  int32_t fps_numerator = 0;  // frames per second = numerator / denominator
  int32_t fps_denominator = 0;

  int32_t gop_length = 60;     // maximum frames between key frames
  int32_t quality = 45;        // 1 to 100
  int32_t coder_param_a = 20;  // written into the file header
  int32_t coder_param_b = 12;  // written into the file header
  int32_t coder_param_c = 16;  // written into the file header

  bool vfr = true;             // count static frames into repeat runs
  bool gabor = true;           // recorded in the file header
  bool bidirectional = false;  // hold every other frame for record type 4
  bool fast_start = true;      // index in front (true) or at the end (false)
  bool cclc = true;            // chroma from luma in key frames
  // [0] flat-block rule, [1] sparse-level rule, [2] motion prediction, [3] deblocking.
  std::array<bool, 4> coder_flags = {true, true, true, true};
  bool temporal_filter = true;  // quiet the luma against the previous frame
  bool adaptive_gop = true;     // double the GOP for calm frames, capped at 180
  bool coder_flag = true;       // pre-analysis before the motion search

  bool audio_present = true;
  bool audio_interleave = false;        // sound in pieces before key frames, not in one block
  uint32_t audio_default_rate = 32000;  // Hz
  uint16_t audio_default_channels = 1;
  uint16_t audio_coding_mode = 2;  // 1 = ADPCM, 2 = transform
  float audio_factor = 1.6F;
  int32_t expected_frame_count = 0;  // 0 when unknown
  // No more frames than this will come, whatever is expected; below 1 no limit.
  int32_t frame_limit = 0;
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_ENCODE_SETTINGS_H_
