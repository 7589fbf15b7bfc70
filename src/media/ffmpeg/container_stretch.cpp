// SPDX-License-Identifier: MIT
#include "media/ffmpeg/container_stretch.h"

extern "C" {
#include <libavutil/crc.h>
}

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/byte_order.h"
#include "media/ffmpeg/matroska_segment.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr size_t kPositions = 4;
// In a NUT file headers and other data between packets take less, and not much more than
// between earlier ones. Positions go back only when the demuxer resynchronises.
constexpr int64_t kLargeGap = 256;
constexpr int64_t kFarLarger = 4;

template <size_t kBytes>
std::optional<std::array<uint8_t, kBytes>> ReadAt(std::istream& file, int64_t position) {
  std::array<uint8_t, kBytes> bytes;
  file.clear();
  file.seekg(position);
  file.read(reinterpret_cast<char*>(bytes.data()), bytes.size());
  if (!file) return std::nullopt;
  return bytes;
}

uint32_t BigEndian32(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | static_cast<uint32_t>(bytes[3]);
}

// Each tag states its size, which is repeated behind it.
bool FlvTagsLead(std::istream& file, int64_t from, int64_t to, bool each_gives_a_packet) {
  constexpr int64_t kHead = 11;
  constexpr int64_t kSizeBehind = 4;
  constexpr std::array<int, 3> kTypes = {8, 9, 18};  // audio, video, script
  for (int64_t tag = from; tag <= to;) {
    if (tag == to) return true;
    const auto head = ReadAt<4>(file, tag);
    if (!head) return false;
    const int type = (*head)[0] & 0x1F;
    if (std::find(kTypes.begin(), kTypes.end(), type) == kTypes.end()) return false;
    if (each_gives_a_packet && type == kTypes.front() && tag != from) return false;
    tag += kHead + kSizeBehind + ((*head)[1] << 16 | (*head)[2] << 8 | (*head)[3]);
  }
  return false;
}

// Pages are contiguous, numbered within their stream, and have a checksum; the demuxer
// skips pages whose checksum is wrong.
bool OggPagesLead(std::istream& file, int64_t from, int64_t to) {
  constexpr size_t kHead = 27;
  constexpr std::ptrdiff_t kChecksumOffset = 22;
  std::map<uint32_t, uint32_t> numbers;
  std::vector<uint8_t> page;
  while (from <= to) {
    const auto head = ReadAt<kHead>(file, from);
    if (!head || std::memcmp(head->data(), "OggS", 4) != 0) return false;
    std::array<uint8_t, 255> sizes;
    const size_t segments = head->back();
    file.read(reinterpret_cast<char*>(sizes.data()), static_cast<std::streamsize>(segments));
    size_t length = kHead + segments;
    for (size_t i = 0; i < segments; ++i) length += sizes[i];
    const uint32_t number = LoadLe32(&(*head)[18]);
    const auto [before, is_first] = numbers.try_emplace(LoadLe32(&(*head)[14]), number);
    if (!is_first && number != ++before->second) return false;

    page.resize(length);
    file.clear();
    file.seekg(from);
    if (!file.read(reinterpret_cast<char*>(page.data()), static_cast<std::streamsize>(length))) {
      return false;
    }
    std::fill_n(page.begin() + kChecksumOffset, 4, uint8_t{0});
    const uint32_t sum = av_crc(av_crc_get_table(AV_CRC_32_IEEE), 0, page.data(), page.size());
    if (sum != BigEndian32(&(*head)[kChecksumOffset])) return false;
    if (from == to) return true;
    from += static_cast<int64_t>(length);
  }
  return false;
}

// Packets have one size. If the first begins with error correction data, all do; without
// it they cannot be told from damage.
bool AsfPacketsLead(std::istream& file, int64_t from, int64_t to, int64_t size) {
  constexpr std::array<uint8_t, 3> kCorrection = {0x82, 0, 0};
  if (size <= 0 || ReadAt<3>(file, from) != kCorrection) return true;
  for (; from <= to; from += size) {
    if (ReadAt<3>(file, from) != kCorrection) return false;
    if (from == to) return true;
  }
  return false;
}

}  // namespace

ContainerStretch::ContainerStretch(std::filesystem::path path, const AVFormatContext& format,
                                   const AVStream& stream)
    : path_(std::move(path)), format_(format), stream_(stream) {
  static const std::map<std::string_view, Kind> kKinds = {
      {"flv", Kind::kFlv}, {"live_flv", Kind::kFlv}, {"matroska,webm", Kind::kMatroska},
      {"ogg", Kind::kOgg}, {"asf", Kind::kAsf},      {"mov,mp4,m4a,3gp,3g2,mj2", Kind::kMp4},
      {"nut", Kind::kNut}};
  const auto kind = kKinds.find(format.iformat->name);
  if (kind != kKinds.end()) kind_ = kind->second;
  const AVCodecID codec = stream.codecpar->codec_id;
  is_mpeg_audio_ = codec == AV_CODEC_ID_MP3 || codec == AV_CODEC_ID_MP2;
}

void ContainerStretch::Note(const AVPacket& packet) {
  if (packet.pos < 0) return;
  NoteGap(packet);
  if (packet.stream_index != stream_.index) return;
  if (!positions_.empty() && packet.pos == positions_.back()) return;
  if (positions_.size() == kPositions) positions_.pop_front();
  positions_.push_back(packet.pos);
}

void ContainerStretch::NoteGap(const AVPacket& packet) {
  const int64_t gap = end_ < 0 ? 0 : packet.pos - end_;
  end_ = packet.pos + packet.size;
  if (gap > std::max(kLargeGap, largest_gap_ * kFarLarger) || gap < -kLargeGap) {
    broken_at_ = packet.pos;
  } else {
    largest_gap_ = std::max(largest_gap_, gap);
  }
}

bool ContainerStretch::IsBroken() {
  for (size_t i = 1; i < positions_.size(); ++i) {
    if (IsBrokenBetween(positions_[i - 1], positions_[i])) return true;
  }
  return false;
}

bool ContainerStretch::IsBrokenBetween(int64_t from, int64_t to) {
  if (from >= to) return false;
  if (kind_ == Kind::kOther) return false;
  if (kind_ == Kind::kNut) return from < broken_at_ && broken_at_ <= to;
  if (kind_ == Kind::kMp4) return is_mpeg_audio_ && HasIndexEntryBetween(from, to);
  if (!file_.is_open()) file_.open(path_, std::ios::binary);
  if (!file_.is_open()) return false;
  switch (kind_) {
    case Kind::kFlv:
      return !FlvTagsLead(file_, from, to, is_mpeg_audio_);
    case Kind::kMatroska:
      return !MatroskaBlocksLead(file_, from, to, is_mpeg_audio_);
    case Kind::kOgg:
      return !OggPagesLead(file_, from, to);
    case Kind::kAsf:
      return !AsfPacketsLead(file_, from, to, format_.packet_size);
    default:
      return false;
  }
}

bool ContainerStretch::HasIndexEntryBetween(int64_t from, int64_t to) {
  auto* const stream = const_cast<AVStream*>(&stream_);
  const auto position_of = [stream](int i) {
    const AVIndexEntry* const entry = avformat_index_get_entry(stream, i);
    return entry != nullptr ? entry->pos : std::numeric_limits<int64_t>::max();
  };
  while (position_of(index_entry_) <= positions_.front()) ++index_entry_;
  int i = index_entry_;
  while (position_of(i) <= from) ++i;
  return position_of(i) < to;
}

}  // namespace qolm::media::ffmpeg
