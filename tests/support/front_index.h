// SPDX-License-Identifier: MIT
//
// Files with a front index that is no larger than they need.
#ifndef QOLM_TESTS_SUPPORT_FRONT_INDEX_H_
#define QOLM_TESTS_SUPPORT_FRONT_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_order.h"
#include "container/layout.h"

namespace qolm::test {

// `file`, which has a trailing index, with that moved to the front, into a record
// with room for `capacity` entries: the encoder's own would be 64 KiB.
inline std::vector<uint8_t> WithFrontIndex(std::span<const uint8_t> file, uint32_t capacity) {
  using Bytes = std::vector<uint8_t>;
  const uint32_t entries = LoadLe32(&file[file.size() - 4]);
  const size_t media_end = file.size() - 4 - size_t{8} * entries;
  size_t head_end = container::kFileHeaderBytes;
  const auto first =
      container::DecodeRecordHeader(file.subspan(head_end).first<container::kRecordHeaderBytes>());
  if (first.type == container::RecordType::kAudioBlock) {
    head_end += container::kRecordHeaderBytes + first.size;
  }
  const uint32_t index_bytes = container::front_index_payload_bytes(capacity);
  const uint64_t shift = container::kRecordHeaderBytes + index_bytes;

  const std::span<const uint8_t> head = file.first(head_end);
  Bytes bytes(head.begin(), head.end());
  StoreLe16(&bytes[8], static_cast<uint16_t>(LoadLe16(&bytes[8]) | container::kFlagFastStart));
  const auto record =
      container::EncodeRecordHeader({container::RecordType::kIndex, 0, 0, index_bytes});
  bytes.insert(bytes.end(), record.begin(), record.end());
  Bytes index(index_bytes);
  StoreLe32(index.data(), entries);
  for (size_t i = 0; i < entries; ++i) {
    StoreLe64(&index[4 + 8 * i], LoadLe64(&file[media_end + 8 * i]) + shift);
  }
  bytes.insert(bytes.end(), index.begin(), index.end());
  const std::span<const uint8_t> media = file.first(media_end).subspan(head_end);
  bytes.insert(bytes.end(), media.begin(), media.end());
  return bytes;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_FRONT_INDEX_H_
