// SPDX-License-Identifier: MIT
#include "video/kernels/dct_basis.h"

#include <cmath>

namespace qolm::video {
namespace {

DctBasis BuildDctBasis() {
  DctBasis basis;
  for (int u = 0; u < 8; ++u) {
    const float scale = u == 0 ? 0.35355339F : 0.5F;
    for (int x = 0; x < 8; ++x) {
      // pi / 8 and pi / 16, each step rounded to single precision; the cosine
      // itself in double, so that it does not depend on a library's cosf.
      const float product = static_cast<float>(x) * 0.3926991F;
      const float angle = (product + 0.19634955F) * static_cast<float>(u);
      const float cosine = static_cast<float>(std::cos(static_cast<double>(angle)));
      basis.rows[u][x] = cosine * scale;
      basis.columns[x][u] = basis.rows[u][x];
    }
  }
  return basis;
}

}  // namespace

const DctBasis& GetDctBasis() {
  static const DctBasis basis = BuildDctBasis();
  return basis;
}

}  // namespace qolm::video
