// SPDX-License-Identifier: MIT
#include "video/intra/key_frame.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "base/byte_order.h"
#include "entropy/coefficient_stream.h"
#include "entropy/rans.h"
#include "support/fenced_bytes.h"
#include "support/moving_picture.h"
#include "video/frame_sizes.h"
#include "video/intra/naive_intra.h"
#include "video/kernels/kernel_levels.h"
#include "video/picture/deblock.h"
#include "video/sample_planes.h"
#include "video/transform/quant_table.h"

namespace qolm::video {
namespace {

using test::FrameSize;
using test::SamePicture;
using Bytes = std::vector<uint8_t>;

std::string Describe(const FrameSize& size, const KeyFrameOptions& options) {
  return std::to_string(size.width) + "x" + std::to_string(size.height) + " quality " +
         std::to_string(options.quality) + " cclc " + std::to_string(options.cclc) +
         " deblocking " + std::to_string(options.deblocking);
}

// The streams after a header with `count` sizes at offset 5.
std::vector<Bytes> Streams(const Bytes& payload, size_t count) {
  std::vector<Bytes> streams;
  size_t position = 5 + 4 * count;
  for (size_t i = 0; i < count; ++i) {
    const size_t size = LoadLe32(payload.data() + 5 + 4 * i);
    const auto begin = payload.begin() + static_cast<ptrdiff_t>(position);
    streams.emplace_back(begin, begin + static_cast<ptrdiff_t>(size));
    position += size;
  }
  EXPECT_EQ(position, payload.size());
  return streams;
}

TEST(KeyFrame, HeaderWithChromaFromLuma) {
  YuvPlanes reference;
  const Bytes payload =
      EncodeKeyFrame(test::MovingPicture(130, 70, 0), {.quality = 45, .cclc = true}, reference);
  ASSERT_GT(payload.size(), 25U);
  EXPECT_EQ(LoadLe16(payload.data()), 130);
  EXPECT_EQ(LoadLe16(payload.data() + 2), 70);
  EXPECT_EQ(payload[4], 45);
  EXPECT_EQ(Streams(payload, 5).size(), 5U);
}

TEST(KeyFrame, HeaderWithoutChromaFromLuma) {
  YuvPlanes reference;
  const Bytes payload =
      EncodeKeyFrame(test::MovingPicture(130, 70, 0), {.quality = 45, .cclc = false}, reference);
  ASSERT_GT(payload.size(), 21U);
  EXPECT_EQ(LoadLe16(payload.data()), 130);
  EXPECT_EQ(LoadLe16(payload.data() + 2), 70);
  EXPECT_EQ(payload[4], 45);
  EXPECT_EQ(Streams(payload, 4).size(), 4U);
}

TEST(KeyFrame, OnePixelHasOneBlockPerPlane) {
  const YuvPlanes source = test::FlatPicture(1, 1, 200, 90, 160);
  for (const bool cclc : {true, false}) {
    YuvPlanes reference;
    const Bytes payload = EncodeKeyFrame(source, {.quality = 100, .cclc = cclc}, reference);
    const std::vector<Bytes> streams = Streams(payload, cclc ? 5 : 4);
    // One mode or three, in one byte, all zero.
    Bytes modes(1, 0xFF);
    ASSERT_TRUE(entropy::RansDecodeBytes(streams[0], modes));
    EXPECT_EQ(modes[0], 0);
    if (cclc) {
      Bytes params(4);
      ASSERT_TRUE(entropy::RansDecodeBytes(streams[1], params));
      EXPECT_EQ(params, (Bytes{0, 90, 0, 160}));
    }
    for (size_t i = streams.size() - 3; i < streams.size(); ++i) {
      std::vector<int16_t> levels(64, 1);
      EXPECT_TRUE(entropy::DecodeCoefficients(streams[i], levels));
    }
    EXPECT_TRUE(SamePicture(reference, source));
  }
}

// Every stream and the reference from the formulas, plane by plane.
void ExpectFormulas(const YuvPlanes& source, const KeyFrameOptions& options) {
  YuvPlanes reference;
  const Bytes payload = EncodeKeyFrame(source, options, reference);
  const QuantTable luma_table = BuildQuantTable(options.quality, false);
  const QuantTable chroma_table = BuildQuantTable(options.quality, true);
  const auto width = static_cast<int>(source.width);
  const auto height = static_cast<int>(source.height);
  const auto chroma_width = static_cast<int>(source.ChromaWidth());
  const auto chroma_height = static_cast<int>(source.ChromaHeight());

  YuvPlanes expected = source;
  IntraPlaneRules rules{options.flat_blocks, options.sparse_levels, false};
  const IntraPlaneLevels luma =
      test::NaiveCodeIntraPlane(source.y, width, height, luma_table, rules, expected.y);
  Bytes modes = luma.modes;
  Bytes params;
  std::vector<std::vector<int16_t>> levels = {luma.levels};
  rules.chroma = true;
  for (const auto& [plane, rebuilt] :
       {std::pair{&source.cb, &expected.cb}, std::pair{&source.cr, &expected.cr}}) {
    if (options.cclc) {
      const CclcPlaneLevels coded = test::NaiveCodeCclc(
          *plane, chroma_width, chroma_height, expected.y, width, height, chroma_table, *rebuilt);
      for (const CclcParams& pair : coded.params) {
        params.push_back(static_cast<uint8_t>(pair.alpha));
        params.push_back(pair.beta);
      }
      levels.push_back(coded.levels);
    } else {
      const IntraPlaneLevels coded = test::NaiveCodeIntraPlane(*plane, chroma_width, chroma_height,
                                                               chroma_table, rules, *rebuilt);
      modes.insert(modes.end(), coded.modes.begin(), coded.modes.end());
      levels.push_back(coded.levels);
    }
  }
  if (options.deblocking) DeblockReference(expected, luma_table.step[0], chroma_table.step[0]);
  EXPECT_TRUE(SamePicture(reference, expected));

  const std::vector<Bytes> streams = Streams(payload, options.cclc ? 5 : 4);
  Bytes packed((modes.size() + 3) / 4);
  for (size_t i = 0; i < modes.size(); ++i) {
    packed[i / 4] = static_cast<uint8_t>(packed[i / 4] + (modes[i] << (2 * (i % 4))));
  }
  EXPECT_EQ(streams[0], entropy::RansEncodeBytes(packed));
  if (options.cclc) {
    EXPECT_EQ(streams[1], entropy::RansEncodeBytes(params));
  }
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(streams[streams.size() - 3 + i], entropy::EncodeCoefficients(levels[i]));
  }
}

TEST(KeyFrame, StreamsAndReferenceMatchFormulas) {
  for (const FrameSize& size : {FrameSize{1, 1}, {7, 5}, {17, 33}, {64, 48}, {53, 39}}) {
    for (const YuvPlanes& source : {test::TexturedPicture(size.width, size.height, 5, 4),
                                    test::RandomPicture(size.width, size.height, 6)}) {
      for (const bool cclc : {false, true}) {
        for (const bool deblocking : {false, true}) {
          for (const int quality : {20, 75}) {
            ExpectFormulas(source, {.quality = quality, .cclc = cclc, .deblocking = deblocking});
          }
        }
      }
    }
  }
}

TEST(KeyFrame, EachRuleFollowsItsOwnOption) {
  // Texture, which is not flat, next to faint noise, which is.
  YuvPlanes source = test::TexturedPicture(96, 64, 5, 3);
  for (size_t i = 0; i < source.y.size(); ++i) {
    if (i % 96 < 48) source.y[i] = static_cast<uint8_t>(100 + source.y[i] % 7);
  }
  std::vector<Bytes> payloads;
  for (const bool flat_blocks : {false, true}) {
    for (const bool sparse_levels : {false, true}) {
      const KeyFrameOptions options{.quality = 95,
                                    .cclc = false,
                                    .flat_blocks = flat_blocks,
                                    .sparse_levels = sparse_levels,
                                    .deblocking = false};
      ExpectFormulas(source, options);
      YuvPlanes reference;
      payloads.push_back(EncodeKeyFrame(source, options, reference));
    }
  }
  for (size_t i = 0; i < payloads.size(); ++i) {
    for (size_t k = 0; k < i; ++k) EXPECT_NE(payloads[i], payloads[k]) << i << " and " << k;
  }
}

TEST(KeyFrame, DecoderMatchesReferenceAtEverySizeQualityAndFlag) {
  for (const FrameSize& size : test::kFrameSizes) {
    const YuvPlanes pictures[] = {test::MovingPicture(size.width, size.height, 2),
                                  test::RandomPicture(size.width, size.height, 8)};
    for (size_t q = 0; q < std::size(test::kQualities); ++q) {
      for (int bits = 0; bits < 16; ++bits) {
        const KeyFrameOptions options{test::kQualities[q], (bits & 1) != 0, (bits & 2) != 0,
                                      (bits & 4) != 0, (bits & 8) != 0};
        for (const YuvPlanes& source : pictures) {
          YuvPlanes reference;
          const Bytes payload = EncodeKeyFrame(source, options, reference);
          ASSERT_EQ(payload[4], test::kQualityBytes[q]) << Describe(size, options);
          YuvPlanes decoded;
          ASSERT_TRUE(DecodeKeyFrame(payload, options.cclc, options.deblocking, decoded))
              << Describe(size, options);
          ASSERT_TRUE(SamePicture(decoded, reference)) << Describe(size, options);
        }
      }
    }
  }
}

double MeanSquaredError(const Bytes& a, const Bytes& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) {
    const double difference = static_cast<double>(a[i]) - static_cast<double>(b[i]);
    sum += difference * difference;
  }
  return sum / static_cast<double>(a.size());
}

TEST(KeyFrame, HigherQualityIsCloserToSource) {
  const YuvPlanes source = test::TexturedPicture(96, 80, 2, 1);
  double last_error = 1.0e9;
  size_t last_size = 0;
  for (const int quality : {10, 45, 75, 95, 100}) {
    YuvPlanes reference;
    const Bytes payload =
        EncodeKeyFrame(source, {.quality = quality, .cclc = false, .deblocking = false}, reference);
    const double error = MeanSquaredError(reference.y, source.y);
    EXPECT_LT(error, last_error) << quality;
    EXPECT_GT(payload.size(), last_size) << quality;
    last_error = error;
    last_size = payload.size();
  }
  EXPECT_LT(last_error, 1.0);
}

TEST(KeyFrame, EqualQualityBytesGiveEqualPayloads) {
  const YuvPlanes source = test::MovingPicture(64, 48, 1);
  YuvPlanes reference;
  const Bytes hundred = EncodeKeyFrame(source, {.quality = 100}, reference);
  EXPECT_EQ(EncodeKeyFrame(source, {.quality = 256}, reference), hundred);
  EXPECT_EQ(EncodeKeyFrame(source, {.quality = 300}, reference), hundred);
  const Bytes one = EncodeKeyFrame(source, {.quality = 1}, reference);
  EXPECT_EQ(EncodeKeyFrame(source, {.quality = -5}, reference), one);
  // 0 and 255 keep their byte but mean 1 and 100.
  Bytes zero = EncodeKeyFrame(source, {.quality = 0}, reference);
  EXPECT_NE(zero, one);
  zero[4] = 1;
  EXPECT_EQ(zero, one);
  Bytes most = EncodeKeyFrame(source, {.quality = 255}, reference);
  most[4] = 100;
  EXPECT_EQ(most, hundred);
}

TEST(KeyFrame, WideSizesKeepTheirLowBits) {
  YuvPlanes reference;
  const YuvPlanes source = test::FlatPicture(70000, 1, 60, 128, 128);
  const Bytes payload = EncodeKeyFrame(source, {}, reference);
  EXPECT_EQ(LoadLe16(payload.data()), 4464);
  EXPECT_EQ(LoadLe16(payload.data() + 2), 1);
  EXPECT_EQ(reference.width, 70000U);
  EXPECT_EQ(reference.y.size(), 70000U);
}

TEST(KeyFrame, NewSizeResizesReferenceAndDecodedPlanes) {
  YuvPlanes reference = test::RandomPicture(100, 90, 1);
  YuvPlanes current = test::RandomPicture(100, 90, 2);
  for (const FrameSize& size : {FrameSize{33, 21}, {120, 100}, {1, 1}}) {
    const YuvPlanes source = test::MovingPicture(size.width, size.height, 0);
    const Bytes payload = EncodeKeyFrame(source, {}, reference);
    EXPECT_TRUE(reference.SameSize(source));
    ASSERT_TRUE(DecodeKeyFrame(payload, true, true, current));
    EXPECT_TRUE(SamePicture(current, reference));
  }
}

TEST(KeyFrame, SimdLevelsGiveSamePayload) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  for (const bool cclc : {false, true}) {
    const YuvPlanes source = test::TexturedPicture(130, 70, 4, 6);
    YuvPlanes first_reference;
    Bytes first;
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      YuvPlanes reference;
      const Bytes payload = EncodeKeyFrame(source, {.cclc = cclc}, reference);
      if (first.empty()) {
        first = payload;
        first_reference = reference;
      }
      EXPECT_EQ(payload, first);
      EXPECT_TRUE(SamePicture(reference, first_reference));
    }
  }
}

bool IsConsistent(const YuvPlanes& planes) {
  const size_t chroma = size_t{planes.ChromaWidth()} * planes.ChromaHeight();
  return planes.y.size() == size_t{planes.width} * planes.height && planes.cb.size() == chroma &&
         planes.cr.size() == chroma;
}

TEST(KeyFrameDamage, EveryTruncationIsRejected) {
  for (const bool cclc : {false, true}) {
    YuvPlanes reference;
    const Bytes payload = EncodeKeyFrame(test::MovingPicture(17, 33, 0), {.cclc = cclc}, reference);
    for (size_t size = 0; size < payload.size(); ++size) {
      // A copy of exactly that size, so that sanitizers detect reads past the end.
      const Bytes cut(payload.begin(), payload.begin() + static_cast<ptrdiff_t>(size));
      YuvPlanes current;
      ASSERT_FALSE(DecodeKeyFrame(cut, cclc, true, current)) << size;
      ASSERT_TRUE(IsConsistent(current));
    }
    Bytes longer = payload;
    longer.push_back(0);
    YuvPlanes current;
    EXPECT_FALSE(DecodeKeyFrame(longer, cclc, true, current));
  }
}

// Rejected or decoded to a picture of the declared size, without reading past the payload.
TEST(KeyFrameDamage, EverySingleBitFlipIsSurvived) {
  int refused = 0;
  int decoded = 0;
  for (const FrameSize& size : {FrameSize{1, 1}, {9, 7}}) {
    for (const bool cclc : {false, true}) {
      YuvPlanes reference;
      const Bytes payload = EncodeKeyFrame(test::MovingPicture(size.width, size.height, 0),
                                           {.cclc = cclc}, reference);
      test::Fenced<uint8_t> damaged(payload);
      for (size_t bit = 0; bit < 8 * payload.size(); ++bit) {
        uint8_t& byte = damaged.span()[bit / 8];
        byte = static_cast<uint8_t>(byte ^ (1U << (bit % 8)));
        YuvPlanes current;
        if (DecodeKeyFrame(damaged.span(), cclc, true, current)) {
          ++decoded;
          ASSERT_EQ(current.width, LoadLe16(damaged.span().data())) << bit;
          ASSERT_EQ(current.height, LoadLe16(damaged.span().data() + 2)) << bit;
          // Every change of a stream size must be rejected.
          ASSERT_TRUE(bit / 8 < 5 || bit / 8 >= (cclc ? 25U : 21U)) << bit;
        } else {
          ++refused;
        }
        ASSERT_TRUE(IsConsistent(current)) << bit;
        byte = payload[bit / 8];
      }
    }
  }
  EXPECT_GT(refused, 500);
  EXPECT_GT(decoded, 500);
}

TEST(KeyFrameDamage, SizeMismatchAllocatesNothing) {
  YuvPlanes reference;
  Bytes payload = EncodeKeyFrame(test::MovingPicture(16, 16, 0), {}, reference);
  StoreLe16(payload.data(), 16384);
  StoreLe16(payload.data() + 2, 16384);
  for (const bool cclc : {false, true}) {
    YuvPlanes current;
    EXPECT_FALSE(DecodeKeyFrame(payload, cclc, true, current));
    EXPECT_LT(current.y.capacity(), 1000U);
  }
}

TEST(KeyFrameDamage, SizeLimitIs16384) {
  YuvPlanes reference;
  YuvPlanes current;
  for (const bool cclc : {false, true}) {
    for (const FrameSize& size : {FrameSize{16384, 1}, {1, 16384}}) {
      const Bytes payload = EncodeKeyFrame(test::FlatPicture(size.width, size.height, 9, 9, 9),
                                           {.cclc = cclc}, reference);
      ASSERT_TRUE(DecodeKeyFrame(payload, cclc, true, current));
      EXPECT_TRUE(SamePicture(current, reference));
    }
    // Matching streams do not make a size valid.
    for (const FrameSize& size : {FrameSize{16385, 1}, {1, 16385}, {65535, 1}, {1, 65535}}) {
      const Bytes payload = EncodeKeyFrame(test::FlatPicture(size.width, size.height, 9, 9, 9),
                                           {.cclc = cclc}, reference);
      EXPECT_FALSE(DecodeKeyFrame(payload, cclc, true, current)) << size.width;
    }
  }
}

// With streams that a picture without samples would have: a count of 0 and no levels.
TEST(KeyFrameDamage, EmptySizeIsRejected) {
  for (const bool cclc : {false, true}) {
    for (const FrameSize& size : {FrameSize{0, 0}, {0, 1}, {1, 0}, {0, 16384}}) {
      Bytes payload;
      AppendLe16(payload, static_cast<uint16_t>(size.width));
      AppendLe16(payload, static_cast<uint16_t>(size.height));
      payload.push_back(45);
      const size_t counted_streams = cclc ? 2 : 1;
      for (size_t i = 0; i < counted_streams + 3; ++i) {
        AppendLe32(payload, i < counted_streams ? 6 : 0);
      }
      payload.resize(payload.size() + 6 * counted_streams);
      YuvPlanes current;
      EXPECT_FALSE(DecodeKeyFrame(payload, cclc, true, current)) << size.width;
    }
  }
}

// Each stream is replaced by that of another picture, or by none.
TEST(KeyFrameDamage, StreamSizeMismatchIsRejected) {
  for (const bool cclc : {false, true}) {
    YuvPlanes reference;
    const Bytes payload = EncodeKeyFrame(test::MovingPicture(40, 24, 0), {.cclc = cclc}, reference);
    const Bytes other = EncodeKeyFrame(test::MovingPicture(8, 8, 0), {.cclc = cclc}, reference);
    const size_t count = cclc ? 5 : 4;
    for (size_t replaced = 0; replaced < count; ++replaced) {
      for (const bool empty : {false, true}) {
        std::vector<Bytes> streams = Streams(payload, count);
        streams[replaced] = empty ? Bytes{} : Streams(other, count)[replaced];
        Bytes changed(payload.begin(), payload.begin() + 5);
        for (const Bytes& stream : streams) {
          AppendLe32(changed, static_cast<uint32_t>(stream.size()));
        }
        for (const Bytes& stream : streams) {
          changed.insert(changed.end(), stream.begin(), stream.end());
        }
        YuvPlanes current;
        EXPECT_FALSE(DecodeKeyFrame(changed, cclc, true, current)) << replaced;
      }
    }
  }
}

TEST(KeyFrameDamage, WrongCclcFlagIsSurvived) {
  YuvPlanes reference;
  YuvPlanes current;
  const YuvPlanes source = test::MovingPicture(64, 48, 0);
  EXPECT_FALSE(
      DecodeKeyFrame(EncodeKeyFrame(source, {.cclc = true}, reference), false, true, current));
  EXPECT_FALSE(
      DecodeKeyFrame(EncodeKeyFrame(source, {.cclc = false}, reference), true, true, current));
}

}  // namespace
}  // namespace qolm::video
