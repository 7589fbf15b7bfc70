// SPDX-License-Identifier: MIT
//
// Writes small video files with the FFmpeg libraries for tests to read back.
#ifndef QOLM_TESTS_SUPPORT_MEDIA_CLIP_WRITER_H_
#define QOLM_TESTS_SUPPORT_MEDIA_CLIP_WRITER_H_

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qolm::test {

struct ClipOptions {
  std::string codec = "ffv1";
  std::string muxer;  // by the file's ending when empty
  AVPixelFormat format = AV_PIX_FMT_BGR0;
  int width = 16;
  int height = 16;
  AVRational rate = {25, 1};
  AVRational time_base = {0, 1};    // of `timestamps`; one frame when zero
  std::vector<int64_t> timestamps;  // one for each frame; 0, 1, 2 … when empty
  int64_t last_duration = 0;        // of the last frame; as the others when zero
  int frames = 1;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVRational pixel_shape = {0, 1};  // width to height
  bool interlaced = false;
  std::optional<std::array<int32_t, 9>> display_matrix;
  std::map<std::string, std::string> codec_options;
  std::map<std::string, std::string> muxer_options;
  std::optional<int> corrupt_packet;  // its bytes are overwritten
  bool cover_art = false;             // an 8x8 picture beside the video
  bool second_video = false;          // of one 8x8 picture, behind the video
  double sound_seconds = 0;           // silence beside the video
  double sound_packet_seconds = 0;    // of each of its packets; one holds it all when zero
  int sound_rate = 8000;              // Hz
};

// Paints frame `index`. The frame is writable, of the options' size and format.
using Painter = std::function<void(AVFrame& frame, int index)>;

// Throws std::runtime_error when the file cannot be made so.
void WriteClip(const std::filesystem::path& path, const ClipOptions& options,
               const Painter& painter);

// Sets every sample of each plane that the format has, in its 8 or 16 bits.
void FillPlanes(AVFrame& frame, const std::vector<int>& values);

// A painter of other random samples in each frame's first plane.
void PaintNoise(AVFrame& frame, int index);

// Sets the B, G, R, X pixel of a BGR0 or BGRA frame.
void SetPixel(AVFrame& frame, int x, int y, uint8_t red, uint8_t green, uint8_t blue);

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_MEDIA_CLIP_WRITER_H_
