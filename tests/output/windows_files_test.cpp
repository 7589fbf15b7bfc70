// SPDX-License-Identifier: MIT
//
// Outputs as only Windows has them.
#include <windows.h>

#include "output_path_fixture.h"
#include "part_file_fixture.h"
#include "platform/file_system.h"

namespace qolm::output {
namespace {

// Another program that has a file open and lets nobody replace it.
class OpenElsewhere {
 public:
  explicit OpenElsewhere(const fs::path& path)
      : file_(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, 0, nullptr)) {}
  ~OpenElsewhere() { CloseHandle(file_); }
  OpenElsewhere(const OpenElsewhere&) = delete;
  OpenElsewhere& operator=(const OpenElsewhere&) = delete;

 private:
  HANDLE file_;
};

TEST_F(OutputPathTest, AReadOnlyFile) {
  WriteFile(output_, "own: old");
  fs::permissions(output_, fs::perms::owner_read);
  EXPECT_EQ(Refusal(), "Permission denied");
  fs::permissions(output_, fs::perms::owner_all);
}

TEST_F(OutputPathTest, DevicesByTheirNames) {
  for (const std::string name : {"NUL", "nul", "\\\\.\\NUL"}) {
    output_ = name;
    ExpectAccepted();
    EXPECT_TRUE(judged_.special) << name;
  }
}

TEST_F(OutputPathTest, TheInputInOtherLetters) {
  output_ = folder_ / "INPUT";
  EXPECT_EQ(Refusal(), "it is the input file");
}

TEST_F(PartFileTest, AnOutputThatIsOpenElsewhereStaysAsItIs) {
  WriteFile(output_, "own: the old file");
  ASSERT_EQ(Prepare(), "");
  WriteFile(Part(), "the new file");
  {
    const OpenElsewhere reader(output_);
    EXPECT_EQ(part_file_->Commit(), std::errc::permission_denied);
  }
  EXPECT_EQ(ReadFile(output_), "own: the old file");
  EXPECT_EQ(ReadFile(Part()), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(output_), "the new file");
}

TEST_F(PartFileTest, ThePartFileOfAnEndedRunThatIsOpenElsewhere) {
  WriteFile(Part(), "own: left");
  const OpenElsewhere reader(Part());
  ExpectRefused("Device or resource busy");
  EXPECT_EQ(ReadFile(Part()), "own: left");
}

TEST_F(PartFileTest, NamesInEveryScript) {
  // Accents, right to left, and beyond the basic plane.
  output_ = folder_ / fs::path(u8"d\u00E9j\u00E0 \u05D0\u05D1 \u65E5\u672C \U0001F3AC").string();
  ASSERT_EQ(Prepare(), "");
  WriteFile(part_file_->path(), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(output_), "the new file");
}

TEST_F(PartFileTest, PathsOfMoreThan260Units) {
  fs::path deep = folder_.path();
  while (deep.native().size() < 400) deep /= std::string(50, 'd');
  std::error_code error;
  fs::create_directories(deep, error);
  if (error) GTEST_SKIP() << "this system keeps to short paths";
  output_ = deep / "output";
  ASSERT_EQ(Prepare(), "");
  WriteFile(part_file_->path(), "the new file");
  EXPECT_FALSE(part_file_->Commit());
  EXPECT_EQ(ReadFile(output_), "the new file");
}

}  // namespace
}  // namespace qolm::output
