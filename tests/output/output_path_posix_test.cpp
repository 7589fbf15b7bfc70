// SPDX-License-Identifier: MIT
//
// Links, pipes, devices and permissions as POSIX systems have them.
#include <sys/stat.h>
#include <unistd.h>

#include "output_path_fixture.h"
#include "support/run_program.h"

namespace qolm::output {
namespace {

TEST_F(OutputPathTest, ALinkNamesItsTarget) {
  fs::create_directory(folder_ / "elsewhere");
  const fs::path target = folder_ / "elsewhere/target";
  fs::create_symlink("link", output_);
  fs::create_symlink("elsewhere/target", folder_ / "link");
  for (const bool exists : {false, true}) {
    if (exists) WriteFile(target, "own: old");
    ExpectAccepted();
    EXPECT_EQ(judged_.target, target);
    EXPECT_EQ(judged_.part, target.string() + ".part");
    EXPECT_EQ(judged_.exists, exists);
  }
}

TEST_F(OutputPathTest, ALoopOfLinks) {
  fs::create_symlink("output", output_);
  EXPECT_EQ(Refusal(), "Too many levels of symbolic links");
}

TEST_F(OutputPathTest, ALinkToTheInput) {
  fs::create_symlink(input_, output_);
  EXPECT_EQ(Refusal(), "it is the input file");
}

TEST_F(OutputPathTest, AnInputInThePlaceOfALinkTargetsPartFile) {
  fs::create_hard_link(input_, folder_ / "target.part");
  fs::create_symlink("target", output_);
  EXPECT_EQ(Refusal(), "its part file is the input file");
}

TEST_F(OutputPathTest, APartFileThatIsNoPlainFile) {
  WriteFile(folder_ / "precious", "precious");
  fs::create_symlink(folder_ / "precious", Part());
  EXPECT_EQ(Refusal(), "its part file is not a regular file");
  fs::remove(Part());
  fs::create_directory(Part());
  EXPECT_EQ(Refusal(), "Is a directory");
}

TEST_F(OutputPathTest, SpecialFilesAreToldApart) {
  output_ = "/dev/null";
  ExpectAccepted();
  EXPECT_TRUE(judged_.special);
  EXPECT_TRUE(judged_.part.empty());
  output_ = folder_ / "pipe";
  ASSERT_EQ(mkfifo(output_.c_str(), 0600), 0);
  ExpectAccepted();  // which does not open it: it would wait for a reader
  EXPECT_TRUE(judged_.special);
}

TEST_F(OutputPathTest, OfAnotherKindBehindALink) {
  WriteFile(folder_ / "film", "somebody's film");
  fs::create_symlink("film", output_);
  EXPECT_EQ(Refusal(), "an existing file of another kind is not replaced without --overwrite");
}

TEST_F(OutputPathTest, WhatCannotBeReadMayBeOfAnyKind) {
  WriteFile(output_, "own: old");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0777), 0);
  ASSERT_EQ(chmod(output_.c_str(), 0222), 0);
  EXPECT_EXIT(
      {
        test::DropRoot();
        const bool refused = Refusal() == "Permission denied";
        policy_.overwrite = true;
        _exit(refused && !Judge() ? 0 : 1);
      },
      [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 126);
      },
      "");
}

TEST_F(OutputPathTest, AWriteProtectedFile) {
  WriteFile(output_, "own: old");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0777), 0);
  ASSERT_EQ(chmod(output_.c_str(), 0444), 0);
  EXPECT_EXIT(
      {
        test::DropRoot();
        const bool refused = Refusal() == "Permission denied";
        _exit(refused ? 0 : 1);
      },
      [](int status) {
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 126);
      },
      "");
}

}  // namespace
}  // namespace qolm::output
