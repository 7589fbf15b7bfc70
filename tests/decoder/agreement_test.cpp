// SPDX-License-Identifier: MIT
//
// After every coded frame the decoder's planes equal the encoder's reference.
#include <gtest/gtest.h>

#include <tuple>

#include "decoder/frame_decoder.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"

namespace qolm::decoder {
namespace {

using Size = std::pair<uint16_t, uint16_t>;

class AgreementTest : public testing::TestWithParam<std::tuple<Size, int32_t, int>> {};

TEST_P(AgreementTest, DecoderPlanesEqualEncoderReference) {
  const auto [size, quality, options] = GetParam();
  const auto [width, height] = size;
  container::FileHeader header = test::PlainHeader(width, height);
  if ((options & 1) != 0) header.flags |= container::kFlagCclc;
  if ((options & 2) != 0) header.flags |= container::kFlagDeblocking;
  if ((options & 4) != 0) header.flags |= container::kFlagMotionPrediction;

  test::PictureCoder coder(header.flags, quality);
  std::vector<test::Record> records;
  std::vector<video::YuvPlanes> expected;
  for (uint32_t number = 0; number < 7; ++number) {
    // Frame 4 has unrelated content, which predicted frames must cope with.
    const video::YuvPlanes picture = test::MovingPicture(width, height, number == 4 ? 500 : number);
    const bool key = number == 0 || number == 5;
    records.push_back(key ? coder.Key(picture) : coder.Predicted(picture));
    expected.push_back(coder.reference());
  }
  header.frame_count = 7;
  const test::TemporaryFolder folder;
  ASSERT_TRUE(test::WriteContainerFile(folder / "a.qolm", header, records));
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(folder / "a.qolm"));
  FrameDecoder decoder(reader);
  for (size_t number = 0; number < expected.size(); ++number) {
    ASSERT_TRUE(decoder.next_planes()) << number;
    ASSERT_TRUE(test::SamePicture(decoder.planes(), expected[number])) << number;
  }
  EXPECT_FALSE(decoder.next_planes());
}

INSTANTIATE_TEST_SUITE_P(QualitiesAndFlags, AgreementTest,
                         testing::Combine(testing::Values(Size{52, 38}),
                                          testing::Values(-5, 0, 1, 45, 50, 100, 101, 255, 256,
                                                          300),
                                          testing::Range(0, 8)));

INSTANTIATE_TEST_SUITE_P(Sizes, AgreementTest,
                         testing::Combine(testing::Values(Size{1, 1}, Size{2, 1}, Size{1, 9},
                                                          Size{7, 8}, Size{8, 8}, Size{15, 17},
                                                          Size{16, 16}, Size{33, 1}, Size{65, 47}),
                                          testing::Values(10, 75), testing::Values(0, 7)));

}  // namespace
}  // namespace qolm::decoder
