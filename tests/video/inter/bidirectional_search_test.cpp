// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "support/moving_picture.h"
#include "video/frame_sizes.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

using test::FrameSize;

struct Scene {
  YuvPlanes source;
  YuvPlanes past;
  YuvPlanes future;
};

// Motion, noise and texture, at sizes that fill macroblocks and that do not.
template <typename Check>
void OverScenes(const Check& check) {
  for (const FrameSize& size :
       {FrameSize{1, 1}, {7, 5}, {16, 16}, {17, 33}, {64, 48}, {130, 70}, {203, 97}}) {
    const auto moving = [&](uint32_t number) {
      return test::MovingPicture(size.width, size.height, number);
    };
    const auto noise = [&](uint32_t seed) {
      return test::RandomPicture(size.width, size.height, seed);
    };
    const auto texture = [&](int offset) {
      YuvPlanes picture = moving(0);
      picture.y = test::TexturePlane(size.width, size.height, offset, -offset, 3);
      return picture;
    };
    check(Scene{moving(3), moving(0), moving(9)});
    check(Scene{noise(1), noise(2), noise(3)});
    check(Scene{texture(20), texture(0), texture(40)});
    check(Scene{texture(7), texture(0), noise(4)});
  }
}

void ExpectSameMotion(const std::vector<MacroblockMotion>& a,
                      const std::vector<MacroblockMotion>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    ASSERT_EQ(a[i].split, 0);
    ASSERT_EQ(a[i].vectors[0], b[i].vectors[0]) << i;
  }
}

TEST(SearchBidirectional, FieldRoundTrips) {
  OverScenes([](const Scene& scene) {
    const MacroblockGrid grid(scene.source.width, scene.source.height);
    for (const bool prediction : {true, false}) {
      const BidirectionalField field = SearchBidirectional(scene.source, scene.past, scene.future,
                                                           {.prediction = prediction}, 35.0F);
      const BidirectionalField decoded = DecodeBidirectionalField(
          grid, field.modes, CodeBidirectionalVectors(grid, field, prediction), prediction);
      ExpectSameMotion(field.past, decoded.past);
      ExpectSameMotion(field.future, decoded.future);
    }
  });
}

void ExpectInside(const MacroblockGrid& grid, const YuvPlanes& planes, size_t i,
                  const MotionVector& vector) {
  const int x = static_cast<int>(i % grid.columns) * 16;
  const int y = static_cast<int>(i / grid.columns) * 16;
  const int width = static_cast<int>(planes.width);
  const int height = static_cast<int>(planes.height);
  EXPECT_GE(x + vector.dx, 0);
  EXPECT_GE(y + vector.dy, 0);
  EXPECT_LE(std::min(x + 16, width) + vector.dx, width);
  EXPECT_LE(std::min(y + 16, height) + vector.dy, height);
}

TEST(SearchBidirectional, CodedVectorsStayInRange) {
  OverScenes([](const Scene& scene) {
    const MacroblockGrid grid(scene.source.width, scene.source.height);
    const BidirectionalField field =
        SearchBidirectional(scene.source, scene.past, scene.future, {}, 35.0F);
    for (size_t i = 0; i < grid.Count(); ++i) {
      for (const auto* list : {&field.past, &field.future}) {
        const MotionVector& vector = (*list)[i].vectors[0];
        EXPECT_LE(std::abs(vector.dx), kMaxVector);
        EXPECT_LE(std::abs(vector.dy), kMaxVector);
        if (field.modes[i] != BidirectionalMode::kDirect) {
          ExpectInside(grid, scene.source, i, vector);
        }
      }
    }
  });
}

TEST(SearchBidirectional, IdenticalPicturesAreAllDirect) {
  const YuvPlanes picture = test::MovingPicture(130, 70, 0);
  const BidirectionalField field = SearchBidirectional(picture, picture, picture, {}, 35.0F);
  ASSERT_EQ(field.modes.size(), 45U);
  ASSERT_EQ(field.past.size(), 45U);
  ASSERT_EQ(field.future.size(), 45U);
  for (size_t i = 0; i < 45; ++i) {
    EXPECT_EQ(field.modes[i], BidirectionalMode::kDirect);
    EXPECT_EQ(field.past[i].vectors[0], MotionVector{});
    EXPECT_EQ(field.future[i].vectors[0], MotionVector{});
  }
}

// Pictures of one macroblock, which has only the zero vector: costs are plain sums and the
// rate is that of the modes. With a DC step of 10, lambda is 6.
constexpr float kStepOf6ABit = 10.0F;

// Grey 100 but for the first or the last `count` samples, which are `value`.
YuvPlanes Speckled(size_t count, uint8_t value, bool last) {
  YuvPlanes picture = test::FlatPicture(16, 16, 100, 128, 128);
  std::fill_n(last ? picture.y.end() - static_cast<ptrdiff_t>(count) : picture.y.begin(), count,
              value);
  return picture;
}

BidirectionalMode ModeOf(const YuvPlanes& past, const YuvPlanes& future) {
  const YuvPlanes source = test::FlatPicture(16, 16, 100, 128, 128);
  const BidirectionalField field = SearchBidirectional(source, past, future, {}, kStepOf6ABit);
  EXPECT_EQ(field.modes.size(), 1U);
  return field.modes[0];
}

// One anchor is exact, the other differs by 2 in `count` samples, and so does the mean
// by 1. Naming the anchor costs 4 bits.
TEST(SearchBidirectional, OneSidedModeMustSaveMoreThanFourBits) {
  const YuvPlanes exact = Speckled(0, 0, false);
  for (const size_t count : {23U, 24U}) {
    EXPECT_EQ(ModeOf(exact, Speckled(count, 102, false)), BidirectionalMode::kDirect) << count;
    EXPECT_EQ(ModeOf(Speckled(count, 102, false), exact), BidirectionalMode::kDirect) << count;
  }
  EXPECT_EQ(ModeOf(exact, Speckled(25, 102, false)), BidirectionalMode::kPast);
  EXPECT_EQ(ModeOf(Speckled(25, 102, false), exact), BidirectionalMode::kFuture);
}

// Each anchor is off by 1 in samples of its own, and the mean in all of them.
TEST(SearchBidirectional, PastAnchorWinsTies) {
  const YuvPlanes first = Speckled(25, 101, false);
  const YuvPlanes last = Speckled(25, 101, true);
  EXPECT_EQ(ModeOf(first, last), BidirectionalMode::kPast);
  EXPECT_EQ(ModeOf(last, first), BidirectionalMode::kPast);
  EXPECT_EQ(ModeOf(Speckled(26, 101, false), last), BidirectionalMode::kFuture);
  EXPECT_EQ(ModeOf(Speckled(24, 101, false), Speckled(24, 101, true)), BidirectionalMode::kDirect);
}

// Two macroblocks that moved by (3, 0) since the past and will by (5, 0) to the
// future, and whose anchors are `past_errors` and `future_errors` samples too dark by
// 1, which the mean rounds away.
BidirectionalMode ModeOfMoved(size_t past_errors, size_t future_errors) {
  const auto moved = [](int offset, size_t errors, bool last) {
    YuvPlanes picture = test::FlatPicture(48, 16, 0, 128, 128);
    picture.y = test::TexturePlane(48, 16, -offset, 0, 3);
    for (uint8_t& sample : picture.y) sample = std::max<uint8_t>(sample, 1);
    // Within the first macroblock, in rows of its own.
    for (size_t i = 0; i < errors; ++i) {
      const size_t row = last ? 15 - i / 16 : i / 16;
      --picture.y[48 * row + static_cast<size_t>(offset) + i % 16];
    }
    return picture;
  };
  const BidirectionalField field = SearchBidirectional(
      moved(0, 0, false), moved(3, past_errors, false), moved(5, future_errors, true),
      {.pre_analysis = false, .prediction = false}, kStepOf6ABit);
  EXPECT_EQ(field.modes.size(), 3U);
  if (field.modes[0] != BidirectionalMode::kFuture) {
    EXPECT_EQ(field.past[0].vectors[0], (MotionVector{3, 0}));
  }
  if (field.modes[0] != BidirectionalMode::kPast) {
    EXPECT_EQ(field.future[0].vectors[0], (MotionVector{5, 0}));
  }
  return field.modes[0];
}

// Both: 2 bits of its mode and 4 + 6 of the vectors, 72 in all. The past alone: 4 + 4
// bits, 48, and its errors; the future alone: 4 + 6 bits, 60, and its errors.
TEST(SearchBidirectional, BothModeMustSaveMoreThanItsBits) {
  EXPECT_EQ(ModeOfMoved(25, 13), BidirectionalMode::kBoth);
  EXPECT_EQ(ModeOfMoved(24, 13), BidirectionalMode::kBoth) << "the first of equals";
  EXPECT_EQ(ModeOfMoved(23, 13), BidirectionalMode::kPast);
  EXPECT_EQ(ModeOfMoved(25, 12), BidirectionalMode::kBoth) << "the first of equals";
  EXPECT_EQ(ModeOfMoved(25, 11), BidirectionalMode::kFuture);
}

// The first macroblock moved by 16 both ways. The vectors that the second takes over lead
// out of both anchors, where their last columns go on: 78 and 178, whose mean it is.
TEST(SearchBidirectional, DirectVectorsMayPointOutsideBothAnchors) {
  const auto anchor = [](uint8_t last_column) {
    YuvPlanes picture = test::FlatPicture(32, 16, 128, 128, 128);
    const std::vector<uint8_t> texture = test::TexturePlane(16, 16, 0, 0, 3);
    for (size_t row = 0; row < 16; ++row) {
      uint8_t* const samples = &picture.y[32 * row];
      std::copy_n(&texture[16 * row], 15, samples + 16);
      samples[31] = last_column;
    }
    return picture;
  };
  const YuvPlanes past = anchor(78);
  const YuvPlanes future = anchor(178);
  YuvPlanes source = past;
  for (size_t row = 0; row < 16; ++row) {
    uint8_t* const samples = &source.y[32 * row];
    std::copy_n(samples + 16, 15, samples);
    std::fill_n(samples + 15, 17, uint8_t{128});
  }
  const BidirectionalField field = SearchBidirectional(
      source, past, future, {.pre_analysis = false, .prediction = false}, kStepOf6ABit);
  EXPECT_EQ(field.modes, (std::vector{BidirectionalMode::kBoth, BidirectionalMode::kDirect}));
  for (const auto* list : {&field.past, &field.future}) {
    for (const MacroblockMotion& motion : *list) {
      EXPECT_EQ(motion.vectors[0], (MotionVector{16, 0}));
    }
  }
}

// A ramp of 4 a row.
YuvPlanes Ramp(int brightness) {
  YuvPlanes picture = test::FlatPicture(16, 48, 0, 128, 128);
  for (size_t i = 0; i < picture.y.size(); ++i) {
    picture.y[i] = static_cast<uint8_t>(20 + 4 * static_cast<int>(i / 16) + brightness);
  }
  return picture;
}

// Both anchors are 2 too bright: a row further up they are 2 too dark, which is no
// better alone. Together with the other one it is exact.
TEST(SearchBidirectional, FutureVectorIsRefinedFirst) {
  const BidirectionalField field = SearchBidirectional(Ramp(0), Ramp(2), Ramp(2), {}, kStepOf6ABit);
  ASSERT_EQ(field.modes.size(), 3U);
  EXPECT_EQ(field.modes[1], BidirectionalMode::kBoth);
  EXPECT_EQ(field.past[1].vectors[0], (MotionVector{0, 0}));
  EXPECT_EQ(field.future[1].vectors[0], (MotionVector{0, -1}));
}

// As above, but the rows around the middle macroblock are wrong in one anchor, which
// therefore stays.
TEST(SearchBidirectional, OtherVectorIsRefinedWhenFirstCannotMove) {
  const auto fenced = [] {
    YuvPlanes picture = Ramp(2);
    for (const size_t row : {15U, 32U}) std::fill_n(&picture.y[16 * row], 16, uint8_t{255});
    return picture;
  };
  const BidirectionalField past = SearchBidirectional(Ramp(0), Ramp(2), fenced(), {}, kStepOf6ABit);
  EXPECT_EQ(past.modes.at(1), BidirectionalMode::kBoth);
  EXPECT_EQ(past.past[1].vectors[0], (MotionVector{0, -1}));
  EXPECT_EQ(past.future[1].vectors[0], (MotionVector{0, 0}));
  const BidirectionalField future =
      SearchBidirectional(Ramp(0), fenced(), Ramp(2), {}, kStepOf6ABit);
  EXPECT_EQ(future.modes.at(1), BidirectionalMode::kBoth);
  EXPECT_EQ(future.past[1].vectors[0], (MotionVector{0, 0}));
  EXPECT_EQ(future.future[1].vectors[0], (MotionVector{0, -1}));
}

}  // namespace
}  // namespace qolm::video
