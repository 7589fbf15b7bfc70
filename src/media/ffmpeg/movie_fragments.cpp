// SPDX-License-Identifier: MIT
#include "media/ffmpeg/movie_fragments.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace qolm::media::ffmpeg {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kHead = 8;       // bytes: size and name
constexpr size_t kLongHead = 16;  // with a size of 64 bits
constexpr uint64_t kLargestTable = 16 << 20;
constexpr int kMostSearches = 64;
constexpr uint64_t kFarthestSearch = 64 << 20;
constexpr uint64_t kLatestTime = uint64_t{1} << 62;
// The name that begins a fragment, behind its size.
constexpr std::string_view kFragmentBegins("moof\0\0\0\x10mfhd", 12);

// The optional fields of these boxes, by their flag bits.
constexpr uint32_t kBaseOffset = 0x1;
constexpr uint32_t kDescription = 0x2;
constexpr uint32_t kDefaultDuration = 0x8;
constexpr uint32_t kDataOffset = 0x1;
constexpr uint32_t kFirstFlags = 0x4;
constexpr uint32_t kDuration = 0x100;
constexpr uint32_t kSampleFields = 0xF00;  // each of four bytes

// Reads big-endian numbers in sequence; zeros beyond the end.
class Fields {
 public:
  explicit Fields(Bytes bytes) : bytes_(bytes) {}

  uint64_t Take(size_t count) {
    complete_ = complete_ && count <= bytes_.size();
    if (!complete_) return 0;
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 8 | bytes_[i];
    bytes_ = bytes_.subspan(count);
    return value;
  }
  uint32_t Take32() { return static_cast<uint32_t>(Take(4)); }
  void Skip(size_t count) { Take(count); }
  size_t left() const { return bytes_.size(); }
  bool complete() const { return complete_; }

 private:
  Bytes bytes_;
  bool complete_ = true;
};

constexpr uint32_t Name(std::string_view text) {
  uint32_t name = 0;
  for (const char letter : text) name = name << 8 | static_cast<uint8_t>(letter);
  return name;
}

struct Box {
  uint32_t name = 0;
  uint64_t size = 0;  // with its head
  size_t head = kHead;
};

// Nothing when the bytes, the first of `available` in total, do not begin with the header
// of a box that fits there.
std::optional<Box> BoxAt(Bytes bytes, uint64_t available) {
  Fields fields(bytes);
  Box box;
  box.size = fields.Take32();
  box.name = fields.Take32();
  if (box.size == 1) {
    box.size = fields.Take(8);
    box.head = kLongHead;
  } else if (box.size == 0 && box.name != 0) {
    box.size = available;
  }
  if (!fields.complete() || box.size < box.head || box.size > available) return std::nullopt;
  return box;
}

// Calls `visit` with the name and the content of each box. If the bytes are `cut` off,
// the last box is visited too, with the rest of its content.
template <typename Visit>
void ForEachBox(Bytes bytes, bool cut, const Visit& visit) {
  const uint64_t available = cut ? std::numeric_limits<uint64_t>::max() : bytes.size();
  while (const auto box = BoxAt(bytes, std::max<uint64_t>(available, bytes.size()))) {
    const auto size = static_cast<size_t>(std::min<uint64_t>(box->size, bytes.size()));
    visit(box->name, bytes.subspan(box->head, size - box->head));
    bytes = bytes.subspan(size);
  }
}

class Examiner {
 public:
  Examiner(const std::filesystem::path& path, uint32_t track)
      : file_(path, std::ios::binary), track_(track) {
    std::error_code error;
    length_ = std::filesystem::file_size(path, error);
    if (error) length_ = 0;
  }

  MovieFragments Examine() {
    std::optional<uint64_t> position = 0;
    while (position && *position < length_) {
      const std::vector<uint8_t> head = Read(*position, kLongHead);
      const auto box = BoxAt(head, length_ - *position);
      if (!box) {
        const std::optional<uint64_t> next = NextFragment(*position);
        if (!next) ReadCutBox(*position);
        position = next;
        continue;
      }
      if (box->name == Name("moov") || box->name == Name("moof")) {
        const std::vector<uint8_t> bytes = Read(*position, std::min(box->size, kLargestTable));
        const Bytes content = Bytes(bytes).subspan(std::min(bytes.size(), box->head));
        box->name == Name("moov") ? ReadMovie(content) : ReadFragment(content);
      }
      latest_box_ = box->name;
      position = *position + box->size;
    }
    return found_;
  }

 private:
  std::vector<uint8_t> Read(uint64_t position, uint64_t count) {
    std::vector<uint8_t> bytes(static_cast<size_t>(std::min(count, length_ - position)));
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(position));
    file_.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(file_.gcount()));
    return bytes;
  }

  // The first one behind `position`. Stops where hostile bytes would make the searches
  // longer than the file.
  std::optional<uint64_t> NextFragment(uint64_t position) {
    if (++searches_ > kMostSearches) return std::nullopt;
    constexpr size_t kPiece = 1 << 20;
    constexpr size_t kNameOffset = kHead / 2;
    constexpr size_t kOverlap = kNameOffset + kFragmentBegins.size();
    const uint64_t end = std::min(length_, position + kFarthestSearch);
    for (++position; position < end; position += kPiece) {
      const std::vector<uint8_t> piece = Read(position, kPiece + kOverlap);
      const size_t overlap = std::min(piece.size(), kNameOffset);
      auto found = piece.begin() + static_cast<std::ptrdiff_t>(overlap);
      while (true) {
        found = std::search(found, piece.end(), kFragmentBegins.begin(), kFragmentBegins.end());
        if (found == piece.end()) break;
        const auto begin = static_cast<size_t>(found - piece.begin()) - kNameOffset;
        const uint64_t fragment = position + begin;
        if (BoxAt(Bytes(piece).subspan(begin), length_ - fragment)) return fragment;
        ++found;
      }
    }
    return std::nullopt;
  }

  // The truncated box at the end of the file: a fragment is lost, whose number of samples it
  // may still state. Otherwise that of the fragment before is assumed.
  void ReadCutBox(uint64_t position) {
    const std::vector<uint8_t> bytes = Read(position, std::min(length_ - position, kLargestTable));
    const bool is_padding =
        std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; });
    // A fragment's samples, already counted, follow its header.
    bool lost = bytes.size() < kHead && !is_padding && latest_box_ != Name("moof");
    if (const auto box = BoxAt(bytes, std::numeric_limits<uint64_t>::max())) {
      constexpr std::array<uint32_t, 5> kBegins = {Name("moof"), Name("styp"), Name("sidx"),
                                                   Name("emsg"), Name("prft")};
      lost = std::find(kBegins.begin(), kBegins.end(), box->name) != kBegins.end();
      if (box->name == Name("moof")) {
        const int64_t before = found_.samples;
        const int64_t guess = samples_of_fragment_;
        cut_ = true;
        ReadFragment(Bytes(bytes).subspan(std::min(bytes.size(), box->head)));
        lost = found_.samples == before;
        samples_of_fragment_ = guess;
      }
    }
    if (lost) found_.samples += samples_of_fragment_;
  }

  void ReadMovie(Bytes movie) {
    ForEachBox(movie, false, [this](uint32_t name, Bytes content) {
      if (name != Name("mvex")) return;
      ForEachBox(content, false, [this](uint32_t defaults, Bytes fields_of) {
        Fields fields(fields_of);
        fields.Skip(4);
        if (defaults != Name("trex") || fields.Take32() != track_) return;
        fields.Skip(4);
        default_duration_ = fields.Take32();
      });
    });
  }

  void ReadFragment(Bytes fragment) {
    const int64_t before = found_.samples;
    ForEachBox(fragment, cut_, [this](uint32_t name, Bytes content) {
      if (name == Name("traf")) ReadTrackFragment(content);
    });
    if (found_.samples > before) samples_of_fragment_ = found_.samples - before;
  }

  void ReadTrackFragment(Bytes fragment) {
    bool of_track = false;
    uint32_t default_duration = default_duration_;
    bool timed = false;
    uint64_t time = 0;
    ForEachBox(fragment, cut_, [&](uint32_t name, Bytes content) {
      Fields fields(content);
      const uint32_t version_and_flags = fields.Take32();
      if (name == Name("tfhd")) {
        of_track = fields.Take32() == track_;
        if ((version_and_flags & kBaseOffset) != 0) fields.Skip(8);
        if ((version_and_flags & kDescription) != 0) fields.Skip(4);
        if ((version_and_flags & kDefaultDuration) != 0) default_duration = fields.Take32();
      } else if (name == Name("tfdt") && of_track) {
        time = fields.Take(version_and_flags >> 24 == 0 ? 4 : 8);
        timed = fields.complete() && time <= kLatestTime;
        if (timed) found_.start = std::min(found_.start.value_or(time), time);
      } else if (name == Name("trun") && of_track) {
        const uint64_t duration = ReadRun(fields, version_and_flags, default_duration);
        if (!timed) return;
        time = std::min(time + duration, kLatestTime);
        found_.end = std::max(found_.end.value_or(time), time);
      }
    });
  }

  // Its duration.
  uint64_t ReadRun(Fields& fields, uint32_t flags, uint32_t default_duration) {
    const uint64_t samples = fields.Take32();
    if ((flags & kDataOffset) != 0) fields.Skip(4);
    if ((flags & kFirstFlags) != 0) fields.Skip(4);
    size_t bytes_a_sample = 0;
    for (uint32_t bit = kDuration; (bit & kSampleFields) != 0; bit <<= 1) {
      bytes_a_sample += (flags & bit) != 0 ? 4 : 0;
    }
    // Every sample has bytes somewhere in the file.
    if (!fields.complete() || samples > length_) return 0;
    if (!cut_ && samples * bytes_a_sample > fields.left()) return 0;
    found_.samples += static_cast<int64_t>(samples);
    if ((flags & kDuration) == 0) return samples * default_duration;
    uint64_t duration = 0;
    for (uint64_t i = 0; i < samples; ++i) {
      duration += fields.Take32();
      fields.Skip(bytes_a_sample - 4);
    }
    return duration;
  }

  std::ifstream file_;
  uint32_t track_;
  uint64_t length_ = 0;
  uint32_t default_duration_ = 0;
  int searches_ = 0;
  int64_t samples_of_fragment_ = 0;  // of the latest that has any
  uint32_t latest_box_ = 0;
  bool cut_ = false;  // the bytes being read end with the file
  MovieFragments found_;
};

}  // namespace

MovieFragments ExamineMovieFragments(const std::filesystem::path& path, uint32_t track) {
  return Examiner(path, track).Examine();
}

}  // namespace qolm::media::ffmpeg
