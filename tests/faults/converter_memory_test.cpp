// SPDX-License-Identifier: MIT
//
// encode and info while one allocation after the other fails.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "faults/called_main.h"
#include "faults/clip.h"
#include "faults/memory_sweep.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOld = "QLM2: the old file";
constexpr const char* kWithoutSound = "[+] Note: no sound could be read";
constexpr const char* kOutOfMemory = "[-] Error: out of memory\n";

class ConverterMemory : public testing::Test {
 protected:
  std::string Encoded(std::vector<std::string> options) {
    options.insert(options.begin(), {"encode", input_, output_});
    fs::remove(output_);
    const MainCall call = main_.Call(options);
    EXPECT_EQ(call.exit_code, 0) << call.err;
    return ReadFile(output_);
  }

  // The output is whole or it is the old one, and the exit code tells which. Sound
  // for which there is no memory is left out as other sound that cannot be read.
  void SweepEncode(const std::vector<std::string>& options, const AllocationFault& fault = {},
                   uint64_t stride = 1) {
    const std::string whole = Encoded(options);
    std::vector<std::string> words = options;
    words.emplace_back("--no-audio");
    const std::string without_sound = Encoded(words);
    words = {"encode", input_, output_};
    words.insert(words.end(), options.begin(), options.end());
    int failed_runs = 0;
    SweepAllocations(
        main_, words, fault, stride, [this] { WriteFile(output_, kOld); },
        [&](const MainCall& call) {
          const bool has_sound = call.out.find(kWithoutSound) == std::string::npos;
          const std::string output = ReadFile(output_);
          const bool is_whole = output == (has_sound ? whole : without_sound);
          EXPECT_FALSE(fs::exists(output_ + ".part"));
          EXPECT_EQ(call.err, call.exit_code == 0 ? "" : kOutOfMemory);
          EXPECT_TRUE(is_whole || (call.exit_code == 1 && output == kOld));
          failed_runs += call.exit_code;
        });
    EXPECT_GT(failed_runs, 10);
  }

  const TemporaryFolder folder_;
  const std::string input_ = (folder_ / "clip.mkv").string();
  const std::string output_ = (folder_ / "clip.qolm").string();
  CalledMain main_{ConverterMain};
};

TEST_F(ConverterMemory, OneRefusalInAFastStartFile) {
  Clip{.width = 32, .height = 32, .frames = 8}.Write(input_);
  SweepEncode({});
}

TEST_F(ConverterMemory, OneRefusalAmongBidirectionalFramesAndPiecesOfSound) {
  Clip{.width = 32, .height = 32, .frames = 8}.Write(input_);
  SweepEncode({"--monolithic", "--interleave", "--bidirectional", "--gop", "5"});
}

TEST_F(ConverterMemory, OneRefusalInAWorker) {
  Clip{.width = 256, .height = 144, .frames = 3}.Write(input_);
  SweepEncode({"--bidirectional"});
}

TEST_F(ConverterMemory, NothingButRefusalsFromOneOn) {
  Clip{.width = 32, .height = 32, .frames = 8}.Write(input_);
  SweepEncode({"--interleave", "--bidirectional"}, {.from_then = true}, 3);
}

// The lines of what info prints but those that tell times.
std::string WithoutTimes(const std::string& text) {
  return std::regex_replace(text, std::regex("    Decode (Time|Speed) [^\n]*\n"), "");
}

TEST_F(ConverterMemory, OneRefusalInInfo) {
  Clip{.width = 256, .height = 144, .frames = 6}.Write(input_);
  for (const bool is_interleaved : {false, true}) {
    Encoded(is_interleaved ? std::vector<std::string>{"--interleave", "--bidirectional"}
                           : std::vector<std::string>{"--monolithic"});
    const std::vector<std::string> words = {"info", output_};
    const std::string whole = WithoutTimes(main_.Call(words).out);
    const std::string without_sound =
        std::regex_replace(whole, std::regex("    Audio [^\n]*\n"), "");
    ASSERT_NE(whole, without_sound);
    SweepAllocations(
        main_, words, {}, 1, [] {},
        [&](const MainCall& call) {
          const std::string out = WithoutTimes(call.out);
          EXPECT_EQ(call.err, call.exit_code == 0 ? "" : kOutOfMemory);
          EXPECT_TRUE(call.exit_code == 1 || out == whole || out == without_sound) << out;
        });
  }
}

}  // namespace
}  // namespace qolm::test
