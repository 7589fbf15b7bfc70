// SPDX-License-Identifier: MIT
#include "encoder/file_header_fields.h"

#include <algorithm>

namespace qolm::encoder {
namespace {

uint16_t HeaderFlags(const EncodeSettings& settings, const StoredAudio& audio) {
  uint32_t flags = container::kFlagsAlwaysSet;
  if (settings.gabor) flags |= container::kFlagGabor;
  if (settings.bidirectional) flags |= container::kFlagBidirectional;
  if (settings.vfr) flags |= container::kFlagVfr;
  if (settings.cclc) flags |= container::kFlagCclc;
  if (settings.flat_blocks) flags |= container::kFlagFlatBlocks;
  if (settings.sparse_levels) flags |= container::kFlagSparseLevels;
  if (settings.motion_prediction) flags |= container::kFlagMotionPrediction;
  if (settings.deblocking) flags |= container::kFlagDeblocking;
  if (audio.interleaved) flags |= container::kFlagInterleavedAudio;
  return static_cast<uint16_t>(flags);
}

}  // namespace

container::FileHeader MakeFileHeader(const EncodeSettings& settings, const StoredAudio& audio) {
  container::FileHeader header;
  header.flags = HeaderFlags(settings, audio);
  header.width = static_cast<uint16_t>(settings.width);
  header.height = static_cast<uint16_t>(settings.height);
  header.fps_num = static_cast<uint32_t>(std::max(settings.fps_numerator, 0));
  header.fps_den = static_cast<uint32_t>(std::max(settings.fps_denominator, 0));
  header.gop = static_cast<uint16_t>(settings.gop_length);
  header.coder_param_a = static_cast<uint16_t>(settings.coder_param_a);
  header.coder_param_b = static_cast<uint16_t>(settings.coder_param_b);
  header.coder_param_c = static_cast<uint16_t>(settings.coder_param_c);
  if (audio.sample_rate != 0 && audio.channels != 0) {
    header.audio_rate = static_cast<uint16_t>(audio.sample_rate);  // the field holds 16 bits
    header.audio_channels = static_cast<uint8_t>(audio.channels);
    header.audio_param = static_cast<uint8_t>(settings.audio_coding_mode);
  }
  return header;
}

container::FileHeader MakeFinalFileHeader(const EncodeSettings& settings, const StoredAudio& audio,
                                          uint32_t frame_count) {
  container::FileHeader header = MakeFileHeader(settings, audio);
  header.frame_count = frame_count;
  header.duration_ms = container::duration_ms(frame_count, header.fps_num, header.fps_den);
  return header;
}

}  // namespace qolm::encoder
