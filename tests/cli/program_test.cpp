// SPDX-License-Identifier: MIT
//
// The real program: a command paired with its standard output, its standard
// error and its exit code.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "cli/messages.h"
#include "container/container_reader.h"
#include "scratch_directory.h"
#include "support/run_program.h"
#include "y4m_clip.h"

namespace qolm::cli {
namespace {

namespace fs = std::filesystem;
using test::DropRoot;
using test::ProgramRun;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

// The program's name as the tests give it, argument 0.
constexpr const char* kProgram = QOLM_PROGRAM_PATH;

class Program : public testing::Test {
 protected:
  Program() : input_(directory_ / "clip.y4m"), output_(directory_ / "clip.qolm") {}

  void MakeInput(int frames) { WriteFile(input_, clip_.File(frames)); }

  void Run(
      const std::vector<std::string>& arguments, const std::function<void()>& in_child = [] {},
      test::OutputEnd output_end = test::OutputEnd::kCaptured) {
    ProgramRun run(kProgram, arguments, in_child, output_end);
    run.Wait();
    exit_code_ = run.exit_code();
    out_ = run.out();
    err_ = run.err();
  }

  // One error line with the path at its end, exit code 1.
  void ExpectError(const std::string& path) {
    EXPECT_EQ(exit_code_, 1);
    EXPECT_THAT(err_, AllOf(StartsWith("[-] Error: "), EndsWith(": " + path + "\n")));
    EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 1) << err_;
  }

  void ExpectInputRefused(const std::string& reason_pattern) {
    WriteFile(output_, "QLM2: the old file");
    Run({"encode", input_, output_});
    ExpectError(input_);
    EXPECT_EQ(out_, messages::Banner());
    EXPECT_THAT(err_, MatchesRegex("\\[-\\] Error: Cannot open input video \\(" + reason_pattern +
                                   "\\): [^\n]*\n"));
    EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
    EXPECT_FALSE(fs::exists(Part()));
  }

  std::string Part() const { return output_ + ".part"; }

  uint32_t FramesIn(const std::string& path) {
    container::ContainerReader reader;
    EXPECT_TRUE(reader.open(path)) << reader.failure_reason();
    return reader.header().frame_count;
  }

  ScratchDirectory directory_;
  Y4mClip clip_;
  std::string input_;
  std::string output_;
  int exit_code_ = -1;
  std::string out_;
  std::string err_;
};

TEST_F(Program, WithoutACommandPrintsItsUsage) {
  Run({});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(out_, messages::Banner() + messages::Usage(kProgram));
  EXPECT_EQ(err_, "");
}

TEST_F(Program, AnUnknownCommandOrTooFewArgumentsPrintTheUsageAndFail) {
  const std::vector<std::vector<std::string>> commands = {
      {"nonsense"},     {"Encode", "a", "b"},
      {"--Help"},       {""},
      {"encode"},       {"info"},
      {"encode ", "a"}, {"encode", "a"},
      {"version"},      {"nonsense", "a", "b", "c"}};
  for (const auto& command : commands) {
    Run(command);
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(out_, messages::Banner() + messages::Usage(kProgram));
    EXPECT_EQ(err_, "");
  }
}

TEST_F(Program, HelpIsACommandOfItsOwn) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"--help"}, {"-h"}, {"help"}, {"--help", "encode"}}) {
    Run(command);
    EXPECT_EQ(exit_code_, 0);
    EXPECT_EQ(out_, messages::Banner() + messages::Usage(kProgram));
    EXPECT_EQ(err_, "");
  }
  Run({"--version"});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(out_, messages::Banner());
  EXPECT_EQ(err_, "");
}

TEST_F(Program, HelpIsGivenInThePlaceOfAFileName) {
  for (const std::vector<std::string>& command : {std::vector<std::string>{"encode", "--help"},
                                                  {"encode", "-h"},
                                                  {"info", "--help"},
                                                  {"info", "-h"},
                                                  {"encode", input_, "--help"},
                                                  {"encode", input_, "-h"}}) {
    Run(command);
    EXPECT_EQ(exit_code_, 0);
    EXPECT_EQ(out_, messages::Banner() + messages::Usage(kProgram));
    EXPECT_EQ(err_, "");
  }
  Run({"nonsense", "--help"});
  EXPECT_EQ(exit_code_, 1);
}

TEST_F(Program, TheEndOfOptionsIsNoOutput) {
  MakeInput(3);
  const fs::path here = fs::current_path();
  fs::current_path(directory_ / "");
  Run({"encode", input_, "--"});
  EXPECT_EQ(exit_code_, 1);
  EXPECT_EQ(out_, messages::Banner() + messages::Usage(kProgram));
  Run({"encode", "--", input_, output_});
  ExpectError("--");
  Run({"encode", input_, "--", output_});
  ExpectError("--");
  EXPECT_FALSE(fs::exists("--"));
  EXPECT_FALSE(fs::exists(output_));
  fs::current_path(here);
}

// A name may hold what would break the line or command the terminal.
TEST_F(Program, MessagesShowNamesOnOneLine) {
  const std::string name = "a\nb\x1B[31m\x7F.mp4";
  const std::string shown = "a\\nb\\x1B[31m\\x7F.mp4";
  Run({"encode", directory_ / name, output_});
  ExpectError(directory_ / shown);
  Run({"info", directory_ / name});
  ExpectError(directory_ / shown);
  EXPECT_EQ(out_, messages::Banner() + "[+] Opening QOLM v2 file: " + (directory_ / shown) + "\n");

  MakeInput(3);
  fs::rename(input_, directory_ / name);
  Run({"encode", directory_ / name, directory_ / "missing\rfolder/out.qolm"});
  ExpectError(directory_ / "missing\\rfolder/out.qolm");
  EXPECT_THAT(out_, HasSubstr("[+] Input Video: " + (directory_ / shown) + "\n"));
  Run({"encode", directory_ / name, output_, "--quality", "\n5\x1B"});
  EXPECT_EQ(exit_code_, 0);  // white space before a number
  Run({"encode", directory_ / name, output_, "--quality", "x\n\x1B"});
  EXPECT_EQ(err_, "[-] Error: --quality x\\n\\x1B: invalid stoi argument\n");
}

TEST_F(Program, AnOptionIsNoNameOfAFile) {
  MakeInput(3);
  const fs::path here = fs::current_path();
  fs::current_path(directory_ / "");
  for (const std::string word :
       {"--quality", "--no-vfr", "--pre-analysis", "--help", "-h", "--version"}) {
    Run({"encode", input_, word, "80", "out.qolm"});
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(out_, messages::Banner());
    EXPECT_EQ(err_,
              "[-] Error: An option stands where the name of a file belongs (a file of that name "
              "is ./" +
                  word + "): " + word + "\n");
    EXPECT_FALSE(fs::exists(word));
    Run({"encode", word, "out.qolm"});
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(std::count(err_.begin(), err_.end(), '\n'), 1) << err_;
    EXPECT_FALSE(fs::exists("out.qolm"));
  }
  Run({"encode", input_, "./--quality"});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(FramesIn("--quality"), 3U);
  Run({"encode", input_, "--Quality"});  // no word of ours
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(FramesIn("--Quality"), 3U);
  fs::current_path(here);
}

TEST_F(Program, TheOutputIsNotStandardOutput) {
  MakeInput(3);
  const fs::path here = fs::current_path();
  fs::current_path(directory_ / "");
  Run({"encode", input_, "-"});
  EXPECT_EQ(exit_code_, 1);
  EXPECT_EQ(out_, messages::Banner());
  EXPECT_EQ(
      err_,
      "[-] Error: Cannot open output file (it has to be a file; one of this name is ./-): -\n");
  EXPECT_FALSE(fs::exists("-"));
  Run({"encode", input_, "./-"});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(FramesIn("-"), 3U);
  fs::current_path(here);
}

TEST_F(Program, ABadNumberEndsTheRunBeforeAnythingIsOpened) {
  for (const std::string option : {"--quality", "--gop", "--frames"}) {
    Run({"encode", input_, output_, option, "many"});
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(out_, messages::Banner());
    EXPECT_EQ(err_, "[-] Error: " + option + " many: invalid stoi argument\n");

    Run({"encode", input_, output_, option, "2147483648"});
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(out_, messages::Banner());
    EXPECT_EQ(err_, "[-] Error: " + option + " 2147483648: stoi argument out of range\n");
  }
}

TEST_F(Program, ConvertsAndReadsBack) {
  MakeInput(25);
  Run({"encode", input_, output_});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_, "");
  const std::string progress =
      "\r    Processed frames: [12]0/25 \\([0-9]+% \\| ETA 0m[0-9]+s\\) \xE2\x80\xA2 [0-9]+ FPS "
      "\\(VFR Skip: 0\\)";
  EXPECT_THAT(out_, StartsWith(messages::Banner() + "[+] Input Video: " + input_ +
                               "\n    Resolution : 64x48\n    Framerate  : 25 fps\n"
                               "    Duration   : 1 s (25 frames)\n" +
                               messages::AudioNotReadNotice("") +
                               "[+] Encoding video (Quality: 45, GOP: 60, VFR: ON, Gabor: ON, "
                               "CCLC: ON, Stream: FAST-START)...\n\r"));
  EXPECT_THAT(out_.substr(out_.find('\r')),
              MatchesRegex(progress + progress +
                           "\n\\[\\+\\] Encoding statistics:\n"
                           "  Total Frames Processed : 25\n"
                           "  VFR Static Slides Skip : 0 frames \\(0.0% savings\\)\n"
                           "  Encoding Time          : [0-9]+\\.[0-9] ms \\([0-9]+\\.[0-9] FPS\\)\n"
                           "  Original File Size     : [0-9]+\\.[0-9] KB\n"
                           "  QOLM File Size         : [0-9]+\\.[0-9] KB\n"
                           "  Compression vs Raw     : [0-9]+\\.[0-9]%\n"
                           "\\[\\+\\] Done\\.\n"));

  Run({"info", output_});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_, "");
  EXPECT_THAT(out_, MatchesRegex("[^\r]*\\[\\+\\] Opening QOLM v2 file: [^\n]*clip.qolm\n"
                                 "    Resolution: 64x48\n"
                                 "    FPS       : 25/1\n"
                                 "    Frames    : 25\n"
                                 "    Duration  : 1 s\n"
                                 "    Flags     : 0xdf3f \\[Fast-Start\\]\n"
                                 "\\[\\+\\] Decoded Frames : 25\n"
                                 "    Decode Time    : [0-9]+\\.[0-9] ms\n"
                                 "    Decode Speed   : [0-9]+\\.[0-9] FPS\n"));
}

TEST_F(Program, PathsOutsideAsciiPrintAsGiven) {
  input_ = directory_ /
           "Gr\xC3\xBC\xC3\x9F"
           "e \xE4\xB8\xAD.y4m";
  output_ = directory_ / "\xF0\x9F\x8E\xAC.qolm";
  MakeInput(3);
  Run({"encode", input_, output_, "--monolithic"});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_THAT(out_, HasSubstr("[+] Input Video: " + input_ + "\n"));
  Run({"info", output_});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_THAT(out_, HasSubstr("[+] Opening QOLM v2 file: " + output_ + "\n"));
  EXPECT_THAT(out_, HasSubstr("    Flags     : 0xdb3f\n"));
}

TEST_F(Program, AReportThatNobodyReadsDoesNotEndAConversion) {
  MakeInput(25);
  Run(
      {"encode", input_, output_}, [] {}, test::OutputEnd::kClosedPipe);
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_, "");
  EXPECT_EQ(FramesIn(output_), 25U);
  EXPECT_FALSE(fs::exists(Part()));
}

// The first file that a program opens takes the lowest descriptor that is free.
TEST_F(Program, ClosedStandardDescriptorsDoNotReachTheFile) {
  MakeInput(25);
  Run({"encode", input_, output_});
  const std::string whole = ReadFile(output_);
  ASSERT_EQ(FramesIn(output_), 25U);
  for (int closed = 1; closed < 8; ++closed) {
    fs::remove(output_);
    Run({"encode", input_, output_}, [closed] {
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if ((closed >> descriptor & 1) != 0) close(descriptor);
      }
    });
    EXPECT_EQ(exit_code_, 0) << closed;
    EXPECT_EQ(ReadFile(output_), whole) << closed;
    EXPECT_FALSE(fs::exists(Part())) << closed;
  }
}

void PrintToFullDevice() { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); }
void PrintNowhere() { close(STDOUT_FILENO); }

TEST_F(Program, AReportOfInfoThatIsLostIsAFailure) {
  MakeInput(3);
  Run({"encode", input_, output_});
  ASSERT_EQ(exit_code_, 0);
  Run({"info", output_}, PrintToFullDevice);
  EXPECT_EQ(exit_code_, 1);
  EXPECT_EQ(err_,
            "[-] Error: Cannot write the report to standard output (No space left on device)\n");
  Run({"info", output_}, PrintNowhere);
  EXPECT_EQ(exit_code_, 1);
  EXPECT_EQ(err_, "[-] Error: Cannot write the report to standard output (it is closed)\n");
}

TEST_F(Program, AReportOfEncodeThatIsLostIsToldBesideTheFile) {
  MakeInput(25);
  Run({"encode", input_, output_}, PrintToFullDevice);
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_,
            "[+] Note: the report could not be written to standard output (No space left on "
            "device); the file is complete: " +
                output_ + "\n");
  EXPECT_EQ(FramesIn(output_), 25U);
  Run({"encode", input_, output_}, PrintNowhere);
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_,
            "[+] Note: the report could not be written to standard output (it is closed); "
            "the file is complete: " +
                output_ + "\n");
  Run({"encode", input_, directory_ / "missing/out.qolm"}, PrintToFullDevice);
  ExpectError(directory_ / "missing/out.qolm");
}

// ---- Input that cannot be converted ----

TEST_F(Program, AMissingInput) { ExpectInputRefused("No such file or directory"); }

TEST_F(Program, AnEmptyInput) {
  WriteFile(input_, "");
  ExpectInputRefused("[^\n]+");
}

TEST_F(Program, ATextAsInput) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "This is a letter and no video at all.\n";
  WriteFile(input_, text);
  ExpectInputRefused("[^\n]+");
}

TEST_F(Program, ADirectoryAsInput) {
  fs::create_directory(input_);
  ExpectInputRefused("Is a directory");
}

TEST_F(Program, ATruncatedInputIsConvertedAsFarAsItGoes) {
  const std::string file = clip_.File(20);
  WriteFile(input_, file.substr(0, clip_.Header().size() + clip_.Frame(0).size() * 12 + 100));
  Run({"encode", input_, output_});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_, "");
  EXPECT_EQ(FramesIn(output_), 12U);
}

// ---- Output that cannot be written ----

TEST_F(Program, AnOutputThatIsTheInput) {
  MakeInput(3);
  const std::string content = ReadFile(input_);
  fs::create_symlink(input_, directory_ / "other.y4m");
  Run({"encode", directory_ / "other.y4m", input_});
  ExpectError(input_);
  EXPECT_THAT(err_, HasSubstr("(it is the input file)"));
  EXPECT_EQ(ReadFile(input_), content);
}

TEST_F(Program, AnOutputInAMissingDirectory) {
  MakeInput(3);
  output_ = directory_ / "missing/clip.qolm";
  Run({"encode", input_, output_});
  ExpectError(output_);
  EXPECT_THAT(err_, HasSubstr("Cannot open output file (No such file or directory)"));
}

TEST_F(Program, AnOutputThatIsADirectory) {
  MakeInput(3);
  fs::create_directory(output_);
  Run({"encode", input_, output_});
  ExpectError(output_);
  EXPECT_THAT(err_, HasSubstr("Cannot open output file (Is a directory)"));
}

TEST_F(Program, AnOutputThatIsReadOnly) {
  MakeInput(3);
  WriteFile(output_, "QLM2: the old file");
  ASSERT_EQ(chmod((directory_ / "").c_str(), 0777), 0);
  ASSERT_EQ(chmod(output_.c_str(), 0444), 0);
  Run({"encode", input_, output_}, DropRoot);
  if (exit_code_ >= 126) GTEST_SKIP() << "the program cannot be run as another user here";
  ExpectError(output_);
  EXPECT_THAT(err_, HasSubstr("Cannot open output file (Permission denied)"));
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(Program, AnOutputInAReadOnlyDirectory) {
  MakeInput(3);
  WriteFile(output_, "QLM2: the old file");
  ASSERT_EQ(chmod(output_.c_str(), 0666), 0);
  ASSERT_EQ(chmod((directory_ / "").c_str(), 0555), 0);
  Run({"encode", input_, output_}, DropRoot);
  chmod((directory_ / "").c_str(), 0700);
  if (exit_code_ >= 126) GTEST_SKIP() << "the program cannot be run as another user here";
  ExpectError(output_);
  EXPECT_THAT(err_, HasSubstr("Cannot open output file (Permission denied)"));
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
}

void LimitFileSize(rlim_t bytes) {
  const rlimit limit = {bytes, bytes};
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(Program, AFailedWriteEndsTheLoop) {
  MakeInput(200);
  WriteFile(output_, "QLM2: the old file");
  Run({"encode", input_, output_}, [] { LimitFileSize(150000); });
  ExpectError(output_);
  EXPECT_EQ(err_, "[-] Error: Cannot write output file (File too large): " + output_ + "\n");
  EXPECT_THAT(out_, EndsWith(")\n"));  // the progress line is ended and nothing follows it
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(Program, AFailedWriteOfTheHead) {
  MakeInput(3);
  Run({"encode", input_, output_}, [] { LimitFileSize(1000); });
  ExpectError(output_);
  EXPECT_THAT(err_, HasSubstr("(File too large)"));
  EXPECT_FALSE(fs::exists(output_));
  EXPECT_FALSE(fs::exists(Part()));
}

// ---- Interruption ----

// A conversion that stands still once its report has filled a pipe, so that no test
// depends on how fast the program is.
class StalledConversion {
 public:
  StalledConversion(const std::string& input, const std::string& output) {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    EXPECT_EQ(fcntl(ends_[1], F_SETPIPE_SZ, kPipeBytes), kPipeBytes);
    run_.emplace(kProgram, std::vector<std::string>{"encode", input, output},
                 [this] { dup2(ends_[1], STDOUT_FILENO); });
    close(ends_[1]);
  }
  ~StalledConversion() { close(ends_[0]); }

  // Reads the report as far as the first progress line and no further.
  void WaitForProgress() {
    while (out_.find("Processed frames: 10") == std::string::npos && ReadByte()) {
    }
  }

  void Finish() {
    while (ReadByte()) {
    }
    run_->Wait();
  }

  ProgramRun& run() { return *run_; }
  const std::string& out() const { return out_; }

 private:
  bool ReadByte() {
    char byte = 0;
    if (read(ends_[0], &byte, 1) != 1) return false;
    out_ += byte;
    return true;
  }

  static constexpr int kPipeBytes = 4096;
  int ends_[2] = {-1, -1};
  std::optional<ProgramRun> run_;
  std::string out_;
};

class Interrupted : public Program {
 protected:
  // Long enough for a report that the pipe does not hold.
  Interrupted() {
    MakeInput(1500);
    WriteFile(output_, "QLM2: the old file");
  }

  void ExpectPartKeptAfter(int signal_number) {
    StalledConversion conversion(input_, output_);
    conversion.WaitForProgress();
    conversion.run().Signal(signal_number);
    conversion.Finish();

    EXPECT_EQ(conversion.run().exit_code(), 1);
    EXPECT_THAT(conversion.out(), EndsWith(" FPS (VFR Skip: 0)\n"));
    EXPECT_EQ(conversion.run().err(),
              "[-] Error: Interrupted after " + std::to_string(FramesIn(Part())) +
                  " frames; these are kept in a playable file: " + Part() + "\n");
    EXPECT_GE(FramesIn(Part()), 10U);
    EXPECT_LT(FramesIn(Part()), 1500U);
    EXPECT_EQ(ReadFile(output_), "QLM2: the old file");

    Run({"info", Part()});
    EXPECT_EQ(exit_code_, 0);
    EXPECT_THAT(out_, HasSubstr("[+] Decoded Frames : " + std::to_string(FramesIn(Part())) + "\n"));
    EXPECT_EQ(err_, "");
  }
};

TEST_F(Interrupted, ByCtrlC) { ExpectPartKeptAfter(SIGINT); }

TEST_F(Interrupted, ByTheEndOfTheTerminal) { ExpectPartKeptAfter(SIGHUP); }

TEST_F(Interrupted, BySigterm) { ExpectPartKeptAfter(SIGTERM); }

TEST_F(Interrupted, ASecondSignalEndsAProgramThatHangs) {
  int ends[2] = {-1, -1};  // of a pipe that takes nothing more
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  while (write(ends[1], "x", 1) == 1) {
  }
  ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
  ProgramRun run(kProgram, {"encode", input_, output_}, [&ends] { dup2(ends[1], STDOUT_FILENO); });
  while (run.IsRunning() && !test::Catches(run, SIGHUP)) {  // the last one that is set up
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  while (run.IsRunning()) {
    run.Signal(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(run.exit_code(), -SIGINT);
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace qolm::cli
