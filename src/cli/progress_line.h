// SPDX-License-Identifier: MIT
//
// The line that the encode command rewrites in place.
#ifndef QOLM_CLI_PROGRESS_LINE_H_
#define QOLM_CLI_PROGRESS_LINE_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace qolm::cli {

struct Progress {
  uint32_t frames_processed = 0;
  int32_t expected_frame_count = 0;     // 0 or less when unknown
  int32_t frames_skipped = 0;           // static frames counted into repeat runs
  std::chrono::nanoseconds elapsed{0};  // since the frame loop began
};

// True for the frames after which the line is written.
bool ProgressIsDue(uint32_t frames_processed);

// Begins with a carriage return and has no newline.
std::string ProgressLine(const Progress& progress);

}  // namespace qolm::cli

#endif  // QOLM_CLI_PROGRESS_LINE_H_
