// SPDX-License-Identifier: MIT
//
// Links, devices, terminals and signals as POSIX systems have them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include "export/export_program_fixture.h"
#include "export/form.h"
#include "export/output_target.h"
#include "support/decoded_png.h"
#include "support/default_signals.h"

namespace qolm::exporter {
namespace {

using test::ReadPng;

TEST_F(ExportProgramTest, FullDevice) {
  for (const std::string name : {"full.y4m", "full.png"}) {
    std::filesystem::create_symlink("/dev/full", Output(name));
    ExpectFailure({Input(), Output(name)}, Output(name) + ": No space left on device");
  }
}

TEST_F(ExportProgramTest, InputUnderTheNameOfALinkTargetsPartFileIsNeverOverwritten) {
  const std::string input = Output("movie.y4m.part");
  std::filesystem::copy_file(Input(), input);
  const std::vector<uint8_t> before = test::ReadBytes(input);
  test::WriteBytes(Output("movie.y4m"), OldY4m());
  std::filesystem::create_symlink("movie.y4m", Output("link.y4m"));
  ExpectFailure({input, Output("link.y4m")},
                Output("link.y4m") + ": its part file is the input file");
  EXPECT_EQ(test::ReadBytes(input), before);
}

TEST_F(ExportProgramTest, OutputThatIsALinkStaysOne) {
  test::WriteBytes(Output("real.y4m"), OldY4m());
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
  test::WriteBytes(Output("x.png"), OldPng());
  std::filesystem::permissions(Output("x.png"), std::filesystem::perms(0640));
  EXPECT_EQ(Run({Input(), Output("x.png")}).exit_code, 0);
  EXPECT_EQ(ReadPng(Output("x.png")).pixels, ExpectedPixels(0));
  EXPECT_EQ(std::filesystem::status(Output("x.png")).permissions(), std::filesystem::perms(0640));
}

TEST_F(ExportProgramTest, AUsageThatIsLostIsAFailure) {
  test::ProgramRun run(QOLM_EXPORT_PROGRAM, {"--help"},
                       [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); });
  run.Wait();
  EXPECT_EQ(run.exit_code(), 1);
  EXPECT_EQ(run.err(), "[-] Error: standard output: No space left on device\n");
}

TEST_F(ExportProgramTest, TerminalTakesNoPictures) {
  const ExportRun run = Run({Input(), "-", "--y4m"}, test::OutputEnd::kTerminal);
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.errors, "[-] Error: standard output is a terminal, it takes no pictures\n");
}

TEST_F(ExportProgramTest, SignalLeavesNoPartFile) {
  const test::DefaultSignals signals;
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    test::WriteBytes(Output("x.y4m"), OldY4m());
    EXPECT_EXIT(
        {
          OutputTarget target(Output("x.y4m"), Input(), ReplacePolicyOf(Form::kY4m, false));
          const bool opened = target.open();
          if (opened && std::filesystem::exists(Output("x.y4m.part"))) raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
    EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "x.y4m"));
    EXPECT_EQ(test::ReadBytes(Output("x.y4m")), OldY4m());
  }
}

// Part of an output is missing: what follows must not make it pass for the whole.
TEST_F(ExportProgramTest, AfterAFailedWriteNothingIsCommitted) {
  test::WriteBytes(Output("x.y4m"), OldY4m());
  {
    OutputTarget target(Output("x.y4m"), Input(), ReplacePolicyOf(Form::kY4m, false));
    ASSERT_TRUE(target.open());
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = before;
    limit.rlim_cur = 1000;
    auto* const handler = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const bool written = target.write(std::vector<uint8_t>(size_t{4} << 20));
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_FALSE(written);
    EXPECT_FALSE(target.write(OldY4m()));
    EXPECT_FALSE(target.seek(0));
    EXPECT_FALSE(target.commit());
    EXPECT_EQ(target.error(), std::errc::file_too_large) << "the first reason";
  }
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "x.y4m"));
  EXPECT_EQ(test::ReadBytes(Output("x.y4m")), OldY4m());
}

TEST_F(ExportProgramTest, SpecialFilesAreWrittenDirectly) {
  std::filesystem::create_symlink("/dev/null", Output("null.y4m"));
  EXPECT_EQ(Run({Input(), Output("null.y4m")}).exit_code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(Output("null.y4m")));
}

}  // namespace
}  // namespace qolm::exporter
