// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_field.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qolm::video {
namespace {

using Bytes = std::vector<uint8_t>;
using Mode = BidirectionalMode;

void Set(BidirectionalField& field, size_t i, Mode mode, MotionVector past, MotionVector future) {
  field.modes[i] = mode;
  field.past[i].vectors[0] = past;
  field.future[i].vectors[0] = future;
}

// Random modes and vectors; direct macroblocks have the vectors that a decoder derives.
BidirectionalField RandomField(const MacroblockGrid& grid, int range, bool prediction,
                               uint32_t seed) {
  std::mt19937 random(seed);
  BidirectionalField field(grid.Count());
  VectorListPredictor past(grid, prediction);
  VectorListPredictor future(grid, prediction);
  const auto component = [&] {
    return static_cast<int8_t>(static_cast<int>(random() % static_cast<uint32_t>(2 * range)) -
                               range);
  };
  const auto choose = [&](VectorListPredictor& predictor, std::vector<MacroblockMotion>& list,
                          size_t i) {
    MotionVector& vector = list[i].vectors[0];
    vector = field.modes[i] == Mode::kDirect ? DirectVector(predictor.Predict(list, i))
                                             : MotionVector{component(), component()};
    predictor.Update(vector);
  };
  for (size_t i = 0; i < grid.Count(); ++i) {
    field.modes[i] = static_cast<Mode>(random() % 4);
    if (UsesPast(field.modes[i])) choose(past, field.past, i);
    if (UsesFuture(field.modes[i])) choose(future, field.future, i);
  }
  return field;
}

void ExpectSame(const BidirectionalField& a, const BidirectionalField& b) {
  ASSERT_EQ(a.modes, b.modes);
  for (size_t i = 0; i < a.modes.size(); ++i) {
    ASSERT_EQ(a.past[i].vectors[0], b.past[i].vectors[0]) << i;
    ASSERT_EQ(a.future[i].vectors[0], b.future[i].vectors[0]) << i;
  }
}

TEST(BidirectionalField, RoundTripsAtEverySizeAndRange) {
  uint32_t seed = 1;
  for (const MacroblockGrid& grid :
       {MacroblockGrid(1, 1), MacroblockGrid(16, 90), MacroblockGrid(90, 16),
        MacroblockGrid(100, 70), MacroblockGrid(17, 33)}) {
    for (const int range : {1, 31, 128}) {
      for (const bool prediction : {false, true}) {
        const BidirectionalField field = RandomField(grid, range, prediction, seed++);
        const Bytes packed = PackBidirectionalModes(field.modes);
        EXPECT_EQ(packed.size(), PackedModeCount(grid));
        const Bytes bytes = CodeBidirectionalVectors(grid, field, prediction);
        EXPECT_EQ(bytes.size(), VectorByteCount(field.modes));
        ExpectSame(DecodeBidirectionalField(grid, UnpackBidirectionalModes(grid, packed), bytes,
                                            prediction),
                   field);
      }
    }
  }
}

TEST(BidirectionalField, ModesArePackedFromLowestBits) {
  const std::vector<Mode> modes = {Mode::kBoth, Mode::kPast, Mode::kFuture, Mode::kDirect,
                                   Mode::kDirect};
  EXPECT_EQ(PackBidirectionalModes(modes), (Bytes{0b11100100, 0b00000011}));
}

TEST(BidirectionalField, EachModeStoresPastVectorFirst) {
  const MacroblockGrid grid(64, 16);
  BidirectionalField field(4);
  Set(field, 0, Mode::kBoth, {1, 2}, {3, 4});
  Set(field, 1, Mode::kDirect, {1, 2}, {3, 4});
  Set(field, 2, Mode::kPast, {6, 8}, {});
  Set(field, 3, Mode::kFuture, {}, {13, 24});
  // Without a median each list continues from its own last vector.
  EXPECT_EQ(CodeBidirectionalVectors(grid, field, false),
            (Bytes{129, 130, 131, 132, 133, 134, 138, 148}));
  // In a single row only the left neighbour is inside, so the median is 0.
  field.past[1] = field.future[1] = {};
  EXPECT_EQ(CodeBidirectionalVectors(grid, field, true),
            (Bytes{129, 130, 131, 132, 134, 136, 141, 152}));
}

TEST(BidirectionalField, NeighbourWithoutVectorCountsAsZero) {
  // Two rows of three; the last macroblock of the second row uses left, top
  // and top left.
  const MacroblockGrid grid(48, 32);
  BidirectionalField field(6);
  Set(field, 0, Mode::kPast, {8, 8}, {});
  Set(field, 1, Mode::kPast, {10, 10}, {});
  Set(field, 2, Mode::kPast, {12, 12}, {});
  Set(field, 3, Mode::kFuture, {}, {20, 20});
  Set(field, 4, Mode::kFuture, {}, {22, 22});
  Set(field, 5, Mode::kBoth, {11, 11}, {22, 22});
  // Past of the last: median(0, 12, 10) = 10. Future: median(22, 0, 0) = 0.
  const Bytes bytes = CodeBidirectionalVectors(grid, field, true);
  ASSERT_EQ(bytes.size(), 14U);
  EXPECT_EQ(Bytes(bytes.end() - 4, bytes.end()), (Bytes{129, 129, 150, 150}));
}

TEST(BidirectionalField, DirectVectorIsPreviousVectorWithoutMedian) {
  const MacroblockGrid grid(48, 16);
  BidirectionalField field(3);
  Set(field, 0, Mode::kPast, {100, -100}, {});
  Set(field, 1, Mode::kDirect, {31, -31}, {0, 0});
  Set(field, 2, Mode::kPast, {33, -30}, {});
  const Bytes bytes = {228, 28, 130, 129};
  EXPECT_EQ(CodeBidirectionalVectors(grid, field, false), bytes);
  ExpectSame(DecodeBidirectionalField(grid, field.modes, bytes, false), field);
}

TEST(BidirectionalField, DirectVectorsEnterTheMedian) {
  // Two rows of three. The fourth, direct, holds median(0, 12, 16) = 12; the
  // fifth is predicted by median(12, 16, 2), the last by median(15, 2, 16).
  const MacroblockGrid grid(48, 32);
  BidirectionalField field(6);
  Set(field, 0, Mode::kPast, {12, -12}, {});
  Set(field, 1, Mode::kPast, {16, -16}, {});
  Set(field, 2, Mode::kPast, {2, -2}, {});
  Set(field, 3, Mode::kDirect, {12, -12}, {0, 0});
  Set(field, 4, Mode::kPast, {15, -15}, {});
  Set(field, 5, Mode::kPast, {15, -15}, {});
  const Bytes bytes = {140, 116, 144, 112, 130, 126, 131, 125, 128, 128};
  EXPECT_EQ(CodeBidirectionalVectors(grid, field, true), bytes);
  ExpectSame(DecodeBidirectionalField(grid, field.modes, bytes, true), field);
}

TEST(BidirectionalField, DirectVectorsAreClampedPredictors) {
  EXPECT_EQ(DirectVector({40, -128}), (MotionVector{31, -31}));
  EXPECT_EQ(DirectVector({-31, 31}), (MotionVector{-31, 31}));
  const MacroblockGrid grid(32, 16);
  const std::vector<Mode> modes = {Mode::kPast, Mode::kDirect};
  const BidirectionalField field =
      DecodeBidirectionalField(grid, modes, Bytes{128 + 100, 28}, false);
  EXPECT_EQ(field.past[0].vectors[0], (MotionVector{100, -100}));
  EXPECT_EQ(field.past[1].vectors[0], (MotionVector{31, -31}));
  EXPECT_EQ(field.future[1].vectors[0], (MotionVector{0, 0}));
}

}  // namespace
}  // namespace qolm::video
