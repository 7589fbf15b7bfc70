// SPDX-License-Identifier: MIT
//
// Permissions, links and signals as POSIX systems have them.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include "part_file_fixture.h"
#include "platform/removal_on_signal.h"
#include "support/default_signals.h"
#include "support/run_program.h"

namespace qolm::output {
namespace {

TEST_F(PartFileTest, ANewFileHasTheUsersOrdinaryPermissions) {
  const mode_t mask = umask(0027);
  const std::string refusal = Prepare();
  umask(mask);
  ASSERT_EQ(refusal, "");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(fs::status(output_).permissions(), fs::perms(0640));
}

TEST_F(PartFileTest, AnExistingOutputKeepsItsPermissions) {
  WriteFile(output_, "own: the old file");
  for (const mode_t mode : {0600U, 0666U, 0751U, 0200U}) {
    ASSERT_EQ(chmod(output_.c_str(), mode), 0);
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    EXPECT_FALSE(part_file_->Commit());
    EXPECT_EQ(fs::status(output_).permissions(), fs::perms(mode));
  }
}

TEST_F(PartFileTest, APrivateOutputIsPrivateFromTheStart) {
  WriteFile(output_, "own: the old file");
  ASSERT_EQ(chmod(output_.c_str(), 0600), 0);
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(fs::status(Part()).permissions(), fs::perms(0600));
}

TEST_F(PartFileTest, IsTheOwnersToReadAndWriteWhateverTheOutputIs) {
  WriteFile(output_, "own: the old file");
  policy_.overwrite = true;  // what may not be read is of no known kind
  ASSERT_EQ(chmod(output_.c_str(), 0200), 0);
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(fs::status(Part()).permissions(), fs::perms(0600));
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(fs::status(output_).permissions(), fs::perms(0200));
}

TEST_F(PartFileTest, TheOutputKeepsItsSpecialBits) {
  WriteFile(output_, "own: the old file");
  for (const mode_t mode : {04755U, 01644U}) {
    ASSERT_EQ(chmod(output_.c_str(), mode), 0);
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    EXPECT_FALSE(part_file_->Commit());
    EXPECT_EQ(fs::status(output_).permissions(), fs::perms(mode));
  }
}

TEST_F(PartFileTest, NothingOfOthersIsClosedAfterTheCommit) {
  ASSERT_EQ(Prepare(), "");
  EXPECT_FALSE(part_file_->Commit());
  const int taken = open(input_.c_str(), O_RDONLY | O_CLOEXEC);  // the number that became free
  ASSERT_GE(taken, 0);
  part_file_.reset();
  EXPECT_EQ(close(taken), 0);
}

TEST_F(PartFileTest, ALinkKeepsBeingOne) {
  fs::create_directory(folder_ / "elsewhere");
  const fs::path target = folder_ / "elsewhere/target";
  fs::create_symlink("elsewhere/target", output_);
  for (const std::string content :
       {"own: first", "own: second"}) {  // a link to nothing, then to a file
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

TEST_F(PartFileTest, RefusesSpecialFilesWithoutOpeningThem) {
  ASSERT_EQ(mkfifo(output_.c_str(), 0600), 0);
  ExpectRefused("it is not a regular file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, RefusesAFileInTheDirectorysPlace) {
  output_ = input_ / "output";
  ExpectRefused("Not a directory");
}

TEST_F(PartFileTest, RefusesADirectoryThatTakesNoFiles) {
  output_ = "/proc/output";  // even for a user who may do everything
  ExpectRefused("No such file or directory");
}

TEST_F(PartFileTest, AnAbandonedFileThatCannotBeRemovedIsNoOtherRun) {
  WriteFile(Part(), "own: left behind");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
  constexpr uid_t kNobody = 65534;  // permissions mean nothing to root
  const uid_t user = geteuid();
  if (user == 0 && seteuid(kNobody) != 0) GTEST_SKIP() << "there is no other user";
  const std::string refusal = Prepare();
  if (user == 0) {
    ASSERT_EQ(seteuid(user), 0);
  }
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  EXPECT_EQ(refusal, "Permission denied");
  part_file_.reset();
  EXPECT_EQ(ReadFile(Part()), "own: left behind");
}

TEST_F(PartFileTest, RefusesAnotherRunsOutputByAnotherName) {
  fs::create_symlink("output", folder_ / "link");
  PartFile other;
  ASSERT_EQ(Prepare(other), "");
  output_ = folder_ / "link";
  ExpectRefused("another run is writing its part file");
}

TEST_F(PartFileTest, ASignalRemovesItOnRequest) {
  const test::DefaultSignals signals;
  WriteFile(output_, "own: the old file");
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(
        {
          const bool prepared = Prepare().empty() && fs::exists(Part());
          part_file_->RemoveOnSignal();
          if (prepared) raise(signal_number);
        },
        testing::KilledBySignal(signal_number), "");
    EXPECT_THAT(Files(), ElementsAre("input", "output"));
    EXPECT_EQ(ReadFile(output_), "own: the old file");
  }
}

uint32_t g_now = 0;  // milliseconds
uint32_t Now() { return g_now; }

// Makes the part file while signals wait. The second signal arrives after `apart`
// milliseconds.
[[noreturn]] void MakeFileAmidSignals(const fs::path& file, uint32_t apart) {
  {
    g_now = 1000;
    const platform::ScopedSignalBlock wait(Now);
    WriteFile(file, "unfinished");
    raise(SIGINT);
    g_now += apart;
    raise(SIGTERM);
    platform::RemoveFileOnSignal(&file);
  }
  _exit(1);
}

TEST_F(PartFileTest, SignalsWithinAMomentWaitForTheFilesName) {
  const test::DefaultSignals signals;
  for (const uint32_t apart : {0U, 299U}) {
    EXPECT_EXIT(MakeFileAmidSignals(Part(), apart), testing::KilledBySignal(SIGINT), "");
    EXPECT_FALSE(fs::exists(Part()));
  }
  EXPECT_EXIT(MakeFileAmidSignals(Part(), 300), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(PartFileTest, ASignalAfterTheEndRemovesNothing) {
  const test::DefaultSignals signals;
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
  WriteFile(output_, "own: the old file");
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
  EXPECT_EQ(ReadFile(output_), "own: the old file");
}

}  // namespace
}  // namespace qolm::output
