// SPDX-License-Identifier: MIT
#include "container/container_writer.h"

#include <array>

#include "base/byte_order.h"

namespace qolm::container {
namespace {

uint16_t WithFastStartFlag(uint16_t flags, bool fast_start) {
  return static_cast<uint16_t>(fast_start ? flags | kFlagFastStart : flags & ~kFlagFastStart);
}

}  // namespace

bool ContainerWriter::open_output(const std::filesystem::path& path) {
  bytes_written_ = 0;
  index_.clear();
  index_pos_ = 0;
  index_capacity_ = kMinIndexCapacity;
  return output_.open(path);
}

bool ContainerWriter::write_head(const FileHeader& header, const IndexPlacement& placement,
                                 std::span<const uint8_t> audio_block) {
  FileHeader provisional = header;
  provisional.flags = WithFastStartFlag(header.flags, placement.fast_start);
  provisional.frame_count = 0;
  provisional.duration_ms = 0;
  output_.write(EncodeFileHeader(provisional));
  bytes_written_ = kFileHeaderBytes;

  if (!audio_block.empty()) write_record({.type = RecordType::kAudioBlock}, audio_block);
  if (placement.fast_start) {
    index_pos_ = output_.position();
    index_capacity_ = container::index_capacity(placement.expected_frames);
    const std::vector<uint8_t> zeros(front_index_payload_bytes(index_capacity_));
    write_record({.type = RecordType::kIndex}, zeros);
  }
  // Flushed at once, so that a full disk is reported before the first frame.
  return output_.flush();
}

bool ContainerWriter::write_packet(RecordType type, uint8_t count, uint16_t frame_no,
                                   std::span<const uint8_t> payload) {
  if (!output_.good()) return false;
  // The entry first, so that no record lacks one when memory runs out.
  index_.push_back(output_.position());
  if (write_record({.type = type, .count = count, .frame_no = frame_no}, payload)) return true;
  index_.pop_back();
  return false;
}

bool ContainerWriter::finish(const FileHeader& header) {
  const size_t entries = index_.size();
  const bool in_front = index_pos_ != 0 && entries <= index_capacity_;

  // In pieces, so that a file can be finished without further memory.
  std::array<uint8_t, kIndexCountBytes> count;
  StoreLe32(count.data(), static_cast<uint32_t>(entries));
  if (in_front) {
    output_.seek(index_pos_ + kRecordHeaderBytes);
    output_.write(count);
  }
  for (const uint64_t record : index_) {
    std::array<uint8_t, kIndexEntryBytes> offset;
    StoreLe64(offset.data(), record);
    output_.write(offset);
  }
  if (!in_front) output_.write(count);

  FileHeader final_header = header;
  final_header.flags = WithFastStartFlag(header.flags, in_front);
  output_.seek(0);
  output_.write(EncodeFileHeader(final_header));
  output_.sync();
  return output_.close();
}

bool ContainerWriter::write_record(const RecordHeader& header, std::span<const uint8_t> payload) {
  if (payload.size() > kMaxPayloadBytes) {
    output_.fail(std::make_error_code(std::errc::file_too_large));
    return false;
  }
  RecordHeader sized = header;
  sized.size = static_cast<uint32_t>(payload.size());
  output_.write(EncodeRecordHeader(sized));
  output_.write(payload);
  bytes_written_ += kRecordHeaderBytes + payload.size();
  return output_.good();
}

}  // namespace qolm::container
