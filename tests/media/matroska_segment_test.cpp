// SPDX-License-Identifier: MIT
//
// Segments as files hold them, written element by element.
#include "media/ffmpeg/matroska_segment.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::media::ffmpeg {
namespace {

using namespace std::string_literals;

const std::string kHeader = "\x1A\x45\xDF\xA3\x80"s;
const std::string kSegment = "\x18\x53\x80\x67"s;
const std::string kCluster = "\x1F\x43\xB6\x75"s;
const std::string kUnknown = "\xFF"s;
const std::string kUnknownIn8Bytes = "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;

// Below 127, in one byte.
std::string Size(size_t bytes) { return std::string(1, static_cast<char>(0x80 | bytes)); }

std::string Element(const std::string& id, const std::string& content) {
  return id + Size(content.size()) + content;
}

std::string Void(size_t bytes) { return Element("\xEC"s, std::string(bytes, '\0')); }

class MatroskaSegmentTest : public ::testing::Test {
 protected:
  bool IsWhole(const std::string& bytes) {
    test::WriteFile(folder_ / "a.mkv", bytes);
    return IsWholeMatroskaSegment(folder_ / "a.mkv");
  }

  const test::TemporaryFolder folder_;
  const std::string content_ =
      Void(3) + Element(kCluster, Element("\xE7"s, "\x01"s) + Element("\xA3"s, "block"s));
};

TEST_F(MatroskaSegmentTest, ElementsFillAWholeOne) {
  EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, content_)));
  EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, "")));
  EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, content_) + "behind it"));
  EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, Void(124))));
}

TEST_F(MatroskaSegmentTest, OneThatStatesNoSizeIsNotKnownToBeWhole) {
  for (const std::string& size : {kUnknown, kUnknownIn8Bytes}) {
    EXPECT_FALSE(IsWhole(kHeader + kSegment + size + content_));
    const std::string cluster = kCluster + size + Element("\xA3"s, "block"s);
    EXPECT_FALSE(IsWhole(kHeader + kSegment + size + cluster + cluster));
    EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, cluster + cluster)));  // its clusters need none
  }
}

TEST_F(MatroskaSegmentTest, AFileThatEndsBeforeItIsCutOff) {
  const std::string whole = kHeader + Element(kSegment, content_);
  for (size_t lost = 1; lost <= content_.size(); ++lost) {
    EXPECT_FALSE(IsWhole(whole.substr(0, whole.size() - lost))) << lost;
  }
}

// Two blocks of a cluster, each in a group or alone; positions are those of their contents.
TEST_F(MatroskaSegmentTest, BlocksOfEveryKindLeadToTheNext) {
  for (const std::string& block : {Element("\xA3"s, "first"s), Element("\xAF"s, "first"s),
                                   Element("\xA0"s, Element("\xA1"s, "first"s))}) {
    std::istringstream file(kHeader + block + Element("\xA3"s, "second"s));
    const std::string bytes = file.str();
    EXPECT_TRUE(MatroskaBlocksLead(file, static_cast<int64_t>(bytes.find("first")),
                                   static_cast<int64_t>(bytes.find("second")), false));
  }
}

TEST_F(MatroskaSegmentTest, WhatIsNoElementIsDamage) {
  for (const std::string& damage :
       {"\xEB\x81x"s, "\x42\x86\x81x"s, "\0\0\0"s, "\xEC\0x"s, "\xEC"s, Void(3).substr(0, 3)}) {
    EXPECT_FALSE(IsWhole(kHeader + Element(kSegment, content_ + damage)));
    EXPECT_FALSE(IsWhole(kHeader + kSegment + kUnknown + content_ + damage));
  }
}

TEST_F(MatroskaSegmentTest, EveryKindOfElementOccurs) {
  for (const std::string& id :
       {"\x11\x4D\x9B\x74"s, "\x15\x49\xA9\x66"s, "\x16\x54\xAE\x6B"s, kCluster,
        "\x1C\x53\xBB\x6B"s, "\x19\x41\xA4\x69"s, "\x10\x43\xA7\x70"s, "\x12\x54\xC3\x67"s, "\xEC"s,
        "\xBF"s, "\xE7"s, "\x58\x54"s, "\xA7"s, "\xAB"s, "\xA3"s, "\xA0"s, "\xAF"s}) {
    EXPECT_TRUE(IsWhole(kHeader + Element(kSegment, Element(id, ""))));
  }
}

TEST_F(MatroskaSegmentTest, OtherFilesHaveNone) {
  const std::string segment = Element(kSegment, content_);
  const std::string far = "\x1A\x45\xDF\xA3\x10\x10\x00\x00"s + std::string(1 << 20, '\0');
  for (const std::string& bytes : {""s, "RIFF"s, kHeader, segment, kHeader + content_,
                                   kHeader.substr(0, 4) + kUnknown + segment, far + segment}) {
    EXPECT_FALSE(IsWhole(bytes));
  }
  EXPECT_FALSE(IsWholeMatroskaSegment(folder_ / "missing.mkv"));
  const std::string near = "\x1A\x45\xDF\xA3\x10\x0F\xFF\xFF"s + std::string((1 << 20) - 1, '\0');
  EXPECT_TRUE(IsWhole(near + segment));
}

}  // namespace
}  // namespace qolm::media::ffmpeg
