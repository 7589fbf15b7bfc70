// SPDX-License-Identifier: MIT
#include "base/printable.h"

#include <gtest/gtest.h>

namespace qolm {
namespace {

TEST(Printable, OrdinaryNamesAreUnchanged) {
  for (const std::string name :
       {"", "a.mp4", "C:\\films\\new\\x1B.mp4",
        "\xC3\xA4 \xE6\x98\xA0\xE7\x94\xBB \xF0\x9F\x8E\xAC.mkv", "it's \"so\" 50% <a>|b~",
        "latin \xE4\xF6.mp4", "\xC2\xA0 \xE2\x80\xA7\xE2\x80\xAF\xE2\x81\xAA", "cut \xE2\xE4",
        "\xFF\xFE", "\xF0\xA0\xA0"}) {
    EXPECT_EQ(Printable(name), name);
  }
}

TEST(Printable, ControlCharactersAreEscaped) {
  EXPECT_EQ(Printable("a\nb\r\tc"), "a\\nb\\r\\tc");
  EXPECT_EQ(Printable("\x1B[31mred\x07\x7F"), "\\x1B[31mred\\x07\\x7F");
  EXPECT_EQ(Printable(std::string(1, '\0')), "\\x00");
  EXPECT_EQ(Printable("\x1F "), "\\x1F ");
  EXPECT_EQ(Printable("\xC2\x80|\xC2\x9B"
                      "31m|\xC2\x9F"),
            "\\xC2\\x80|\\xC2\\x9B31m|\\xC2\\x9F");
  EXPECT_EQ(Printable("\x9B"
                      "31m \x80\x9F"),
            "\\x9B31m \\x80\\x9F");
}

TEST(Printable, SeparatorsAndBidirectionalMarksAreEscaped) {
  EXPECT_EQ(Printable("\xE2\x80\xA8"), "\\xE2\\x80\\xA8");
  EXPECT_EQ(Printable("\xE2\x80\xAE"
                      "4pm"),
            "\\xE2\\x80\\xAE4pm");
  EXPECT_EQ(Printable("\xE2\x81\xA6|\xE2\x81\xA9"), "\\xE2\\x81\\xA6|\\xE2\\x81\\xA9");
}

// A continuation byte is not a control character.
TEST(Printable, ContinuationBytesAreNotEscapedSeparately) {
  EXPECT_EQ(Printable("\xC3\x9B\xE3\x80\x9B"), "\xC3\x9B\xE3\x80\x9B");
  EXPECT_EQ(Printable("\xE3\x80"), "\xE3\\x80");
}

}  // namespace
}  // namespace qolm
