// SPDX-License-Identifier: MIT
//
// Loops over a picture are parallel from 32768 samples on and start no thread below. Only
// the number of threads shows it, since results never depend on it.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/thread_counts.h"
#include "video/inter/bidirectional_compensation.h"
#include "video/inter/motion_compensation.h"
#include "video/inter/motion_search.h"
#include "video/inter/phase_planes.h"
#include "video/picture/colour_conversion.h"
#include "video/picture/deblock.h"
#include "video/sample_planes.h"
#include "video/transform/residual_planes.h"

namespace qolm::video {
namespace {

using Loop = std::function<void(const YuvPlanes& picture)>;

const std::vector<std::pair<std::string, Loop>>& Loops() {
  static const std::vector<std::pair<std::string, Loop>> loops = {
      {"frame to planes",
       [](const YuvPlanes& picture) {
         VideoFrame frame;
         frame.width = static_cast<int32_t>(picture.width);
         frame.height = static_cast<int32_t>(picture.height);
         frame.pixels.resize(4 * picture.y.size());
         YuvPlanes planes;
         ConvertFrameToYuv(frame, planes);
       }},
      {"planes to packed",
       [](const YuvPlanes& picture) {
         std::vector<uint8_t> pixels;
         ConvertYuvToPacked(picture, PixelOrder::kRgba, pixels);
       }},
      {"deblocking",
       [](const YuvPlanes& picture) {
         YuvPlanes filtered = picture;
         DeblockPlane(filtered.y.data(), picture.width, picture.height, 20.0F);
       }},
      {"phase planes",
       [](const YuvPlanes& picture) {
         const PhasePlanes phases(picture.y.data(), picture.width, picture.height, false);
       }},
      {"motion search",
       [](const YuvPlanes& picture) {
         SearchMotion(picture.y.data(), picture.y.data(), picture.width, picture.height, {});
       }},
      {"compensation",
       [](const YuvPlanes& picture) {
         const MacroblockGrid grid(picture.width, picture.height);
         YuvPlanes prediction = picture;
         CompensateMotion(picture, grid, std::vector<MacroblockMotion>(grid.Count()), prediction);
       }},
      {"compensation both ways",
       [](const YuvPlanes& picture) {
         const MacroblockGrid grid(picture.width, picture.height);
         YuvPlanes prediction = picture;
         CompensateBidirectional(picture, picture, grid, BidirectionalField(grid.Count()),
                                 prediction);
       }},
      {"residuals",
       [](const YuvPlanes& picture) {
         const InterTables tables(45);
         YuvPlanes prediction = picture;
         ResidualPlanes residuals(tables, prediction);
         residuals.Code(picture, MakeLevelSelection(tables.luma, true), true);
       }},
  };
  return loops;
}

TEST(ParallelUse, LargePicturesUseWorkers) {
  const YuvPlanes picture = test::RandomPicture(256, 128, 1);
  for (const auto& [name, loop] : Loops()) {
    EXPECT_EQ(test::StartedThreads([&loop = loop, &picture] { loop(picture); }), 2U) << name;
  }
}

TEST(ParallelUse, SmallPicturesUseNoWorkers) {
  const YuvPlanes picture = test::RandomPicture(248, 128, 1);
  for (const auto& [name, loop] : Loops()) {
    EXPECT_EQ(test::StartedThreads([&loop = loop, &picture] { loop(picture); }), 0U) << name;
  }
}

}  // namespace
}  // namespace qolm::video
