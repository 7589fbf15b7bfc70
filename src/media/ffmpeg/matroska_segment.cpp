#include "media/ffmpeg/matroska_segment.h"

#include <bit>
#include <cstdint>
#include <fstream>
#include <optional>
#include <system_error>

namespace qolm::media::ffmpeg {
namespace {

constexpr uint32_t kHeaderId = 0x1A45DFA3;
constexpr uint32_t kSegmentId = 0x18538067;
constexpr uint64_t kLongestHeader = 1 << 20;

bool TakeId(std::istream& file, uint32_t id) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (file.get() != static_cast<int>(id >> shift & 0xFF)) return false;
  }
  return true;
}

// The zero bits in front tell how many bytes follow the first. All ones: unknown.
std::optional<uint64_t> TakeSize(std::istream& file) {
  const int first = file.get();
  if (first <= 0 || first > 0xFF) return std::nullopt;
  const int more = std::countl_zero(static_cast<uint8_t>(first));
  uint64_t size = static_cast<uint64_t>(first) & (0x7FU >> more);
  for (int i = 0; i < more; ++i) {
    const int next = file.get();
    if (next < 0) return std::nullopt;
    size = size << 8 | static_cast<uint64_t>(next);
  }
  const uint64_t unknown = (uint64_t{1} << (7 * (more + 1))) - 1;
  return size == unknown ? std::nullopt : std::optional(size);
}

}  // namespace

bool HoldsWholeMatroskaSegment(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!TakeId(file, kHeaderId)) return false;
  const auto header = TakeSize(file);
  if (!header || *header > kLongestHeader) return false;
  file.seekg(static_cast<std::streamoff>(*header), std::ios::cur);
  if (!TakeId(file, kSegmentId)) return false;
  const auto segment = TakeSize(file);
  const std::streamoff begin = file.tellg();
  std::error_code error;
  const uint64_t length = std::filesystem::file_size(path, error);
  if (!segment || begin < 0 || error) return false;
  return length >= static_cast<uint64_t>(begin) &&
         *segment <= length - static_cast<uint64_t>(begin);
}

}  // namespace qolm::media::ffmpeg
