#include "encoder/temporal_filter.h"

#include <cstddef>

#include "base/team.h"

namespace qolm::encoder {

void FilterLuma(std::span<const uint8_t> current, std::span<const uint8_t> previous,
                std::span<uint8_t> filtered) {
  const uint8_t* const now = current.data();
  const uint8_t* const before = previous.data();
  uint8_t* const out = filtered.data();
  const auto samples = static_cast<std::ptrdiff_t>(filtered.size());
  // Selections instead of branches: the loop then runs a vector at a time.
#pragma omp parallel for num_threads(kTeamSize) \
    schedule(static) if (current.size() >= kSamplesWorthATeam)
  for (std::ptrdiff_t i = 0; i < samples; ++i) {
    const int c = now[i];
    const int p = before[i];
    const int difference = p - c;
    const int magnitude = difference < 0 ? -difference : difference;
    const int blended = (3 * c + p + 2) >> 2;
    const int quieted = magnitude <= 2 ? p : blended;
    out[i] = static_cast<uint8_t>(magnitude <= 4 ? quieted : c);
  }
}

}  // namespace qolm::encoder
