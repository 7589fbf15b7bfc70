#include "base/team.h"

#include <algorithm>
#include <atomic>

#include "base/exception_trap.h"

namespace qolm {
namespace {

// Enough that no member waits long for the last piece of another, and few
// enough that taking one costs nothing beside short rows.
constexpr size_t kMostPieces = 128;

std::atomic<int> team_size{kTeamSize};

}  // namespace

void ForceTeamSize(int size) { team_size.store(std::max(size, 1), std::memory_order_relaxed); }

void ShareLoop(size_t count, LoopPiece piece, const void* work) {
  const size_t length = (count + kMostPieces - 1) / kMostPieces;
  const auto pieces = static_cast<ptrdiff_t>((count + length - 1) / length);
  ExceptionTrap trap;
#pragma omp parallel for num_threads(team_size.load(std::memory_order_relaxed)) schedule(dynamic, 1)
  for (ptrdiff_t i = 0; i < pieces; ++i) {
    const size_t first = static_cast<size_t>(i) * length;
    trap.Run([&] { piece(work, first, std::min(first + length, count)); });
  }
  trap.Rethrow();
}

}  // namespace qolm
