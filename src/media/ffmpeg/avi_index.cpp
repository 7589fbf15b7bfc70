// SPDX-License-Identifier: MIT
#include "media/ffmpeg/avi_index.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/byte_order.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr uint64_t kLargestIndex = 16 << 20;
constexpr size_t kHead = 8;    // bytes: name and size
constexpr size_t kEntry = 16;  // name, flags, position and size
constexpr size_t kSizeInEntry = 12;

uint32_t LittleEndian32(const char* bytes) {
  return LoadLe32(reinterpret_cast<const uint8_t*>(bytes));
}

// The entries of an index at the end of the file. The demuxer discards one with wrong
// positions, as when bytes before it were removed.
int64_t EntriesAtEnd(const std::filesystem::path& path, int stream) {
  std::error_code error;
  const uint64_t length = std::filesystem::file_size(path, error);
  if (error || stream < 0 || stream > 99) return 0;
  std::vector<char> end(static_cast<size_t>(std::min(length, kLargestIndex)));
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(length - end.size()));
  if (!file.read(end.data(), static_cast<std::streamsize>(end.size()))) return 0;

  constexpr std::string_view kName = "idx1";
  const std::array<char, 2> number = {static_cast<char>('0' + stream / 10),
                                      static_cast<char>('0' + stream % 10)};
  for (auto found = end.begin();; ++found) {
    found = std::search(found, end.end(), kName.begin(), kName.end());
    const auto left = static_cast<size_t>(end.end() - found);
    if (left < kHead) return 0;
    const size_t size = LittleEndian32(&*found + kName.size());
    if (size != left - kHead || size % kEntry != 0) continue;
    int64_t entries = 0;
    for (size_t i = left - size; i < left; i += kEntry) {
      const char* const entry = &*found + i;
      // Entries without bytes only repeat the picture before.
      entries += std::equal(number.begin(), number.end(), entry) && entry[2] == 'd' &&
                         LittleEndian32(entry + kSizeInEntry) > 0
                     ? 1
                     : 0;
    }
    return entries;
  }
}

}  // namespace

int64_t IndexedPackets(const std::filesystem::path& path, const AVStream& stream) {
  const int64_t entries = avformat_index_get_entries_count(&stream);
  return std::max(entries, EntriesAtEnd(path, stream.id));
}

}  // namespace qolm::media::ffmpeg
