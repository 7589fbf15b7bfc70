// SPDX-License-Identifier: MIT
//
// Some of the damaged files through the programs themselves.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "cli/messages.h"
#include "info_report.h"
#include "sample_files.h"
#include "support/container_file.h"
#include "support/cpu_limit.h"
#include "support/forked_program.h"
#include "support/numbered_picture.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

constexpr rlim_t kSecondsPerRun = 60;

InfoReport RunLimited(CalledProgram program, const std::vector<std::string>& arguments) {
  const ForkedRun run = RunForked(program, arguments, [] { LimitCpuSeconds(kSecondsPerRun); });
  return {run.exit_code, run.out, run.err};
}

// As RunInfo would give it: no banner, and the time by the scripted clock.
InfoReport WithScriptedClock(InfoReport report) {
  static const std::regex time("(    Decode Time    : )\\S+ ms\n    Decode Speed   : \\S+ FPS\n");
  static const std::regex decoded("Decoded Frames : (\\d+)\n");
  const std::string banner = cli::messages::Banner();
  if (report.out.starts_with(banner)) report.out.erase(0, banner.size());
  std::smatch match;
  if (std::regex_search(report.out, match, decoded)) {
    const std::string speed = std::to_string(4 * std::stoull(match[1]));
    report.out = std::regex_replace(report.out, time,
                                    "$01250.0 ms\n    Decode Speed   : " + speed + ".0 FPS\n");
  }
  return report;
}

class SomeDamage : public testing::TestWithParam<Sample> {
 protected:
  void CheckFile(const std::vector<uint8_t>& bytes) {
    const std::string path = (folder_ / "a.qolm").string();
    std::filesystem::remove(path);
    WriteBytes(path, bytes);
    const Findings inside = Judge(RunInfo(path), path, bytes);
    const Findings outside =
        Judge(WithScriptedClock(RunLimited(ConverterMain, {"info", path})), path, bytes);
    ASSERT_EQ(outside.complaint, "");
    EXPECT_EQ(outside.frames, inside.frames);
    EXPECT_EQ(outside.sound_line, inside.sound_line);

    const InfoReport exported = RunLimited(ExportMain, {path, "-", "--y4m"});
    EXPECT_EQ(exported.exit_code, exported.err.empty() ? 0 : 1) << exported.err;
    if (exported.err.empty()) {
      EXPECT_EQ(FramesOfY4m(exported.out), inside.frames);
      return;
    }
    EXPECT_EQ(exported.err.rfind("[-] Error: " + path + ": ", 0), 0U) << exported.err;
    EXPECT_EQ(exported.err.find('\n'), exported.err.size() - 1) << exported.err;
    EXPECT_LE(FramesOfY4m(exported.out), inside.frames);
  }

  static uint64_t FramesOfY4m(const std::string& y4m) {
    constexpr size_t kFrameBytes = 6 + kNumberedWidth * kNumberedHeight * 3 / 2;
    if (y4m.empty()) return 0;
    const size_t head = y4m.find('\n') + 1;
    EXPECT_EQ((y4m.size() - head) % kFrameBytes, 0U);
    return (y4m.size() - head) / kFrameBytes;
  }

  TemporaryFolder folder_;
};

TEST_P(SomeDamage, ThePrograms) {
  const SampleFile file = MakeSampleFile(GetParam());
  CheckFile(file.bytes);
  for (size_t length = 13; length < file.bytes.size(); length += 151) {
    CheckFile({file.bytes.begin(), file.bytes.begin() + static_cast<ptrdiff_t>(length)});
  }
  for (size_t bit = 3; bit < 8 * file.bytes.size(); bit += 307) {
    std::vector<uint8_t> bytes = file.bytes;
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ (1U << (bit % 8)));
    CheckFile(bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(SmallFiles, SomeDamage,
                         testing::Values(Sample::kFastStart, Sample::kMonolithic,
                                         Sample::kHeldFrames),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace qolm::test
