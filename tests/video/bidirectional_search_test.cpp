#include "video/bidirectional_search.h"

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

TEST(SearchBothWays, ADecoderReadsTheFieldThatTheSearchChose) {
  OverScenes([](const Scene& scene) {
    const MacroblockGrid grid(scene.source.width, scene.source.height);
    for (const bool prediction : {true, false}) {
      const BidirectionalField field =
          SearchBothWays(scene.source, scene.past, scene.future, {.prediction = prediction}, 35.0F);
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

TEST(SearchBothWays, StoredVectorsStayWithin31AndInsideTheAnchor) {
  OverScenes([](const Scene& scene) {
    const MacroblockGrid grid(scene.source.width, scene.source.height);
    const BidirectionalField field =
        SearchBothWays(scene.source, scene.past, scene.future, {}, 35.0F);
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

TEST(SearchBothWays, WithoutADifferenceEverythingIsDirect) {
  const YuvPlanes picture = test::MovingPicture(130, 70, 0);
  const BidirectionalField field = SearchBothWays(picture, picture, picture, {}, 35.0F);
  for (const BidirectionalMode mode : field.modes) EXPECT_EQ(mode, BidirectionalMode::kDirect);
}

}  // namespace
}  // namespace qolm::video
