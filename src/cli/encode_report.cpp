// SPDX-License-Identifier: MIT
#include "cli/encode_report.h"

#include <algorithm>

#include "base/printable.h"
#include "cli/number_format.h"

namespace qolm::cli {
namespace {

// Kilobits a second that ADPCM with entropy coding needs for each sample a
// second; an estimate made before anything is coded, so it is the same for
// every coding mode.
constexpr double kEstimatedKilobitsPerSample = 0.0034;
constexpr double kKilobytesPerByte = 1.0 / 1024;

const char* OnOff(bool on) { return on ? "ON" : "OFF"; }

}  // namespace

std::string InputReportText(const InputReport& report) {
  const double fps =
      static_cast<double>(report.fps_numerator) / static_cast<double>(report.fps_denominator);
  std::string text = "[+] Input Video: " + Printable(report.path) + "\n";
  text += "    Resolution : " + std::to_string(report.width) + "x" + std::to_string(report.height) +
          "\n";
  text += "    Framerate  : " + DefaultNumber(fps) + " fps\n";
  if (report.frame_count > 0) {
    text += "    Duration   : " + DefaultNumber(report.duration_ms * 0.001) + " s (" +
            std::to_string(report.frame_count) + " frames)\n";
  }
  return text;
}

std::string AudioStreamLine(uint32_t sample_rate, uint32_t channels, size_t sample_count) {
  const auto kilobits = static_cast<int64_t>(static_cast<double>(sample_rate) * channels *
                                             kEstimatedKilobitsPerSample);
  const size_t sample_frames = channels > 0 ? sample_count / channels : 0;
  return "[+] Audio Stream       : " + std::to_string(sample_rate) + " Hz, " +
         (channels == 1 ? "Mono (1 ch)" : "Stereo (2 ch)") + " (~" + std::to_string(kilobits) +
         " kbps ADPCM+rANS, " + std::to_string(sample_frames) + " samples)\n";
}

std::string SettingsLine(const encoder::EncodeSettings& settings) {
  return "[+] Encoding video (Quality: " + std::to_string(settings.quality) +
         ", GOP: " + std::to_string(settings.gop_length) + ", VFR: " + OnOff(settings.vfr) +
         ", Gabor: " + OnOff(settings.gabor) + ", CCLC: " + OnOff(settings.cclc) +
         ", Stream: " + (settings.fast_start ? "FAST-START" : "MONOLITHIC") + ")...\n";
}

std::string StatisticsText(const Statistics& statistics) {
  const double frames = statistics.frames_processed;
  const double output_bytes = static_cast<double>(statistics.output_bytes);
  const uint64_t raw_bytes = static_cast<uint64_t>(statistics.frames_processed) *
                             static_cast<uint64_t>(statistics.width) *
                             static_cast<uint64_t>(statistics.height) * 4;
  const double savings = statistics.frames_skipped * 100.0 / std::max(frames, 1.0);
  const double fps = frames * 1000.0 / statistics.encoding_time_ms;
  const double input_kilobytes = static_cast<double>(statistics.input_bytes) * kKilobytesPerByte;
  const double compression = 100.0 - output_bytes * 100.0 / static_cast<double>(raw_bytes);

  // The empty line ends the progress line, which has no newline of its own.
  std::string text = "\n[+] Encoding statistics:\n";
  text += "  Total Frames Processed : " + std::to_string(statistics.frames_processed) + "\n";
  text += "  VFR Static Slides Skip : " + std::to_string(statistics.frames_skipped) + " frames (" +
          FixedNumber(savings, 1) + "% savings)\n";
  text += "  Encoding Time          : " + FixedNumber(statistics.encoding_time_ms, 1) + " ms (" +
          FixedNumber(fps, 1) + " FPS)\n";
  text += "  Original File Size     : " + FixedNumber(input_kilobytes, 1) + " KB\n";
  text +=
      "  QOLM File Size         : " + FixedNumber(output_bytes * kKilobytesPerByte, 1) + " KB\n";
  text += "  Compression vs Raw     : " + FixedNumber(compression, 1) + "%\n";
  text += "[+] Done.\n";
  return text;
}

}  // namespace qolm::cli
