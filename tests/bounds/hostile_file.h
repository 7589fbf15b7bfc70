// SPDX-License-Identifier: MIT
//
// Writes files with any records and any index, however many, without keeping them.
#ifndef QOLM_TESTS_BOUNDS_HOSTILE_FILE_H_
#define QOLM_TESTS_BOUNDS_HOSTILE_FILE_H_

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <vector>

#include "base/byte_order.h"
#include "container/layout.h"

namespace qolm::test {

class HostileFile {
 public:
  HostileFile(const std::filesystem::path& path, const container::FileHeader& header)
      : stream_(path, std::ios::binary) {
    append(container::EncodeFileHeader(header));
  }

  void close() { stream_.close(); }

  uint64_t position() const { return position_; }

  void append(std::span<const uint8_t> bytes) {
    stream_.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
    position_ += bytes.size();
  }

  void record(const container::RecordHeader& header, std::span<const uint8_t> payload = {}) {
    append(container::EncodeRecordHeader(header));
    append(payload);
  }

  // A record of the size that its payload has.
  void whole_record(container::RecordType type, std::span<const uint8_t> payload,
                    uint16_t frame_no = 0) {
    record({type, 0, frame_no, static_cast<uint32_t>(payload.size())}, payload);
  }

  // `count` offsets from `first` on, each `step` behind the one before it.
  void trailing_index(uint32_t count, uint64_t first, uint64_t step) {
    std::vector<uint8_t> entry(container::kIndexEntryBytes);
    for (uint64_t i = 0; i < count; ++i) {
      StoreLe64(entry.data(), first + i * step);
      append(entry);
    }
    std::vector<uint8_t> number;
    AppendLe32(number, count);
    append(number);
  }

 private:
  std::ofstream stream_;
  uint64_t position_ = 0;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_BOUNDS_HOSTILE_FILE_H_
