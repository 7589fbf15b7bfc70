// SPDX-License-Identifier: MIT
//
// Reads a media file back with FFmpeg's libraries, as a player would.
#ifndef QOLM_TESTS_EXPORT_DECODED_MEDIA_H_
#define QOLM_TESTS_EXPORT_DECODED_MEDIA_H_

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "video/picture/yuv_planes.h"

namespace qolm::test {

struct PacketPlace {
  bool is_sound = false;
  bool is_key = false;
  double seconds = 0;    // of its decoding time
  int64_t position = 0;  // of its first byte in the file
};

struct DecodedMedia {
  std::string container;
  std::string picture_codec;
  std::string sound_codec;           // empty without sound
  std::vector<uint8_t> sound_setup;  // what the container holds for the codec
  int64_t sound_bit_rate = 0;        // that the container states
  std::string matrix;
  std::string range;
  std::string chroma_location;
  int rate_numerator = 0;
  int rate_denominator = 0;
  double lowest_exact_rate = 0;  // that the container states, or that its times are multiples of
  std::vector<video::YuvPlanes> frames;
  std::vector<double> frame_seconds;  // start of each
  double picture_end_seconds = 0;     // of the last frame, its duration included
  int sample_rate = 0;
  int channels = 0;
  std::vector<double> samples;  // interleaved, in 16-bit steps
  double sound_start_seconds = 0;
  double sound_end_seconds = 0;
  std::vector<PacketPlace> packets;  // in file order
};

// Throws std::runtime_error when the file cannot be read.
DecodedMedia DecodeMedia(const std::filesystem::path& path);

// Of the samples as 16 bits each, the lower byte first.
std::array<uint8_t, 16> Md5Of(std::span<const int16_t> samples);

}  // namespace qolm::test

#endif  // QOLM_TESTS_EXPORT_DECODED_MEDIA_H_
