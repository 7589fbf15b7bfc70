// SPDX-License-Identifier: MIT
//
// The conversions whose bytes and pictures are fixed.
#ifndef QOLM_TESTS_GOLDEN_GOLDEN_CASES_H_
#define QOLM_TESTS_GOLDEN_GOLDEN_CASES_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/pcm_track.h"
#include "encoder/encode_settings.h"
#include "golden/golden_sources.h"
#include "video/picture/video_frame.h"

namespace qolm::golden {

struct Case {
  std::string name;
  Scene scene = Scene::kPan;
  int32_t width = 96;
  int32_t height = 80;
  uint32_t frames = 14;
  uint32_t shrinks_at = UINT32_MAX;  // from this frame on the picture is 16 smaller each way
  encoder::EncodeSettings settings;  // the size is the case's
  Sound sound = Sound::kNone;
  uint32_t sample_rate = 32000;
  uint16_t channels = 1;
  size_t sound_frames = 0;
};

const std::vector<Case>& AllCases();

// Whether parts of the case are large enough to run on several workers.
bool MayUseWorkers(const Case& golden_case);

struct Source {
  std::vector<VideoFrame> frames;
  PcmTrack sound;
};

Source MakeSource(const Case& golden_case);

// Converts the case's source. Throws std::runtime_error where that fails.
void WriteCase(const Case& golden_case, const Source& source, const std::filesystem::path& path);

// What a file gives on decoding.
struct Decoded {
  uint32_t frames = 0;
  uint64_t pictures = 0;  // hash of all planes and of all RGBA pictures
  uint64_t sound = 0;     // hash of rate, channels and samples
  bool operator==(const Decoded&) const = default;
};

// Throws std::runtime_error where a frame that the file announces does not come.
Decoded DecodeFile(const std::filesystem::path& path);

// A line of a list of hashes: what a case, or a file that is kept, must give.
struct Expected {
  std::string name;
  uint64_t bytes = 0;
  uint64_t file = 0;  // hash of the bytes
  Decoded decoded;
  bool operator==(const Expected&) const = default;
};

Expected Measure(const std::string& name, const std::filesystem::path& path);

// name bytes file frames pictures sound; hashes in hexadecimal.
std::string Line(const Expected& expected);

// The lines that do not begin with '#'. Throws std::runtime_error where there is
// no such list or a line is not understood.
std::vector<Expected> ReadList(const std::filesystem::path& path);

// Null where the list has no such name.
const Expected* Find(const std::vector<Expected>& list, const std::string& name);

}  // namespace qolm::golden

#endif  // QOLM_TESTS_GOLDEN_GOLDEN_CASES_H_
