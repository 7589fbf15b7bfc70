// SPDX-License-Identifier: MIT
#include "export/form.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qolm::exporter {
namespace {

using namespace std::string_literals;

constexpr Form kForms[] = {Form::kY4m, Form::kPng, Form::kWav, Form::kMatroska,
                           Form::kMp4, Form::kNut, Form::kPipe};

bool Begins(Form form, const std::string& text) {
  return BeginsAs(form, std::vector<uint8_t>(text.begin(), text.end()));
}

// Of this form, of no other, and not when a byte is missing or another.
void ExpectBeginning(Form form, const std::string& text) {
  for (const Form other : kForms) {
    EXPECT_EQ(Begins(other, text), other == form) << text;
    EXPECT_EQ(Begins(other, text + "more"), other == form) << text;
  }
  EXPECT_FALSE(Begins(form, text.substr(0, text.size() - 1))) << text;
}

TEST(FormTest, EveryFormIsKnownByItsFirstBytes) {
  ExpectBeginning(Form::kY4m, "YUV4MPEG2");
  ExpectBeginning(Form::kPng, "\x89PNG\r\n\x1A\n");
  ExpectBeginning(Form::kWav, "RIFF\0\1\2\3WAVE"s);
  ExpectBeginning(Form::kWav, "RF64\xFF\xFF\xFF\xFFWAVE");
  ExpectBeginning(Form::kMatroska, "\x1A\x45\xDF\xA3");
  ExpectBeginning(Form::kMp4,
                  "\0\0\0\x20"
                  "ftyp"s);
  ExpectBeginning(Form::kNut, "nut/multimedia container\0"s);
}

TEST(FormTest, AVideoInRiffIsNoWav) { EXPECT_FALSE(Begins(Form::kWav, "RIFF\0\1\2\3AVI LIST"s)); }

TEST(FormTest, OnlyMediaFilesMustBearTheMark) {
  const output::ReplacePolicy film = ReplacePolicyOf(Form::kMatroska, true);
  EXPECT_TRUE(film.overwrite);
  EXPECT_TRUE(film.is_own_kind(std::vector<uint8_t>{0x1A, 0x45, 0xDF, 0xA3}));
  EXPECT_FALSE(film.is_own_kind(std::vector<uint8_t>{'Y', 'U', 'V', '4'}));
  EXPECT_EQ(film.mark, kProgramMark);
  const output::ReplacePolicy frames = ReplacePolicyOf(Form::kY4m, false);
  EXPECT_FALSE(frames.overwrite);
  EXPECT_EQ(frames.mark, "");
}

}  // namespace
}  // namespace qolm::exporter
