// SPDX-License-Identifier: MIT
//
// Writes small files with sound, and with a picture beside it, for tests to
// read back.
#ifndef QOLM_TESTS_SUPPORT_MEDIA_AUDIO_WRITER_H_
#define QOLM_TESTS_SUPPORT_MEDIA_AUDIO_WRITER_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

namespace qolm::test {

struct SoundClip {
  std::string codec = "pcm_s16le";
  std::string muxer;  // by the file's ending when empty
  std::string layout = "mono";
  int rate = 48000;             // Hz
  int64_t samples = 48000;      // of each channel
  int packet_samples = 1024;    // where the codec leaves it open
  double start = 0;             // of the sound, in seconds
  int pictures = 0;             // 25 a second; none without
  int picture_side = 16;        // pixels
  std::string picture_codec;    // by the container when empty
  bool noisy_pictures = false;  // about a byte a pixel, where the codec allows
  double picture_start = 0;     // seconds
  int reordered = 0;            // pictures in a row that may be stored behind a later one
  // Luma of a picture; mid-grey without it.
  std::function<uint8_t(int picture)> brightness;
  bool cover_art = false;
  bool negative_times = false;  // stay; otherwise muxers may shift the whole file
  std::set<int> dropped_packets;
  std::set<int> damaged_packets;   // their bytes are overwritten
  int damage = 0xa5;               // with this one
  std::set<int> wrong_last_bytes;  // of these packets, where FLAC keeps its checksum
  // Moves a packet in time, in seconds.
  std::function<double(int packet)> shift;
};

// One sample by its number and channel.
using Signal = std::function<int16_t(int64_t index, int channel)>;

// Throws std::runtime_error when the file cannot be made so.
void WriteSoundClip(const std::filesystem::path& path, const SoundClip& clip, const Signal& signal);

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_MEDIA_AUDIO_WRITER_H_
