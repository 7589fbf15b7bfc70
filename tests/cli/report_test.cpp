// SPDX-License-Identifier: MIT
//
// The console reports, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "cli/encode_report.h"
#include "cli/number_format.h"
#include "cli/progress_line.h"

namespace qolm::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

TEST(NumberFormat, DefaultHasSixSignificantDigits) {
  EXPECT_EQ(DefaultNumber(30000.0 / 1001), "29.97");
  EXPECT_EQ(DefaultNumber(25.0), "25");
  EXPECT_EQ(DefaultNumber(1234567.0), "1.23457e+06");
}

TEST(NumberFormat, FixedKeepsItsDecimals) {
  EXPECT_EQ(FixedNumber(1234567.0, 1), "1234567.0");
  EXPECT_EQ(FixedNumber(0.96, 1), "1.0");
  EXPECT_EQ(FixedNumber(29.7, 0), "30");
}

TEST(InputReportText, WithDuration) {
  EXPECT_EQ(InputReportText({"dir/clip.mp4", 1920, 1080, 30000, 1001, 300, 10010}),
            "[+] Input Video: dir/clip.mp4\n"
            "    Resolution : 1920x1080\n"
            "    Framerate  : 29.97 fps\n"
            "    Duration   : 10.01 s (300 frames)\n");
}

TEST(InputReportText, WithoutFrameCountThereIsNoDuration) {
  EXPECT_EQ(InputReportText({"a b", 3, 1, 30, 1, 0, 10010}),
            "[+] Input Video: a b\n"
            "    Resolution : 3x1\n"
            "    Framerate  : 30 fps\n");
  EXPECT_THAT(InputReportText({"a", 3, 1, 30, 1, -1, 10010}),
              testing::Not(testing::HasSubstr("Duration")));
}

TEST(InputReportText, LongDurationsKeepSixDigits) {
  EXPECT_THAT(InputReportText({"a", 3, 1, 24, 1, 172803, 7200123}),
              testing::EndsWith("    Duration   : 7200.12 s (172803 frames)\n"));
}

TEST(AudioStreamLine, MonoAndStereo) {
  EXPECT_EQ(AudioStreamLine(32000, 1, 64000),
            "[+] Audio Stream       : 32000 Hz, Mono (1 ch) (~108 kbps ADPCM+rANS, 64000 "
            "samples)\n");
  EXPECT_EQ(AudioStreamLine(48000, 2, 96001),
            "[+] Audio Stream       : 48000 Hz, Stereo (2 ch) (~326 kbps ADPCM+rANS, 48000 "
            "samples)\n");
  EXPECT_EQ(AudioStreamLine(24000, 1, 0),
            "[+] Audio Stream       : 24000 Hz, Mono (1 ch) (~81 kbps ADPCM+rANS, 0 samples)\n");
  EXPECT_THAT(AudioStreamLine(48000, 6, 600), testing::HasSubstr(", Stereo (2 ch) ("));
}

TEST(SettingsLine, NamesEverySetting) {
  encoder::EncodeSettings settings;
  EXPECT_EQ(SettingsLine(settings),
            "[+] Encoding video (Quality: 45, GOP: 60, VFR: ON, Gabor: ON, CCLC: ON, Stream: "
            "FAST-START)...\n");
  settings.quality = -3;
  settings.gop_length = 0;
  settings.vfr = settings.gabor = settings.cclc = settings.fast_start = false;
  EXPECT_EQ(SettingsLine(settings),
            "[+] Encoding video (Quality: -3, GOP: 0, VFR: OFF, Gabor: OFF, CCLC: OFF, Stream: "
            "MONOLITHIC)...\n");
}

TEST(ProgressLine, IsDueAfterEveryTenthFrame) {
  EXPECT_FALSE(ProgressIsDue(1));
  EXPECT_FALSE(ProgressIsDue(9));
  EXPECT_TRUE(ProgressIsDue(10));
  EXPECT_FALSE(ProgressIsDue(11));
  EXPECT_TRUE(ProgressIsDue(20));
}

TEST(ProgressLine, WithExpectedCount) {
  EXPECT_EQ(ProgressLine({10, 1000, 3, milliseconds(500)}),
            "\r    Processed frames: 10/1000 (1% | ETA 0m49s) \xE2\x80\xA2 20 FPS (VFR Skip: 3)");
  EXPECT_EQ(ProgressLine({100, 12345, 0, seconds(10)}),
            "\r    Processed frames: 100/12345 (0% | ETA 20m24s) \xE2\x80\xA2 10 FPS (VFR Skip: "
            "0)");
}

TEST(ProgressLine, WithoutExpectedCount) {
  EXPECT_EQ(ProgressLine({10, 0, 2, seconds(4)}),
            "\r    Processed frames: 10 \xE2\x80\xA2 2 FPS (VFR Skip: 2)");
  EXPECT_EQ(ProgressLine({10, -1, 2, seconds(4)}),
            "\r    Processed frames: 10 \xE2\x80\xA2 2 FPS (VFR Skip: 2)");
}

TEST(ProgressLine, NoEtaAtHalfAFrameASecondOrBelow) {
  EXPECT_EQ(ProgressLine({10, 100, 0, seconds(20)}),
            "\r    Processed frames: 10/100 (10% | ETA 0m0s) \xE2\x80\xA2 0 FPS (VFR Skip: 0)");
  EXPECT_EQ(ProgressLine({10, 100, 0, milliseconds(19990)}),
            "\r    Processed frames: 10/100 (10% | ETA 2m59s) \xE2\x80\xA2 1 FPS (VFR Skip: 0)");
}

TEST(ProgressLine, NoEtaOnceTheExpectedCountIsReached) {
  EXPECT_EQ(ProgressLine({100, 100, 0, seconds(10)}),
            "\r    Processed frames: 100/100 (100% | ETA 0m0s) \xE2\x80\xA2 10 FPS (VFR Skip: 0)");
  EXPECT_EQ(ProgressLine({110, 100, 0, seconds(10)}),
            "\r    Processed frames: 110/100 (110% | ETA 0m0s) \xE2\x80\xA2 11 FPS (VFR Skip: 0)");
}

TEST(ProgressLine, AMillisecondIsTheLeastElapsedTime) {
  EXPECT_EQ(ProgressLine({10, 0, 0, nanoseconds(0)}),
            "\r    Processed frames: 10 \xE2\x80\xA2 10000 FPS (VFR Skip: 0)");
}

TEST(ProgressLine, StaysRightForDaysOfVideo) {
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
  EXPECT_EQ(ProgressLine({1073741824, kMost, 0, seconds(1073741824)}),
            "\r    Processed frames: 1073741824/2147483647 (50% | ETA 17895697m3s) \xE2\x80\xA2 1 "
            "FPS (VFR Skip: 0)");
}

TEST(StatisticsText, EveryFigureHasOneDecimal) {
  EXPECT_EQ(StatisticsText({300, 45, 12345.678, 1048576, 262144, 320, 240}),
            "\n[+] Encoding statistics:\n"
            "  Total Frames Processed : 300\n"
            "  VFR Static Slides Skip : 45 frames (15.0% savings)\n"
            "  Encoding Time          : 12345.7 ms (24.3 FPS)\n"
            "  Original File Size     : 1024.0 KB\n"
            "  QOLM File Size         : 256.0 KB\n"
            "  Compression vs Raw     : 99.7%\n"
            "[+] Done.\n");
}

TEST(StatisticsText, LargeFiguresKeepFixedNotation) {
  const std::string text =
      StatisticsText({4000000000U, 0, 90000000.0, 0x8000000000000400U, 1024, 16384, 16384});
  EXPECT_THAT(text, testing::HasSubstr("  Encoding Time          : 90000000.0 ms (44444.4 FPS)\n"));
  EXPECT_THAT(text, testing::HasSubstr("  Original File Size     : 9007199254740992.0 KB\n"));
}

TEST(StatisticsText, AFileLargerThanRawIsANegativeSaving) {
  EXPECT_THAT(StatisticsText({1, 0, 1.0, 1, 65536, 1, 1}),
              testing::HasSubstr("  Compression vs Raw     : -1638300.0%\n"));
}

TEST(StatisticsText, NoFramesDivideByZeroAsAStreamPrintsIt) {
  EXPECT_EQ(StatisticsText({0, 0, 2.0, 10, 100, 16, 16}),
            "\n[+] Encoding statistics:\n"
            "  Total Frames Processed : 0\n"
            "  VFR Static Slides Skip : 0 frames (0.0% savings)\n"
            "  Encoding Time          : 2.0 ms (0.0 FPS)\n"
            "  Original File Size     : 0.0 KB\n"
            "  QOLM File Size         : 0.1 KB\n"
            "  Compression vs Raw     : -inf%\n"
            "[+] Done.\n");
  EXPECT_THAT(StatisticsText({0, 0, 0.0, 10, 0, 16, 16}),
              testing::ContainsRegex("0\\.0 ms \\(-?nan FPS\\)\n.*\n.*\n.*: -?nan%\n"));
  EXPECT_THAT(StatisticsText({5, 0, 0.0, 10, 0, 16, 16}), testing::HasSubstr("0.0 ms (inf FPS)\n"));
}

}  // namespace
}  // namespace qolm::cli
