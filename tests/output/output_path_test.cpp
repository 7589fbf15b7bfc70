#include "output/output_path.h"

#include "output_path_fixture.h"

namespace qolm::output {
namespace {

TEST_F(OutputPathTest, ANewFile) {
  ExpectAccepted();
  EXPECT_EQ(judged_.target, output_);
  EXPECT_EQ(judged_.part, Part());
  EXPECT_FALSE(judged_.exists);
  EXPECT_FALSE(judged_.special);
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(OutputPathTest, AnExistingFile) {
  WriteFile(output_, "old");
  ExpectAccepted();
  EXPECT_TRUE(judged_.exists);
  EXPECT_FALSE(judged_.special);
}

TEST_F(OutputPathTest, AMissingInputIsNotTheOutput) {
  fs::remove(input_);
  WriteFile(output_, "old");
  ExpectAccepted();
}

TEST_F(OutputPathTest, TheInput) {
  output_ = input_;
  EXPECT_EQ(Refusal(), "it is the input file");
}

TEST_F(OutputPathTest, AHardLinkToTheInput) {
  fs::create_hard_link(input_, output_);
  EXPECT_EQ(Refusal(), "it is the input file");
}

TEST_F(OutputPathTest, AnInputInThePartFilesPlace) {
  fs::create_hard_link(input_, Part());
  EXPECT_EQ(Refusal(), "its part file is the input file");
}

TEST_F(OutputPathTest, APartFileOfAnEarlierRunIsNoRefusal) {
  WriteFile(Part(), "left");
  ExpectAccepted();
}

TEST_F(OutputPathTest, ADirectory) {
  fs::create_directory(output_);
  EXPECT_EQ(Refusal(), "Is a directory");
}

TEST_F(OutputPathTest, ANameThatEndsAsADirectory) {
  output_ += "/";
  EXPECT_EQ(Refusal(), "Is a directory");
}

TEST_F(OutputPathTest, AnEmptyName) {
  output_ = "";
  EXPECT_EQ(Refusal(), "No such file or directory");
}

}  // namespace
}  // namespace qolm::output
