// SPDX-License-Identifier: MIT
#include "video/inter/motion_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

using Field = std::vector<MacroblockMotion>;
using Plane = std::vector<uint8_t>;

Field Search(const Plane& source, const Plane& reference, uint32_t width, uint32_t height,
             bool pre_analysis = true) {
  MotionSearchOptions options;
  options.pre_analysis = pre_analysis;
  return SearchMotion(source.data(), reference.data(), width, height, options);
}

bool SameField(const Field& a, const Field& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const MacroblockMotion& one, const MacroblockMotion& other) {
                      return one.split == other.split && one.vectors == other.vectors;
                    });
}

struct Found {
  int reachable = 0;  // macroblocks whose true block lies inside the reference
  int exact = 0;
};

Found FindShift(int dx, int dy, bool pre_analysis) {
  constexpr uint32_t kWidth = 330;
  constexpr uint32_t kHeight = 202;
  const Plane reference = test::TexturePlane(kWidth, kHeight, 0, 0, 1);
  const Plane source = test::TexturePlane(kWidth, kHeight, dx, dy, 1);
  const Field field = Search(source, reference, kWidth, kHeight, pre_analysis);
  const MacroblockGrid grid(kWidth, kHeight);
  Found found;
  for (size_t i = 0; i < field.size(); ++i) {
    const int x = static_cast<int>(i % grid.columns) * 16;
    const int y = static_cast<int>(i / grid.columns) * 16;
    const int right = std::min(x + 16, static_cast<int>(kWidth));
    const int bottom = std::min(y + 16, static_cast<int>(kHeight));
    if (x + dx < 0 || y + dy < 0 || right + dx > static_cast<int>(kWidth) ||
        bottom + dy > static_cast<int>(kHeight)) {
      continue;
    }
    ++found.reachable;
    const MotionVector truth{static_cast<int8_t>(dx), static_cast<int8_t>(dy)};
    if (field[i].split == 0 && field[i].vectors[0] == truth) ++found.exact;
  }
  return found;
}

TEST(MotionSearch, FindsEveryShiftWithinTheRings) {
  for (const auto& [dx, dy] : {std::pair{1, 0},
                               {0, -1},
                               {2, 2},
                               {-3, 5},
                               {7, -7},
                               {-10, 4},
                               {13, 0},
                               {0, 17},
                               {-19, -19},
                               {20, 20},
                               {-20, 11}}) {
    for (const bool pre_analysis : {false, true}) {
      const Found found = FindShift(dx, dy, pre_analysis);
      // Where no good match lies near the start, a step past the true vector may
      // stop the rings early; almost all must still be exact.
      EXPECT_GE(found.exact * 100, found.reachable * 95) << dx << "," << dy;
    }
  }
}

struct FarShift {
  int dx;
  int dy;
  int least_percent;
};

TEST(MotionSearch, FindsLargeShiftsThroughNeighbours) {
  // Beyond the maximum radius the result depends on the neighbours' vectors, even more so
  // for diagonal shifts.
  for (const FarShift& shift : {FarShift{31, 0, 60},
                                {-31, 0, 60},
                                {0, 31, 60},
                                {0, -31, 60},
                                {-27, 25, 60},
                                {31, -31, 20}}) {
    const Found found = FindShift(shift.dx, shift.dy, true);
    EXPECT_GE(found.exact * 100, found.reachable * shift.least_percent)
        << shift.dx << "," << shift.dy;
  }
}

TEST(MotionSearch, StaticPictureHasZeroVectors) {
  for (const auto& [width, height] : {std::pair{1U, 1U}, {7U, 5U}, {17U, 33U}, {130U, 70U}}) {
    for (const Plane& plane :
         {test::RandomBytes(size_t{width} * height, 3), Plane(size_t{width} * height, 90),
          test::TexturePlane(width, height, 0, 0, 3)}) {
      const Field field = Search(plane, plane, width, height);
      ASSERT_EQ(field.size(), MacroblockGrid(width, height).Count());
      for (const MacroblockMotion& motion : field) {
        EXPECT_EQ(motion.split, 0);
        EXPECT_EQ(motion.vectors[0], MotionVector{});
      }
    }
  }
}

// Whether the visible part of a block stays inside the picture when displaced.
bool StaysInside(int x, int y, int size, const MotionVector& vector, int width, int height) {
  const int right = std::min(x + size, width);
  const int bottom = std::min(y + size, height);
  return x + vector.dx >= 0 && y + vector.dy >= 0 && right + vector.dx <= width &&
         bottom + vector.dy <= height;
}

TEST(MotionSearch, VectorsStayInRangeOnNoise) {
  for (const auto& [width, height] :
       {std::pair{1, 1}, {15, 40}, {16, 16}, {17, 33}, {33, 17}, {64, 48}, {131, 71}}) {
    for (uint32_t seed = 0; seed < 6; ++seed) {
      const auto w = static_cast<uint32_t>(width);
      const auto h = static_cast<uint32_t>(height);
      Plane source = test::RandomBytes(size_t{w} * h, seed);
      Plane reference = test::RandomBytes(size_t{w} * h, seed + 100);
      if (seed % 2 != 0) {  // textures that move apart, so that blocks split
        source = test::TexturePlane(w, h, 0, 0, seed);
        for (size_t i = 0; i < reference.size(); ++i) {
          const int x = static_cast<int>(i % w);
          const int y = static_cast<int>(i / w);
          reference[i] = test::TextureSample(x + (x / 8 % 3), y - (y / 8 % 3), 5, seed);
        }
      }
      const Field field = Search(source, reference, w, h);
      const MacroblockGrid grid(w, h);
      ASSERT_EQ(field.size(), grid.Count());
      for (size_t i = 0; i < field.size(); ++i) {
        const int x = static_cast<int>(i % grid.columns) * 16;
        const int y = static_cast<int>(i / grid.columns) * 16;
        ASSERT_LE(field[i].split, 1);
        for (size_t q = 0; q < 4; ++q) {
          const MotionVector& vector = field[i].Quarter(q);
          ASSERT_LE(std::abs(vector.dx), kMaxVector);
          ASSERT_LE(std::abs(vector.dy), kMaxVector);
          if (field[i].split == 0) {
            ASSERT_TRUE(StaysInside(x, y, 16, vector, width, height));
            continue;
          }
          const int quarter_x = x + static_cast<int>(q % 2) * 8;
          const int quarter_y = y + static_cast<int>(q / 2) * 8;
          if (quarter_x < width && quarter_y < height) {
            ASSERT_TRUE(StaysInside(quarter_x, quarter_y, 8, vector, width, height));
          }
        }
      }
    }
  }
}

// A 48x48 picture whose middle macroblock moves by one vector a quarter while
// the rest stays; contrast in 64ths.
struct QuarterScene {
  static constexpr int kSize = 48;
  Plane source = Plane(kSize * kSize);
  Plane reference = Plane(kSize * kSize);

  Field SearchMotion() const { return Search(source, reference, kSize, kSize); }

  // The least cost of one vector for the middle macroblock.
  int LeastWholeCost() const {
    int least = 256 * 255;
    for (int dy = -16; dy <= 16; ++dy) {
      for (int dx = -16; dx <= 16; ++dx) {
        int cost = 0;
        for (int i = 0; i < 256; ++i) {
          const int x = 16 + i % 16;
          const int y = 16 + i / 16;
          cost += std::abs(source[static_cast<size_t>(y * kSize + x)] -
                           reference[static_cast<size_t>((y + dy) * kSize + x + dx)]);
        }
        least = std::min(least, cost);
      }
    }
    return least;
  }
};

QuarterScene MakeQuarterScene(const std::array<MotionVector, 4>& vectors, int contrast) {
  const auto sample = [&](int x, int y) {
    return static_cast<uint8_t>(test::TextureSample(x, y, 4, 6) * contrast / 64);
  };
  QuarterScene scene;
  for (int y = 0; y < QuarterScene::kSize; ++y) {
    for (int x = 0; x < QuarterScene::kSize; ++x) {
      const auto at = static_cast<size_t>(y * QuarterScene::kSize + x);
      scene.reference[at] = sample(x, y);
      scene.source[at] = scene.reference[at];
      if (x < 16 || y < 16 || x >= 32 || y >= 32) continue;
      const auto quarter = static_cast<size_t>((y >= 24 ? 2 : 0) + (x >= 24 ? 1 : 0));
      scene.source[at] = sample(x + vectors[quarter].dx, y + vectors[quarter].dy);
    }
  }
  return scene;
}

Field SearchQuarters(const std::array<MotionVector, 4>& vectors, int contrast) {
  return MakeQuarterScene(vectors, contrast).SearchMotion();
}

TEST(MotionSearch, DivergingQuartersAreSplit) {
  const std::array<MotionVector, 4> vectors = {{{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
  const Field field = SearchQuarters(vectors, 64);
  EXPECT_EQ(field[4].split, 1);
  EXPECT_EQ(field[4].vectors, vectors);
  for (const size_t other : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 8U}) EXPECT_EQ(field[other].split, 0);
}

TEST(MotionSearch, SmallGainIsNotSplit) {
  // The same motion, so faint that one vector costs less than 1201.
  const std::array<MotionVector, 4> vectors = {{{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
  EXPECT_EQ(SearchQuarters(vectors, 6)[4].split, 0);
  // All quarters move alike.
  const std::array<MotionVector, 4> alike = {{{3, -2}, {3, -2}, {3, -2}, {3, -2}}};
  const Field field = SearchQuarters(alike, 64);
  EXPECT_EQ(field[4].split, 0);
  EXPECT_EQ(field[4].vectors[0], alike[0]);
}

TEST(MotionSearch, FourVectorsNeedACostOf1201) {
  // Four vectors match exactly, so the cost of one decides alone: between 900
  // and 1200 the gain would do, but the block is good enough as it is.
  const std::array<MotionVector, 4> vectors = {{{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
  int good_enough = 0;
  int split = 0;
  for (int contrast = 1; contrast <= 64; ++contrast) {
    const QuarterScene scene = MakeQuarterScene(vectors, contrast);
    const int cost = scene.LeastWholeCost();
    EXPECT_EQ(scene.SearchMotion()[4].split, cost >= 1201 ? 1 : 0) << cost;
    good_enough += cost > 900 && cost < 1201 ? 1 : 0;
    split += cost >= 1201 ? 1 : 0;
  }
  EXPECT_GT(good_enough, 0);
  EXPECT_GT(split, 0);
}

TEST(MotionSearch, GainBelowAQuarterIsNotSplit) {
  // Unrelated noise: four vectors save thousands, yet far less than a quarter.
  const Plane source = test::RandomBytes(160 * 96, 1);
  const Plane reference = test::RandomBytes(160 * 96, 2);
  const Field field = Search(source, reference, 160, 96);
  ASSERT_EQ(field.size(), 60U);
  for (const MacroblockMotion& motion : field) EXPECT_EQ(motion.split, 0);
}

// Stripes two samples wide that moved by one to either side: each of two vectors, and
// whatever of them goes up or down, is off by one everywhere.
TEST(MotionSearch, FirstOfEqualVectorsWins) {
  Plane source(48 * 48);
  Plane reference(48 * 48);
  for (size_t i = 0; i < source.size(); ++i) {
    reference[i] = i % 2 == 0 ? 20 : 200;
    source[i] = i % 2 == 0 ? 201 : 21;
  }
  const Field field = Search(source, reference, 48, 48);
  // From left to right and then down; macroblocks on the right follow their left one.
  EXPECT_EQ(field[0].vectors[0], (MotionVector{1, 0}));
  EXPECT_EQ(field[1].vectors[0], (MotionVector{1, 0}));
  EXPECT_EQ(field[2].vectors[0], (MotionVector{-1, 0}));
  EXPECT_EQ(field[3].vectors[0], (MotionVector{1, -1}));
  EXPECT_EQ(field[4].vectors[0], (MotionVector{1, -1}));
}

// Everything moves by (5, 0), and nothing shows it in the middle, which is grey.
TEST(MotionSearch, VectorCostIsRelativeToLeftVector) {
  constexpr uint32_t kWidth = 80;
  constexpr uint32_t kHeight = 48;
  Plane reference = test::TexturePlane(kWidth, kHeight, 0, 0, 3);
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 16; x < 38 && y >= 16 && y < 32; ++x) reference[y * kWidth + x] = 100;
  }
  Plane source(reference.size(), 0);
  for (size_t i = 0; i < source.size(); ++i) {
    source[i] = reference[i - i % kWidth + std::min<size_t>(i % kWidth + 5, kWidth - 1)];
  }
  for (uint32_t y = 16; y < 32; ++y) std::fill_n(&source[y * kWidth + 16], 16, uint8_t{100});
  for (const float cost : {0.0F, 10.0F}) {
    MotionSearchOptions options;
    options.vector_cost = cost;
    const Field field = SearchMotion(source.data(), reference.data(), kWidth, kHeight, options);
    for (const size_t neighbour : {1U, 2U, 5U}) {
      ASSERT_EQ(field[neighbour].vectors[0], (MotionVector{5, 0})) << neighbour;
    }
    // At zero cost the first candidate wins, which is the zero vector.
    EXPECT_EQ(field[6].vectors[0], (cost > 0.0F ? MotionVector{5, 0} : MotionVector{0, 0}));
  }
}

// A picture of 8x8 macroblocks, of which those at (2, 2), (6, 2), (2, 6) and (6, 6)
// vote on the global motion. Each shows what stands elsewhere in the reference, in
// strong contrast. The uppermost row is faint: standing still is good enough for the
// rings, and only a candidate from elsewhere shows the way that it moved, kOne on its
// left and kOther on its right side.
constexpr MotionVector kOne{12, 8};
constexpr MotionVector kOther{-10, 6};

struct ElectionScene {
  static constexpr int kSize = 128;
  Plane source = Plane(kSize * kSize);
  Plane reference = Plane(kSize * kSize);
};

ElectionScene MakeElection(const std::array<MotionVector, 4>& votes) {
  constexpr int kVoters[4][2] = {{32, 32}, {96, 32}, {32, 96}, {96, 96}};
  ElectionScene scene;
  const auto at = [](int x, int y) { return static_cast<size_t>(y * ElectionScene::kSize + x); };
  for (int y = 0; y < ElectionScene::kSize; ++y) {
    for (int x = 0; x < ElectionScene::kSize; ++x) {
      int contrast = 2;
      for (size_t v = 0; v < 4; ++v) {
        const int dx = x - kVoters[v][0] - votes[v].dx;
        const int dy = y - kVoters[v][1] - votes[v].dy;
        if (0 <= dx && dx < 16 && 0 <= dy && dy < 16) contrast = 64;
      }
      const int texture = test::TextureSample(x, y, 4, 6) - 128;
      scene.reference[at(x, y)] = static_cast<uint8_t>(128 + texture * contrast / 64);
    }
  }
  const auto move = [&](int x0, int y0, const MotionVector& vector) {
    for (int i = 0; i < 256; ++i) {
      const int x = x0 + i % 16;
      const int y = y0 + i / 16;
      scene.source[at(x, y)] = scene.reference[at(x + vector.dx, y + vector.dy)];
    }
  };
  scene.source = scene.reference;
  for (size_t v = 0; v < 4; ++v) move(kVoters[v][0], kVoters[v][1], votes[v]);
  for (const int column : {1, 2, 3}) move(16 * column, 0, kOne);
  for (const int column : {4, 5, 6}) move(16 * column, 0, kOther);
  return scene;
}

struct Election {
  int ones = 0;    // faint macroblocks that found kOne
  int others = 0;  // and kOther
};

Election Elect(const std::array<MotionVector, 4>& votes, bool pre_analysis = true) {
  const ElectionScene scene = MakeElection(votes);
  constexpr auto kSize = static_cast<uint32_t>(ElectionScene::kSize);
  const Field field = Search(scene.source, scene.reference, kSize, kSize, pre_analysis);
  Election election;
  for (size_t column = 0; column < 8; ++column) {
    election.ones += field[column].vectors[0] == kOne ? 1 : 0;
    election.others += field[column].vectors[0] == kOther ? 1 : 0;
  }
  return election;
}

void ExpectElected(const std::array<MotionVector, 4>& votes, const MotionVector& winner) {
  const Election election = Elect(votes);
  EXPECT_EQ(election.ones, winner == kOne ? 3 : 0);
  EXPECT_EQ(election.others, winner == kOther ? 3 : 0);
}

TEST(GlobalMotion, WinningVectorIsACandidateEverywhere) {
  ExpectElected({kOne, kOne, kOne, kOther}, kOne);
  ExpectElected({kOther, kOther, kOne, kOther}, kOther);
  const Election none = Elect({kOne, kOne, kOne, kOne}, /*pre_analysis=*/false);
  EXPECT_EQ(none.ones, 0) << "nothing else finds it";
}

TEST(GlobalMotion, FirstVectorToReachTheMostVotesWins) {
  ExpectElected({kOne, kOther, kOther, kOne}, kOther);
  ExpectElected({kOne, kOther, kOne, kOther}, kOne);
  ExpectElected({kOther, kOne, {}, {}}, kOther);
}

TEST(GlobalMotion, ZeroVectorsDoNotVote) {
  ExpectElected({MotionVector{}, {}, {}, kOne}, kOne);
  ExpectElected({kOther, MotionVector{}, {}, {}}, kOther);
  ExpectElected({MotionVector{}, {}, {}, {}}, {});
}

// A scene that pans, with an object that moves against it and noise on top.
struct Scene {
  Plane source;
  Plane reference;
};

Scene MakeScene(uint32_t width, uint32_t height) {
  Scene scene{test::TexturePlane(width, height, 6, -3, 8),
              test::TexturePlane(width, height, 0, 0, 8)};
  const Plane noise = test::RandomBytes(scene.source.size(), 5);
  for (size_t i = 0; i < scene.source.size(); ++i) {
    const int x = static_cast<int>(i % width);
    const int y = static_cast<int>(i / width);
    if (x % 100 < 37 && y % 80 < 29) scene.source[i] = test::TextureSample(x - 9, y + 4, 5, 8);
    scene.source[i] = static_cast<uint8_t>(std::min(255, scene.source[i] + noise[i] % 8));
  }
  return scene;
}

TEST(MotionSearch, WorkerCountsAgree) {
  const Scene scene = MakeScene(650, 370);
  const Field first = Search(scene.source, scene.reference, 650, 370);
  EXPECT_TRUE(std::any_of(first.begin(), first.end(),
                          [](const MacroblockMotion& motion) { return motion.split != 0; }));
  test::WithEachThreadCount(
      [&] { EXPECT_TRUE(SameField(Search(scene.source, scene.reference, 650, 370), first)); });
}

TEST(MotionSearch, SimdLevelsAgree) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  for (const auto& [width, height] : {std::pair{650U, 370U}, {131U, 71U}, {33U, 200U}}) {
    const Scene scene = MakeScene(width, height);
    const Field first = Search(scene.source, scene.reference, width, height);
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      EXPECT_TRUE(SameField(Search(scene.source, scene.reference, width, height), first));
    }
  }
}

}  // namespace
}  // namespace qolm::video
