// SPDX-License-Identifier: MIT
//
// Sources that are cut, damaged, or changed under the program while it reads them.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <random>
#include <regex>

#include "faults/clip.h"
#include "faults/faulted_run.h"
#include "faults/program_case.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

namespace fs = std::filesystem;

struct Form {
  const char* ending;
  const char* picture_codec;
  const char* sound_codec;
};

constexpr int kSourceFrames = 20;

class SourceFaults : public testing::TestWithParam<Form> {
 protected:
  void SetUp() override {
    Clip clip{.width = 96, .height = 64, .frames = kSourceFrames};
    clip.picture_codec = GetParam().picture_codec;
    clip.sound_codec = GetParam().sound_codec;
    clip.Write(source_);
    content_ = ReadFile(source_);
    ASSERT_EQ(Encode({}).exit_code, 0);
    whole_ = ReadFile(output_);
  }

  FaultedRun Encode(Fault fault) {
    fault.files = {source_};
    fs::remove(output_);
    return RunWithFault(ConverterMain, {"encode", source_, output_}, fault);
  }

  // The number behind `label` in `text`, or -1.
  static int64_t NumberBehind(const std::string& label, const std::string& text) {
    const size_t at = text.find(label);
    return at == std::string::npos ? -1 : std::stoll(text.substr(at + label.size()));
  }

  // Either there is a file that holds what the program says, or one error line that
  // names the source, and no file.
  void ExpectHonest(const FaultedRun& run) {
    EXPECT_FALSE(fs::exists(output_ + ".part"));
    if (run.exit_code != 0) {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
      EXPECT_NE(run.err.find(source_), std::string::npos) << run.err;
      EXPECT_FALSE(fs::exists(output_));
      return;
    }
    EXPECT_EQ(run.err, "");
    const FaultedRun info = RunWithFault(ConverterMain, {"info", output_});
    EXPECT_EQ(info.exit_code, 0);
    EXPECT_EQ(info.err, "");
    const int64_t frames = NumberBehind("  Total Frames Processed : ", run.out);
    EXPECT_GE(frames, 0);
    EXPECT_EQ(NumberBehind("    Frames    : ", info.out), frames);
    EXPECT_EQ(NumberBehind("[+] Decoded Frames : ", info.out), frames);
    const bool said_no_sound = run.out.find("no sound could be read") != std::string::npos;
    EXPECT_EQ(info.out.find("    Audio     : ") == std::string::npos, said_no_sound);
    ++files_;
    frames_ = frames;
  }

  // Frames and sound that could not be read are told, even where nobody knows how
  // many there are.
  void ExpectReadFailureTold(const FaultedRun& run) const {
    if (run.exit_code != 0 || ReadFile(output_) == whole_) return;
    const auto said = [&run](const char* text) { return run.out.find(text) != std::string::npos; };
    const bool told = said("the source could not be read to its end (Input/output error)");
    const bool told_of_sound =
        said("the sound could not be read to its end (Input/output error)") ||
        said("no sound could be read");
    EXPECT_TRUE(told || (frames_ == kSourceFrames && told_of_sound)) << run.out;
  }

  const TemporaryFolder folder_;
  const std::string source_ = (folder_ / (std::string("clip.") + GetParam().ending)).string();
  const std::string output_ = (folder_ / "clip.qolm").string();
  std::string content_;  // of the source
  std::string whole_;    // the output of an undisturbed run
  int files_ = 0;        // that runs have left
  int64_t frames_ = 0;   // of the last of them
};

TEST_P(SourceFaults, CutAnywhere) {
  constexpr size_t kPlaces = 20;
  for (size_t place = 0; place < kPlaces && !HasFailure(); ++place) {
    const size_t bytes = place * content_.size() / kPlaces + place;
    SCOPED_TRACE(std::to_string(bytes) + " bytes");
    WriteFile(source_, content_.substr(0, bytes));
    ExpectHonest(Encode({}));
  }
  // The index of this one stands at its end, and without it nothing can be read.
  if (GetParam().ending != std::string("mp4")) {
    EXPECT_GT(files_, 10);
  }
}

TEST_P(SourceFaults, DamagedAnywhere) {
  for (uint32_t seed = 1; seed <= 20 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 chance(seed);
    std::string damaged = content_;
    // From single bytes to long stretches, the head of the file among them.
    for (uint32_t place = 0; place < seed; ++place) {
      size_t at = chance() % (place % 4 == 3 ? 1024 : damaged.size());
      const size_t end = std::min<size_t>(damaged.size(), at + (1u << chance() % (seed / 2 + 1)));
      for (; at < end; ++at) damaged[at] = static_cast<char>(chance());
    }
    WriteFile(source_, damaged);
    ExpectHonest(Encode({}));
  }
  EXPECT_GT(files_, 5);
}

// Reads fail, or the file changes before them.
TEST_P(SourceFaults, ChangedWhileItIsRead) {
  const std::string size = std::to_string(content_.size());
  const std::string half = std::to_string(content_.size() / 2);
  for (const std::string& action :
       {"e" + std::to_string(EIO), "t" + half, std::string("t0"), "g" + size, std::string("u")}) {
    // Every few calls: there are far more of them than ways to meet them.
    for (uint64_t at = 1; !HasFailure(); at += 1 + at / 3) {
      SCOPED_TRACE(action + " before read " + std::to_string(at));
      fs::remove(source_);
      WriteFile(source_, content_);
      const FaultedRun run = Encode({.call = "read", .action = action, .at = at});
      if (run.faults == 0) {
        EXPECT_GT(run.calls, 0u);
        EXPECT_TRUE(ReadFile(output_) == whole_);
        break;
      }
      // The size of what is gone cannot be told, which costs the statistics only.
      if (action == "u" && run.exit_code == 1 && fs::exists(output_)) {
        EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
        EXPECT_NE(run.err.find(source_), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(output_ + ".part"));
        continue;
      }
      ExpectHonest(run);
      if (action.front() == 'e') ExpectReadFailureTold(run);
    }
  }
}

TEST_P(SourceFaults, ReadsThatFailForEver) {
  for (uint64_t at = 1; !HasFailure(); at += 1 + at / 3) {
    SCOPED_TRACE("from read " + std::to_string(at) + " on");
    const FaultedRun run = Encode({.call = "read", .action = "e5", .at = at, .from_then = true});
    if (run.faults == 0) break;
    ExpectHonest(run);
    ExpectReadFailureTold(run);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, SourceFaults,
                         testing::Values(Form{"mp4", "mpeg4", "aac"}, Form{"mkv", "mpeg4", "flac"},
                                         Form{"ts", "mpeg2video", "mp2"},
                                         Form{"avi", "mjpeg", "pcm_s16le"}),
                         [](const auto& form) { return std::string(form.param.ending); });

// A finished file whose disk fails while it is read back.
class ReadingBack : public testing::Test {
 protected:
  ReadingBack() {
    const std::string source = (folder_ / "clip.mkv").string();
    Clip{.width = 96, .height = 64, .frames = 12}.Write(source);
    const FaultedRun encode =
        RunWithFault(ConverterMain, {"encode", source, input_, "--interleave"});
    EXPECT_EQ(encode.exit_code, 0) << encode.err;
  }

  FaultedRun Run(CalledProgram program, const std::vector<std::string>& words, uint64_t at) {
    return RunWithFault(program, words,
                        {.files = {input_}, .call = "read", .action = "e5", .at = at});
  }

  const TemporaryFolder folder_;
  const std::string input_ = (folder_ / "clip.qolm").string();
};

TEST_F(ReadingBack, InfoTellsWhatItCouldNotDecode) {
  for (uint64_t at = 1; !HasFailure(); ++at) {
    SCOPED_TRACE("read " + std::to_string(at));
    const FaultedRun run = Run(ConverterMain, {"info", input_}, at);
    if (run.faults == 0) break;
    if (run.exit_code == 1) {
      EXPECT_TRUE(IsOneErrorLine(run.err)) << run.err;
      continue;
    }
    EXPECT_EQ(run.exit_code, 0);
    const bool all = run.out.find("[+] Decoded Frames : 12\n") != std::string::npos;
    EXPECT_EQ(run.out.find("could be decoded") == std::string::npos, all) << run.out;
  }
}

TEST_F(ReadingBack, ExportsSayThatFramesAreMissing) {
  const std::string output = (folder_ / "clip.y4m").string();
  ASSERT_EQ(Run(ExportMain, {input_, output}, 0).exit_code, 0);
  const std::string whole = ReadFile(output);
  for (uint64_t at = 1; !HasFailure(); ++at) {
    SCOPED_TRACE("read " + std::to_string(at));
    fs::remove(output);
    const FaultedRun run = Run(ExportMain, {input_, output}, at);
    EXPECT_FALSE(fs::exists(output + ".part"));
    if (run.exit_code == 0) {
      EXPECT_TRUE(ReadFile(output) == whole);
    } else {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_NE(run.err.find("[-] Error: "), std::string::npos) << run.err;
    }
    if (run.faults == 0) break;
  }
}

}  // namespace
}  // namespace qolm::test
