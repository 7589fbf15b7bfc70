// SPDX-License-Identifier: MIT
#include "media/row_layout.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace qolm::media {
namespace {

using Rows = std::optional<VideoBuffer::PitchedRows>;

RowLayout Layout(uint32_t width, uint32_t height, int64_t stride) {
  return *RowLayout::Make({{width, height}, std::nullopt, stride}, {width, height});
}

// Where the top left pixel of the picture is, counted from the first byte.
ptrdiff_t TopRow(const Rows& rows, uint32_t height, const uint8_t* data) {
  const ptrdiff_t below = rows->pitch < 0 ? ptrdiff_t{height} - 1 : 0;
  return rows->first_row - data - below * rows->pitch;
}

TEST(RowLayout, OnlyUnpaddedRowsFromTheTopDownArePlain) {
  EXPECT_TRUE(Layout(10, 4, 40).IsPlain());
  EXPECT_TRUE(Layout(10, 4, 0).IsPlain());
  EXPECT_FALSE(Layout(10, 4, -40).IsPlain());
  EXPECT_FALSE(RowLayout::Make({{16, 16}, std::nullopt, 64}, {10, 4})->IsPlain());
}

TEST(RowLayout, TightBottomUpRows) {
  const std::vector<uint8_t> bytes(160);
  const Rows rows = Layout(10, 4, -40).InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->first_row, bytes.data());
  EXPECT_EQ(rows->pitch, -40);
}

TEST(RowLayout, TheLengthTellsThePaddingOfBottomUpRows) {
  const std::vector<uint8_t> bytes(4 * 64);
  const Rows rows = Layout(10, 4, -40).InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->first_row, bytes.data());
  EXPECT_EQ(rows->pitch, -64);
}

// 21 rows in 32: the padding is below the picture, hence first in memory.
TEST(RowLayout, PaddingBelowABottomUpPictureComesFirstInMemory) {
  const std::vector<uint8_t> bytes(32 * 40);
  const Rows rows = Layout(10, 21, -40).InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->first_row, bytes.data() + 11 * 40);
  EXPECT_EQ(rows->pitch, -40);
}

TEST(RowLayout, AStatedStrideThatDoesNotFitIsNotBelieved) {
  const std::vector<uint8_t> bytes(4 * 40 + 2);
  const Rows rows = Layout(10, 4, -4000).InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->pitch, -40);
}

TEST(RowLayout, AStatedStrideServesWhereTheLengthTellsNothing) {
  const std::vector<uint8_t> bytes(3 * 44 + 41);  // the last row has no padding
  const Rows rows = Layout(10, 4, -44).InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->pitch, -44);
}

TEST(RowLayout, TooFewBytesAreRefused) {
  const std::vector<uint8_t> bytes(160);
  EXPECT_FALSE(Layout(10, 4, -40).InLinearBytes(bytes.data(), 159));
  EXPECT_FALSE(Layout(10, 4, -40).InLinearBytes(bytes.data(), 0));
  EXPECT_FALSE(Layout(10, 4, -40).InLinearBytes(nullptr, 160));
  EXPECT_FALSE(Layout(0xffffffff, 0xffffffff, -40).InLinearBytes(bytes.data(), 160));
}

TEST(RowLayout, FramesOfWholeBlocksShowThePictureAtTheirTopLeft) {
  const auto layout = RowLayout::Make({{1920, 1088}, std::nullopt, 7680}, {1920, 1080});
  ASSERT_TRUE(layout);
  const std::vector<uint8_t> bytes(size_t{1088} * 7680);
  const Rows rows = layout->InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(rows);
  EXPECT_EQ(rows->first_row, bytes.data());
  EXPECT_EQ(rows->pitch, 7680);
}

TEST(RowLayout, AnAreaThatReachesPastTheFrameIsNotShown) {
  for (const PictureArea& area :
       {PictureArea{12, 14, {20, 10}}, PictureArea{12, 15, {20, 10}}, PictureArea{13, 14, {20, 10}},
        PictureArea{0xFFFFFFFF, 0, {20, 10}}, PictureArea{0, 0xFFFFFFFF, {20, 10}}}) {
    const bool inside = area.left == 12 && area.top == 14;
    EXPECT_EQ(RowLayout::Make({{32, 24}, area, 128}, {20, 10}).has_value(), inside)
        << area.left << "," << area.top;
  }
}

TEST(RowLayout, TheShownAreaOfALargerFrame) {
  const FrameFormat format{{32, 24}, PictureArea{3, 2, {20, 10}}, 128};
  const auto layout = RowLayout::Make(format, {20, 10});
  ASSERT_TRUE(layout);
  std::vector<uint8_t> bytes(24 * 128);
  const Rows down = layout->InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(down);
  EXPECT_EQ(TopRow(down, 10, bytes.data()), 2 * 128 + 3 * 4);

  FrameFormat bottom_up = format;
  bottom_up.stride = -128;
  const Rows up = RowLayout::Make(bottom_up, {20, 10})->InLinearBytes(bytes.data(), bytes.size());
  ASSERT_TRUE(up);
  EXPECT_EQ(TopRow(up, 10, bytes.data()), (23 - 2) * 128 + 3 * 4);
  EXPECT_EQ(up->pitch, -128);
}

TEST(RowLayout, PicturesOfAnotherSizeAreRefused) {
  EXPECT_FALSE(RowLayout::Make({{640, 480}, std::nullopt, 2560}, {320, 240}));
  EXPECT_FALSE(RowLayout::Make({{320, 240}, std::nullopt, 1280}, {640, 480}));
  EXPECT_FALSE(RowLayout::Make({{0, 0}, std::nullopt, 0}, {640, 480}));
  EXPECT_FALSE(RowLayout::Make({{0, 0}, std::nullopt, 0}, {0, 0}));
  // An area that leaves its frame.
  EXPECT_FALSE(RowLayout::Make({{30, 20}, PictureArea{11, 0, {20, 10}}, 120}, {20, 10}));
  EXPECT_FALSE(RowLayout::Make({{30, 20}, PictureArea{0, 0xffffffff, {20, 10}}, 120}, {20, 10}));
}

TEST(RowLayout, TheLowestAddressOfPitchedMemory) {
  const std::vector<uint8_t> bytes(4 * 64);
  const RowLayout layout = Layout(10, 4, 40);
  const Rows down = layout.InPitchedMemory(bytes.data(), 64, 160);
  ASSERT_TRUE(down);
  EXPECT_EQ(down->first_row, bytes.data());
  const Rows up = layout.InPitchedMemory(bytes.data() + 3 * 64, -64, 160);
  ASSERT_TRUE(up);
  EXPECT_EQ(up->first_row, bytes.data());
  EXPECT_EQ(up->pitch, -64);
}

TEST(RowLayout, PitchedMemoryThatCannotHoldThePictureIsRefused) {
  const std::vector<uint8_t> bytes(4 * 64);
  const RowLayout layout = Layout(10, 4, 40);
  EXPECT_FALSE(layout.InPitchedMemory(bytes.data(), 39, 160));
  EXPECT_FALSE(layout.InPitchedMemory(bytes.data(), -39, 160));
  EXPECT_FALSE(layout.InPitchedMemory(bytes.data(), 0, 160));
  EXPECT_FALSE(layout.InPitchedMemory(bytes.data(), 64, 159));
  EXPECT_FALSE(layout.InPitchedMemory(nullptr, 64, 160));
}

TEST(RowLayout, WhateverIsHandedOnLiesInsideTheBytes) {
  const std::vector<uint8_t> bytes(64 * 64 * 4);
  size_t handed_on = 0;
  for (const uint32_t size : {1u, 3u, 15u, 16u, 17u, 33u}) {
    for (const int64_t stride : {-100000, -140, -64, -1, 1, 64, 100000}) {
      for (size_t length = 0; length <= bytes.size(); length += 37) {
        const auto layout = RowLayout::Make(
            {{size + 3, size}, PictureArea{2, 0, {size, size}}, stride}, {size, size});
        ASSERT_TRUE(layout);
        const Rows rows = layout->InLinearBytes(bytes.data(), length);
        if (!rows) continue;
        ++handed_on;
        const auto distance = static_cast<size_t>(rows->pitch < 0 ? -rows->pitch : rows->pitch);
        const auto start = static_cast<size_t>(rows->first_row - bytes.data());
        ASSERT_LE(start + (size - 1) * distance + size * 4, length);
      }
    }
  }
  EXPECT_GT(handed_on, 1000u);
}

}  // namespace
}  // namespace qolm::media
