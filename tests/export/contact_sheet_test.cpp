// SPDX-License-Identifier: MIT
#include "export/contact_sheet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qolm::exporter {
namespace {

using testing::ElementsAre;

std::vector<uint8_t> PixelAt(const RgbaPicture& picture, uint32_t x, uint32_t y) {
  const auto first =
      picture.pixels.begin() + static_cast<std::ptrdiff_t>((size_t{y} * picture.width + x) * 4);
  return {first, first + 4};
}

std::vector<uint8_t> Solid(uint32_t width, uint32_t height, uint8_t r, uint8_t g, uint8_t b) {
  std::vector<uint8_t> pixels;
  for (uint32_t i = 0; i < width * height; ++i) pixels.insert(pixels.end(), {r, g, b, 255});
  return pixels;
}

TEST(ContactSheetTest, FramesAreSpacedEvenlyFromTheFirst) {
  std::vector<uint32_t> frames;
  for (uint32_t tile = 0; tile < 4; ++tile) frames.push_back(FrameOfTile(tile, 4, 100));
  EXPECT_THAT(frames, ElementsAre(0, 25, 50, 75));
  EXPECT_EQ(FrameOfTile(9999, 10000, 2'000'000'000), 1'999'800'000U);
}

TEST(ContactSheetTest, FewFramesFillTheFirstTiles) {
  EXPECT_EQ(FrameOfTile(0, 12, 3), 0U);
  EXPECT_EQ(FrameOfTile(2, 12, 3), 2U);
  EXPECT_EQ(FrameOfTile(3, 12, 3), 3U);  // not below 3: this tile stays empty
}

TEST(ContactSheetTest, SmallFramesKeepTheirSizeBetweenGaps) {
  ContactSheet sheet({2, 2}, 10, 6);
  EXPECT_EQ(sheet.tiles(), 4U);
  EXPECT_EQ(sheet.picture().width, 4 + 2 * (10 + 4U));
  EXPECT_EQ(sheet.picture().height, 4 + 2 * (6 + 4U));
  sheet.place(3, Solid(10, 6, 200, 100, 50));
  EXPECT_THAT(PixelAt(sheet.picture(), 18, 14), ElementsAre(200, 100, 50, 255));
  EXPECT_THAT(PixelAt(sheet.picture(), 27, 19), ElementsAre(200, 100, 50, 255));
  EXPECT_THAT(PixelAt(sheet.picture(), 17, 14), ElementsAre(32, 32, 32, 255));
  EXPECT_THAT(PixelAt(sheet.picture(), 28, 19), ElementsAre(32, 32, 32, 255));
  EXPECT_THAT(PixelAt(sheet.picture(), 4, 4), ElementsAre(32, 32, 32, 255));
}

TEST(ContactSheetTest, TilesAreRoundedToWholePixels) {
  // Two columns leave 794 pixels a tile, and the height is 1000 pixels at most.
  const ContactSheet wide({2, 1}, 1589, 100);  // 794 x 49.97
  EXPECT_EQ(wide.picture().width, 4 + 2 * (794 + 4U));
  EXPECT_EQ(wide.picture().height, 4 + 50 + 4U);
  const ContactSheet high({1, 1}, 100, 1504);  // 66.49 x 1000
  EXPECT_EQ(high.picture().width, 4 + 66 + 4U);
  EXPECT_EQ(high.picture().height, 4 + 1000 + 4U);
  const ContactSheet higher({1, 1}, 100, 1502);  // 66.58 x 1000
  EXPECT_EQ(higher.picture().width, 4 + 67 + 4U);
}

TEST(ContactSheetTest, LargeFramesAreAveraged) {
  // One column gives tiles of at most 1592 pixels: half of 3184.
  ContactSheet sheet({1, 1}, 3184, 4);
  ASSERT_EQ(sheet.picture().width, 1600U);
  ASSERT_EQ(sheet.picture().height, 4 + 2 + 4U);
  std::vector<uint8_t> pixels = Solid(3184, 4, 10, 20, 30);
  pixels[0] = 50;                     // one of four pixels of the first target pixel
  pixels[size_t{3184} * 4 + 1] = 22;  // another, below it
  sheet.place(0, pixels);
  EXPECT_THAT(PixelAt(sheet.picture(), 4, 4), ElementsAre(20, 21, 30, 255));
  EXPECT_THAT(PixelAt(sheet.picture(), 5, 4), ElementsAre(10, 20, 30, 255));
}

TEST(ContactSheetTest, ExtremeShapesStayWithinBounds) {
  for (const auto& [width, height] : {std::pair{16384U, 1U}, {1U, 16384U}, {1U, 1U}}) {
    ContactSheet sheet({100, 100}, width, height);
    const std::vector<uint8_t> frame = Solid(width, height, 9, 9, 9);
    sheet.place(0, frame);
    sheet.place(sheet.tiles() - 1, frame);
    EXPECT_LE(sheet.picture().width, 1600U);
    EXPECT_THAT(PixelAt(sheet.picture(), sheet.picture().width - 5, sheet.picture().height - 5),
                ElementsAre(9, 9, 9, 255));
  }
}

}  // namespace
}  // namespace qolm::exporter
