#include "output/part_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "support/run_program.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::output {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;
using testing::ElementsAre;

class PartFileTest : public testing::Test {
 protected:
  PartFileTest() : input_(folder_ / "input"), output_(folder_ / "output") {
    WriteFile(input_, "the input");
    part_file_.emplace();
  }

  std::string Prepare() { return Prepare(*part_file_); }
  std::string Prepare(PartFile& part_file) {
    const std::error_code error = part_file.Prepare(output_, input_);
    return error ? error.message() : "";
  }
  void ExpectRefused(const std::string& reason) {
    EXPECT_EQ(Prepare(), reason);
    part_file_.reset();
  }
  fs::path Part() const { return output_.string() + ".part"; }

  // Names in the folder, sorted.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  const test::TemporaryFolder folder_;
  const fs::path input_;
  fs::path output_;
  std::optional<PartFile> part_file_;
};

TEST_F(PartFileTest, TakesTheOutputsPlaceOnlyAtTheCommit) {
  WriteFile(output_, "the old file");
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(part_file_->path(), Part());
  EXPECT_EQ(fs::file_size(Part()), 0U);
  WriteFile(Part(), "the new file");
  EXPECT_EQ(ReadFile(output_), "the old file");
  EXPECT_FALSE(part_file_->Commit());
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "the new file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, IsRemovedWithoutACommit) {
  WriteFile(output_, "the old file");
  ASSERT_EQ(Prepare(), "");
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "the old file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, StaysWhenKept) {
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "finished");
  part_file_->Keep();
  part_file_.reset();
  EXPECT_EQ(ReadFile(Part()), "finished");
}

TEST_F(PartFileTest, ANewFileHasTheUsersOrdinaryPermissions) {
  const mode_t mask = umask(0027);
  const std::string refusal = Prepare();
  umask(mask);
  ASSERT_EQ(refusal, "");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(fs::status(output_).permissions(), fs::perms(0640));
}

TEST_F(PartFileTest, AnExistingOutputKeepsItsPermissions) {
  WriteFile(output_, "the old file");
  for (const mode_t mode : {0600U, 0666U, 0751U, 0200U}) {
    ASSERT_EQ(chmod(output_.c_str(), mode), 0);
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    EXPECT_FALSE(part_file_->Commit());
    EXPECT_EQ(fs::status(output_).permissions(), fs::perms(mode));
  }
}

TEST_F(PartFileTest, APrivateOutputIsPrivateFromTheStart) {
  WriteFile(output_, "the old file");
  ASSERT_EQ(chmod(output_.c_str(), 0600), 0);
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(fs::status(Part()).permissions(), fs::perms(0600));
}

TEST_F(PartFileTest, ALinkKeepsBeingOne) {
  fs::create_directory(folder_ / "elsewhere");
  const fs::path target = folder_ / "elsewhere/target";
  fs::create_symlink("elsewhere/target", output_);
  for (const std::string content : {"first", "second"}) {  // a link to nothing, then to a file
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    EXPECT_EQ(part_file_->path(), target.string() + ".part");
    WriteFile(part_file_->path(), content);
    EXPECT_FALSE(part_file_->Commit());
    EXPECT_TRUE(fs::is_symlink(output_));
    EXPECT_EQ(ReadFile(target), content);
    EXPECT_FALSE(fs::exists(target.string() + ".part"));
  }
}

TEST_F(PartFileTest, RefusesWhatTheJudgeRefuses) {
  fs::create_hard_link(input_, Part());
  ExpectRefused("its part file is the input file");
  EXPECT_EQ(ReadFile(Part()), "the input");
}

TEST_F(PartFileTest, RefusesSpecialFilesWithoutOpeningThem) {
  ASSERT_EQ(mkfifo(output_.c_str(), 0600), 0);
  ExpectRefused("it is not a regular file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, RefusesAMissingDirectory) {
  output_ = folder_ / "missing/output";
  ExpectRefused("No such file or directory");
  EXPECT_FALSE(fs::exists(folder_ / "missing"));
}

TEST_F(PartFileTest, RefusesAFileInTheDirectorysPlace) {
  output_ = input_ / "output";
  ExpectRefused("Not a directory");
}

TEST_F(PartFileTest, RefusesADirectoryThatTakesNoFiles) {
  output_ = "/proc/output";  // even for a user who may do everything
  ExpectRefused("No such file or directory");
}

TEST_F(PartFileTest, RefusesAnotherRunsOutput) {
  PartFile other;
  ASSERT_EQ(Prepare(other), "");
  WriteFile(Part(), "the other run's bytes");
  ExpectRefused("another run is writing its part file");
  EXPECT_EQ(ReadFile(Part()), "the other run's bytes");
  EXPECT_FALSE(other.Commit());
  EXPECT_EQ(ReadFile(output_), "the other run's bytes");
}

TEST_F(PartFileTest, RefusesAnotherRunsOutputByAnotherName) {
  fs::create_symlink("output", folder_ / "link");
  PartFile other;
  ASSERT_EQ(Prepare(other), "");
  output_ = folder_ / "link";
  ExpectRefused("another run is writing its part file");
}

TEST_F(PartFileTest, TheOutputIsFreeAfterTheCommit) {
  ASSERT_EQ(Prepare(), "");
  EXPECT_FALSE(part_file_->Commit());
  PartFile next;
  EXPECT_EQ(Prepare(next), "");
  part_file_.reset();
  EXPECT_TRUE(fs::exists(Part()));  // the next run's
}

TEST_F(PartFileTest, ReplacesThePartFileOfAnEndedRunNeverWritingThroughIt) {
  WriteFile(folder_ / "precious", "precious");
  fs::create_hard_link(folder_ / "precious", Part());
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(folder_ / "precious"), "precious");
  EXPECT_EQ(ReadFile(output_), "the new file");
}

TEST_F(PartFileTest, AFileThatIsNoLongerOursNeverBecomesTheOutputNorGoes) {
  WriteFile(output_, "the old file");
  ASSERT_EQ(Prepare(), "");
  fs::rename(Part(), folder_ / "moved");
  WriteFile(Part(), "somebody else's");
  EXPECT_EQ(part_file_->Commit(), std::errc::no_such_file_or_directory);
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "the old file");
  EXPECT_EQ(ReadFile(Part()), "somebody else's");
}

TEST_F(PartFileTest, AFailedCommitLeavesTheChoice) {
  for (const bool keep : {false, true}) {
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    fs::create_directory(output_);
    EXPECT_EQ(part_file_->Commit(), std::errc::is_a_directory);
    EXPECT_TRUE(fs::exists(Part()));
    if (keep) part_file_->Keep();
    part_file_.reset();
    EXPECT_EQ(fs::exists(Part()), keep);
    fs::remove(output_);
  }
}

TEST_F(PartFileTest, ASignalRemovesItOnRequest) {
  WriteFile(output_, "the old file");
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          const bool prepared = Prepare().empty() && fs::exists(Part());
          part_file_->RemoveOnSignal();
          if (prepared) raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
    EXPECT_THAT(Files(), ElementsAre("input", "output"));
    EXPECT_EQ(ReadFile(output_), "the old file");
  }
}

TEST_F(PartFileTest, ASignalAfterTheEndRemovesNothing) {
  EXPECT_EXIT(
      {
        const bool prepared = Prepare().empty();
        part_file_->RemoveOnSignal();
        const bool committed = prepared && !part_file_->Commit();
        WriteFile(Part(), "another run's");
        if (committed) raise(SIGTERM);
      },
      testing::KilledBySignal(SIGTERM), "");
  EXPECT_THAT(Files(), ElementsAre("input", "output", "output.part"));
}

TEST_F(PartFileTest, AReadOnlyDirectory) {
  WriteFile(output_, "the old file");
  ASSERT_EQ(chmod(output_.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
  EXPECT_EXIT(
      {
        test::DropRoot();
        const bool refused = Prepare() == "Permission denied";
        _exit(refused ? 0 : 1);
      },
      [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 126);
      },
      "");
  chmod(folder_.path().c_str(), 0700);
  EXPECT_EQ(ReadFile(output_), "the old file");
}

}  // namespace
}  // namespace qolm::output
