// SPDX-License-Identifier: MIT
#include "info_report.h"

#include <chrono>
#include <cstdlib>
#include <regex>
#include <sstream>

#include "base/byte_order.h"
#include "cli/info_command.h"

namespace qolm::test {
namespace {

// Why a file that begins so is none of version 2; empty when it is one.
std::string Refusal(std::span<const uint8_t> bytes) {
  if (bytes.size() < 48) return "the file is too short to hold a header";
  const std::string magic(bytes.begin(), bytes.begin() + 4);
  if (magic != "QLM2") return "the file does not begin with \"QLM2\"";
  const uint32_t version = LoadLe32(&bytes[4]);
  if (version != 2) return "the file's version is " + std::to_string(version) + ", not 2";
  const uint32_t width = LoadLe16(&bytes[10]);
  const uint32_t height = LoadLe16(&bytes[12]);
  if (width >= 1 && width <= 16384 && height >= 1 && height <= 16384) return {};
  return "the picture size " + std::to_string(width) + " x " + std::to_string(height) +
         " is outside 1..16384";
}

std::string HeaderLines(std::span<const uint8_t> bytes) {
  const uint16_t flags = LoadLe16(&bytes[8]);
  std::ostringstream text;
  text << "    Resolution: " << LoadLe16(&bytes[10]) << "x" << LoadLe16(&bytes[12]) << "\n"
       << "    FPS       : " << LoadLe32(&bytes[14]) << "/" << LoadLe32(&bytes[18]) << "\n"
       << "    Frames    : " << LoadLe32(&bytes[22]) << "\n"
       << "    Duration  : " << LoadLe32(&bytes[38]) * 0.001 << " s\n"
       << "    Flags     : 0x" << std::hex << flags
       << ((flags & 0x0400) != 0 ? " [Fast-Start]\n" : "\n");
  return text.str();
}

std::string SpeedLines(uint64_t frames, uint32_t announced) {
  std::string text =
      "[+] Decoded Frames : " + std::to_string(frames) +
      "\n    Decode Time    : 250.0 ms\n    Decode Speed   : " + std::to_string(4 * frames) +
      ".0 FPS\n";
  if (frames < announced) {
    text += "[+] Note: the file is damaged or incomplete; only " + std::to_string(frames) + " of " +
            std::to_string(announced) + " frames could be decoded.\n";
  }
  return text;
}

// The line that begins with `label`, if there is one.
std::string LineOf(const std::string& text, const std::string& label) {
  const size_t begin = text.find("\n" + label);
  if (begin == std::string::npos) return {};
  return text.substr(begin + 1, text.find('\n', begin + 1) - begin);
}

// The line about a file without a frame count and an index, where there is one.
std::string NeverFinishedLine(const std::string& text, uint32_t announced) {
  const std::string line = LineOf(text, "[+] Note: the file was never finished");
  static const std::regex known(
      "\\[\\+\\] Note: the file was never finished, or is still being written; "
      "(qolm2_export can save what it holds so far|it holds no whole frame yet"
      "(, but sound that qolm2_export can save as \\.wav)?)\\.\n");
  return announced == 0 && std::regex_match(line, known) ? line : "";
}

}  // namespace

InfoReport RunInfo(const std::string& path) {
  std::ostringstream out;
  std::ostringstream err;
  int calls = 0;
  const int exit_code = cli::RunInfoCommand(
      path, out, err, [&calls] { return std::chrono::milliseconds(250 * calls++); });
  return {exit_code, out.str(), err.str()};
}

Findings Judge(const InfoReport& report, const std::string& path, std::span<const uint8_t> bytes) {
  Findings findings;
  const std::string opening = "[+] Opening QOLM v2 file: " + path + "\n";
  const auto complain = [&](const std::string& expected) {
    findings.complaint = "exit code " + std::to_string(report.exit_code) + "\n" + report.out +
                         report.err + "instead of\n" + expected;
    return findings;
  };
  const std::string refusal = Refusal(bytes);
  if (!refusal.empty()) {
    findings.refused = true;
    const std::string error =
        "[-] Error: Cannot open as a QOLM v2 file (" + refusal + "): " + path + "\n";
    const bool as_it_should_be =
        report.exit_code == 1 && report.out == opening && report.err == error;
    return as_it_should_be ? findings : complain(opening + error);
  }
  findings.sound_line = LineOf(report.out, "    Audio     : ");
  static const std::regex sound("(    Audio     : [1-9]\\d* Hz, [12] ch, [1-9]\\d* samples\n)?");
  if (!std::regex_match(findings.sound_line, sound)) findings.sound_line.clear();
  const std::string label = "[+] Decoded Frames : ";
  const std::string decoded = LineOf(report.out, label);
  if (!decoded.empty()) findings.frames = std::strtoull(&decoded[label.size()], nullptr, 10);
  const uint32_t announced = LoadLe32(&bytes[22]);
  const std::string expected = opening + HeaderLines(bytes) + findings.sound_line +
                               SpeedLines(findings.frames, announced) +
                               NeverFinishedLine(report.out, announced);
  const bool complete = report.exit_code == 0 && report.err.empty() && report.out == expected;
  return complete ? findings : complain(expected);
}

}  // namespace qolm::test
