// SPDX-License-Identifier: MIT
//
// Writes a version-2 file: header, records, index, final header. It knows neither codecs
// nor settings; payloads and header fields come from the caller.
//
// open_output -> write_head -> write_packet x N -> finish. Every operation
// returns false after the first failure, does nothing then, and stream_error() keeps
// its reason.
#ifndef QOLM_CONTAINER_CONTAINER_WRITER_H_
#define QOLM_CONTAINER_CONTAINER_WRITER_H_

#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>
#include <vector>

#include "container/layout.h"
#include "container/output_file.h"

namespace qolm::container {

// Where the packet index is placed.
struct IndexPlacement {
  bool fast_start = true;        // in front, in a record reserved by write_head
  uint32_t expected_frames = 0;  // sizes that record; 0 when unknown
};

class ContainerWriter {
 public:
  // Creates or empties `path`. An output that is still open is closed
  // unfinished.
  [[nodiscard]] bool open_output(const std::filesystem::path& path);

  // Writes the provisional header (its frame count and duration as 0 and the
  // fast-start flag as requested, whatever `header` says), the type 3 record
  // when `audio_block` is not empty, and the reserved index record.
  bool write_head(const FileHeader& header, const IndexPlacement& placement,
                  std::span<const uint8_t> audio_block);

  // Appends one media record and its index entry. A payload over 100 MiB is
  // refused as a failed write (file_too_large).
  bool write_packet(RecordType type, uint8_t count, uint16_t frame_no,
                    std::span<const uint8_t> payload);

  // Writes the index in front where it fits, else at the end, and the final
  // header (the fast-start flag set accordingly, whatever `header` says);
  // then syncs and closes the file.
  bool finish(const FileHeader& header);

  // Closes the file unfinished, after a failure.
  bool close() { return output_.close(); }

  bool is_open() const { return output_.is_open(); }
  std::error_code stream_error() const { return output_.error(); }
  // Header, head records and media records; the trailing index and the final
  // header's second writing are not counted.
  uint64_t bytes_written() const { return bytes_written_; }

  // Offsets of the media records so far, in file order.
  const std::vector<uint64_t>& index() const { return index_; }
  uint64_t index_pos() const { return index_pos_; }            // type 7 record, 0 = none
  uint32_t index_capacity() const { return index_capacity_; }  // entries of that record

 private:
  bool write_record(const RecordHeader& header, std::span<const uint8_t> payload);

  OutputFile output_;
  uint64_t bytes_written_ = 0;
  std::vector<uint64_t> index_;
  uint64_t index_pos_ = 0;
  uint32_t index_capacity_ = kMinIndexCapacity;
};

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_CONTAINER_WRITER_H_
