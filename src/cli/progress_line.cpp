// SPDX-License-Identifier: MIT
#include "cli/progress_line.h"

#include <algorithm>

#include "cli/number_format.h"

namespace qolm::cli {
namespace {

constexpr uint32_t kFramesBetweenLines = 10;
constexpr double kLeastElapsedSeconds = 0.001;   // keeps the first rates finite
constexpr double kLeastRateForEta = 0.5;         // frames a second; below it an ETA misleads
constexpr const char* kBullet = "\xE2\x80\xA2";  // U+2022 in UTF-8

}  // namespace

bool ProgressIsDue(uint32_t frames_processed) {
  return frames_processed % kFramesBetweenLines == 0;
}

std::string ProgressLine(const Progress& progress) {
  const int64_t frames = progress.frames_processed;
  const int64_t expected = progress.expected_frame_count;
  const double elapsed_seconds =
      std::max(static_cast<double>(progress.elapsed.count()) * 1e-9, kLeastElapsedSeconds);
  const double rate = static_cast<double>(frames) / elapsed_seconds;

  std::string line = "\r    Processed frames: " + std::to_string(frames);
  if (expected > 0) {
    int64_t eta_seconds = 0;
    if (frames < expected && rate > kLeastRateForEta) {
      eta_seconds = static_cast<int64_t>(static_cast<double>(expected - frames) / rate);
    }
    line += "/" + std::to_string(expected) + " (" + std::to_string(frames * 100 / expected) +
            "% | ETA " + std::to_string(eta_seconds / 60) + "m" + std::to_string(eta_seconds % 60) +
            "s)";
  }
  line += std::string(" ") + kBullet + " " + FixedNumber(rate, 0) +
          " FPS (VFR Skip: " + std::to_string(progress.frames_skipped) + ")";
  return line;
}

}  // namespace qolm::cli
