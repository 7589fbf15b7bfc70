// SPDX-License-Identifier: MIT
//
// A source that comes through a pipe, and calls on it and on its copy that do not do
// all at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include "faults/clip.h"
#include "faults/faulted_run.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::test {
namespace {

class PipedSourceFaults : public testing::Test {
 protected:
  PipedSourceFaults() {
    signal(SIGPIPE, SIG_IGN);  // of the feeder of a run that ends early
    const std::string source = (folder_ / "clip.mkv").string();
    Clip{.width = 96, .height = 64, .frames = 12}.Write(source);
    content_ = ReadFile(source);
    EXPECT_EQ(RunWithFault(ConverterMain, {"encode", source, output_}).exit_code, 0);
    whole_ = ReadFile(output_);
    EXPECT_EQ(mkfifo(pipe_.c_str(), 0600), 0);
  }

  FaultedRun Encode(const Fault& fault) {
    std::filesystem::remove(output_);
    std::thread feeder([this] { WriteFile(pipe_, content_); });
    const FaultedRun run = RunWithFault(ConverterMain, {"encode", pipe_, output_}, fault);
    // A run that ended early may have left the feeder waiting for a reader.
    const int reader = open(pipe_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    feeder.join();
    close(reader);
    return run;
  }

  void ExpectTheWholeFile(const FaultedRun& run) {
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_GT(run.calls, 0u);
    EXPECT_TRUE(ReadFile(output_) == whole_);
  }

  const TemporaryFolder folder_;
  const std::string pipe_ = (folder_ / "pipe").string();
  const std::string output_ = (folder_ / "clip.qolm").string();
  std::string content_;  // of the source
  std::string whole_;    // what its file becomes
};

TEST_F(PipedSourceFaults, ShortWritesOfTheCopyAreContinued) {
  for (const uint64_t longest : {uint64_t{1000}, content_.size() / 2}) {
    // The copy has no name; it is opened by that of its folder.
    ExpectTheWholeFile(
        Encode({.files = {folder_.path().string()}, .call = "write", .longest_write = longest}));
  }
}

TEST_F(PipedSourceFaults, AnInterruptedWriteOfTheCopyIsRepeated) {
  const FaultedRun run = Encode({.files = {folder_.path().string()},
                                 .call = "write",
                                 .action = "e" + std::to_string(EINTR),
                                 .at = 1});
  EXPECT_EQ(run.faults, 1u);
  ExpectTheWholeFile(run);
}

// Another reader of the pipe may have been faster, and a signal may come at any time.
TEST_F(PipedSourceFaults, AReadThatGetsNothingYetIsRepeated) {
  for (const int error : {EAGAIN, EINTR}) {
    const FaultedRun run =
        Encode({.files = {pipe_}, .call = "read", .action = "e" + std::to_string(error), .at = 2});
    EXPECT_EQ(run.faults, 1u);
    ExpectTheWholeFile(run);
  }
}

TEST_F(PipedSourceFaults, AReadThatFailsIsToldAndLeavesNothing) {
  const FaultedRun run =
      Encode({.files = {pipe_}, .call = "read", .action = "e" + std::to_string(EIO), .at = 2});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.err, "[-] Error: Cannot open input video (Input/output error): " + pipe_ + "\n");
  EXPECT_FALSE(std::filesystem::exists(output_));
}

}  // namespace
}  // namespace qolm::test
