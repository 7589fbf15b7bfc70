// SPDX-License-Identifier: MIT
//
// Whole conversions with a scripted source and a scripted clock, byte for byte.
#include <tuple>

#include "audio/audio_coding_mode.h"
#include "cli/info_command.h"
#include "conversion_fixture.h"
#include "output/part_file.h"

namespace qolm::cli {
namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST_F(ConversionTest, TheWholeReport) {
  script_.frames = 25;
  script_.duration_100ns = 10'000'000;  // 25 frames
  script_.before_frame = [this](int) { now_ += milliseconds(40); };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  const double raw_bytes = 25.0 * 32 * 16 * 4;
  const double output_bytes = static_cast<double>(fs::file_size(output_));
  EXPECT_EQ(out_.str(),
            InputReport("    Duration   : 1 s (25 frames)\n") + kNoSound + kSettings +
                "\r    Processed frames: 10/25 (40% | ETA 0m0s) \xE2\x80\xA2 25 FPS (VFR Skip: 0)"
                "\r    Processed frames: 20/25 (80% | ETA 0m0s) \xE2\x80\xA2 25 FPS (VFR Skip: 0)"
                "\n[+] Encoding statistics:\n"
                "  Total Frames Processed : 25\n"
                "  VFR Static Slides Skip : 0 frames (0.0% savings)\n"
                "  Encoding Time          : 1000.0 ms (25.0 FPS)\n"
                "  Original File Size     : 3.0 KB\n"
                "  QOLM File Size         : " +
                OutputKilobytes() +
                " KB\n"
                "  Compression vs Raw     : " +
                FixedNumber(100.0 - output_bytes * 100.0 / raw_bytes, 1) +
                "%\n"
                "[+] Done.\n");
  EXPECT_EQ(FramesIn(output_), 25U);
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(ConversionTest, StaticFramesAreCountedAsSavings) {
  script_.frames = 12;
  script_.moving = false;
  script_.before_frame = [this](int) { now_ += milliseconds(1000); };
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("\r    Processed frames: 10 \xE2\x80\xA2 1 FPS (VFR Skip: 9)"
                                    "\n[+] Encoding statistics:\n"));
  EXPECT_THAT(out_.str(), HasSubstr("  VFR Static Slides Skip : 11 frames (91.7% savings)\n"));
  EXPECT_EQ(FramesIn(output_), 12U);
}

TEST_F(ConversionTest, ASourceWithoutFrames) {
  script_.frames = 0;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::StartsWith(InputReport() + kNoSound + kSettings +
                                              "[+] Note: the source delivered no frame; the file "
                                              "holds no picture.\n"
                                              "\n[+] Encoding statistics:\n"
                                              "  Total Frames Processed : 0\n"
                                              "  VFR Static Slides Skip : 0 frames (0.0% "
                                              "savings)\n"
                                              "  Encoding Time          : 0.0 ms ("));
  EXPECT_THAT(out_.str(), EndsWith("  Compression vs Raw     : -inf%\n[+] Done.\n"));
  EXPECT_THAT(out_.str(), Not(HasSubstr("Processed frames")));
  EXPECT_EQ(FramesIn(output_), 0U);
}

TEST_F(ConversionTest, TheFrameLimitEndsTheLoopExactly) {
  script_.frames = 1000;
  script_.duration_100ns = 400'000'000;
  int delivered = 0;
  script_.before_frame = [&](int) {
    ++delivered;
    now_ += milliseconds(100);
  };
  options_.frame_limit = 25;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(delivered, 25);
  EXPECT_THAT(out_.str(), HasSubstr("  Total Frames Processed : 25\n"));
  EXPECT_THAT(out_.str(),
              HasSubstr("\r    Processed frames: 10/1000 (1% | ETA 1m39s) \xE2\x80\xA2 10 FPS "
                        "(VFR Skip: 0)"
                        "\r    Processed frames: 20/1000 (2% | ETA 1m38s) \xE2\x80\xA2 10 FPS "
                        "(VFR Skip: 0)"
                        "\n[+] Encoding statistics:\n"));
  EXPECT_THAT(out_.str(), Not(HasSubstr("ended early")));  // the limit ended it
}

TEST_F(ConversionTest, ALimitBelowOneIsNone) {
  script_.frames = 3;
  for (const int32_t limit : {0, -1}) {
    options_.frame_limit = limit;
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(FramesIn(output_), 3U);
  }
}

TEST_F(ConversionTest, AnEarlyEndIsToldWithBothCounts) {
  script_.frames = 30;
  script_.duration_100ns = 40'000'000;  // 100 frames
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(),
              HasSubstr("30% | ETA 0m0s) \xE2\x80\xA2 30000 FPS (VFR Skip: 0)\n"
                        "[+] Note: the source ended early, after 30 of 100 expected frames.\n"
                        "\n[+] Encoding statistics:\n"));
  EXPECT_THAT(out_.str(), EndsWith("%\n[+] Done.\n"));
}

TEST_F(ConversionTest, AFewMissingFramesAreNoEarlyEnd) {
  const auto expect_told = [this](int frames, bool told) {
    script_.frames = frames;
    out_.str("");
    EXPECT_EQ(Run(), 0);
    const std::string counts = " " + std::to_string(frames) + " of 100 expected frames.\n";
    EXPECT_EQ(out_.str().find(counts) != std::string::npos, told) << frames;
    EXPECT_EQ(out_.str().find("ended early") != std::string::npos, told) << frames;
  };
  script_.duration_100ns = 40'000'000;  // 100 frames
  expect_told(95, false);
  expect_told(94, true);
  script_.fps_numerator = 1;  // five of a hundred would be more than two seconds
  script_.duration_100ns = 1'000'000'000;
  expect_told(98, false);
  expect_told(97, true);
}

TEST_F(ConversionTest, AnIndexThatOutgrewItsRecordIsToldAtTheEnd) {
  script_.width = 1;
  script_.height = 1;
  script_.frames = 8193;
  options_ = ParseEncodeOptions({"--no-vfr"}, 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("Stream: FAST-START)...\n"));
  EXPECT_THAT(out_.str(), HasSubstr(" FPS (VFR Skip: 0)\n[+] Note: more records than the front "
                                    "index can hold; the index goes to the end of the file.\n"
                                    "\n[+] Encoding statistics:\n"));
  EXPECT_THAT(out_.str(), EndsWith("%\n[+] Done.\n"));
}

TEST_F(ConversionTest, SettingsReachTheFile) {
  script_.frames = 2;
  options_ = ParseEncodeOptions(
      {"--monolithic", "--no-vfr", "--no-cclc", "--no-gabor", "--gop", "7", "--quality", "90"}, 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("(Quality: 90, GOP: 7, VFR: OFF, Gabor: OFF, CCLC: OFF, "
                                    "Stream: MONOLITHIC)...\n"));
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(output_));
  EXPECT_EQ(reader.header().gop, 7);
  EXPECT_EQ(reader.header().width, 32);
  EXPECT_EQ(reader.header().height, 16);
  EXPECT_EQ(reader.header().fps_num, 25U);
  EXPECT_EQ(reader.header().fps_den, 1U);
  EXPECT_EQ(reader.header().flags & (container::kFlagFastStart | container::kFlagVfr |
                                     container::kFlagCclc | container::kFlagGabor),
            0);
}

class BidirectionalConversion : public ConversionTest {
 protected:
  BidirectionalConversion() { options_ = ParseEncodeOptions({"--bidirectional"}, 0); }

  // What info says of a file of `frames` frames, at 100 milliseconds a call of its clock.
  static void ExpectInfo(const std::string& path, int frames, const std::string& seconds) {
    std::ostringstream out;
    std::ostringstream err;
    int calls = 0;
    EXPECT_EQ(RunInfoCommand(path, out, err, [&calls] { return milliseconds(100 * calls++); }), 0);
    EXPECT_EQ(err.str(), "");
    const std::string count = std::to_string(frames);
    EXPECT_EQ(out.str(),
              "[+] Opening QOLM v2 file: " + path +
                  "\n    Resolution: 32x16\n    FPS       : 25/1\n    Frames    : " + count +
                  "\n    Duration  : " + seconds +
                  " s\n    Flags     : 0xdf7f [Fast-Start]\n[+] Decoded Frames : " + count +
                  "\n    Decode Time    : 100.0 ms\n    Decode Speed   : " +
                  FixedNumber(10.0 * frames, 1) + " FPS\n");
  }
};

TEST_F(BidirectionalConversion, EveryOtherFrameIsStoredBehindTheNext) {
  script_.frames = 13;  // so different that the eleventh behind a key frame is one
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_EQ(RecordsIn(output_), "1@0 2@2 4@1 2@4 4@3 2@6 4@5 2@8 4@7 2@10 4@9 1@11 2@12");
  ExpectInfo(output_, 13, "0.52");
}

TEST_F(BidirectionalConversion, TheFrameLimitLosesNoHeldFrame) {
  script_.frames = 100;
  for (const auto& [limit, records, seconds] :
       {std::tuple{4, "1@0 2@2 4@1 2@3", "0.16"}, {5, "1@0 2@2 4@1 2@4 4@3", "0.2"}}) {
    options_.frame_limit = limit;
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(RecordsIn(output_), records);
    ExpectInfo(output_, limit, seconds);
  }
}

TEST_F(BidirectionalConversion, AnInterruptLosesNoHeldFrame) {
  script_.frames = 100;
  script_.before_frame = [this](int frame) { interrupted_ = frame == 3; };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(
      err_.str(),
      "[-] Error: Interrupted after 4 frames; these are kept in a playable file: " + Part() + "\n");
  EXPECT_EQ(RecordsIn(Part()), "1@0 2@2 4@1 2@3");
  ExpectInfo(Part(), 4, "0.16");
  EXPECT_FALSE(fs::exists(output_));
}

TEST_F(BidirectionalConversion, AFrameHeldToTheEndComesBeforeItsRepeats) {
  script_.frames = 6;
  script_.still_from = 1;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(RecordsIn(output_), "1@0 2@1 5x4@2");
  ExpectInfo(output_, 6, "0.24");
}

TEST_F(ConversionTest, MoreRecordsThanAnIndexMayHoldAreToldAndTheIndexGoesToTheEnd) {
  script_.frames = 2;
  script_.duration_100ns = int64_t{1'000'001} * 400'000;  // so many frames
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(),
              HasSubstr("[+] Note: more records than the front index can hold; the index goes to "
                        "the end of the file.\n"
                        "[+] Encoding video (Quality: 45, GOP: 60, VFR: ON, Gabor: ON, CCLC: ON, "
                        "Stream: MONOLITHIC)...\n"));
  const std::string notice = "more records than the front index can hold";
  EXPECT_EQ(out_.str().find(notice), out_.str().rfind(notice)) << "told once";
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(output_));
  EXPECT_EQ(reader.header().flags & container::kFlagFastStart, 0);
  EXPECT_LT(fs::file_size(output_), 65'536U);  // no room is reserved in front
}

TEST_F(ConversionTest, ALimitThatKeepsTheRecordsFewKeepsTheIndexInFront) {
  script_.frames = 20;
  script_.duration_100ns = int64_t{1'000'001} * 400'000;  // so many frames
  for (const auto& [limit, in_front] : {std::pair{10, true}, {1'000'001, false}, {-1, false}}) {
    options_.frame_limit = limit;
    out_.str("");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(out_.str().find("more records than") == std::string::npos, in_front) << limit;
    EXPECT_THAT(out_.str(), HasSubstr(in_front ? "Stream: FAST-START" : "Stream: MONOLITHIC"));
    // What is shown follows the whole source.
    EXPECT_THAT(out_.str(), HasSubstr("Processed frames: 10/1000001 (0% | "));
    container::ContainerReader reader;
    ASSERT_TRUE(reader.open(output_));
    EXPECT_EQ((reader.header().flags & container::kFlagFastStart) != 0, in_front) << limit;
  }
}

TEST_F(ConversionTest, ReadingTheSoundIsShownOnATerminal) {
  script_.frames = 2;
  script_.duration_100ns = 36'000'000'000;  // an hour
  sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
  seconds_read_ = {100, 1999.6, 2100, 40};
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  const std::string report = out_.str().substr(0, out_.str().find("\n[+] Encoding statistics"));

  errors_on_terminal_ = true;
  out_.str("");
  now_ = {};
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(),
            "\r    Reading the audio: 2000 of 3600 s"
            "\r    Reading the audio: 40 of 3600 s  "
            "\r                                   \r");
  EXPECT_EQ(out_.str().substr(0, report.size()), report);  // not a byte more
}

TEST_F(ConversionTest, CodingALongTrackIsShownOnATerminal) {
  script_.frames = 1;
  errors_on_terminal_ = true;
  for (const uint16_t channels : {uint16_t{1}, uint16_t{2}}) {
    for (const auto& [seconds, shown] : {std::pair{600, true}, {599, false}}) {
      err_.str("");
      const size_t values = size_t{100} * channels * static_cast<size_t>(seconds);
      sound_ = PcmTrack{100, channels, std::vector<int16_t>(values)};
      EXPECT_EQ(Run(), 0);
      EXPECT_EQ(err_.str(),
                shown ? "\r    Coding the audio: 600 s\r                           \r" : "");
    }
  }
}

TEST_F(ConversionTest, SoundIsReportedMono) {
  sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(asked_rate_, 32000);
  EXPECT_EQ(asked_channels_, 1);
  EXPECT_THAT(out_.str(), HasSubstr("25 fps\n[+] Audio Stream       : 32000 Hz, Mono (1 ch) (~108 "
                                    "kbps ADPCM+rANS, 3200 samples)\n[+] Encoding video"));
}

TEST_F(ConversionTest, SoundIsReportedStereo) {
  options_ = ParseEncodeOptions({"--audio", "48k"}, 0);
  sound_ = PcmTrack{48000, 2, std::vector<int16_t>(4801)};
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(asked_rate_, 48000);
  EXPECT_EQ(asked_channels_, 2);
  EXPECT_THAT(out_.str(), HasSubstr("[+] Audio Stream       : 48000 Hz, Stereo (2 ch) (~326 kbps "
                                    "ADPCM+rANS, 2400 samples)\n"));
}

TEST_F(ConversionTest, DamagedSoundIsReportedInSeconds) {
  sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
  for (const auto& [seconds, shown] :
       {std::pair{12.3456, "12.35"}, {0.021, "0.02"}, {0.0001, "0.01"}}) {
    damaged_seconds_ = seconds;
    options_ = ParseEncodeOptions({"--frames", "1", "--overwrite"}, 0);
    out_.str("");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(out_.str(), HasSubstr(std::string("3200 samples)\n[+] Note: ") + shown +
                                      " s of the sound of the source are damaged; what could "
                                      "not be decoded is silent.\n[+] Encoding"));
  }
}

TEST_F(ConversionTest, UndamagedSoundIsNotReported) {
  sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), Not(HasSubstr("damaged")));
}

TEST_F(ConversionTest, SoundCutShortIsTold) {
  sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
  sound_failure_ = "Input/output error";
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(),
              HasSubstr("3200 samples)\n[+] Note: the sound could not be read to its end "
                        "(Input/output error); the file holds what came before.\n"));
}

TEST_F(ConversionTest, SoundSwitchedOffIsNotRead) {
  options_.audio.enabled = 0;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(sound_reads_, 0);
  EXPECT_THAT(out_.str(), HasSubstr(std::string("25 fps\n") + kSoundOff + kSettings));
}

TEST_F(ConversionTest, AnInputThatDoesNotOpen) {
  script_.open_failure = "no video stream";
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(out_.str(), "");
  EXPECT_EQ(err_.str(), "[-] Error: Cannot open input video (no video stream): " + input_ + "\n");
  EXPECT_FALSE(fs::exists(output_));
  EXPECT_FALSE(fs::exists(Part()));
  EXPECT_EQ(sound_reads_, 0);
}

TEST_F(ConversionTest, APictureTooLargeForTheFormat) {
  script_.width = 16385;
  script_.height = 1;
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(),
            "[-] Error: Cannot open output file (pictures larger than 16384x16384 cannot be "
            "stored): " +
                output_ + "\n");
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(ConversionTest, AnInterruptKeepsAPlayablePart) {
  WriteFile(output_, "QLM2: the old file");
  script_.frames = 100;
  script_.before_frame = [this](int frame) { interrupted_ = frame == 14; };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(),
            "[-] Error: Interrupted after 15 frames; these are kept in a playable "
            "file: " +
                Part() + "\n");
  EXPECT_THAT(out_.str(), EndsWith(" \xE2\x80\xA2 10000 FPS (VFR Skip: 0)\n"));
  EXPECT_EQ(FramesIn(Part()), 15U);
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
}

TEST_F(ConversionTest, AnInterruptBeforeTheFirstFrameLeavesNothing) {
  script_.frames = 100;
  interrupted_ = true;
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(), "[-] Error: Interrupted before the first frame; nothing was written: " +
                            output_ + "\n");
  EXPECT_FALSE(fs::exists(Part()));
  EXPECT_FALSE(fs::exists(output_));
}

TEST_F(ConversionTest, AnInterruptWhileTheInputIsOpenedLeavesNothing) {
  for (const char* const failure : {"", "Immediate exit requested"}) {
    script_.open_failure = failure;
    script_.while_opening = [this] { interrupted_ = true; };
    out_.str("");
    err_.str("");
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(err_.str(), "[-] Error: Interrupted before the first frame; nothing was written: " +
                              output_ + "\n");
    EXPECT_EQ(out_.str(), "");
    EXPECT_EQ(sound_reads_, 0);
    EXPECT_FALSE(fs::exists(Part()));
  }
}

TEST_F(ConversionTest, DamagedAndLeftOutPicturesAreCountedInNotices) {
  script_.frames = 5;
  script_.losses = {31, 10, 120};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(
      out_.str(),
      HasSubstr("[+] Note: 31 pictures of the source are damaged; what could not be decoded "
                "shows the picture before it.\n"
                "[+] Note: 10 of 120 pictures lie closer together than the frame rate and "
                "were left out.\n"));
}

TEST_F(ConversionTest, OnePictureIsDamagedAndFewLeftOutAreNotWorthAWord) {
  script_.frames = 5;
  script_.losses = {1, 2, 120};
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("[+] Note: 1 picture of the source is damaged; what could not "
                                    "be decoded shows the picture before it.\n"));
  EXPECT_THAT(out_.str(), Not(HasSubstr("left out")));
}

// The source sees the interrupt too, and ends for it.
TEST_F(ConversionTest, AnInterruptThatEndsTheSourceKeepsAPlayablePart) {
  script_.frames = 7;
  script_.before_end = [this] { interrupted_ = true; };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(
      err_.str(),
      "[-] Error: Interrupted after 7 frames; these are kept in a playable file: " + Part() + "\n");
  EXPECT_FALSE(fs::exists(output_));
}

TEST_F(ConversionTest, AnInterruptWhileTheSoundIsReadLeavesNothing) {
  for (const bool read : {false, true}) {
    script_.frames = 3;
    int delivered = 0;
    script_.before_frame = [&delivered](int) { ++delivered; };
    if (read) sound_ = PcmTrack{32000, 1, std::vector<int16_t>(3200)};
    interrupted_ = false;
    during_sound_ = [this] { interrupted_ = true; };
    out_.str("");
    err_.str("");
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(err_.str(), "[-] Error: Interrupted before the first frame; nothing was written: " +
                              output_ + "\n");
    EXPECT_THAT(out_.str(), Not(HasSubstr("Encoding video")));
    EXPECT_THAT(out_.str(), Not(HasSubstr("Note")));
    EXPECT_EQ(delivered, 0);
    EXPECT_FALSE(fs::exists(output_));
    EXPECT_FALSE(fs::exists(Part()));
  }
}

// The head of the file, with the whole track in it, is written after the coding.
TEST_F(ConversionTest, AnInterruptWhileTheSoundIsCodedLeavesNothing) {
  script_.frames = 3;
  int delivered = 0;
  script_.before_frame = [&delivered](int) { ++delivered; };
  sound_ = PcmTrack{8000, 1, std::vector<int16_t>(1'000'000)};
  for (const auto mode : {audio::AudioCodingMode::kAdpcm, audio::AudioCodingMode::kTransform}) {
    options_.settings.audio_coding_mode = mode;
    interrupted_ = false;
    questions_ = 0;
    // One between reading and coding, one before the first batch of the coder.
    during_sound_ = [this] { interrupting_question_ = questions_ + 3; };
    out_.str("");
    err_.str("");
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(err_.str(), "[-] Error: Interrupted before the first frame; nothing was written: " +
                              output_ + "\n");
    EXPECT_THAT(out_.str(), EndsWith(", 1000000 samples)\n"));
    EXPECT_EQ(delivered, 0);
    EXPECT_FALSE(fs::exists(output_));
    EXPECT_FALSE(fs::exists(Part()));
  }
}

TEST_F(ConversionTest, AnInterruptAfterTheLastFrameChangesNothing) {
  script_.frames = 5;
  options_.frame_limit = 5;
  script_.before_frame = [this](int frame) { interrupted_ = frame == 4; };
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(FramesIn(output_), 5U);
}

TEST_F(ConversionTest, AnInputThatVanishesRaisesTheFileSystemError) {
  script_.frames = 12;
  script_.before_frame = [this](int frame) {
    if (frame == 11) fs::remove(input_);
  };
  try {
    Run();
    ADD_FAILURE() << "nothing thrown";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.path1(), input_);
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    EXPECT_THAT(error.what(), HasSubstr("The output is complete (" + output_ +
                                        "), but cannot get the input's file size"));
  }
  EXPECT_EQ(FramesIn(output_), 12U);  // finished and in place before the sizes are asked for
  EXPECT_THAT(out_.str(), EndsWith("(VFR Skip: 0)\n"));  // the progress line is ended
}

TEST_F(ConversionTest, AFinishedPartThatCannotTakeItsPlaceStays) {
  script_.frames = 4;
  script_.before_frame = [this](int frame) {
    if (frame == 3) fs::create_directory(output_);
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(), "[-] Error: The file is finished as " + Part() +
                            " but cannot be renamed (Is a directory): " + output_ + "\n");
  EXPECT_EQ(FramesIn(Part()), 4U);
}

TEST_F(ConversionTest, TheInputByAnyNameIsRefused) {
  const std::string content = ReadFile(input_);
  output_ = input_;
  ExpectRefused("it is the input file");
  EXPECT_EQ(ReadFile(input_), content);
}

TEST_F(ConversionTest, AFileThatIsNoQolmFileIsReplacedOnRequestOnly) {
  WriteFile(output_, "somebody's film");
  ExpectRefused("an existing file of another kind is not replaced without --overwrite");
  EXPECT_EQ(ReadFile(output_), "somebody's film");
  EXPECT_FALSE(fs::exists(Part()));
  options_ = ParseEncodeOptions({"--overwrite"}, 0);
  script_.before_frame = [](int) {};
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(FramesIn(output_), 3U);
}

TEST_F(ConversionTest, QolmFilesOfBothVersionsAndEmptyFilesAreReplaced) {
  script_.frames = 2;
  for (const char* content : {"", "QLM2", "QLM2 and more", "QOLM"}) {
    WriteFile(output_, content);
    EXPECT_EQ(Run(), 0) << content;
    EXPECT_EQ(FramesIn(output_), 2U);
  }
}

// The conversion takes long, and what comes to its name meanwhile may be precious.
TEST_F(ConversionTest, AFileThatComesMeanwhileIsNotReplaced) {
  script_.frames = 3;
  script_.before_frame = [this](int frame) {
    if (frame == 1) WriteFile(output_, "somebody's film");
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(),
            "[-] Error: The file is finished as " + Part() +
                " but cannot be renamed (an existing file of another kind is not replaced "
                "without --overwrite): " +
                output_ + "\n");
  EXPECT_EQ(ReadFile(output_), "somebody's film");
  EXPECT_EQ(FramesIn(Part()), 3U);
}

TEST_F(ConversionTest, AnOutputThatAnotherRunIsWritingIsRefused) {
  output::PartFile other;
  ASSERT_FALSE(other.Prepare(output_, directory_ / "other input", {container::BeginsAsQolm}));
  WriteFile(Part(), "QLM2: the other run's bytes");
  ExpectRefused("another run is writing its part file");
  EXPECT_EQ(ReadFile(Part()), "QLM2: the other run's bytes");
  EXPECT_FALSE(other.Commit());
  EXPECT_EQ(ReadFile(output_), "QLM2: the other run's bytes");
}

TEST_F(ConversionTest, APartFileOfAnEndedRunIsFree) {
  {
    output::PartFile other;
    ASSERT_FALSE(other.Prepare(output_, directory_ / "other input", {container::BeginsAsQolm}));
    other.Keep();
  }
  ASSERT_TRUE(fs::exists(Part()));
  script_.frames = 2;
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(FramesIn(output_), 2U);
}

TEST_F(ConversionTest, ADirectoryIsRefused) {
  fs::create_directory(output_);
  ExpectRefused("Is a directory");
}

TEST_F(ConversionTest, AMissingDirectoryIsRefused) {
  output_ = directory_ / "missing/output.qolm";
  ExpectRefused("No such file or directory");
  EXPECT_FALSE(fs::exists(directory_ / "missing"));
}

}  // namespace
}  // namespace qolm::cli
