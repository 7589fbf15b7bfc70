// SPDX-License-Identifier: MIT
#include "cli/messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace qolm::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Usage, NamesTheProgramAsGivenOnEveryCommandLine) {
  EXPECT_THAT(messages::Usage("./some where/prog"),
              StartsWith("Usage:\n"
                         "  ./some where/prog encode <input> <output.qolm> [options]\n"
                         "  ./some where/prog info <file.qolm>\n"
                         "  ./some where/prog --help | --version\n"
                         "\nThe input may be a pipe or a device; - is standard input.\n"
                         "\nOptions of encode:\n"));
}

TEST(Usage, ListsEveryOptionWithItsDefault) {
  // clang-format off
  EXPECT_THAT(messages::Usage("p"), EndsWith(
      "\nOptions of encode:\n"
      "  --quality N                     picture quality, 1 to 100 (default 45)\n"
      "  --gop N                         most frames between two key frames (default 60)\n"
      "  --vfr / --no-vfr                count static frames instead of coding them (default on)\n"
      "  --gabor / --no-gabor            note the Gabor option in the file (default on)\n"
      "  --fast-start / --monolithic     index at the front or at the end of the file (default front)\n"
      "  --cclc / --no-cclc              predict colour from brightness in key frames (default on)\n"
      "  --frames N                      stop after N frames; counts and sound follow the whole source (default 0: no limit)\n"
      "  --audio PRESET                  sound preset, see below (default 32k)\n"
      "  --audio-mode MODE               sound coder, see below (default transform)\n"
      "  --no-audio                      leave the sound out (default: it is kept)\n"
      "  --overwrite                     replace an output that is not a QOLM file (default: refuse)\n"
      "\nFurther options of encode:\n"
      "  --[no-]interleave               sound between the pictures instead of in one block (default off)\n"
      "  --[no-]bidirectional            code every other frame between its neighbours (default off)\n"
      "  --[no-]adaptive-gop             up to twice as many frames between key frames while calm (default on)\n"
      "  --[no-]temporal-filter          quiet the brightness against the previous frame (default on)\n"
      "  --[no-]flat-blocks              drop faint detail of flat blocks in key frames (default on)\n"
      "  --[no-]sparse-levels            drop coefficients that cost more than they bring (default on)\n"
      "  --[no-]motion-prediction        predict motion vectors from their neighbours (default on)\n"
      "  --[no-]deblocking               soften the edges of blocks (default on)\n"
      "  --[no-]pre-analysis             look for the motion of the whole picture first (default on)\n"
      "\nSound presets:\n"
      "  32k, speech                     32000 Hz, mono (default)\n"
      "  24k                             24000 Hz, mono\n"
      "  cd                              44100 Hz, stereo\n"
      "  48k                             48000 Hz, stereo\n"
      "  off, none                       no sound\n"
      "\nSound coders:\n"
      "  transform, mdct                 transform coder (default)\n"
      "  adpcm                           ADPCM coder\n"));
  // clang-format on
}

TEST(Texts, ErrorLinesEndWithThePathInQuestion) {
  EXPECT_EQ(messages::InputOpenError("No such file or directory", "in \xC3\xA4.mp4"),
            "[-] Error: Cannot open input video (No such file or directory): in \xC3\xA4.mp4\n");
  EXPECT_EQ(messages::OutputOpenError("Is a directory", "out"),
            "[-] Error: Cannot open output file (Is a directory): out\n");
  EXPECT_EQ(messages::WriteError("No space left on device", "out"),
            "[-] Error: Cannot write output file (No space left on device): out\n");
  EXPECT_THAT(messages::RenameError("r", "out.part", "out"), EndsWith(": out\n"));
  EXPECT_THAT(messages::InterruptedWithPart(7, "out.part"), EndsWith(": out.part\n"));
  EXPECT_THAT(messages::InterruptedWithNothing("out"), EndsWith(": out\n"));
  EXPECT_THAT(messages::ContainerOpenError("r", "a.qolm"), EndsWith(": a.qolm\n"));
}

TEST(Texts, InformationIsMarkedAndOneLineLong) {
  for (const std::string& line :
       {messages::AudioNotReadNotice("r"), messages::SourceNotice("p"),
        messages::AudioTruncatedNotice("r"), messages::DamagedAudioNotice(3),
        messages::AudioOffNotice(), messages::IndexAtEndNotice(), messages::EarlyEndNotice(10, 300),
        messages::FewerFramesDecodedNotice(10, 300)}) {
    EXPECT_THAT(line, StartsWith("[+] "));
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
  }
  EXPECT_NE(messages::AudioNotReadNotice(""), messages::AudioOffNotice());
}

TEST(Texts, TheEarlyEndNoticeNamesBothCounts) {
  EXPECT_THAT(messages::EarlyEndNotice(10, 300), HasSubstr("10 of 300"));
}

TEST(Banner, NamesTheProgramAndItsVersion) {
  EXPECT_TRUE(std::regex_match(messages::Banner(),
                               std::regex("QOLM Converter [0-9]+\\.[0-9]+\\.[0-9]+\n(.+\n)+\n")));
}

}  // namespace
}  // namespace qolm::cli
