// SPDX-License-Identifier: MIT
//
// Conversions into what only POSIX systems have.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "conversion_fixture.h"

namespace qolm::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST_F(ConversionTest, AnExistingOutputIsReplacedAndKeepsItsPermissions) {
  script_.frames = 2;
  WriteFile(output_, "QLM2: the old file");
  WriteFile(Part(), "QLM2: left by an earlier run");
  ASSERT_EQ(chmod(output_.c_str(), 0640), 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(FramesIn(output_), 2U);
  EXPECT_EQ(fs::status(output_).permissions(), fs::perms(0640));
  EXPECT_FALSE(fs::exists(Part()));
}

TEST_F(ConversionTest, AFailedWriteEndsTheLoop) {
  rlimit old_limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  signal(SIGXFSZ, SIG_IGN);
  script_.frames = 1000;
  options_.settings.quality = 100;
  int delivered = 0;
  script_.before_frame = [&delivered](int frame) { delivered = frame + 1; };
  rlimit limit = old_limit;
  limit.rlim_cur = 100'000;  // bytes; the head alone takes 65,596
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const int exit_code = Run();
  setrlimit(RLIMIT_FSIZE, &old_limit);
  EXPECT_EQ(exit_code, 1);
  EXPECT_EQ(err_.str(), "[-] Error: Cannot write output file (File too large): " + output_ + "\n");
  EXPECT_GT(delivered, 1);
  EXPECT_LT(delivered, 500);
  EXPECT_FALSE(fs::exists(Part()));
  EXPECT_FALSE(fs::exists(output_));
}

// A long track takes seconds to code, for a file that is removed at once.
TEST_F(ConversionTest, NoMoreSoundIsCodedForAFileThatIsNotKept) {
  options_.settings.audio_interleave = true;
  sound_ = PcmTrack{8000, 1, std::vector<int16_t>(80'000)};
  const fs::path watched = directory_ / "watched";
  script_.before_end = [&] {
    fs::create_hard_link(Part(), watched);
    interrupted_ = true;
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(err_.str(), "[-] Error: Interrupted before the first frame; nothing was written: " +
                            output_ + "\n");
  EXPECT_FALSE(fs::exists(Part()));
  EXPECT_EQ(fs::file_size(watched), 65'596U);  // the head alone
}

TEST_F(ConversionTest, ASymbolicLinkIsWrittenThrough) {
  script_.frames = 2;
  fs::create_directory(directory_ / "elsewhere");
  const std::string target = directory_ / "elsewhere/target.qolm";
  fs::create_symlink("elsewhere/target.qolm", output_);
  for (int round = 0; round < 2; ++round) {  // a link to nothing, then to a file
    EXPECT_EQ(Run(), 0);
    EXPECT_TRUE(fs::is_symlink(output_));
    EXPECT_EQ(FramesIn(target), 2U);
    EXPECT_FALSE(fs::exists(target + ".part"));
    EXPECT_FALSE(fs::exists(Part()));
  }
}

TEST_F(ConversionTest, SpecialFilesAreRefused) {
  output_ = "/dev/null";
  ExpectRefused("it is not a regular file");
}

TEST_F(ConversionTest, APipeIsRefusedWithoutOpeningIt) {
  ASSERT_EQ(mkfifo(output_.c_str(), 0600), 0);
  ExpectRefused("it is not a regular file");
}

// Elsewhere nobody can remove the file while the session writes it.
TEST_F(ConversionTest, APartFileThatIsNoLongerOursNeverBecomesTheOutput) {
  WriteFile(output_, "QLM2: the old file");
  script_.frames = 3;
  script_.before_frame = [this](int frame) {
    if (frame != 1) return;
    fs::remove(Part());
    WriteFile(Part(), "somebody else's");
  };
  EXPECT_EQ(Run(), 1);
  EXPECT_EQ(ReadFile(output_), "QLM2: the old file");
  EXPECT_EQ(ReadFile(Part()), "somebody else's");
}

}  // namespace
}  // namespace qolm::cli
