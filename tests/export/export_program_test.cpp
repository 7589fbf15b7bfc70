// The export program as a user runs it: exact output bytes, messages and exit
// codes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <signal.h>

#include <algorithm>

#include "export/contact_sheet.h"
#include "export/output_target.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"
#include "video/color_conversion.h"

namespace qolm::exporter {
namespace {

using container::FileHeader;
using test::MovingPicture;
using test::PictureCoder;
using test::Record;
using test::Repeat;
using testing::HasSubstr;
using testing::StartsWith;

struct ProgramRun {
  int exit_code = -1;
  std::vector<uint8_t> output;
  std::string errors;
};

constexpr uint16_t kWidth = 21;
constexpr uint16_t kHeight = 14;

void Append(std::vector<uint8_t>& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

struct DecodedPng {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> pixels;  // R, G, B, A
};

DecodedPng ReadPng(const std::filesystem::path& path) {
  DecodedPng decoded;
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return decoded;
  image.format = PNG_FORMAT_RGBA;
  decoded.width = image.width;
  decoded.height = image.height;
  decoded.pixels.resize(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, decoded.pixels.data(), 0, nullptr);
  return decoded;
}

// Eight frames: key, two predicted, three repeats, key, predicted.
class ExportProgramTest : public testing::Test {
 protected:
  ExportProgramTest() {
    header_ = test::PlainHeader(kWidth, kHeight);
    header_.fps_num = 30000;
    header_.fps_den = 1001;
    header_.frame_count = 8;
    PictureCoder coder(header_.flags, 60);
    const auto add = [&](Record record, size_t frames) {
      records_.push_back(std::move(record));
      planes_.insert(planes_.end(), frames, coder.reference());
    };
    add(coder.Key(MovingPicture(kWidth, kHeight, 0)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 1)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 2)), 1);
    add(Repeat(3), 3);
    add(coder.Key(MovingPicture(kWidth, kHeight, 6)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 7)), 1);
    Write(header_);
  }

  void Write(const FileHeader& header) {
    ASSERT_TRUE(test::WriteContainerFile(Input(), header, records_));
  }

  std::string Input() const { return (folder_ / "in.qolm").string(); }
  std::string Output(const std::string& name) const { return (folder_ / name).string(); }

  static ProgramRun Run(const std::vector<std::string>& arguments,
                        test::OutputEnd end = test::OutputEnd::kCaptured) {
    test::ProgramRun run(
        QOLM_EXPORT_PROGRAM, arguments, [] {}, end);
    run.Wait();
    const std::string out = run.out();
    return {run.exit_code(), std::vector<uint8_t>(out.begin(), out.end()), run.err()};
  }

  std::vector<uint8_t> ExpectedY4m(size_t frames) const {
    std::vector<uint8_t> bytes;
    Append(bytes, "YUV4MPEG2 W21 H14 F30000:1001 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n");
    for (size_t number = 0; number < frames; ++number) {
      Append(bytes, "FRAME\n");
      for (const auto* plane : {&planes_[number].y, &planes_[number].cb, &planes_[number].cr}) {
        bytes.insert(bytes.end(), plane->begin(), plane->end());
      }
    }
    return bytes;
  }

  std::vector<uint8_t> ExpectedPixels(size_t number) const {
    std::vector<uint8_t> pixels;
    video::ConvertYuvToPacked(planes_[number], video::PixelOrder::kRgba, pixels);
    return pixels;
  }

  void ExpectFailure(const std::vector<std::string>& arguments, const std::string& error_line) {
    const ProgramRun run = Run(arguments);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors, "[-] Error: " + error_line + "\n");
    EXPECT_TRUE(run.output.empty());
  }

  // Names in the folder, sorted: nothing may be left behind.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  test::TemporaryFolder folder_;
  FileHeader header_;
  std::vector<Record> records_;
  std::vector<video::YuvPlanes> planes_;
};

TEST_F(ExportProgramTest, Y4mHoldsThePlanesOfEveryFrame) {
  const ProgramRun run = Run({Input(), Output("out.y4m")});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.errors, "[+] Wrote " + Output("out.y4m") + ": 8 frames, 21x14\n");
  EXPECT_TRUE(run.output.empty());
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(8));
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "out.y4m"));
}

TEST_F(ExportProgramTest, StandardOutputCarriesTheSameBytes) {
  const ProgramRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output, ExpectedY4m(8));
}

TEST_F(ExportProgramTest, UnknownFrameRateIsWrittenAsUnknown) {
  FileHeader header = header_;
  header.fps_den = 0;
  Write(header);
  const ProgramRun run = Run({Input(), "-", "--y4m"});
  EXPECT_THAT(std::string(run.output.begin(), run.output.end()),
              StartsWith("YUV4MPEG2 W21 H14 F0:0 "));
}

TEST_F(ExportProgramTest, ClosedPipeEndsQuietly) {
  const ProgramRun run = Run({Input(), "-", "--y4m"}, test::OutputEnd::kClosedPipe);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "");
}

TEST_F(ExportProgramTest, PngOfEveryFrameEqualsThePackedFrame) {
  for (size_t number = 0; number < planes_.size(); ++number) {
    const ProgramRun run = Run({Input(), Output("out.png"), "--frame", std::to_string(number)});
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.errors,
              "[+] Wrote " + Output("out.png") + ": frame " + std::to_string(number) + ", 21x14\n");
    const DecodedPng png = ReadPng(Output("out.png"));
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

TEST_F(ExportProgramTest, TimeNeedsAFrameRate) {
  FileHeader header = header_;
  header.fps_num = 0;
  Write(header);
  ExpectFailure({Input(), Output("x.png"), "--time", "0"},
                Input() + ": the file has no frame rate to find a time with");
}

TEST_F(ExportProgramTest, ContactSheetHoldsItsFrames) {
  const ProgramRun run = Run({Input(), Output("sheet.png"), "--sheet", "2x2"});
  ASSERT_EQ(run.exit_code, 0) << run.errors;
  EXPECT_EQ(run.errors, "[+] Wrote " + Output("sheet.png") + ": sheet of 4 frames, 54x40\n");
  ContactSheet expected({2, 2}, kWidth, kHeight);
  for (uint32_t tile = 0; tile < 4; ++tile) expected.place(tile, ExpectedPixels(tile * 2));
  EXPECT_EQ(ReadPng(Output("sheet.png")).pixels, expected.picture().pixels);
}

TEST_F(ExportProgramTest, ContactSheetOfMoreTilesThanFrames) {
  const ProgramRun run = Run({Input(), Output("sheet.png"), "--sheet", "5x2"});
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
  const ProgramRun run = Run({Output("text.qolm"), Output("x.y4m")});
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
  std::filesystem::create_symlink("/dev/full", Output("full.y4m"));
  ExpectFailure({Input(), Output("full.y4m")}, Output("full.y4m") + ": No space left on device");
  std::filesystem::create_symlink("/dev/full", Output("full.png"));
  ExpectFailure({Input(), Output("full.png")}, Output("full.png") + ": No space left on device");
  ExpectFailure({Input(), "x.avi"},
                "x.avi: the ending must be .mkv, .mp4, .nut, .wav, .y4m or .png");
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
  test::WriteBytes(Output("movie.y4m"), std::vector<uint8_t>(1, 'x'));
  std::filesystem::create_symlink("movie.y4m", Output("link.y4m"));
  ExpectFailure({input, Output("link.y4m")}, Output("link.y4m") + problem);
  EXPECT_EQ(test::ReadBytes(input), before);
}

TEST_F(ExportProgramTest, LeftPartFileIsReplacedNotWrittenThrough) {
  std::filesystem::create_hard_link(Input(), Output("x.y4m.part"));
  const std::vector<uint8_t> before = test::ReadBytes(Input());
  std::filesystem::copy_file(Input(), Output("copy.qolm"));
  EXPECT_EQ(Run({Output("copy.qolm"), Output("x.y4m")}).exit_code, 0);
  EXPECT_EQ(test::ReadBytes(Input()), before);
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), ExpectedY4m(8));
  std::filesystem::create_directory(Output("y.y4m.part"));
  ExpectFailure({Input(), Output("y.y4m")}, Output("y.y4m") + ": Is a directory");
}

TEST_F(ExportProgramTest, OutputThatIsALinkStaysOne) {
  test::WriteBytes(Output("real.y4m"), std::vector<uint8_t>(1, 'x'));
  std::filesystem::create_symlink("real.y4m", Output("link.y4m"));
  EXPECT_EQ(Run({Input(), Output("link.y4m")}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(Output("link.y4m")));
  EXPECT_EQ(test::ReadBytes(Output("real.y4m")), ExpectedY4m(8));
}

TEST_F(ExportProgramTest, OutputThatIsALinkToNothingFillsItsTarget) {
  std::filesystem::create_symlink("real.y4m", Output("link.y4m"));
  EXPECT_EQ(Run({Input(), Output("link.y4m")}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(Output("link.y4m")));
  EXPECT_EQ(test::ReadBytes(Output("real.y4m")), ExpectedY4m(8));
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "link.y4m", "real.y4m"));
}

TEST_F(ExportProgramTest, ReplacedOutputKeepsItsPermissions) {
  test::WriteBytes(Output("x.png"), std::vector<uint8_t>(1, 'x'));
  std::filesystem::permissions(Output("x.png"), std::filesystem::perms(0640));
  EXPECT_EQ(Run({Input(), Output("x.png")}).exit_code, 0);
  EXPECT_EQ(ReadPng(Output("x.png")).pixels, ExpectedPixels(0));
  EXPECT_EQ(std::filesystem::status(Output("x.png")).permissions(), std::filesystem::perms(0640));
}

TEST_F(ExportProgramTest, OutputThatAnotherRunIsWritingIsLeftToIt) {
  OutputTarget other;
  ASSERT_TRUE(other.open(Output("x.y4m"), Input()));
  ASSERT_TRUE(other.write(std::vector<uint8_t>(3, 'o')));
  ExpectFailure({Input(), Output("x.y4m")},
                Output("x.y4m") + ": another run is writing its part file");
  ASSERT_TRUE(other.commit());
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), std::vector<uint8_t>(3, 'o'));
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "x.y4m"));
}

TEST_F(ExportProgramTest, TerminalTakesNoPictures) {
  const ProgramRun run = Run({Input(), "-", "--y4m"}, test::OutputEnd::kTerminal);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: standard output is a terminal, it takes no pictures\n");
}

TEST_F(ExportProgramTest, SignalLeavesNoPartFile) {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    test::WriteBytes(Output("x.y4m"), std::vector<uint8_t>(1, 'x'));
    EXPECT_EXIT(
        {
          OutputTarget target;
          const bool opened = target.open(Output("x.y4m"), Input());
          if (opened && std::filesystem::exists(Output("x.y4m.part"))) raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
    EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "x.y4m"));
    EXPECT_EQ(test::ReadBytes(Output("x.y4m")), std::vector<uint8_t>(1, 'x'));
  }
}

TEST_F(ExportProgramTest, SpecialFilesAreWrittenDirectly) {
  std::filesystem::create_symlink("/dev/null", Output("null.y4m"));
  EXPECT_EQ(Run({Input(), Output("null.y4m")}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(Output("null.y4m")));
}

TEST_F(ExportProgramTest, DamagedRecordKeepsTheFramesBeforeIt) {
  records_[4].payload.resize(9);
  Write(header_);
  const ProgramRun run = Run({Input(), Output("out.y4m")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[+] Wrote " + Output("out.y4m") + ": 6 frames, 21x14\n[-] Error: " +
                            Input() + ": damaged record behind 6 frames of 8\n");
  EXPECT_EQ(test::ReadBytes(Output("out.y4m")), ExpectedY4m(6));
  ExpectFailure({Input(), Output("x.png"), "--frame", "6"},
                Input() + ": frame 6 cannot be decoded: damaged record behind 6 frames of 8");
}

TEST_F(ExportProgramTest, DamagedSheetShowsWhatDecodes) {
  records_[1].payload.resize(9);
  Write(header_);
  const ProgramRun run = Run({Input(), Output("sheet.png"), "--sheet", "8x1"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.errors, StartsWith("[+] Wrote " + Output("sheet.png") + ": sheet of 3 frames"));
  EXPECT_THAT(run.errors, HasSubstr("[-] Error: " + Input() + ": damaged record behind 1 frame"));
}

TEST_F(ExportProgramTest, CutFileSaysSo) {
  std::vector<uint8_t> bytes = test::ReadBytes(Input());
  // Keep the head and the first record, cut inside the second.
  bytes.resize(48 + 8 + records_[0].payload.size() + 12);
  test::WriteBytes(Input(), bytes);
  const ProgramRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: " + Input() + ": the file ends after 1 frame of 8\n");
  EXPECT_EQ(run.output, ExpectedY4m(1));
}

TEST_F(ExportProgramTest, UnfinishedFileSaysSo) {
  FileHeader header = header_;
  header.frame_count = 0;
  Write(header);
  const ProgramRun run = Run({Input(), "-", "--y4m"});
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
  PictureCoder coder(header_.flags, 60);
  records_[4] = coder.Key(MovingPicture(10, 10, 0));
  Write(header_);
  const ProgramRun run = Run({Input(), "-", "--y4m"});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: " + Input() +
                            ": the picture size changes at frame 6, which Y4M cannot show\n");
  EXPECT_EQ(run.output, ExpectedY4m(6));
}

TEST_F(ExportProgramTest, UsageOnRequestAndOnMisuse) {
  const ProgramRun help = Run({"--help"});
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_EQ(help.errors, "");
  const std::string usage(help.output.begin(), help.output.end());
  EXPECT_EQ(usage, UsageText());
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {"a"}, {"a", "b.png", "--what"}}) {
    const ProgramRun run = Run(arguments);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.errors, StartsWith("[-] Error: "));
    EXPECT_THAT(run.errors, HasSubstr("Usage: qolm2_export IN.qolm OUT [options]"));
    EXPECT_TRUE(run.output.empty());
  }
}

}  // namespace
}  // namespace qolm::exporter
