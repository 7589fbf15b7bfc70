// SPDX-License-Identifier: MIT
#include "video/inter/inter_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "support/fenced_bytes.h"
#include "support/moving_picture.h"
#include "support/thread_counts.h"
#include "video/frame_sizes.h"
#include "video/inter/motion_field.h"
#include "video/inter/motion_search.h"
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

struct Streams {
  Bytes split_map;
  Bytes motion;
  std::vector<int16_t> levels[3];
};

// Parses a payload and decodes its streams.
Streams TakeApart(const Bytes& payload, const YuvPlanes& picture) {
  const std::vector<Bytes> coded = test::PayloadStreams(payload);
  const MacroblockGrid grid(picture.width, picture.height);
  Streams streams;
  streams.split_map.resize((grid.Count() + 7) / 8);
  EXPECT_TRUE(entropy::RansDecodeBytes(coded[0], streams.split_map));
  streams.motion.resize(MotionByteCount(grid, streams.split_map));
  EXPECT_TRUE(entropy::RansDecodeBytes(coded[1], streams.motion));
  streams.levels[0] = test::PlaneLevels(coded[2], picture.width, picture.height);
  for (size_t plane = 1; plane < 3; ++plane) {
    streams.levels[plane] =
        test::PlaneLevels(coded[2 + plane], picture.ChromaWidth(), picture.ChromaHeight());
  }
  return streams;
}

// The picture of a naive decoder.
YuvPlanes NaiveDecode(const Bytes& payload, const InterFrameOptions& options,
                      const YuvPlanes& before) {
  const Streams streams = TakeApart(payload, before);
  const MacroblockGrid grid(before.width, before.height);
  YuvPlanes picture = test::NaiveCompensation(
      before,
      DecodeMotionField(grid, streams.split_map, streams.motion, options.motion_prediction));
  test::AddNaiveResiduals(picture, payload);
  if (options.deblocking) {
    DeblockReference(picture, BuildInterQuantTable(payload[4], false).step[0],
                     BuildInterQuantTable(payload[4], true).step[0]);
  }
  return picture;
}

// Replaces `current` by the reconstruction of the picture predicted from it.
bool Decode(const Bytes& payload, bool motion_prediction, bool deblocking, YuvPlanes& current) {
  YuvPlanes picture;
  if (!DecodeInterFrame(payload, motion_prediction, deblocking, current, picture)) return false;
  current = std::move(picture);
  return true;
}

TEST(InterFrame, HeaderFields) {
  YuvPlanes reference = MovingPicture(130, 70, 0);
  const Bytes payload = EncodeInterFrame(MovingPicture(130, 70, 1), {.quality = 45}, reference);
  test::ExpectHeaderOf130x70(payload, 45);
}

TEST(InterFrame, OnePixel) {
  YuvPlanes reference = test::FlatPicture(1, 1, 50, 60, 70);
  YuvPlanes current = reference;
  const Bytes payload =
      EncodeInterFrame(test::FlatPicture(1, 1, 200, 10, 250), {.quality = 100}, reference);
  EXPECT_EQ(LoadLe16(payload.data() + 5), 1);
  EXPECT_EQ(LoadLe16(payload.data() + 7), 1);
  const Streams streams = TakeApart(payload, reference);
  EXPECT_EQ(streams.motion, (Bytes{128, 128}));
  ASSERT_TRUE(Decode(payload, true, true, current));
  EXPECT_TRUE(SamePicture(current, reference));
  EXPECT_NEAR(current.y[0], 200, 1);
}

TEST(InterFrame, StaticPictureHasNoResidual) {
  const YuvPlanes picture = MovingPicture(130, 70, 0);
  for (const bool prediction : {true, false}) {
    YuvPlanes reference = picture;
    const Bytes payload = EncodeInterFrame(
        picture, {.motion_prediction = prediction, .deblocking = false}, reference);
    const Streams streams = TakeApart(payload, picture);
    EXPECT_EQ(streams.split_map, Bytes(6, 0));
    EXPECT_EQ(streams.motion, Bytes(2 * 45, 128));
    for (const auto& levels : streams.levels) {
      EXPECT_EQ(levels, std::vector<int16_t>(levels.size(), 0));
    }
    EXPECT_TRUE(SamePicture(reference, picture));
  }
}

// Noise, motion, a scene cut and static frames in one sequence.
YuvPlanes SequencePicture(const FrameSize& size, uint32_t number) {
  if (number == 4) return test::RandomPicture(size.width, size.height, 77);
  if (number == 6) return test::TexturedPicture(size.width, size.height, 5, 9);
  return MovingPicture(size.width, size.height, number == 3 ? 2 : number);
}

TEST(InterFrame, DecoderMatchesReferenceAtEverySizeQualityAndFlag) {
  for (const FrameSize& size : test::kFrameSizes) {
    for (size_t q = 0; q < std::size(test::kQualities); ++q) {
      for (int bits = 0; bits < 8; ++bits) {
        InterFrameOptions options;
        options.quality = test::kQualities[q];
        options.motion_prediction = (bits & 1) != 0;
        options.deblocking = (bits & 2) != 0;
        options.sparse_levels = (bits & 4) != 0;
        options.pre_analysis = (bits & 1) != 0;
        YuvPlanes reference = SequencePicture(size, 0);
        YuvPlanes decoded = reference;
        for (uint32_t number = 1; number < 8; ++number) {
          const Bytes payload = EncodeInterFrame(SequencePicture(size, number), options, reference);
          ASSERT_EQ(payload[4], test::kQualityBytes[q]);
          ASSERT_TRUE(Decode(payload, options.motion_prediction, options.deblocking, decoded));
          ASSERT_TRUE(SamePicture(decoded, reference))
              << size.width << "x" << size.height << " quality " << options.quality << " flags "
              << bits << " frame " << number;
        }
      }
    }
  }
}

TEST(InterFrame, ReferenceMatchesNaiveDecoder) {
  for (const FrameSize& size : {FrameSize{1, 1}, {7, 5}, {17, 33}, {130, 70}}) {
    for (const int quality : {10, 45, 95}) {
      for (int bits = 0; bits < 4; ++bits) {
        const InterFrameOptions options{.quality = quality,
                                        .motion_prediction = (bits & 1) != 0,
                                        .deblocking = (bits & 2) != 0};
        YuvPlanes reference = SequencePicture(size, 0);
        for (uint32_t number = 1; number < 8; ++number) {
          const YuvPlanes before = reference;
          const Bytes payload = EncodeInterFrame(SequencePicture(size, number), options, reference);
          ASSERT_TRUE(SamePicture(NaiveDecode(payload, options, before), reference))
              << size.width << "x" << size.height << " quality " << quality << " frame " << number;
        }
      }
    }
  }
}

TEST(InterFrame, ReconstructionIsCloseToSource) {
  YuvPlanes reference = MovingPicture(130, 70, 0);
  const YuvPlanes cut = test::TexturedPicture(130, 70, 9, 2);
  EncodeInterFrame(cut, {.quality = 100, .deblocking = false}, reference);
  // The steps go up to 19.2 (luma) and 35.6 (chroma), so the errors' spread is at
  // most 5.6 and 10.3.
  EXPECT_LT(test::MeanAbsoluteError(reference.y, cut.y), 5.6);
  EXPECT_LT(test::MeanAbsoluteError(reference.cb, cut.cb), 10.3);
  EXPECT_LT(test::MeanAbsoluteError(reference.cr, cut.cr), 10.3);
}

TEST(InterFrame, MotionIsSmallerThanNewContent) {
  const auto pan = [](int offset) {
    YuvPlanes picture = test::FlatPicture(160, 128, 0, 128, 128);
    picture.y = test::TexturePlane(160, 128, offset, 0, 3);
    return picture;
  };
  YuvPlanes reference = pan(0);
  const size_t moved = EncodeInterFrame(pan(4), {.deblocking = false}, reference).size();
  reference = pan(0);
  const size_t cut = EncodeInterFrame(pan(1000), {.deblocking = false}, reference).size();
  EXPECT_LT(2 * moved, cut);
}

// Codes the frames again under the conditions of `work` and expects the same result.
template <typename Over>
void ExpectSamePayload(const Over& over) {
  const YuvPlanes before = test::TexturedPicture(330, 202, 3, 2);
  YuvPlanes source = before;
  source.y = test::TexturePlane(330, 202, 5, -2, 3);
  YuvPlanes first_reference = before;
  const Bytes first = EncodeInterFrame(source, {}, first_reference);
  over([&] {
    YuvPlanes reference = before;
    EXPECT_EQ(EncodeInterFrame(source, {}, reference), first);
    EXPECT_TRUE(SamePicture(reference, first_reference));
    YuvPlanes decoded;
    EXPECT_TRUE(DecodeInterFrame(first, true, true, before, decoded));
    EXPECT_TRUE(SamePicture(decoded, first_reference));
  });
}

TEST(InterFrame, SimdLevelsGiveSamePayload) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  ExpectSamePayload([](const auto& expect_same) {
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      expect_same();
    }
  });
}

TEST(InterFrame, WorkerCountsGiveSamePayload) {
  ExpectSamePayload([](const auto& expect_same) { test::WithEachThreadCount(expect_same); });
}

// 11 at the corner is a level of 1 at coefficient (1, 1), which is dropped by its rate-distortion
// cost.
TEST(InterFrame, RateRuleDropsWeakLevels) {
  const YuvPlanes before = test::FlatPicture(8, 8, 100, 128, 128);
  YuvPlanes source = before;
  source.y[0] = 111;
  for (const bool sparse_levels : {false, true}) {
    YuvPlanes reference = before;
    const Bytes payload =
        EncodeInterFrame(source, {.quality = 100, .sparse_levels = sparse_levels}, reference);
    EXPECT_EQ(TakeApart(payload, before).levels[0][kScanPosition[9]], sparse_levels ? 0 : 1);
  }
}

// lambda is 0.6 times the luma DC step.
TEST(InterFrame, VectorCostIsPassedToSearch) {
  const YuvPlanes before = test::TexturedPicture(130, 70, 3, 4);
  YuvPlanes source = test::TexturedPicture(130, 70, 3, 9);
  source.y = test::TexturePlane(130, 70, 2, -1, 3);
  const MacroblockGrid grid(130, 70);
  std::vector<Bytes> streams;
  for (const int quality : {5, 45, 100}) {
    for (const bool pre_analysis : {false, true}) {
      MotionSearchOptions search;
      search.pre_analysis = pre_analysis;
      search.vector_cost = 0.6F * BuildInterQuantTable(quality, false).step[0];
      const std::vector<MacroblockMotion> field =
          SearchMotion(source.y.data(), before.y.data(), 130, 70, search);
      YuvPlanes reference = before;
      const Bytes payload =
          EncodeInterFrame(source, {.quality = quality, .pre_analysis = pre_analysis}, reference);
      EXPECT_EQ(TakeApart(payload, before).motion, CodeMotionBytes(grid, field, true)) << quality;
      EXPECT_EQ(TakeApart(payload, before).split_map, PackSplitMap(field)) << quality;
      streams.push_back(TakeApart(payload, before).motion);
    }
  }
  EXPECT_NE(streams.front(), streams.back());
}

TEST(InterFrame, PreviousPictureContentIsIrrelevant) {
  const YuvPlanes before = MovingPicture(33, 17, 0);
  YuvPlanes reference = before;
  const Bytes payload = EncodeInterFrame(MovingPicture(33, 17, 1), {}, reference);
  for (const FrameSize& size : {FrameSize{33, 17}, {1, 1}, {64, 40}}) {
    YuvPlanes picture = test::RandomPicture(size.width, size.height, 5);
    ASSERT_TRUE(DecodeInterFrame(payload, true, true, before, picture));
    EXPECT_TRUE(SamePicture(picture, reference));
  }
}

TEST(InterFrameDamage, EveryTruncationIsRejected) {
  const YuvPlanes before = MovingPicture(17, 33, 0);
  YuvPlanes reference = before;
  const Bytes payload = EncodeInterFrame(MovingPicture(17, 33, 1), {}, reference);
  for (size_t size = 0; size < payload.size(); ++size) {
    const Bytes cut(payload.begin(), payload.begin() + static_cast<ptrdiff_t>(size));
    YuvPlanes picture;
    ASSERT_FALSE(DecodeInterFrame(cut, true, true, before, picture)) << size;
  }
  Bytes longer = payload;
  longer.push_back(0);
  YuvPlanes picture;
  EXPECT_FALSE(DecodeInterFrame(longer, true, true, before, picture));
}

// Rejected or decoded to a picture of the reference's size, without reading past the
// payload.
TEST(InterFrameDamage, EverySingleBitFlipIsSurvived) {
  int refused = 0;
  int survived = 0;
  for (const FrameSize& size : {FrameSize{1, 1}, {9, 7}, {33, 17}}) {
    const YuvPlanes before = MovingPicture(size.width, size.height, 0);
    YuvPlanes reference = before;
    const Bytes payload =
        EncodeInterFrame(MovingPicture(size.width, size.height, 3), {}, reference);
    test::Fenced<uint8_t> damaged(payload);
    for (size_t bit = 0; bit < 8 * payload.size(); ++bit) {
      uint8_t& byte = damaged.span()[bit / 8];
      byte = static_cast<uint8_t>(byte ^ (1U << (bit % 8)));
      YuvPlanes picture;
      const bool decoded = DecodeInterFrame(damaged.span(), true, true, before, picture);
      byte = payload[bit / 8];
      ++(decoded ? survived : refused);
      // Every change of a size or macroblock count must be rejected.
      if (bit / 8 < 29 && bit / 8 != 4) {
        ASSERT_FALSE(decoded) << bit;
      }
      if (decoded) {
        ASSERT_TRUE(picture.SameSize(before)) << bit;
        ASSERT_EQ(picture.y.size(), before.y.size()) << bit;
        ASSERT_EQ(picture.cb.size(), before.cb.size()) << bit;
        ASSERT_EQ(picture.cr.size(), before.cr.size()) << bit;
      }
    }
  }
  EXPECT_GT(refused, 500);
  EXPECT_GT(survived, 500);
}

// Each stream is replaced by that of another picture, or by none.
TEST(InterFrameDamage, StreamSizeMismatchIsRejected) {
  // Static, so that a split map of zeros would fit the vectors too.
  const YuvPlanes before = MovingPicture(160, 32, 0);
  YuvPlanes reference = before;
  const std::vector<Bytes> coded =
      test::PayloadStreams(EncodeInterFrame(before, {.deblocking = false}, reference));
  reference = MovingPicture(16, 16, 0);
  const std::vector<Bytes> other =
      test::PayloadStreams(EncodeInterFrame(MovingPicture(16, 16, 1), {}, reference));
  std::array<Bytes, 5> streams;
  std::copy(coded.begin(), coded.end(), streams.begin());
  const auto decodes = [&before](const std::array<Bytes, 5>& changed) {
    YuvPlanes picture;
    return DecodeInterFrame(test::MakeInterPayload(before, 45, changed), true, true, before,
                            picture);
  };
  ASSERT_TRUE(decodes(streams));
  for (size_t replaced = 0; replaced < 5; ++replaced) {
    for (const Bytes& stream : {other[replaced], Bytes{}}) {
      std::array<Bytes, 5> changed = streams;
      changed[replaced] = stream;
      EXPECT_FALSE(decodes(changed)) << replaced;
    }
  }
}

TEST(InterFrameDamage, SizeMismatchIsRejected) {
  YuvPlanes reference = MovingPicture(32, 32, 0);
  const Bytes payload = EncodeInterFrame(MovingPicture(32, 32, 1), {}, reference);
  for (const FrameSize& size : {FrameSize{31, 32}, {32, 31}, {33, 32}, {64, 64}, {1, 1}}) {
    const YuvPlanes other = MovingPicture(size.width, size.height, 0);
    YuvPlanes picture;
    EXPECT_FALSE(DecodeInterFrame(payload, true, true, other, picture));
  }
  YuvPlanes picture;
  EXPECT_FALSE(DecodeInterFrame(payload, true, true, YuvPlanes{}, picture));
}

TEST(InterFrameDamage, WrongMacroblockCountsAreRejected) {
  const YuvPlanes before = MovingPicture(32, 48, 0);
  YuvPlanes reference = before;
  const Bytes payload = EncodeInterFrame(MovingPicture(32, 48, 1), {}, reference);
  for (const auto& [columns, rows] : {std::pair{3, 2}, {1, 3}, {2, 4}, {0, 3}, {6, 1}}) {
    Bytes damaged = payload;
    StoreLe16(damaged.data() + 5, static_cast<uint16_t>(columns));
    StoreLe16(damaged.data() + 7, static_cast<uint16_t>(rows));
    YuvPlanes picture;
    EXPECT_FALSE(DecodeInterFrame(damaged, true, true, before, picture));
  }
}

TEST(InterFrameDamage, VectorsFarOutsideThePictureAreDecoded) {
  // A payload made by hand: every vector (-128, 127), no residual.
  const YuvPlanes before = test::RandomPicture(33, 17, 1);
  const MacroblockGrid grid(33, 17);
  std::vector<MacroblockMotion> field(grid.Count());
  for (MacroblockMotion& motion : field) motion.vectors.fill({-128, 127});
  std::array<Bytes, 5> streams;
  streams[0] = entropy::RansEncodeBytes(PackSplitMap(field));
  streams[1] = entropy::RansEncodeBytes(CodeMotionBytes(grid, field, true));
  streams[2] = entropy::EncodeCoefficients(std::vector<int16_t>(64 * 5 * 3));
  streams[3] = entropy::EncodeCoefficients(std::vector<int16_t>(64 * 3 * 2));
  streams[4] = streams[3];
  const Bytes payload = test::MakeInterPayload(before, 45, streams);
  YuvPlanes picture;
  ASSERT_TRUE(DecodeInterFrame(payload, true, false, before, picture));
  EXPECT_TRUE(SamePicture(picture, test::NaiveCompensation(before, field)));
}

}  // namespace
}  // namespace qolm::video
