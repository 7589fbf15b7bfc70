// SPDX-License-Identifier: MIT
//
// The runs of both programs that the tests here disturb, each with what it
// leaves when nothing does.
#ifndef QOLM_TESTS_FAULTS_PROGRAM_CASE_H_
#define QOLM_TESTS_FAULTS_PROGRAM_CASE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "faults/clip.h"
#include "faults/faulted_run.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::test {

struct ProgramCase {
  const char* name;
  bool exports;  // by qolm2_export, else by encode
  const char* output;
  std::vector<std::string> options;

  friend void PrintTo(const ProgramCase& program_case, std::ostream* out) {
    *out << program_case.name;
  }
};

inline const ProgramCase kFastStart{"FastStart", false, "clip.qolm", {}};
inline const ProgramCase kMonolithic{"Monolithic", false, "clip.qolm", {"--monolithic"}};
inline const ProgramCase kBidirectional{
    "Bidirectional",
    false,
    "clip.qolm",
    {"--monolithic", "--interleave", "--bidirectional", "--gop", "5"}};
inline const ProgramCase kY4m{"Y4m", true, "clip.y4m", {}};
inline const ProgramCase kWav{"Wav", true, "clip.wav", {}};
inline const ProgramCase kPng{"Png", true, "clip.png", {"--frame", "2"}};

inline std::string CaseName(const testing::TestParamInfo<ProgramCase>& info) {
  return info.param.name;
}

// Whether `text` is one whole line that begins as errors do.
inline bool IsOneErrorLine(const std::string& text) {
  return text.starts_with("[-] Error: ") && text.ends_with('\n') &&
         std::count(text.begin(), text.end(), '\n') == 1;
}

class ProgramCaseTest : public testing::TestWithParam<ProgramCase> {
 protected:
  void MakeSource(const Clip& clip) {
    clip.Write(source_);
    if (GetParam().exports) {
      const FaultedRun encode = RunWithFault(ConverterMain, {"encode", source_, qolm_});
      ASSERT_EQ(encode.exit_code, 0) << encode.err;
    }
    const FaultedRun undisturbed = Run({});
    ASSERT_EQ(undisturbed.exit_code, 0) << undisturbed.err;
    whole_ = ReadFile(output_);
    // Of the output's kind, as it may be replaced.
    old_ = whole_.substr(0, 32) + "the old file";
    WriteFile(output_, old_);
  }

  std::string Input() const { return GetParam().exports ? qolm_ : source_; }
  std::string Part() const { return output_ + ".part"; }

  // Meets the fault in the calls that concern the output and its part file,
  // unless it names other files.
  FaultedRun Run(
      Fault fault, const std::vector<std::string>& further_options = {},
      const std::function<void()>& in_child = [] {}) const {
    const ProgramCase& program = GetParam();
    std::vector<std::string> words;
    if (!program.exports) words.emplace_back("encode");
    words.insert(words.end(), {Input(), output_});
    words.insert(words.end(), program.options.begin(), program.options.end());
    words.insert(words.end(), further_options.begin(), further_options.end());
    if (fault.files.empty()) fault.files = OutputFiles(output_);
    return RunWithFault(program.exports ? ExportMain : ConverterMain, words, fault, in_child);
  }

  // Frames that info decodes from `path`, which it must be able to open.
  static uint64_t FramesByInfo(const std::string& path) {
    const FaultedRun info = RunWithFault(ConverterMain, {"info", path});
    EXPECT_EQ(info.exit_code, 0) << info.err;
    EXPECT_EQ(info.err, "");
    const std::string label = "[+] Decoded Frames : ";
    const size_t at = info.out.find(label);
    EXPECT_NE(at, std::string::npos) << info.out;
    return at == std::string::npos ? 0 : std::stoull(info.out.substr(at + label.size()));
  }

  void ExpectSuccess(const FaultedRun& run) const {
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err.find("Error"), std::string::npos) << run.err;
    EXPECT_TRUE(ReadFile(output_) == whole_);
    EXPECT_FALSE(std::filesystem::exists(Part()));
  }

  // The run has failed, says so in one line with `reason`, and has changed nothing.
  void ExpectFailure(const FaultedRun& run, const std::string& reason) const {
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
    EXPECT_NE(run.err.find(output_), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(reason), std::string::npos) << run.err;
    EXPECT_TRUE(ReadFile(output_) == old_);
    // Where only the new name was refused, the finished file is left under the old one.
    if (run.err.find("The file is finished as " + Part() + " ") != std::string::npos) {
      EXPECT_TRUE(ReadFile(Part()) == whole_);
      std::filesystem::remove(Part());
    }
    EXPECT_FALSE(std::filesystem::exists(Part()));
  }

  const TemporaryFolder folder_;
  const std::string source_ = (folder_ / "clip.mkv").string();
  const std::string qolm_ = (folder_ / "source.qolm").string();
  std::string output_ = (folder_ / GetParam().output).string();
  std::string whole_;  // the output of an undisturbed run
  std::string old_;    // what stands in its place before the runs that are disturbed
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_FAULTS_PROGRAM_CASE_H_
