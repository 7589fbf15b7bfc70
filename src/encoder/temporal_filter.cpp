#include "encoder/temporal_filter.h"

#include <algorithm>
#include <cstddef>

#include "base/team.h"

namespace qolm::encoder {
namespace {

// Samples that a member of the team takes at a time.
constexpr size_t kPieceSamples = 16384;

// Selections instead of branches: the loop then runs a vector at a time.
void FilterSamples(const uint8_t* now, const uint8_t* before, size_t count, uint8_t* out) {
  for (size_t i = 0; i < count; ++i) {
    const int c = now[i];
    const int p = before[i];
    const int difference = p - c;
    const int magnitude = difference < 0 ? -difference : difference;
    const int blended = (3 * c + p + 2) >> 2;
    const int quieted = magnitude <= 2 ? p : blended;
    out[i] = static_cast<uint8_t>(magnitude <= 4 ? quieted : c);
  }
}

}  // namespace

void FilterLuma(std::span<const uint8_t> current, std::span<const uint8_t> previous,
                std::span<uint8_t> filtered) {
  const size_t samples = filtered.size();
  const size_t pieces = (samples + kPieceSamples - 1) / kPieceSamples;
  ForEachInTeam(pieces, samples >= kSamplesWorthATeam, [&](size_t piece) {
    const size_t first = piece * kPieceSamples;
    FilterSamples(current.data() + first, previous.data() + first,
                  std::min(kPieceSamples, samples - first), filtered.data() + first);
  });
}

}  // namespace qolm::encoder
