// SPDX-License-Identifier: MIT
//
// The export program as a user runs it: exact output bytes, messages and exit
// codes.
#include <gmock/gmock.h>

#include "export/contact_sheet.h"
#include "export/export_program_fixture.h"
#include "export/output_target.h"
#include "support/decoded_png.h"

namespace qolm::exporter {
namespace {

using test::ReadPng;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ExportProgramTest, Y4mHoldsThePlanesOfEveryFrame) {
  const ExportRun run = Run({Input(), Output("out.y4m")});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.errors, "[+] Wrote " + Output("out.y4m") + ": 8 frames, 21x14\n");
  EXPECT_TRUE(run.output.empty());
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(8));
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "out.y4m"));
}

TEST_F(ExportProgramTest, FramesComeAsTheyAreShownAndNotAsTheyAreStored) {
  header_.flags |= container::kFlagBidirectional;
  header_.frame_count = 6;
  PictureCoder coder(header_.flags, 60);
  records_ = {coder.Key(MovingPicture(kWidth, kHeight, 0)), Repeat(2)};
  planes_ = {coder.reference()};
  records_.push_back(coder.Predicted(MovingPicture(kWidth, kHeight, 4)));
  records_.push_back(coder.Bidirectional(MovingPicture(kWidth, kHeight, 1)));
  planes_.insert(planes_.end(), 3, coder.between());  // frame 1 and its repeats
  planes_.push_back(coder.reference());
  records_.push_back(coder.Key(MovingPicture(kWidth, kHeight, 5)));
  planes_.push_back(coder.reference());
  for (size_t i = 0; i < 5; ++i) {
    records_[i].frame_no = std::array<uint16_t, 5>{0, 2, 4, 1, 5}[i];
  }
  Write(header_);
  EXPECT_EQ(Run({Input(), "-", "--y4m"}).output, ExpectedY4m(6));
  for (size_t number = 0; number < planes_.size(); ++number) {
    ASSERT_EQ(Run({Input(), Output("out.png"), "--frame", std::to_string(number)}).exit_code, 0);
    EXPECT_EQ(ReadPng(Output("out.png")).pixels, ExpectedPixels(number)) << number;
  }
}

TEST_F(ExportProgramTest, StandardOutputCarriesTheSameBytes) {
  const ExportRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, ExpectedY4m(8));
}

TEST_F(ExportProgramTest, UnknownFrameRateIsWrittenAsUnknown) {
  FileHeader header = header_;
  header.fps_den = 0;
  Write(header);
  const ExportRun run = Run({Input(), "-", "--y4m"});
  EXPECT_THAT(std::string(run.output.begin(), run.output.end()),
              StartsWith("YUV4MPEG2 W21 H14 F0:0 "));
}

TEST_F(ExportProgramTest, ClosedPipeEndsQuietly) {
  const ExportRun run = Run({Input(), "-", "--y4m"}, test::OutputEnd::kClosedPipe);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "");
}

TEST_F(ExportProgramTest, WithoutStandardStreamsTheOutputIsWhole) {
  EXPECT_EQ(Run({Input(), Output("out.y4m")}, test::OutputEnd::kNoStreams).exit_code, 0);
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(8));
  // Nothing takes the pictures.
  EXPECT_EQ(Run({Input(), "-", "--y4m"}, test::OutputEnd::kNoStreams).exit_code, 1);
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "out.y4m"));
}

TEST_F(ExportProgramTest, PngOfEveryFrameEqualsThePackedFrame) {
  for (size_t number = 0; number < planes_.size(); ++number) {
    const ExportRun run = Run({Input(), Output("out.png"), "--frame", std::to_string(number)});
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.errors,
              "[+] Wrote " + Output("out.png") + ": frame " + std::to_string(number) + ", 21x14\n");
    const test::DecodedPng png = ReadPng(Output("out.png"));
    EXPECT_EQ(png.width, kWidth);
    EXPECT_EQ(png.height, kHeight);
    EXPECT_EQ(png.pixels, ExpectedPixels(number)) << number;
  }
}

TEST_F(ExportProgramTest, PngShowsTheFirstFrameByDefault) {
  ASSERT_EQ(Run({Input(), Output("out.png")}).exit_code, 0);
  EXPECT_EQ(ReadPng(Output("out.png")).pixels, ExpectedPixels(0));
}

TEST_F(ExportProgramTest, TimePicksTheFrameThatIsShownThen) {
  // Frame 6 starts at 6 * 1001 / 30000 = 0.2002 seconds.
  for (const auto& [seconds, number] :
       {std::pair{"0", 0}, {"0.0333", 0}, {"0.0334", 1}, {"0.2001", 5}, {"0.2002", 6}}) {
    ASSERT_EQ(Run({Input(), Output("out.png"), "--time", seconds}).exit_code, 0);
    EXPECT_EQ(ReadPng(Output("out.png")).pixels, ExpectedPixels(static_cast<size_t>(number)))
        << seconds;
  }
  for (const char* seconds : {"0.27", "1e300"}) {
    ExpectFailure({Input(), Output("x.png"), "--time", seconds},
                  Input() + ": no frame is shown at that time, the file holds 8 frames" +
                      " (30000/1001 a second)");
  }
}

// 0.125125 * 24000 / 1001 is 3, but a little less in floating point.
TEST_F(ExportProgramTest, ATimeThatIsAFramesStartIsNotRoundedIntoTheFrameBefore) {
  FileHeader header = header_;
  header.fps_num = 24000;
  Write(header);
  EXPECT_EQ(Run({Input(), Output("out.png"), "--time", "0.25025"}).errors,
            "[+] Wrote " + Output("out.png") + ": frame 6, 21x14\n");
  EXPECT_EQ(ReadPng(Output("out.png")).pixels, ExpectedPixels(6));
  EXPECT_EQ(Run({Input(), Output("out.png"), "--time", "0.125125"}).errors,
            "[+] Wrote " + Output("out.png") + ": frame 3, 21x14\n");
}

TEST_F(ExportProgramTest, ARunOfNoRepeatsIsTheFrameOfItsRecord) {
  records_.insert(records_.begin() + 3, Repeat(0));
  planes_.insert(planes_.begin() + 3, planes_[2]);
  header_.frame_count = 9;
  Write(header_);
  ASSERT_EQ(Run({Input(), Output("out.y4m")}).errors,
            "[+] Wrote " + Output("out.y4m") + ": 9 frames, 21x14\n");
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(9));
  EXPECT_EQ(Run({Input(), Output("out.png"), "--frame", "8"}).errors,
            "[+] Wrote " + Output("out.png") + ": frame 8, 21x14\n");
  EXPECT_EQ(ReadPng(Output("out.png")).pixels, ExpectedPixels(8));
  ExpectFailure({Input(), Output("x.png"), "--frame", "9"},
                Input() + ": there is no frame 9, the file holds 9 frames");
}

// Frames beyond the number in the file's header are none.
TEST_F(ExportProgramTest, TheFileHoldsAsManyFramesAsItAnnounces) {
  header_.frame_count = 4;
  Write(header_);
  ExpectFailure({Input(), Output("x.png"), "--frame", "4"},
                Input() + ": there is no frame 4, the file holds 4 frames");
  ExpectFailure({Input(), Output("x.png"), "--time", "0.1335"},
                Input() + ": no frame is shown at that time, the file holds 4 frames" +
                    " (30000/1001 a second)");
  EXPECT_EQ(Run({Input(), Output("sheet.png"), "--sheet", "8x1"}).errors,
            "[+] Wrote " + Output("sheet.png") + ": sheet of 4 frames, 204x22\n");
  EXPECT_EQ(Run({Input(), Output("out.y4m")}).errors,
            "[+] Wrote " + Output("out.y4m") + ": 4 frames, 21x14\n");
}

TEST_F(ExportProgramTest, TimeNeedsAFrameRate) {
  FileHeader header = header_;
  header.fps_num = 0;
  Write(header);
  ExpectFailure({Input(), Output("x.png"), "--time", "0"},
                Input() + ": the file has no frame rate to find a time with");
}

TEST_F(ExportProgramTest, ContactSheetHoldsItsFrames) {
  const ExportRun run = Run({Input(), Output("sheet.png"), "--sheet", "2x2"});
  ASSERT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_EQ(run.errors, "[+] Wrote " + Output("sheet.png") + ": sheet of 4 frames, 54x40\n");
  ContactSheet expected({2, 2}, kWidth, kHeight);
  for (uint32_t tile = 0; tile < 4; ++tile) expected.place(tile, ExpectedPixels(tile * 2));
  EXPECT_EQ(ReadPng(Output("sheet.png")).pixels, expected.picture().pixels);
}

TEST_F(ExportProgramTest, ContactSheetOfMoreTilesThanFrames) {
  const ExportRun run = Run({Input(), Output("sheet.png"), "--sheet", "5x2"});
  ASSERT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_THAT(run.errors, HasSubstr("sheet of 8 frames"));
}

TEST_F(ExportProgramTest, FrameOutsideTheFile) {
  ExpectFailure({Input(), Output("x.png"), "--frame", "8"},
                Input() + ": there is no frame 8, the file holds 8 frames");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(ExportProgramTest, InputsThatAreNone) {
  ExpectFailure({Output("none.qolm"), Output("x.y4m")},
                Output("none.qolm") + ": No such file or directory");
  test::WriteBytes(Output("text.qolm"), std::vector<uint8_t>(100, 'a'));
  const ExportRun run = Run({Output("text.qolm"), Output("x.y4m")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.errors, StartsWith("[-] Error: " + Output("text.qolm") + ": "));
  EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1);
  EXPECT_EQ(Run({folder_.path().string(), Output("x.y4m")}).exit_code, 1);
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "text.qolm"));
}

TEST_F(ExportProgramTest, OutputsThatCannotBeWritten) {
  ExpectFailure({Input(), Output("no/such/x.y4m")},
                Output("no/such/x.y4m") + ": No such file or directory");
  std::filesystem::create_directory(Output("folder.png"));
  ExpectFailure({Input(), Output("folder.png")}, Output("folder.png") + ": Is a directory");
  ExpectFailure({Input(), "x.avi"},
                "x.avi: unsupported file extension; expected .mkv, .mp4, .nut, .wav, .y4m or .png");
}

TEST_F(ExportProgramTest, InputIsNeverOverwritten) {
  const std::string input = Output("tricky.y4m");
  std::filesystem::copy_file(Input(), input);
  const std::vector<uint8_t> before = test::ReadBytes(input);
  ExpectFailure({input, input}, input + ": is the input file");
  std::filesystem::create_hard_link(input, Output("other.y4m"));
  ExpectFailure({input, Output("other.y4m")}, Output("other.y4m") + ": is the input file");
  EXPECT_EQ(test::ReadBytes(input), before);
}

TEST_F(ExportProgramTest, InputUnderThePartFilesNameIsNeverOverwritten) {
  const std::string input = Output("movie.y4m.part");
  std::filesystem::copy_file(Input(), input);
  const std::vector<uint8_t> before = test::ReadBytes(input);
  const std::string problem = ": its part file is the input file";
  ExpectFailure({input, Output("movie.y4m")}, Output("movie.y4m") + problem);
  EXPECT_EQ(test::ReadBytes(input), before);
}

TEST_F(ExportProgramTest, AFileOfAnotherFormIsReplacedOnRequestOnly) {
  const std::vector<uint8_t> film(100, 'f');
  for (const std::string name : {"x.y4m", "x.png"}) {
    test::WriteBytes(Output(name), film);
    ExpectFailure(
        {Input(), Output(name)},
        Output(name) + ": an existing file of another kind is not replaced without --overwrite");
    EXPECT_EQ(test::ReadBytes(Output(name)), film);
    EXPECT_FALSE(std::filesystem::exists(Output(name + ".part")));
    EXPECT_EQ(Run({Input(), Output(name), "--overwrite"}).exit_code, 0);
    const std::vector<uint8_t> written = test::ReadBytes(Output(name));
    EXPECT_NE(written, film);
    EXPECT_EQ(Run({Input(), Output(name)}).exit_code, 0);  // now it is of the form
    EXPECT_EQ(test::ReadBytes(Output(name)), written);
  }
}

TEST_F(ExportProgramTest, OutputsWithTheLongestNames) {
  for (const size_t length : {250U, 251U, 255U}) {
    const std::string name = std::string(length - 4, 'n') + ".y4m";
    EXPECT_EQ(Run({Input(), Output(name)}).exit_code, 0) << length;
    EXPECT_EQ(test::ReadBytes(Output(name)), ExpectedY4m(8));
    std::filesystem::remove(Output(name));
  }
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(ExportProgramTest, LeftPartFileIsReplacedNotWrittenThrough) {
  test::WriteBytes(Output("precious.y4m"), OldY4m());
  std::filesystem::create_hard_link(Output("precious.y4m"), Output("x.y4m.part"));
  EXPECT_EQ(Run({Input(), Output("x.y4m")}).exit_code, 0);
  EXPECT_EQ(test::ReadBytes(Output("precious.y4m")), OldY4m());
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), ExpectedY4m(8));
  std::filesystem::create_directory(Output("y.y4m.part"));
  ExpectFailure({Input(), Output("y.y4m")}, Output("y.y4m") + ": Is a directory");
}

TEST_F(ExportProgramTest, SomebodysFileUnderThePartFilesNameIsReplacedOnRequestOnly) {
  const std::vector<uint8_t> letter(20, 'l');
  test::WriteBytes(Output("x.y4m.part"), letter);
  ExpectFailure({Input(), Output("x.y4m")},
                Output("x.y4m") +
                    ": its part file's name is taken by a file of another kind, "
                    "which is not replaced without --overwrite");
  EXPECT_EQ(test::ReadBytes(Output("x.y4m.part")), letter);
  EXPECT_EQ(Run({Input(), Output("x.y4m"), "--overwrite"}).exit_code, 0);
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), ExpectedY4m(8));
}

TEST_F(ExportProgramTest, MessagesShowNamesOnOneLine) {
#if !defined(_WIN32)  // where no name holds such bytes
  const std::string name = "a\nb\x1B[2J.y4m";
  const std::string shown = "a\\nb\\x1B[2J.y4m";
  EXPECT_EQ(Run({Input(), Output(name)}).errors,
            "[+] Wrote " + Output(shown) + ": 8 frames, 21x14\n");
  ExpectFailure({Output(name), Output("x.png")},
                Output(shown) + ": the file does not begin with \"QLM2\"");
#endif
  ExpectFailure({Input(), "x.png", "--frame", "1\n\r"},
                "invalid value for --frame: \"1\\n\\r\" (a frame number, counted from 0); see "
                "qolm2_export --help");
}

TEST_F(ExportProgramTest, OutputThatAnotherRunIsWritingIsLeftToIt) {
  OutputTarget other(Output("x.y4m"), Input(), {});
  ASSERT_TRUE(other.open());
  ExpectFailure({Input(), Output("x.y4m")},
                Output("x.y4m") + ": another run is writing its part file");
  ASSERT_TRUE(other.write(std::vector<uint8_t>(3, 'o')));
  ASSERT_TRUE(other.commit());
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), std::vector<uint8_t>(3, 'o'));
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "x.y4m"));
}

TEST_F(ExportProgramTest, DamagedRecordKeepsTheFramesBeforeIt) {
  records_[4].payload.resize(9);
  Write(header_);
  const ExportRun run = Run({Input(), Output("out.y4m")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: " + Input() +
                            ": damaged record behind 6 frames of 8; saved in " + Output("out.y4m") +
                            ": 6 frames, 21x14\n");
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(6));
  ExpectFailure({Input(), Output("x.png"), "--frame", "6"},
                Input() + ": frame 6 cannot be decoded: damaged record behind 6 frames of 8");
}

TEST_F(ExportProgramTest, ADamagedFirstRecordIsBehindNoFrame) {
  records_[0].payload.resize(9);
  Write(header_);
  ExpectFailure({Input(), Output("out.y4m")}, Input() + ": damaged record behind 0 frames of 8");
}

TEST_F(ExportProgramTest, DamagedSheetShowsWhatDecodes) {
  records_[1].payload.resize(9);
  Write(header_);
  const ExportRun run = Run({Input(), Output("sheet.png"), "--sheet", "8x1"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: " + Input() +
                            ": damaged record behind 1 frame of 8; saved in " +
                            Output("sheet.png") + ": sheet of 3 frames, 204x22\n");
}

TEST_F(ExportProgramTest, ASheetWithoutAnyFrameReplacesNothing) {
  for (const size_t key_frame : {0U, 4U}) records_[key_frame].payload.resize(9);
  Write(header_);
  test::WriteBytes(Output("sheet.png"), OldPng());
  ExpectFailure({Input(), Output("sheet.png"), "--sheet", "2x2"},
                Input() + ": damaged record behind 6 frames of 8");
  EXPECT_EQ(test::ReadBytes(Output("sheet.png")), OldPng());
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "sheet.png"));
}

TEST_F(ExportProgramTest, CutFileSaysSo) {
  std::vector<uint8_t> bytes = test::ReadBytes(Input());
  // Keep the head and the first record, cut inside the second.
  bytes.resize(48 + 8 + records_[0].payload.size() + 12);
  test::WriteBytes(Input(), bytes);
  const ExportRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: " + Input() + ": the file ends after 1 frame of 8\n");
  EXPECT_EQ(run.output, ExpectedY4m(1));
}

TEST_F(ExportProgramTest, UnfinishedFileSaysSo) {
  FileHeader header = header_;
  header.frame_count = 0;
  Write(header);
  const ExportRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors,
            "[-] Error: " + Input() + ": the file was never finished, it ends after 8 frames\n");
  EXPECT_EQ(run.output, ExpectedY4m(8));
}

TEST_F(ExportProgramTest, FileWithoutFrames) {
  records_.clear();
  FileHeader header = header_;
  header.frame_count = 0;
  Write(header);
  ExpectFailure({Input(), "-", "--y4m"}, Input() + ": the file holds no frames");
  ExpectFailure({Input(), Output("x.y4m")}, Input() + ": the file holds no frames");
  ExpectFailure({Input(), Output("x.png")},
                Input() + ": there is no frame 0, the file holds 0 frames");
  ExpectFailure({Input(), Output("x.png"), "--sheet", "2x2"},
                Input() + ": the file holds no frames");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(ExportProgramTest, PictureThatChangesItsSizeEndsTheY4m) {
  for (const auto& [width, height] : {std::pair<uint16_t, uint16_t>{10, 10},
                                      {10, kHeight},
                                      {kWidth, 10},
                                      {kWidth, kHeight + 1}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    PictureCoder coder(header_.flags, 60);
    records_[4] = coder.Key(MovingPicture(width, height, 0));
    Write(header_);
    const ExportRun run = Run({Input(), "-", "--y4m"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors, "[-] Error: " + Input() +
                              ": the picture size changes at frame 6, which Y4M cannot show\n");
    EXPECT_EQ(run.output, ExpectedY4m(6));
  }
}

TEST_F(ExportProgramTest, UsageOnRequestAndOnMisuse) {
  for (const std::string word : {"--help", "-h", "help", "--version"}) {
    const ExportRun run = Run({word});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.errors, "");
    const std::string text(run.output.begin(), run.output.end());
    EXPECT_EQ(text, word == "--version" ? VersionText() : UsageText());
  }
  EXPECT_EQ(Run({"--help"}, test::OutputEnd::kNoStreams).exit_code, 1);
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"a"},
                                                    {"a", "b.png", "--what"},
                                                    {"a", "b.png", "--frame", "-1"},
                                                    {"a", "b.png", "--time", "0,5"}}) {
    const ExportRun run = Run(arguments);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.errors, testing::MatchesRegex("\\[-\\] Error: .*; see qolm2_export --help\n"));
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1);
    EXPECT_TRUE(run.output.empty());
  }
}

}  // namespace
}  // namespace qolm::exporter
