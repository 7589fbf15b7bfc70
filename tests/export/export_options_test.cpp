// SPDX-License-Identifier: MIT
#include "export/export_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "export/media_muxer.h"

namespace qolm::exporter {
namespace {

using testing::HasSubstr;

std::optional<ExportOptions> Parse(const std::vector<std::string>& arguments) {
  OptionsProblem problem;
  return ParseExportOptions(arguments, problem);
}

std::string ProblemOf(const std::vector<std::string>& arguments) {
  OptionsProblem problem;
  EXPECT_FALSE(ParseExportOptions(arguments, problem).has_value());
  return problem.text;
}

TEST(ExportOptionsTest, EndingPicksTheForm) {
  EXPECT_EQ(Parse({"a.qolm", "b.y4m"})->form, Form::kY4m);
  EXPECT_EQ(Parse({"a.qolm", "b.PNG"})->form, Form::kPng);
  EXPECT_EQ(Parse({"a.qolm", "b.Wav"})->form, Form::kWav);
  EXPECT_FALSE(Parse({"a.qolm", "b.y4m"})->to_standard_output);
}

TEST(ExportOptionsTest, EndingsOfMediaFiles) {
  if (!MediaFormsAvailable()) {
    EXPECT_EQ(ProblemOf({"a.qolm", "b.mkv"}),
              "b.mkv: this program was built without FFmpeg; it makes .wav, .y4m and .png");
    return;
  }
  EXPECT_EQ(Parse({"a.qolm", "b.mkv"})->form, Form::kMatroska);
  EXPECT_EQ(Parse({"a.qolm", "b.MP4"})->form, Form::kMp4);
  EXPECT_EQ(Parse({"a.qolm", "b.nut"})->form, Form::kNut);
}

TEST(ExportOptionsTest, StandardOutputCarriesSoundUnlessItShallBeY4m) {
  const auto plain = Parse({"a.qolm", "-"});
  EXPECT_TRUE(plain->to_standard_output);
  EXPECT_EQ(plain->form, MediaFormsAvailable() ? Form::kPipe : Form::kY4m);
  const auto y4m = Parse({"--y4m", "a.qolm", "-"});
  EXPECT_TRUE(y4m->to_standard_output);
  EXPECT_EQ(y4m->form, Form::kY4m);
  EXPECT_EQ(Parse({"a.qolm", "b.y4m", "--y4m"})->form, Form::kY4m);
  EXPECT_THAT(ProblemOf({"a.qolm", "b.png", "--y4m"}), HasSubstr("for standard output"));
}

TEST(ExportOptionsTest, OptionsMayStandAnywhere) {
  EXPECT_EQ(Parse({"--frame", "7", "a.qolm", "b.png"})->choice.frame, 7);
  EXPECT_EQ(Parse({"a.qolm", "--time", "1.5", "b.png"})->choice.seconds, 1.5);
  const auto sheet = Parse({"a.qolm", "b.png", "--sheet", "4x3"})->choice.sheet;
  ASSERT_TRUE(sheet.has_value());
  EXPECT_EQ(sheet->columns, 4U);
  EXPECT_EQ(sheet->rows, 3U);
  EXPECT_TRUE(Parse({"a.qolm", "--help"})->help);
  EXPECT_TRUE(Parse({"a.qolm", "--version"})->version);
  EXPECT_FALSE(Parse({"help", "b.png"})->help);
  EXPECT_FALSE(Parse({"a.qolm", "b.png"})->overwrite);
  EXPECT_TRUE(Parse({"--overwrite", "a.qolm", "b.png"})->overwrite);
}

TEST(ExportOptionsTest, WhatFollowsTwoDashesAreFiles) {
  const auto dashes = Parse({"--frame", "3", "--", "--frame", "-b.png"});
  ASSERT_TRUE(dashes.has_value());
  EXPECT_EQ(dashes->choice.frame, 3);
  EXPECT_EQ(dashes->input, "--frame");
  EXPECT_EQ(dashes->output, "-b.png");
  EXPECT_EQ(Parse({"a", "--", "--.png"})->output, "--.png");
  EXPECT_EQ(Parse({"--", "--", "b.png"})->input, "--");
  EXPECT_TRUE(Parse({"--", "a", "-"})->to_standard_output);
  EXPECT_EQ(ProblemOf({"a", "b.png", "--", "--frame"}), "unexpected argument --frame");
}

TEST(ExportOptionsTest, AnOptionIsNeverTakenForAFile) {
  EXPECT_EQ(ProblemOf({"a.qolm", "--frame"}), "--frame needs a value");
  EXPECT_THAT(ProblemOf({"a.qolm", "--overwrite"}), HasSubstr("an input and an output"));
  EXPECT_THAT(ProblemOf({"--y4m", "b.png"}), HasSubstr("an input and an output"));
  EXPECT_EQ(Parse({"./--frame", "b.png"})->input, "./--frame");
}

TEST(ExportOptionsTest, BadValuesAreNamed) {
  for (const char* value : {"", "-1", "1.5", "7x", " 7", "99999999999"}) {
    EXPECT_EQ(ProblemOf({"a", "b.png", "--frame", value}),
              "invalid value for --frame: \"" + std::string(value) +
                  "\" (a frame number, counted from 0)");
  }
  for (const char* value : {"", "-0.1", "nan", "inf", "1s", "0,5"}) {
    EXPECT_EQ(ProblemOf({"a", "b.png", "--time", value}),
              "invalid value for --time: \"" + std::string(value) + "\" (seconds, such as 1.5)");
  }
  for (const char* value : {"", "4", "x", "4x", "x3", "0x3", "4x0", "101x1", "1x101", "-4x3"}) {
    EXPECT_EQ(ProblemOf({"a", "b.png", "--sheet", value}),
              "invalid value for --sheet: \"" + std::string(value) +
                  "\" (columns and rows, each 1 to 100, such as 4x3)");
  }
  EXPECT_EQ(ProblemOf({"a", "b.png", "--sheet"}), "--sheet needs a value");
}

TEST(ExportOptionsTest, ASheetHasUpToAHundredTilesOnASide) {
  for (const auto& [value, columns, rows] :
       {std::tuple{"1x1", 1U, 1U}, {"100x1", 100U, 1U}, {"1x100", 1U, 100U}}) {
    const auto options = Parse({"a", "b.png", "--sheet", value});
    ASSERT_TRUE(options) << value;
    EXPECT_EQ(options->choice.sheet->columns, columns) << value;
    EXPECT_EQ(options->choice.sheet->rows, rows) << value;
  }
}

TEST(ExportOptionsTest, WrongCommandLines) {
  EXPECT_THAT(ProblemOf({}), HasSubstr("an input and an output"));
  EXPECT_THAT(ProblemOf({"a.qolm"}), HasSubstr("an input and an output"));
  EXPECT_EQ(ProblemOf({"a", "b.png", "c"}), "unexpected argument c");
  EXPECT_EQ(ProblemOf({"a", "b.png", "--fast"}), "unknown option --fast");
  EXPECT_EQ(ProblemOf({"a", "b.avi"}),
            "b.avi: unsupported file extension; expected .mkv, .mp4, .nut, .wav, .y4m or .png");
  EXPECT_THAT(ProblemOf({"a", "b.y4m", "--frame", "1"}), HasSubstr("for .png outputs"));
  EXPECT_THAT(ProblemOf({"a", "-", "--sheet", "2x2"}), HasSubstr("for .png outputs"));
  EXPECT_THAT(ProblemOf({"a", "b.png", "--frame", "1", "--time", "2"}), HasSubstr("exclude"));
}

TEST(ExportOptionsTest, OnlyAMisusedCommandLineNeedsTheUsage) {
  OptionsProblem problem;
  const std::vector<std::string> unknown_ending = {"a", "b.avi"};
  EXPECT_FALSE(ParseExportOptions(unknown_ending, problem).has_value());
  EXPECT_FALSE(problem.needs_usage);
  const std::vector<std::string> unknown_option = {"a", "b.png", "--x"};
  OptionsProblem misuse;
  EXPECT_FALSE(ParseExportOptions(unknown_option, misuse).has_value());
  EXPECT_TRUE(misuse.needs_usage);
}

}  // namespace
}  // namespace qolm::exporter
