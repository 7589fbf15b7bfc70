// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "support/fenced_bytes.h"
#include "support/moving_picture.h"
#include "support/thread_counts.h"
#include "video/frame_sizes.h"
#include "video/inter/bidirectional_field.h"
#include "video/inter/naive_motion.h"
#include "video/kernels/kernel_levels.h"
#include "video/naive_decoding.h"
#include "video/picture/deblock.h"
#include "video/sample_planes.h"
#include "video/transform/quant_table.h"

namespace qolm::video {
namespace {

using test::FrameSize;
using test::MovingPicture;
using test::SamePicture;
using Bytes = std::vector<uint8_t>;

YuvPlanes MeanOf(const YuvPlanes& a, const YuvPlanes& b) {
  YuvPlanes mean = a;
  const auto average = [](Bytes& into, const Bytes& other) {
    for (size_t i = 0; i < into.size(); ++i) {
      into[i] = static_cast<uint8_t>((into[i] + other[i] + 1) / 2);
    }
  };
  average(mean.y, b.y);
  average(mean.cb, b.cb);
  average(mean.cr, b.cr);
  return mean;
}

// Selects each macroblock from the prediction of its mode.
YuvPlanes NaivePrediction(const YuvPlanes& past, const YuvPlanes& future,
                          const BidirectionalField& field) {
  const std::array<YuvPlanes, 2> one_sided = {test::NaiveCompensation(past, field.past),
                                              test::NaiveCompensation(future, field.future)};
  const YuvPlanes mean = MeanOf(one_sided[0], one_sided[1]);
  const MacroblockGrid grid(past.width, past.height);
  const auto prediction_at = [&](size_t x, size_t y, size_t size) -> const YuvPlanes& {
    const BidirectionalMode mode = field.modes[y / size * grid.columns + x / size];
    if (mode == BidirectionalMode::kPast) return one_sided[0];
    if (mode == BidirectionalMode::kFuture) return one_sided[1];
    return mean;
  };
  YuvPlanes result = past;
  for (size_t y = 0; y < past.height; ++y) {
    for (size_t x = 0; x < past.width; ++x) {
      result.y[y * past.width + x] = prediction_at(x, y, 16).y[y * past.width + x];
    }
  }
  const size_t chroma_width = past.ChromaWidth();
  for (size_t y = 0; y < past.ChromaHeight(); ++y) {
    for (size_t x = 0; x < chroma_width; ++x) {
      const YuvPlanes& prediction = prediction_at(x, y, 8);
      result.cb[y * chroma_width + x] = prediction.cb[y * chroma_width + x];
      result.cr[y * chroma_width + x] = prediction.cr[y * chroma_width + x];
    }
  }
  return result;
}

BidirectionalField FieldOf(const Bytes& payload, const YuvPlanes& past, bool prediction) {
  const std::vector<Bytes> coded = test::PayloadStreams(payload);
  const MacroblockGrid grid(past.width, past.height);
  Bytes packed((grid.Count() + 3) / 4);
  EXPECT_TRUE(entropy::RansDecodeBytes(coded[0], packed));
  const std::vector<BidirectionalMode> modes = UnpackBidirectionalModes(grid, packed);
  Bytes vectors(VectorByteCount(modes));
  // All direct: no vectors and therefore an empty stream.
  if (vectors.empty()) {
    EXPECT_TRUE(coded[1].empty());
  } else {
    EXPECT_TRUE(entropy::RansDecodeBytes(coded[1], vectors));
  }
  return DecodeBidirectionalField(grid, modes, vectors, prediction);
}

// The picture of a naive decoder.
YuvPlanes NaiveDecode(const Bytes& payload, const InterFrameOptions& options, const YuvPlanes& past,
                      const YuvPlanes& future) {
  YuvPlanes picture =
      NaivePrediction(past, future, FieldOf(payload, past, options.motion_prediction));
  test::AddNaiveResiduals(picture, payload);
  if (options.deblocking) {
    DeblockReference(picture, BuildInterQuantTable(payload[4], false).step[0],
                     BuildInterQuantTable(payload[4], true).step[0]);
  }
  return picture;
}

TEST(BidirectionalFrame, HeaderFields) {
  const YuvPlanes past = MovingPicture(130, 70, 0);
  const YuvPlanes future = MovingPicture(130, 70, 2);
  const Bytes payload =
      EncodeBidirectionalFrame(MovingPicture(130, 70, 1), {.quality = 45}, past, future);
  test::ExpectHeaderOf130x70(payload, 41);
}

TEST(BidirectionalFrame, QualityIsFourBelowAnchors) {
  const YuvPlanes picture = test::FlatPicture(1, 1, 50, 60, 70);
  for (const auto& [quality, stored] : {std::pair{100, 96},
                                        {45, 41},
                                        {6, 2},
                                        {5, 1},
                                        {4, 1},
                                        {1, 1},
                                        {0, 1},
                                        {-5, 1},
                                        {255, 251},
                                        {300, 96}}) {
    EXPECT_EQ(EncodeBidirectionalFrame(picture, {.quality = quality}, picture, picture)[4], stored)
        << quality;
  }
}

TEST(BidirectionalFrame, DecodedPictureMatchesNaiveDecoder) {
  for (const FrameSize& size : test::kFrameSizes) {
    for (const int quality : {1, 45, 95}) {
      for (int bits = 0; bits < 16; ++bits) {
        const InterFrameOptions options{.quality = quality,
                                        .motion_prediction = (bits & 1) != 0,
                                        .deblocking = (bits & 2) != 0,
                                        .sparse_levels = (bits & 4) != 0,
                                        .pre_analysis = (bits & 8) != 0};
        for (uint32_t number = 1; number < 5; ++number) {
          const YuvPlanes past = MovingPicture(size.width, size.height, number - 1);
          const YuvPlanes future = number == 3 ? test::RandomPicture(size.width, size.height, 7)
                                               : MovingPicture(size.width, size.height, number + 1);
          const YuvPlanes source = number == 4
                                       ? test::TexturedPicture(size.width, size.height, 5, 9)
                                       : MovingPicture(size.width, size.height, number);
          const Bytes payload = EncodeBidirectionalFrame(source, options, past, future);
          YuvPlanes decoded;
          ASSERT_TRUE(DecodeBidirectionalFrame(payload, options.motion_prediction,
                                               options.deblocking, past, future, decoded));
          ASSERT_TRUE(SamePicture(decoded, NaiveDecode(payload, options, past, future)))
              << size.width << "x" << size.height << " quality " << quality << " flags " << bits
              << " frame " << number;
        }
      }
    }
  }
}

TEST(BidirectionalFrame, EveryModeMatchesTheFormulas) {
  // A payload made by hand: all modes, vectors up to the ends of a byte.
  const YuvPlanes past = test::RandomPicture(83, 37, 1);
  const YuvPlanes future = test::RandomPicture(83, 37, 4);
  const MacroblockGrid grid(83, 37);
  BidirectionalField field(grid.Count());
  const std::array<MotionVector, 5> vectors = {
      {{-128, 127}, {31, -31}, {0, 0}, {7, -3}, {127, -128}}};
  for (size_t i = 0; i < grid.Count(); ++i) {
    field.modes[i] = static_cast<BidirectionalMode>(i % 4);
    if (UsesPast(field.modes[i])) field.past[i].vectors[0] = vectors[i % 5];
    if (UsesFuture(field.modes[i])) field.future[i].vectors[0] = vectors[(i + 2) % 5];
  }
  std::array<Bytes, 5> streams = {
      entropy::RansEncodeBytes(PackBidirectionalModes(field.modes)),
      entropy::RansEncodeBytes(CodeBidirectionalVectors(grid, field, true)),
      entropy::EncodeCoefficients(std::vector<int16_t>(64 * 11 * 5)),
      entropy::EncodeCoefficients(std::vector<int16_t>(64 * 6 * 3)),
      entropy::EncodeCoefficients(std::vector<int16_t>(64 * 6 * 3))};
  const Bytes payload = test::MakeInterPayload(past, 45, streams);
  YuvPlanes decoded;
  ASSERT_TRUE(DecodeBidirectionalFrame(payload, true, false, past, future, decoded));
  EXPECT_TRUE(SamePicture(decoded, NaiveDecode(payload, {.deblocking = false}, past, future)));
}

// The share of macroblocks with each mode.
std::array<size_t, 4> CountModes(const Bytes& payload, const YuvPlanes& past) {
  std::array<size_t, 4> counts{};
  for (const BidirectionalMode mode : FieldOf(payload, past, true).modes) {
    ++counts[static_cast<size_t>(mode)];
  }
  return counts;
}

TEST(BidirectionalFrame, EachModeIsChosenWhereCheapest) {
  const auto pan = [](int offset, uint32_t seed) {
    YuvPlanes picture = test::FlatPicture(160, 128, 0, 128, 128);
    picture.y = test::TexturePlane(160, 128, offset, 0, seed);
    return picture;
  };
  const YuvPlanes scene = pan(3, 3);
  const YuvPlanes other = pan(0, 99);
  const size_t all = MacroblockGrid(160, 128).Count();
  // Only one anchor shows the scene.
  EXPECT_GT(CountModes(EncodeBidirectionalFrame(scene, {}, pan(0, 3), other), other)[1], all / 2);
  EXPECT_GT(CountModes(EncodeBidirectionalFrame(scene, {}, other, pan(6, 3)), other)[2], all / 2);
  // The mean of two noisy views is the better prediction, and where the scene
  // moves alike everywhere most macroblocks need not say how.
  const auto noisy = [](YuvPlanes picture, uint32_t seed) {
    std::mt19937 random(seed);
    for (uint8_t& sample : picture.y) {
      const int change = static_cast<int>(random() % 33) - 16;
      sample = static_cast<uint8_t>(std::clamp(sample + change, 0, 255));
    }
    return picture;
  };
  const auto counts = CountModes(
      EncodeBidirectionalFrame(scene, {}, noisy(pan(0, 3), 1), noisy(pan(6, 3), 2)), scene);
  EXPECT_GT(counts[0] + counts[3], all * 3 / 4);
  EXPECT_GT(counts[3], all / 2);
}

TEST(BidirectionalFrame, PanIsSmallerThanPredictedFrame) {
  const auto pan = [](int offset) {
    YuvPlanes picture = test::FlatPicture(160, 128, 0, 128, 128);
    picture.y = test::TexturePlane(160, 128, offset, 0, 3);
    return picture;
  };
  YuvPlanes reference = pan(0);
  const size_t bidirectional = EncodeBidirectionalFrame(pan(4), {}, pan(0), pan(8)).size();
  EXPECT_LT(bidirectional, EncodeInterFrame(pan(4), {}, reference).size());
}

TEST(BidirectionalFrame, DecodedPictureIsCloseToSource) {
  // Half of the scene moves, half is new in one anchor: every mode occurs, and a
  // decoder that took another vector than the encoder would be far off.
  const auto scene = [](int offset, uint32_t seed) {
    YuvPlanes picture = test::TexturedPicture(208, 160, 3, 6);
    picture.y = test::TexturePlane(208, 160, offset, offset / 2, 3);
    const Bytes other = test::TexturePlane(208, 160, offset, 0, seed);
    std::copy_n(other.begin(), other.size() / 2, picture.y.begin());
    std::mt19937 random(seed + static_cast<uint32_t>(offset));
    for (uint8_t& sample : picture.y) {
      const int change = static_cast<int>(random() % 9) - 4;
      sample = static_cast<uint8_t>(std::clamp(sample + change, 0, 255));
    }
    return picture;
  };
  const YuvPlanes past = scene(0, 8);
  const YuvPlanes source = scene(6, 9);
  const YuvPlanes future = scene(12, 9);
  for (const bool prediction : {true, false}) {
    const InterFrameOptions options{.quality = 100,
                                    .motion_prediction = prediction,
                                    .deblocking = false,
                                    .sparse_levels = false};
    const Bytes payload = EncodeBidirectionalFrame(source, options, past, future);
    std::array<size_t, 4> modes{};
    for (const BidirectionalMode mode : FieldOf(payload, past, prediction).modes) {
      ++modes[static_cast<size_t>(mode)];
    }
    EXPECT_THAT(modes, ::testing::Each(::testing::Gt(0U)));
    YuvPlanes decoded;
    ASSERT_TRUE(DecodeBidirectionalFrame(payload, prediction, false, past, future, decoded));
    // The steps go up to 26.1 (luma) and 48.4 (chroma), so the errors' spread is
    // at most 7.6 and 14.
    EXPECT_LT(test::MeanAbsoluteError(decoded.y, source.y), 7.6);
    EXPECT_LT(test::MeanAbsoluteError(decoded.cb, source.cb), 14.0);
    EXPECT_LT(test::MeanAbsoluteError(decoded.cr, source.cr), 14.0);
  }
}

// Codes and decodes again under the conditions of `over` and expects the same result.
template <typename Over>
void ExpectSameResult(const Over& over) {
  const YuvPlanes past = test::TexturedPicture(330, 202, 3, 2);
  YuvPlanes source = past;
  source.y = test::TexturePlane(330, 202, 5, -2, 3);
  YuvPlanes future = past;
  future.y = test::TexturePlane(330, 202, 9, -4, 3);
  const Bytes first = EncodeBidirectionalFrame(source, {}, past, future);
  YuvPlanes first_picture;
  ASSERT_TRUE(DecodeBidirectionalFrame(first, true, true, past, future, first_picture));
  over([&] {
    EXPECT_EQ(EncodeBidirectionalFrame(source, {}, past, future), first);
    YuvPlanes picture;
    EXPECT_TRUE(DecodeBidirectionalFrame(first, true, true, past, future, picture));
    EXPECT_TRUE(SamePicture(picture, first_picture));
  });
}

TEST(BidirectionalFrame, SimdLevelsAgree) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  ExpectSameResult([](const auto& expect_same) {
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      expect_same();
    }
  });
}

TEST(BidirectionalFrame, WorkerCountsAgree) {
  ExpectSameResult([](const auto& expect_same) { test::WithEachThreadCount(expect_same); });
}

// 11 at the corner is a level of 1 at coefficient (1, 1), which is dropped by its rate-distortion
// cost.
TEST(BidirectionalFrame, RateRuleDropsWeakLevels) {
  const YuvPlanes anchor = test::FlatPicture(8, 8, 100, 128, 128);
  YuvPlanes source = anchor;
  source.y[0] = 111;
  for (const bool sparse_levels : {false, true}) {
    const Bytes payload = EncodeBidirectionalFrame(
        source, {.quality = 104, .sparse_levels = sparse_levels}, anchor, anchor);
    ASSERT_EQ(payload[4], 100);
    EXPECT_EQ(test::PlaneLevels(test::PayloadStreams(payload)[2], 8, 8)[kScanPosition[9]],
              sparse_levels ? 0 : 1);
  }
}

// The same difference at the same step: it would propagate from a predicted picture, but
// not from a bidirectional one.
TEST(BidirectionalFrame, UnreferencedPicturesDropMoreLevels) {
  const YuvPlanes anchor = test::FlatPicture(8, 8, 100, 128, 128);
  const YuvPlanes source = test::FlatPicture(8, 8, 103, 128, 128);
  const auto dc_level = [](const Bytes& payload) {
    EXPECT_EQ(payload[4], 45);
    return test::PlaneLevels(test::PayloadStreams(payload)[2], 8, 8)[0];
  };
  YuvPlanes reference = anchor;
  EXPECT_EQ(dc_level(EncodeInterFrame(source, {.quality = 45}, reference)), 1);
  EXPECT_EQ(dc_level(EncodeBidirectionalFrame(source, {.quality = 49}, anchor, anchor)), 0);
}

TEST(BidirectionalFrame, AnchorOrderMatters) {
  const YuvPlanes scene = test::TexturedPicture(48, 32, 3, 0);
  const YuvPlanes other = test::TexturedPicture(48, 32, 9, 0);
  for (const bool scene_is_past : {false, true}) {
    const YuvPlanes& past = scene_is_past ? scene : other;
    const YuvPlanes& future = scene_is_past ? other : scene;
    const Bytes payload = EncodeBidirectionalFrame(scene, {.deblocking = false}, past, future);
    const BidirectionalMode expected =
        scene_is_past ? BidirectionalMode::kPast : BidirectionalMode::kFuture;
    EXPECT_EQ(FieldOf(payload, past, true).modes, std::vector<BidirectionalMode>(6, expected));
    // Only the anchor of the mode predicts without a residual.
    const std::vector<Bytes> streams = test::PayloadStreams(payload);
    EXPECT_EQ(test::PlaneLevels(streams[2], 48, 32), std::vector<int16_t>(64 * 24));
    YuvPlanes picture;
    ASSERT_TRUE(DecodeBidirectionalFrame(payload, true, false, past, future, picture));
    EXPECT_TRUE(SamePicture(picture, scene));
  }
}

TEST(BidirectionalFrameDamage, EveryTruncationIsRejected) {
  const YuvPlanes past = MovingPicture(17, 33, 0);
  const YuvPlanes future = MovingPicture(17, 33, 2);
  Bytes payload = EncodeBidirectionalFrame(MovingPicture(17, 33, 1), {}, past, future);
  YuvPlanes picture;
  for (size_t size = 0; size < payload.size(); ++size) {
    ASSERT_FALSE(
        DecodeBidirectionalFrame(std::span(payload).first(size), true, true, past, future, picture))
        << size;
  }
  payload.push_back(0);
  EXPECT_FALSE(DecodeBidirectionalFrame(payload, true, true, past, future, picture));
}

// Rejected or decoded to a picture of the anchors' size, without reading past the
// payload.
TEST(BidirectionalFrameDamage, EverySingleBitFlipIsSurvived) {
  int refused = 0;
  int survived = 0;
  for (const FrameSize& size : {FrameSize{1, 1}, {9, 7}, {33, 17}}) {
    const YuvPlanes past = MovingPicture(size.width, size.height, 0);
    const YuvPlanes future = test::RandomPicture(size.width, size.height, 2);
    const Bytes payload =
        EncodeBidirectionalFrame(MovingPicture(size.width, size.height, 3), {}, past, future);
    test::Fenced<uint8_t> damaged(payload);
    for (size_t bit = 0; bit < 8 * payload.size(); ++bit) {
      uint8_t& byte = damaged.span()[bit / 8];
      byte = static_cast<uint8_t>(byte ^ (1U << (bit % 8)));
      YuvPlanes picture;
      const bool decoded =
          DecodeBidirectionalFrame(damaged.span(), true, true, past, future, picture);
      byte = payload[bit / 8];
      ++(decoded ? survived : refused);
      // Every change of a size or macroblock count must be rejected.
      if (bit / 8 < 29 && bit / 8 != 4) {
        ASSERT_FALSE(decoded) << bit;
      }
      if (decoded) {
        ASSERT_TRUE(picture.SameSize(past)) << bit;
        ASSERT_EQ(picture.y.size(), past.y.size()) << bit;
      }
    }
  }
  EXPECT_GT(refused, 500);
  EXPECT_GT(survived, 300);
}

TEST(BidirectionalFrameDamage, StreamsInconsistentWithModesAreRejected) {
  const YuvPlanes past = MovingPicture(48, 16, 0);
  const MacroblockGrid grid(48, 16);
  BidirectionalField field(grid.Count());
  const auto payload_with = [&](std::array<BidirectionalMode, 3> modes) {
    std::copy(modes.begin(), modes.end(), field.modes.begin());
    return std::array<Bytes, 5>{
        entropy::RansEncodeBytes(PackBidirectionalModes(field.modes)),
        entropy::RansEncodeBytes(CodeBidirectionalVectors(grid, field, true)),
        entropy::EncodeCoefficients(std::vector<int16_t>(64 * 6 * 2)),
        entropy::EncodeCoefficients(std::vector<int16_t>(64 * 3)),
        entropy::EncodeCoefficients(std::vector<int16_t>(64 * 3))};
  };
  const auto decodes = [&](const std::array<Bytes, 5>& streams) {
    YuvPlanes picture;
    return DecodeBidirectionalFrame(test::MakeInterPayload(past, 45, streams), true, true, past,
                                    past, picture);
  };
  const auto stored = payload_with(
      {BidirectionalMode::kBoth, BidirectionalMode::kPast, BidirectionalMode::kFuture});
  const auto direct = payload_with(
      {BidirectionalMode::kDirect, BidirectionalMode::kDirect, BidirectionalMode::kDirect});
  ASSERT_TRUE(decodes(stored));
  ASSERT_TRUE(decodes(direct));
  ASSERT_TRUE(direct[1].empty());
  const auto refused_with = [&](std::array<Bytes, 5> streams, size_t number, const Bytes& stream) {
    streams[number] = stream;
    EXPECT_FALSE(decodes(streams)) << number;
  };
  for (size_t number = 0; number < 5; ++number) refused_with(stored, number, {});
  refused_with(stored, 0, entropy::RansEncodeBytes(Bytes(2, 0)));
  refused_with(stored, 1, entropy::RansEncodeBytes(Bytes(6, 128)));
  refused_with(stored, 1, entropy::RansEncodeBytes(Bytes(10, 128)));
  refused_with(direct, 1, Bytes(6, 0));
  refused_with(direct, 1, entropy::RansEncodeBytes(Bytes(2, 128)));
  refused_with(stored, 2, entropy::EncodeCoefficients(std::vector<int16_t>(64 * 6)));
}

TEST(BidirectionalFrameDamage, AnchorSizeMismatchIsRejected) {
  const YuvPlanes past = MovingPicture(32, 32, 0);
  const Bytes payload = EncodeBidirectionalFrame(past, {}, past, past);
  YuvPlanes picture;
  EXPECT_TRUE(DecodeBidirectionalFrame(payload, true, true, past, past, picture));
  for (const FrameSize& size : {FrameSize{31, 32}, {32, 31}, {64, 64}, {1, 1}}) {
    const YuvPlanes other = MovingPicture(size.width, size.height, 0);
    EXPECT_FALSE(DecodeBidirectionalFrame(payload, true, true, other, other, picture));
    EXPECT_FALSE(DecodeBidirectionalFrame(payload, true, true, past, other, picture));
    EXPECT_FALSE(DecodeBidirectionalFrame(payload, true, true, other, past, picture));
  }
  EXPECT_FALSE(DecodeBidirectionalFrame(payload, true, true, {}, {}, picture));
}

}  // namespace
}  // namespace qolm::video
