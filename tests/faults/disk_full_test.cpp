// SPDX-License-Identifier: MIT
//
// Disks of many sizes, most of them too small.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "faults/program_case.h"

namespace qolm::test {
namespace {

constexpr uint64_t kSizes = 20;
constexpr uint64_t kSmallest = 8192;  // bytes; holds the old file and what a program prints

class DiskFull : public ProgramCaseTest {
 protected:
  void SetUp() override { MakeSource({.width = 96, .height = 64, .frames = 10, .noise = 80}); }

  // From far too small to a little more than enough for the output and the old file.
  template <typename RunOnDisk>
  void Sweep(int error, const RunOnDisk& run_on_disk) {
    const uint64_t largest = whole_.size() + 4 * kSmallest;
    int successes = 0;
    for (uint64_t i = 0; i < kSizes && !HasFailure(); ++i) {
      const uint64_t bytes = kSmallest + i * (largest - kSmallest) / (kSizes - 1);
      SCOPED_TRACE(std::to_string(bytes) + " bytes");
      WriteFile(output_, old_);
      const FaultedRun run = run_on_disk(bytes);
      if (run.exit_code == 0) {
        ExpectSuccess(run);
        ++successes;
      } else {
        ExpectFailure(run, std::generic_category().message(error));
      }
    }
    EXPECT_GT(successes, 0);
    EXPECT_LT(successes, whole_.size() > 10 * kSmallest ? 10 : kSizes);
  }
};

TEST_P(DiskFull, BeyondTheLargestFileAllowed) {
  Sweep(EFBIG, [this](uint64_t bytes) {
    return Run({}, {}, [bytes] {
      const rlimit limit = {bytes, bytes};
      setrlimit(RLIMIT_FSIZE, &limit);
    });
  });
}

// A disk in memory, in a view of the file systems that only this process and its
// children have.
class SmallDisk {
 public:
  explicit SmallDisk(std::filesystem::path place) : place_(std::move(place)) {
    const uid_t user = geteuid();
    if (unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) return;
    if (user != 0) WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n");
    std::filesystem::create_directory(place_);
    mounted_ = mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("disk", place_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount(place_.c_str());
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool mounted() const { return mounted_; }
  bool Resize(uint64_t bytes) const {
    const std::string option = "size=" + std::to_string(bytes);
    return mount(nullptr, place_.c_str(), nullptr, MS_REMOUNT, option.c_str()) == 0;
  }

 private:
  std::filesystem::path place_;
  bool mounted_ = false;
};

TEST_P(DiskFull, BeyondTheEndOfTheDisk) {
  const std::filesystem::path place = folder_ / "disk";
  const SmallDisk disk(place);
  if (!disk.mounted()) GTEST_SKIP() << "no disk can be mounted here";
  output_ = (place / GetParam().output).string();
  Sweep(ENOSPC, [&](uint64_t bytes) {
    EXPECT_TRUE(disk.Resize(bytes));
    return Run({});
  });
}

INSTANTIATE_TEST_SUITE_P(Outputs, DiskFull,
                         testing::Values(kFastStart, kMonolithic, kBidirectional, kY4m, kWav, kPng),
                         CaseName);

}  // namespace
}  // namespace qolm::test
