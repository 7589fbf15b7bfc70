// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vector>

#include "video/payload/mode_packing.h"
#include "video/payload/payload_streams.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ModePacking, FourModesPerByteFromLowestBits) {
  EXPECT_EQ(PackModes(Bytes{}), Bytes{});
  EXPECT_EQ(PackModes(Bytes{3}), Bytes{0x03});
  EXPECT_EQ(PackModes(Bytes{1, 2, 3}), Bytes{0x39});
  EXPECT_EQ(PackModes(Bytes{0, 1, 2, 3}), Bytes{0xE4});
  EXPECT_EQ(PackModes(Bytes{0, 1, 2, 3, 2}), (Bytes{0xE4, 0x02}));
}

TEST(ModePacking, RoundTripsEveryCount) {
  for (size_t count = 0; count < 40; ++count) {
    Bytes modes = test::RandomBytes(count, 8);
    for (uint8_t& mode : modes) mode = mode % 4;
    const Bytes packed = PackModes(modes);
    EXPECT_EQ(packed.size(), (count + 3) / 4);
    EXPECT_EQ(UnpackModes(packed, count), modes);
  }
}

TEST(ModePacking, PaddingBitsAreIgnored) { EXPECT_EQ(UnpackModes(Bytes{0xFD}, 1), Bytes{1}); }

TEST(PayloadStreams, SizesPrecedeStreams) {
  Bytes payload = {0xAA};
  AppendStreams(std::array<Bytes, 3>{Bytes{1, 2}, Bytes{}, Bytes{3}}, payload);
  EXPECT_EQ(payload, (Bytes{0xAA, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 2, 3}));

  std::array<std::span<const uint8_t>, 3> streams;
  ASSERT_TRUE(SplitStreams(payload, 1, streams));
  EXPECT_EQ(Bytes(streams[0].begin(), streams[0].end()), (Bytes{1, 2}));
  EXPECT_TRUE(streams[1].empty());
  EXPECT_EQ(Bytes(streams[2].begin(), streams[2].end()), Bytes{3});
}

TEST(PayloadStreams, TotalSizeMustMatch) {
  Bytes payload = {0xAA};
  AppendStreams(std::array<Bytes, 2>{Bytes{1, 2}, Bytes{3}}, payload);
  std::array<std::span<const uint8_t>, 2> streams;
  ASSERT_TRUE(SplitStreams(payload, 1, streams));
  for (size_t size = 0; size < payload.size(); ++size) {
    EXPECT_FALSE(SplitStreams(std::span<const uint8_t>(payload).first(size), 1, streams)) << size;
  }
  Bytes longer = payload;
  longer.push_back(0);
  EXPECT_FALSE(SplitStreams(longer, 1, streams));
  // Sizes whose 32-bit sum wraps to the right one.
  Bytes wrapping = payload;
  StoreLe32(wrapping.data() + 1, 0xFFFFFFFFU);
  StoreLe32(wrapping.data() + 5, 4);
  EXPECT_FALSE(SplitStreams(wrapping, 1, streams));
  StoreLe32(wrapping.data() + 1, 2);
  StoreLe32(wrapping.data() + 5, 0xFFFFFFFFU);
  EXPECT_FALSE(SplitStreams(wrapping, 1, streams));
}

}  // namespace
}  // namespace qolm::video
