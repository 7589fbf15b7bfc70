// SPDX-License-Identifier: MIT
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
  WriteFile(output_, "own: old");
  ExpectAccepted();
  EXPECT_TRUE(judged_.exists);
  EXPECT_FALSE(judged_.special);
}

TEST_F(OutputPathTest, OfTheOwnKindOrEmptyMayBeReplaced) {
  for (const std::string content :
       {"", "own", "own and more", "own and much more than is looked at"}) {
    WriteFile(output_, content);
    ExpectAccepted();
  }
}

TEST_F(OutputPathTest, OfAnotherKindIsReplacedOnRequestOnly) {
  for (const std::string content : {"o", "ow", "not our own", "a film of somebody's own"}) {
    WriteFile(output_, content);
    policy_.overwrite = false;
    EXPECT_EQ(Refusal(), "an existing file of another kind is not replaced without --overwrite");
    policy_.overwrite = true;
    ExpectAccepted();
  }
}

TEST_F(OutputPathTest, AtMost32BytesAreLookedAt) {
  size_t seen = 0;
  policy_.is_own_kind = [&seen](std::span<const uint8_t> bytes) {
    seen = bytes.size();
    return true;
  };
  for (const size_t size : {31U, 32U, 33U}) {
    WriteFile(output_, std::string(size, 'x'));
    ExpectAccepted();
    EXPECT_EQ(seen, std::min<size_t>(size, 32));
  }
}

TEST_F(OutputPathTest, AMissingInputIsNotTheOutput) {
  fs::remove(input_);
  WriteFile(output_, "own: old");
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

// The mark stands in the first or the last 4 KiB, or it does not count.
TEST_F(OutputPathTest, AFileOfTheOwnKindWithoutTheMark) {
  policy_.mark = "made by us";
  const std::string far(5000, '.');
  for (const std::string& content : {"own film" + far, "own film" + far + "made by us" + far,
                                     std::string("own"), "own" + far + "made by u"}) {
    WriteFile(output_, content);
    EXPECT_EQ(Refusal(),
              "an existing file that this program did not write is not replaced "
              "without --overwrite");
  }
  for (const std::string& content :
       {"own film" + far + "made by us", "own made by us" + far, std::string("own made by us"),
        "own" + std::string(4096 - 13, '.') + "made by us" + far,
        "own" + far + "made by us" + std::string(4096 - 10, '.')}) {
    WriteFile(output_, content);
    ExpectAccepted();
  }
  WriteFile(output_, "other made by us");
  EXPECT_EQ(Refusal(), "an existing file of another kind is not replaced without --overwrite");
  WriteFile(output_, "own film");
  policy_.overwrite = true;
  ExpectAccepted();
}

// A run that was ended may have left a part file that its mark is not in yet.
TEST_F(OutputPathTest, AnEmptyFileNeedsNoMark) {
  policy_.mark = "made by us";
  WriteFile(output_, "");
  ExpectAccepted();
}

TEST_F(OutputPathTest, APartFileNeedsNoMark) {
  policy_.mark = "made by us";
  WriteFile(Part(), "own: left");
  ExpectAccepted();
}

TEST_F(OutputPathTest, APartFileOfAnEarlierRunIsNoRefusal) {
  WriteFile(Part(), "own: left");
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
