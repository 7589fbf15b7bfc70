// SPDX-License-Identifier: MIT
#include "output/part_name.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::output {
namespace {

namespace fs = std::filesystem;

// The units in which systems count names: bytes, on Windows UTF-16.
size_t Length(const fs::path& path) { return path.filename().native().size(); }

fs::path Named(const std::u8string& name) { return fs::path("folder") / fs::path(name); }

bool IsPartName(const fs::path& path) {
  return path.extension() == ".part" && path.parent_path() == "folder";
}

TEST(PartNameTest, FollowsTheOutputsName) {
  EXPECT_EQ(PartNameOf("folder/film.qolm"), "folder/film.qolm.part");
  EXPECT_EQ(PartNameOf("film"), "film.part");
  const std::u8string longest(250, 'n');
  EXPECT_EQ(PartNameOf(Named(longest)), Named(longest + u8".part"));
}

TEST(PartNameTest, FitsWhereTheOutputsNameJustDoes) {
  for (size_t length = 251; length <= 255; ++length) {
    const fs::path part = PartNameOf(Named(std::u8string(length, 'n')));
    EXPECT_EQ(Length(part), 255U) << length;
    EXPECT_TRUE(IsPartName(part)) << length;
    EXPECT_TRUE(part.filename().u8string().starts_with(std::u8string(233, 'n'))) << length;
  }
}

TEST(PartNameTest, IsTheSameAtEveryCallAndAnotherForAnotherOutput) {
  const std::u8string name(254, 'n');
  const fs::path part = PartNameOf(Named(name + u8"a"));
  EXPECT_EQ(part, PartNameOf(Named(name + u8"a")));
  EXPECT_NE(part, PartNameOf(Named(name + u8"b")));
  EXPECT_NE(part, PartNameOf(Named(name)));
  EXPECT_NE(part, PartNameOf(Named(u8"a" + name)));
}

// Cut inside of one it could not be a name on systems that ask for whole characters.
TEST(PartNameTest, HoldsWholeCharacters) {
  for (const std::u8string character : {u8"\u00E9", u8"\u65E5", u8"\U0001F3AC"}) {
    for (size_t shift = 0; shift < 4; ++shift) {
      std::u8string name(shift, 'n');
      while (Length(fs::path(name + character)) <= 255) name += character;
      if (Length(fs::path(name)) <= 250) name += u8"12345";
      ASSERT_GT(Length(fs::path(name)), 250U);
      const fs::path part = PartNameOf(Named(name));
      EXPECT_TRUE(IsPartName(part));
      EXPECT_LE(Length(part), 255U);
      EXPECT_GE(Length(part), 252U);
      const std::u8string kept =
          part.filename().u8string().substr(0, part.filename().u8string().size() - 22);
      EXPECT_EQ((kept.size() - shift) % character.size(), 0U) << shift;
      EXPECT_TRUE(name.starts_with(kept)) << shift;
    }
  }
}

TEST(PartNameTest, IsANameThatTheSystemTakes) {
  const test::TemporaryFolder folder;
  const fs::path part = PartNameOf(folder / std::string(255, 'n'));
  test::WriteFile(part, "x");
  EXPECT_EQ(test::ReadFile(part), "x");
}

}  // namespace
}  // namespace qolm::output
