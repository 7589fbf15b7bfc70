// SPDX-License-Identifier: MIT
#include "media/ffmpeg/matroska_segment.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <fstream>
#include <optional>
#include <system_error>

namespace qolm::media::ffmpeg {
namespace {

constexpr uint32_t kHeaderId = 0x1A45DFA3;
constexpr uint32_t kSegmentId = 0x18538067;
constexpr uint32_t kClusterId = 0x1F43B675;
constexpr uint64_t kLongestHeader = 1 << 20;

// The elements of a segment and its clusters. Unknown ones are rejected, since damaged bytes
// could be parsed as one.
constexpr std::array<uint32_t, 16> kKnownIds = {
    0x114D9B74,  // seek head
    0x1549A966,  // information
    0x1654AE6B,  // tracks
    kClusterId,
    0x1C53BB6B,  // cues
    0x1941A469,  // attachments
    0x1043A770,  // chapters
    0x1254C367,  // tags
    0xEC,        // void
    0xBF,        // checksum
    0xE7,        // of a cluster: timestamp
    0x5854,      // silent tracks
    0xA7,        // position
    0xAB,        // size of the cluster before
    0xA3,        // block
    0xA0,        // block group
};
constexpr uint32_t kEncryptedBlockId = 0xAF;
constexpr uint32_t kSimpleBlockId = 0xA3;
constexpr uint32_t kBlockGroupId = 0xA0;
constexpr uint32_t kBlockId = 0xA1;

// Of a block group, beside the block.
constexpr std::array<uint32_t, 9> kKnownInGroups = {
    0x9B,    // duration
    0xFB,    // reference
    0xFA,    // its priority
    0xFD,    // virtual reference
    0x75A1,  // additions
    0x75A2,  // padding that is discarded
    0xA4,    // codec state
    0x8E,    // slices
    0xA2,    // virtual block
};

template <size_t kCount>
bool Contains(const std::array<uint32_t, kCount>& ids, uint32_t id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

bool IsKnown(uint32_t id) { return id == kEncryptedBlockId || Contains(kKnownIds, id); }

struct Element {
  uint32_t id = 0;
  std::optional<uint64_t> size;  // nothing when it is not stated
};

// The number of leading zero bits is the number of bytes that follow the first.
std::optional<uint32_t> TakeId(std::istream& file) {
  const int first = file.get();
  if (first < 0x10) return std::nullopt;
  uint32_t id = static_cast<uint32_t>(first);
  for (int more = std::countl_zero(static_cast<uint8_t>(first)); more > 0; --more) {
    const int next = file.get();
    if (next < 0) return std::nullopt;
    id = id << 8 | static_cast<uint32_t>(next);
  }
  return id;
}

// As above, without the leading bits. All ones: not stated.
bool TakeSize(std::istream& file, std::optional<uint64_t>& stated) {
  const int first = file.get();
  if (first <= 0) return false;
  const int more = std::countl_zero(static_cast<uint8_t>(first));
  uint64_t size = static_cast<uint64_t>(first) & (0x7FU >> more);
  for (int i = 0; i < more; ++i) {
    const int next = file.get();
    if (next < 0) return false;
    size = size << 8 | static_cast<uint64_t>(next);
  }
  const uint64_t unknown = (uint64_t{1} << (7 * (more + 1))) - 1;
  stated = size == unknown ? std::nullopt : std::optional(size);
  return true;
}

std::optional<Element> TakeElement(std::istream& file) {
  Element element;
  const auto id = TakeId(file);
  if (!id || !TakeSize(file, element.size)) return std::nullopt;
  element.id = *id;
  return element;
}

uint64_t PositionIn(std::istream& file) {
  const std::streamoff position = file.tellg();
  return position < 0 ? 0 : static_cast<uint64_t>(position);
}

// From the position of `file` up to `end`. Clusters are entered, so that those of unknown
// size need no special case.
bool ElementsFill(std::istream& file, uint64_t end) {
  for (uint64_t position = PositionIn(file); position != end;) {
    const auto element = TakeElement(file);
    if (!element || !IsKnown(element->id)) return false;
    position = PositionIn(file);
    if (position > end) return false;
    if (element->id == kClusterId) continue;
    if (!element->size || *element->size > end - position) return false;
    position += *element->size;
    file.seekg(static_cast<std::streamoff>(position));
  }
  return true;
}

// As above, up to a block; `position` is where an element begins.
bool ElementsLead(std::istream& file, uint64_t position, uint64_t block, int avoided_track) {
  while (true) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(position));
    const auto element = TakeElement(file);
    if (!element) return false;
    const uint32_t id = element->id;
    position = PositionIn(file);
    if (position > block) return false;
    if (id == kClusterId || id == kBlockGroupId) continue;
    if (!IsKnown(id) && id != kBlockId && !Contains(kKnownInGroups, id)) return false;
    const bool is_block = id == kSimpleBlockId || id == kBlockId || id == kEncryptedBlockId;
    if (is_block && position == block) return true;
    if (is_block && avoided_track >= 0 && file.peek() == avoided_track) return false;
    if (!element->size || *element->size >= block - position) return false;
    position += *element->size;
  }
}

}  // namespace

bool IsWholeMatroskaSegment(const std::filesystem::path& path) {
  std::error_code error;
  const uint64_t length = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  if (error || !file) return false;
  const auto header = TakeElement(file);
  if (!header || header->id != kHeaderId) return false;
  if (header->size.value_or(kLongestHeader) >= kLongestHeader) return false;
  file.seekg(static_cast<std::streamoff>(*header->size), std::ios::cur);
  const auto segment = TakeElement(file);
  if (!segment || segment->id != kSegmentId) return false;

  const uint64_t begin = PositionIn(file);
  if (begin > length) return false;
  return segment->size && *segment->size <= length - begin &&
         ElementsFill(file, begin + *segment->size);
}

bool MatroskaBlocksLead(std::istream& file, int64_t from, int64_t to, bool each_gives_a_packet) {
  constexpr int kLongestSize = 8;
  if (from < 2 || to <= from) return false;
  const auto begin = static_cast<uint64_t>(from);
  file.clear();
  file.seekg(from);
  const int track = each_gives_a_packet ? file.peek() : -1;
  // The next element is behind the content of the first block, whose size precedes it in
  // one to eight bytes.
  for (int bytes = 1; bytes <= kLongestSize && from > bytes; ++bytes) {
    file.clear();
    file.seekg(from - bytes - 1);
    const auto element = TakeElement(file);
    if (!element || !element->size || PositionIn(file) != begin) continue;
    if (element->id != kSimpleBlockId && element->id != kBlockId &&
        element->id != kEncryptedBlockId) {
      continue;
    }
    if (*element->size >= static_cast<uint64_t>(to - from)) continue;
    if (ElementsLead(file, begin + *element->size, static_cast<uint64_t>(to), track)) return true;
  }
  return false;
}

}  // namespace qolm::media::ffmpeg
