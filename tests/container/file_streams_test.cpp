// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <string>
#include <system_error>
#include <vector>

#include "container/input_file.h"
#include "container/output_file.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::container {
namespace {

using test::ReadBytes;
using test::TemporaryFolder;
using test::WriteBytes;
using ::testing::ElementsAre;

std::vector<uint8_t> Ramp(size_t size) {
  std::vector<uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

TEST(OutputFile, WritesSeeksAndKnowsItsPosition) {
  const TemporaryFolder folder;
  OutputFile file;
  ASSERT_TRUE(file.open(folder / "out"));
  EXPECT_EQ(file.position(), 0U);
  EXPECT_TRUE(file.write(std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(file.position(), 4U);
  EXPECT_TRUE(file.seek(1));
  EXPECT_EQ(file.position(), 1U);
  EXPECT_TRUE(file.write(std::vector<uint8_t>{9}));
  EXPECT_EQ(file.position(), 2U);
  EXPECT_TRUE(file.sync());
  EXPECT_TRUE(file.close());
  EXPECT_FALSE(file.error());
  EXPECT_THAT(ReadBytes(folder / "out"), ElementsAre(1, 9, 3, 4));
}

TEST(OutputFile, EveryFileBeginsAtPositionZero) {
  const TemporaryFolder folder;
  OutputFile file;
  for (const char* name : {"first", "second"}) {
    ASSERT_TRUE(file.open(folder / name));
    EXPECT_EQ(file.position(), 0U);
    EXPECT_TRUE(file.write(Ramp(10)));
    EXPECT_TRUE(file.close());
  }
}

TEST(OutputFile, PiecesOfEverySizeAroundTheBufferArriveInOrder) {
  const TemporaryFolder folder;
  const std::vector<uint8_t> expected = Ramp(2'000'000);
  OutputFile file;
  ASSERT_TRUE(file.open(folder / "out"));
  size_t position = 0;
  for (const size_t piece : {size_t{1}, size_t{262'143}, size_t{262'144}, size_t{5},
                             size_t{262'139}, size_t{700'000}, size_t{0}}) {
    EXPECT_TRUE(file.write(std::span(expected).subspan(position, piece)));
    position += piece;
    EXPECT_EQ(file.position(), position);
  }
  EXPECT_TRUE(file.write(std::span(expected).subspan(position)));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(ReadBytes(folder / "out"), expected);
}

TEST(OutputFile, KeepsPositionsBeyond32Bits) {
  const TemporaryFolder folder;
  const uint64_t far = (uint64_t{1} << 32) + 7;
  OutputFile file;
  ASSERT_TRUE(file.open(folder / "sparse"));
  ASSERT_TRUE(file.seek(far));
  EXPECT_TRUE(file.write(std::vector<uint8_t>{42}));
  EXPECT_EQ(file.position(), far + 1);
  ASSERT_TRUE(file.close());

  InputFile input;
  ASSERT_TRUE(input.open(folder / "sparse"));
  EXPECT_EQ(input.size(), far + 1);
  std::array<uint8_t, 1> byte{};
  EXPECT_TRUE(input.read_at(far, byte));
  EXPECT_EQ(byte[0], 42);
}

TEST(OutputFile, MissingFolderIsReportedAndLeavesNoFile) {
  const TemporaryFolder folder;
  OutputFile file;
  EXPECT_FALSE(file.open(folder / "missing" / "out"));
  EXPECT_EQ(file.error(), std::errc::no_such_file_or_directory);
  EXPECT_FALSE(file.write(Ramp(3)));
  EXPECT_FALSE(file.close());
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

TEST(OutputFile, FullDiskIsRememberedUntilTheNextOpen) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  const TemporaryFolder folder;
  OutputFile file;
  ASSERT_TRUE(file.open("/dev/full"));
  EXPECT_TRUE(file.write(Ramp(10)));  // still in the buffer
  EXPECT_FALSE(file.flush());
  EXPECT_EQ(file.error(), std::errc::no_space_on_device);
  EXPECT_FALSE(file.write(Ramp(10)));
  EXPECT_FALSE(file.seek(0));
  EXPECT_FALSE(file.sync());
  EXPECT_FALSE(file.close());
  EXPECT_EQ(file.error(), std::errc::no_space_on_device);
  ASSERT_TRUE(file.open(folder / "out"));
  EXPECT_FALSE(file.error());
  EXPECT_TRUE(file.close());
}

TEST(OutputFile, TheFirstFailureIsTheOneThatIsKept) {
  const TemporaryFolder folder;
  OutputFile file;
  ASSERT_TRUE(file.open(folder / "out"));
  file.fail(std::make_error_code(std::errc::file_too_large));
  file.fail(std::make_error_code(std::errc::io_error));
  EXPECT_EQ(file.error(), std::errc::file_too_large);
}

TEST(InputFile, ReadsOnlyWhatLiesInTheFile) {
  const TemporaryFolder folder;
  WriteBytes(folder / "in", Ramp(10));
  InputFile file;
  ASSERT_TRUE(file.open(folder / "in"));
  EXPECT_EQ(file.size(), 10U);
  std::array<uint8_t, 3> bytes{};
  EXPECT_TRUE(file.read_at(7, bytes));
  EXPECT_THAT(bytes, ElementsAre(7, 8, 9));
  EXPECT_FALSE(file.read_at(8, bytes));
  EXPECT_FALSE(file.read_at(11, bytes));
  EXPECT_FALSE(file.read_at(~uint64_t{0}, bytes));
  EXPECT_TRUE(file.read_at(10, {}));
  file.close();
  EXPECT_FALSE(file.is_open());
  EXPECT_FALSE(file.read_at(0, bytes));
}

TEST(InputFile, AFileThatShrinksWhileItIsOpenEndsTheRead) {
  const TemporaryFolder folder;
  WriteBytes(folder / "in", Ramp(10));
  InputFile file;
  ASSERT_TRUE(file.open(folder / "in"));
  std::error_code error;
  std::filesystem::resize_file(folder / "in", 5, error);
  if (error) GTEST_SKIP() << "an open file keeps its size here";
  std::array<uint8_t, 3> bytes{};
  EXPECT_FALSE(file.read_at(6, bytes));
  EXPECT_FALSE(file.read_at(3, bytes)) << "two bytes of three";
  EXPECT_FALSE(file.error());
  EXPECT_TRUE(file.read_at(2, bytes));
  EXPECT_THAT(bytes, ElementsAre(2, 3, 4));
}

TEST(InputFile, NamesTheSystemsReason) {
  const TemporaryFolder folder;
  InputFile file;
  EXPECT_FALSE(file.open(folder / "missing"));
  EXPECT_EQ(file.error(), std::errc::no_such_file_or_directory);
  EXPECT_FALSE(file.open(folder.path()));
  EXPECT_EQ(file.error(), std::errc::is_a_directory);
}

TEST(InputFile, OpeningAgainForgetsAFailure) {
  const TemporaryFolder folder;
  WriteBytes(folder / "in", Ramp(10));
  WriteBytes(folder / "shorter", Ramp(4));
  InputFile file;
  ASSERT_TRUE(file.open(folder / "in"));
  EXPECT_FALSE(file.open(folder / "missing"));
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.size(), 0U);
  std::array<uint8_t, 4> bytes{};
  EXPECT_FALSE(file.read_at(0, bytes));  // nothing of the file before
  ASSERT_TRUE(file.open(folder / "shorter"));
  EXPECT_FALSE(file.error());
  EXPECT_EQ(file.size(), 4U);
  EXPECT_TRUE(file.read_at(0, bytes));
  EXPECT_FALSE(file.read_at(1, bytes));
}

#ifndef _WIN32
TEST(InputFile, APipeIsRefusedWithoutWaitingForItsWriter) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  InputFile file;
  EXPECT_FALSE(file.open(folder / "pipe"));
  EXPECT_EQ(file.error(), std::errc::invalid_seek);
}
#endif

}  // namespace
}  // namespace qolm::container
