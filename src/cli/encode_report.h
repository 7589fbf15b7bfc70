// SPDX-License-Identifier: MIT
//
// What the encode command reports on standard output before and after its
// frame loop.
#ifndef QOLM_CLI_ENCODE_REPORT_H_
#define QOLM_CLI_ENCODE_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "encoder/encode_settings.h"

namespace qolm::cli {

struct InputReport {
  std::string path;    // as given by the user
  int32_t width = 0;   // pixels
  int32_t height = 0;  // pixels
  int32_t fps_numerator = 30;
  int32_t fps_denominator = 1;
  int32_t frame_count = 0;  // expected; 0 or less when unknown
  int32_t duration_ms = 0;
};

struct Statistics {
  uint32_t frames_processed = 0;
  int32_t frames_skipped = 0;  // static frames counted into repeat runs
  double encoding_time_ms = 0;
  uint64_t input_bytes = 0;  // file sizes
  uint64_t output_bytes = 0;
  int32_t width = 0;   // pixels
  int32_t height = 0;  // pixels
};

std::string InputReportText(const InputReport& report);

// `sample_count` counts the 16-bit values of all channels together.
std::string AudioStreamLine(uint32_t sample_rate, uint32_t channels, size_t sample_count);

std::string SettingsLine(const encoder::EncodeSettings& settings);

// With no frames or no time some figures divide by zero; they print as a
// stream prints an infinity or a NaN.
std::string StatisticsText(const Statistics& statistics);

}  // namespace qolm::cli

#endif  // QOLM_CLI_ENCODE_REPORT_H_
