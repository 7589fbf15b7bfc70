// SPDX-License-Identifier: MIT
#include "video/kernels/dct_basis.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

namespace qolm::video {
namespace {

// Computed independently, one float operation at a time, from the double-precision
// cosine.
constexpr uint32_t kBasisBits[8][8] = {
    {0x3EB504F3, 0x3EB504F3, 0x3EB504F3, 0x3EB504F3, 0x3EB504F3, 0x3EB504F3, 0x3EB504F3,
     0x3EB504F3},
    {0x3EFB14BE, 0x3ED4DB31, 0x3E8E39D9, 0x3DC7C5C4, 0xBDC7C5C2, 0xBE8E39DC, 0xBED4DB32,
     0xBEFB14BF},
    {0x3EEC835E, 0x3E43EF15, 0xBE43EF18, 0xBEEC835E, 0xBEEC835E, 0xBE43EF0B, 0x3E43EF1B,
     0x3EEC8362},
    {0x3ED4DB31, 0xBDC7C5C2, 0xBEFB14BF, 0xBE8E39DD, 0x3E8E39D7, 0x3EFB14BE, 0x3DC7C5B1,
     0xBED4DB34},
    {0x3EB504F3, 0xBEB504F3, 0xBEB504F1, 0x3EB504F1, 0x3EB504F3, 0xBEB504FB, 0xBEB504EF,
     0x3EB504FF},
    {0x3E8E39D9, 0xBEFB14BF, 0x3DC7C5C8, 0x3ED4DB32, 0xBED4DB34, 0xBDC7C57C, 0x3EFB14BF,
     0xBE8E39F2},
    {0x3E43EF15, 0xBEEC835E, 0x3EEC8362, 0xBE43EF07, 0xBE43EF23, 0x3EEC835B, 0xBEEC8362,
     0x3E43EF25},
    {0x3DC7C5BC, 0xBE8E39D6, 0x3ED4DB2D, 0xBEFB14C0, 0x3EFB14BE, 0xBED4DB3A, 0x3E8E39E9,
     0xBDC7C614},
};

TEST(DctBasis, BitsAreExact) {
  for (int u = 0; u < 8; ++u) {
    for (int x = 0; x < 8; ++x) {
      EXPECT_EQ(std::bit_cast<uint32_t>(GetDctBasis().rows[u][x]), kBasisBits[u][x])
          << "u " << u << " x " << x;
    }
  }
}

TEST(DctBasis, ColumnsAreTheTranspose) {
  for (int u = 0; u < 8; ++u) {
    for (int x = 0; x < 8; ++x) {
      EXPECT_EQ(GetDctBasis().columns[x][u], GetDctBasis().rows[u][x]);
    }
  }
}

TEST(DctBasis, IsOrthonormal) {
  for (int a = 0; a < 8; ++a) {
    for (int b = 0; b < 8; ++b) {
      double sum = 0.0;
      for (int x = 0; x < 8; ++x) {
        sum += static_cast<double>(GetDctBasis().rows[a][x]) *
               static_cast<double>(GetDctBasis().rows[b][x]);
      }
      EXPECT_NEAR(sum, a == b ? 1.0 : 0.0, 2e-6);
    }
  }
}

}  // namespace
}  // namespace qolm::video
