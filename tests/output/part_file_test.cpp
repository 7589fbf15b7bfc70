// SPDX-License-Identifier: MIT
#include "output/part_file.h"

#include "part_file_fixture.h"

namespace qolm::output {
namespace {

TEST_F(PartFileTest, TakesTheOutputsPlaceOnlyAtTheCommit) {
  WriteFile(output_, "own: the old file");
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(part_file_->path(), Part());
  EXPECT_EQ(fs::file_size(Part()), 0U);
  WriteFile(Part(), "the new file");
  EXPECT_EQ(ReadFile(output_), "own: the old file");
  EXPECT_FALSE(part_file_->Commit());
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "the new file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, IsRemovedWithoutACommit) {
  WriteFile(output_, "own: the old file");
  ASSERT_EQ(Prepare(), "");
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "own: the old file");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, StaysWhenKept) {
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "finished");
  part_file_->Keep();
  part_file_.reset();
  EXPECT_EQ(ReadFile(Part()), "finished");
}

TEST_F(PartFileTest, RefusesWhatTheJudgeRefuses) {
  fs::create_hard_link(input_, Part());
  ExpectRefused("its part file is the input file");
  EXPECT_EQ(ReadFile(Part()), "the input");
}

TEST_F(PartFileTest, RefusesAFileOfAnotherKindBeforeAnythingIsMade) {
  WriteFile(output_, "somebody's film");
  ExpectRefused("an existing file of another kind is not replaced without --overwrite");
  EXPECT_EQ(ReadFile(output_), "somebody's film");
  EXPECT_THAT(Files(), ElementsAre("input", "output"));
}

TEST_F(PartFileTest, ReplacesAFileOfAnotherKindOnRequest) {
  WriteFile(output_, "somebody's film");
  policy_.overwrite = true;
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(output_), "the new file");
}

TEST_F(PartFileTest, AFileOfAnotherKindThatCameMeanwhileIsNotReplaced) {
  for (const bool overwrite : {false, true}) {
    policy_.overwrite = overwrite;
    fs::remove(output_);
    part_file_.emplace();
    ASSERT_EQ(Prepare(), "");
    WriteFile(Part(), "the new file");
    WriteFile(output_, "somebody's film");
    EXPECT_EQ(part_file_->Commit() == OutputRefusal::kOtherKind, !overwrite);
    EXPECT_EQ(ReadFile(output_), overwrite ? "the new file" : "somebody's film");
    EXPECT_EQ(fs::exists(Part()), !overwrite);
    part_file_.reset();
  }
}

TEST_F(PartFileTest, SomebodysFileUnderThePartFilesNameIsReplacedOnRequestOnly) {
  WriteFile(Part(), "somebody's letter");
  ExpectRefused(
      "its part file's name is taken by a file of another kind, which is not replaced without "
      "--overwrite");
  EXPECT_EQ(ReadFile(Part()), "somebody's letter");
  EXPECT_THAT(Files(), ElementsAre("input", "output.part"));
  policy_.overwrite = true;
  part_file_.emplace();
  ASSERT_EQ(Prepare(), "");
  EXPECT_EQ(ReadFile(Part()), "");
}

TEST_F(PartFileTest, AnEmptyPartFileIsNobodys) {
  WriteFile(Part(), "");
  EXPECT_EQ(Prepare(), "");
}

// As when another run has taken it for an abandoned one.
TEST_F(PartFileTest, AnotherRunsPartFileNeverBecomesTheOutputNorGoes) {
  ASSERT_EQ(Prepare(), "");
  fs::rename(Part(), folder_ / "taken");  // removed, an open file may keep its name
  PartFile other;
  ASSERT_EQ(Prepare(other), "");
  WriteFile(Part(), "own: the other run's bytes");
  EXPECT_EQ(part_file_->Commit(), std::errc::no_such_file_or_directory);
  part_file_.reset();
  EXPECT_FALSE(fs::exists(output_));
  EXPECT_FALSE(other.Commit());
  EXPECT_EQ(ReadFile(output_), "own: the other run's bytes");
}

TEST_F(PartFileTest, RefusesAMissingDirectory) {
  output_ = folder_ / "missing/output";
  ExpectRefused("No such file or directory");
  EXPECT_FALSE(fs::exists(folder_ / "missing"));
}

TEST_F(PartFileTest, RefusesAnotherRunsOutput) {
  PartFile other;
  ASSERT_EQ(Prepare(other), "");
  WriteFile(Part(), "own: the other run's bytes");
  ExpectRefused("another run is writing its part file");
  EXPECT_EQ(ReadFile(Part()), "own: the other run's bytes");
  EXPECT_FALSE(other.Commit());
  EXPECT_EQ(ReadFile(output_), "own: the other run's bytes");
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
  WriteFile(folder_ / "precious", "own: precious");
  fs::create_hard_link(folder_ / "precious", Part());
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(folder_ / "precious"), "own: precious");
  EXPECT_EQ(ReadFile(output_), "the new file");
}

TEST_F(PartFileTest, AFileThatIsNoLongerOursNeverBecomesTheOutputNorGoes) {
  WriteFile(output_, "own: the old file");
  ASSERT_EQ(Prepare(), "");
  fs::rename(Part(), folder_ / "moved");
  WriteFile(Part(), "somebody else's");
  EXPECT_EQ(part_file_->Commit(), std::errc::no_such_file_or_directory);
  part_file_.reset();
  EXPECT_EQ(ReadFile(output_), "own: the old file");
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

}  // namespace
}  // namespace qolm::output
