// SPDX-License-Identifier: MIT
#include "container/container_reader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/byte_order.h"
#include "base/picture_limits.h"

namespace qolm::container {

bool ContainerReader::open(const std::filesystem::path& path, UnfinishedFiles unfinished) {
  reset();
  if (!file_.open(path)) return fail({});
  if (!read_header()) return false;
  read_audio_block();
  load_index(unfinished);
  list_keyframes();
  completion_ = judge_completion();
  is_open_ = true;
  return true;
}

void ContainerReader::reset() {
  file_.close();
  is_open_ = false;
  completion_ = Completion::kFinished;
  failure_reason_.clear();
  system_error_.clear();
  header_ = FileHeader{};
  head_end_ = 0;
  overlap_allowance_ = 0;
  first_refused_overlap_ = 0;
  index_was_stored_ = false;
  frames_listed_ = false;
  // Swapped, not cleared, to release the memory.
  std::vector<uint8_t>().swap(audio_block_);
  std::vector<uint64_t>().swap(index_);
  std::vector<KeyFrameEntry>().swap(keyframes_);
}

bool ContainerReader::read_record_header(uint64_t offset, RecordHeader& header) const {
  RecordHeaderBytes bytes;
  if (!file_.read_at(offset, bytes)) return false;
  header = DecodeRecordHeader(bytes);
  return true;
}

bool ContainerReader::read_payload(uint64_t offset, const RecordHeader& header,
                                   std::vector<uint8_t>& payload) const {
  payload.clear();
  const uint64_t size = file_.size();
  if (offset > size || size - offset < kRecordHeaderBytes) return false;
  if (header.size > kMaxPayloadBytes) return false;
  if (header.size > size - offset - kRecordHeaderBytes) return false;
  if (offset >= first_refused_overlap_ && overlaps_next(offset, header.size)) return false;
  payload.resize(header.size);
  if (file_.read_at(offset + kRecordHeaderBytes, payload)) return true;
  payload.clear();
  return false;
}

bool ContainerReader::read_header() {
  FileHeaderBytes bytes;
  if (!file_.read_at(0, bytes)) {
    if (file_.error()) return fail({});
    return fail("the file is too short to hold a header");
  }
  const FileHeader header = DecodeFileHeader(bytes);
  if (header.magic != kMagic) return fail("the file does not begin with \"QLM2\"");
  if (header.version != kVersion) {
    return fail("the file's version is " + std::to_string(header.version) + ", not 2");
  }
  if (header.width == 0 || header.width > kMaxPictureSide || header.height == 0 ||
      header.height > kMaxPictureSide) {
    return fail("the picture size " + std::to_string(header.width) + " x " +
                std::to_string(header.height) + " is outside 1..16384");
  }
  header_ = header;
  return true;
}

// Damaged audio must not cost the pictures, so nothing here fails.
void ContainerReader::read_audio_block() {
  head_end_ = kFileHeaderBytes;
  RecordHeader record;
  if (!read_record_header(head_end_, record)) return;
  if (record.type != RecordType::kAudioBlock) return;

  const uint64_t payload_position = head_end_ + kRecordHeaderBytes;
  if (record.size == 0 || record.size > file_.size() - payload_position) return;
  if (!read_payload(head_end_, record, audio_block_)) audio_block_.clear();
  head_end_ = payload_position + record.size;
}

void ContainerReader::load_index(UnfinishedFiles unfinished) {
  index_was_stored_ = load_front_index() || load_trailing_index();
  if (index_was_stored_ || load_by_scan(head_end_)) return;
  // A finished fast-start file may lose its end, or have its index damaged or
  // outgrown by more than a million records; the scan then stops at the index
  // record right after the head. The records behind it are complete.
  const std::optional<ReservedIndex> reserved = find_reserved_index();
  if (!reserved) return;
  if (reserved->filled || unfinished == UnfinishedFiles::kYieldRecords) load_by_scan(reserved->end);
}

// A source without frames and a terminated writer both leave a frame count of 0, but only
// the first leaves a matching index.
Completion ContainerReader::judge_completion() const {
  if (header_.frame_count != 0) return Completion::kFinished;
  if (index_was_stored_) {
    return frames_listed_ ? Completion::kNeverFinished : Completion::kFinished;
  }
  if (!index_.empty()) return Completion::kNeverFinished;
  if (const std::optional<ReservedIndex> reserved = find_reserved_index()) {
    const bool holds_nothing = !reserved->filled && reserved->end == file_.size();
    return holds_nothing ? Completion::kUnknown : Completion::kNeverFinished;
  }
  // A trailing index without entries is only its count.
  std::array<uint8_t, kIndexCountBytes> count_bytes;
  const bool ends_in_count = file_.size() == head_end_ + kIndexCountBytes &&
                             file_.read_at(head_end_, count_bytes) &&
                             LoadLe32(count_bytes.data()) == 0;
  return ends_in_count ? Completion::kFinished : Completion::kNeverFinished;
}

bool ContainerReader::load_front_index() {
  if ((header_.flags & kFlagFastStart) == 0) return false;
  RecordHeader record;
  if (!read_record_header(head_end_, record) || record.type != RecordType::kIndex) return false;

  const uint64_t payload_position = head_end_ + kRecordHeaderBytes;
  std::array<uint8_t, kIndexCountBytes> count_bytes;
  if (!file_.read_at(payload_position, count_bytes)) return false;
  const uint32_t count = LoadLe32(count_bytes.data());
  if (kIndexCountBytes + uint64_t{count} * kIndexEntryBytes > record.size) return false;
  return read_offsets(payload_position + kIndexCountBytes, count, payload_position + record.size,
                      file_.size());
}

bool ContainerReader::load_trailing_index() {
  const uint64_t end = file_.size();
  if (end < kIndexCountBytes + kIndexEntryBytes) return false;
  std::array<uint8_t, kIndexCountBytes> count_bytes;
  if (!file_.read_at(end - kIndexCountBytes, count_bytes)) return false;
  const uint32_t count = LoadLe32(count_bytes.data());
  const uint64_t index_bytes = kIndexCountBytes + uint64_t{count} * kIndexEntryBytes;
  if (index_bytes > end) return false;
  return read_offsets(end - index_bytes, count, head_end_, end - index_bytes);
}

bool ContainerReader::read_offsets(uint64_t position, uint32_t count, uint64_t media_begin,
                                   uint64_t media_end) {
  if (count == 0 || count > kMaxIndexEntries) return false;
  const uint64_t size = file_.size();
  if (position > size || uint64_t{count} * kIndexEntryBytes > size - position) return false;

  std::vector<uint8_t> bytes(count * kIndexEntryBytes);
  if (!file_.read_at(position, bytes)) return false;
  std::vector<uint64_t> offsets(count);
  uint64_t earliest = media_begin;
  for (size_t i = 0; i < count; ++i) {
    const uint64_t offset = LoadLe64(&bytes[i * kIndexEntryBytes]);
    if (offset < earliest || offset > media_end || media_end - offset < kRecordHeaderBytes) {
      return false;
    }
    offsets[i] = offset;
    earliest = offset + 1;
  }
  index_ = std::move(offsets);
  return true;
}

template <typename Work>
void ContainerReader::scan(uint64_t first_record, const Work& work) const {
  const uint64_t size = file_.size();
  RecordHeaderWalk walk(file_);
  RecordHeader record;
  uint64_t position = first_record;
  // A file of more records than an index may hold has no other route, so the
  // limit is higher here. It keeps a sparse file of zeros, which occupies no disk
  // space, from using all memory.
  for (uint32_t records = 0; records < kMaxScannedRecords && walk.read(position, record);
       ++records) {
    if (record.type == RecordType::kIndex || record.size > kMaxPayloadBytes) break;
    if (record.size > size - position - kRecordHeaderBytes) break;
    work(position);
    position += kRecordHeaderBytes + record.size;
  }
}

bool ContainerReader::load_by_scan(uint64_t first_record) {
  // Counted first: a list that grows with the scan would need up to three times the
  // memory of its entries, which are as large as the smallest records.
  size_t records = 0;
  scan(first_record, [&records](uint64_t) { ++records; });
  index_.reserve(records);
  scan(first_record, [&](uint64_t position) {
    // The file may have grown between the two walks.
    if (index_.size() < records) index_.push_back(position);
  });
  return !index_.empty();
}

std::optional<ContainerReader::ReservedIndex> ContainerReader::find_reserved_index() const {
  RecordHeader record;
  if (!read_record_header(head_end_, record) || record.type != RecordType::kIndex) return {};
  const uint64_t payload_position = head_end_ + kRecordHeaderBytes;
  std::array<uint8_t, kIndexCountBytes> count_bytes;
  if (!file_.read_at(payload_position, count_bytes)) return {};
  const bool filled = (header_.flags & kFlagFastStart) == 0 || LoadLe32(count_bytes.data()) != 0;
  return ReservedIndex{payload_position + record.size, filled};
}

void ContainerReader::list_keyframes() {
  RecordHeaderWalk walk(file_);
  RecordHeader record;
  uint32_t frame_number = 0;
  overlap_allowance_ = file_.size();
  first_refused_overlap_ = std::numeric_limits<uint64_t>::max();
  for (size_t i = 0; i < index_.size(); ++i) {
    if (!walk.read(index_[i], record)) {
      first_refused_overlap_ = std::min(first_refused_overlap_, index_[i]);
      break;
    }
    note_extent(i, record);
    if (record.type == RecordType::kKeyFrame && keyframes_.size() < kMaxListedKeyFrames) {
      keyframes_.push_back({frame_number, static_cast<uint32_t>(i)});
    }
    frame_number += frames_in_record(record);
    frames_listed_ = frames_listed_ || frames_in_record(record) != 0;
  }
  if (keyframes_.empty()) keyframes_.push_back({0, 0});
}

void ContainerReader::note_extent(size_t entry, const RecordHeader& record) {
  const uint64_t offset = index_[entry];
  if (entry + 1 == index_.size() || offset >= first_refused_overlap_) return;
  if (record.size > kMaxPayloadBytes) return;  // payloads of this size are refused
  if (index_[entry + 1] - offset >= kRecordHeaderBytes + uint64_t{record.size}) return;
  if (record.size > overlap_allowance_) {
    first_refused_overlap_ = offset;
  } else {
    overlap_allowance_ -= record.size;
  }
}

bool ContainerReader::overlaps_next(uint64_t offset, uint32_t payload_bytes) const {
  const auto next = std::upper_bound(index_.begin(), index_.end(), offset);
  return next != index_.end() && *next - offset < kRecordHeaderBytes + uint64_t{payload_bytes};
}

bool ContainerReader::fail(std::string reason) {
  const std::error_code system_error = file_.error();
  reset();
  system_error_ = system_error;
  failure_reason_ = system_error ? system_error.message() : std::move(reason);
  return false;
}

}  // namespace qolm::container
