#include "export/form_signature.h"

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

TEST(FormSignatureTest, EveryFormIsKnownByItsFirstBytes) {
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

TEST(FormSignatureTest, AVideoInRiffIsNoWav) {
  EXPECT_FALSE(Begins(Form::kWav, "RIFF\0\1\2\3AVI LIST"s));
}

TEST(FormSignatureTest, ThePolicyIsThatOfTheOptions) {
  ExportOptions options;
  options.form = Form::kMatroska;
  options.overwrite = true;
  const output::ReplacePolicy policy = ReplacePolicyOf(options);
  EXPECT_TRUE(policy.overwrite);
  EXPECT_TRUE(policy.is_own_kind(std::vector<uint8_t>{0x1A, 0x45, 0xDF, 0xA3}));
  EXPECT_FALSE(policy.is_own_kind(std::vector<uint8_t>{'Y', 'U', 'V', '4'}));
  EXPECT_FALSE(ReplacePolicyOf({}).overwrite);
  EXPECT_EQ(policy.mark, kProgramMark);
  EXPECT_EQ(ReplacePolicyOf({}).mark, "");
}

}  // namespace
}  // namespace qolm::exporter
