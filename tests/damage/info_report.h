// SPDX-License-Identifier: MIT
//
// What the info command may say about a damaged file, to the letter.
#ifndef QOLM_TESTS_DAMAGE_INFO_REPORT_H_
#define QOLM_TESTS_DAMAGE_INFO_REPORT_H_

#include <cstdint>
#include <span>
#include <string>

namespace qolm::test {

struct InfoReport {
  int exit_code = 0;
  std::string out;
  std::string err;
};

// The info command on the file at `path`, with a clock that advances by 250 ms a call.
InfoReport RunInfo(const std::string& path);

// What a report that is well formed says; `complaint` tells what is wrong with any other.
struct Findings {
  std::string complaint;
  bool refused = false;
  uint64_t frames = 0;     // decoded
  std::string sound_line;  // empty without sound
};

// Holds the report against the bytes of the file: the one refusal that its first
// bytes call for, or else every line of the complete report.
Findings Judge(const InfoReport& report, const std::string& path, std::span<const uint8_t> bytes);

}  // namespace qolm::test

#endif  // QOLM_TESTS_DAMAGE_INFO_REPORT_H_
