// SPDX-License-Identifier: MIT
//
// Opens a version-2 file, finds its packet index by the first route that works
// and lists its key frames. It decodes nothing: payloads are bytes here.
//
// For every input open() takes time and memory at most proportional to the
// file's size, lists no more than 2^24 records, and checks every read
// against that size first.
#ifndef QOLM_CONTAINER_CONTAINER_READER_H_
#define QOLM_CONTAINER_CONTAINER_READER_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "container/input_file.h"
#include "container/layout.h"
#include "container/record_header_walk.h"

namespace qolm::container {

// A record at which decoding can start.
struct KeyFrameEntry {
  uint32_t frame_number = 0;  // display number of the frame that the record carries
  uint32_t record_index = 0;  // position in index()

  bool operator==(const KeyFrameEntry&) const = default;
};

// How to treat an unfinished file whose front index record is still empty.
enum class UnfinishedFiles {
  kYieldNothing,  // no index, so no frames: what the format prescribes for readers
  kYieldRecords,  // list the complete records behind the empty index, to recover them
};

// Whether the file's writer finished it.
enum class Completion {
  kFinished,
  kNeverFinished,  // the writer was terminated, or is still writing
  kUnknown,        // without any record finished and unfinished files have the same bytes
};

class ContainerReader {
 public:
  // Resets, then opens `path` and reads header, audio block, index and key
  // frames. False when the file cannot be read or is not a version-2
  // file; failure_reason() is then set and the reader is closed and empty. A file
  // whose index cannot be found, or whose audio block is damaged, still opens
  // (with an empty index or no audio block).
  [[nodiscard]] bool open(const std::filesystem::path& path,
                          UnfinishedFiles unfinished = UnfinishedFiles::kYieldNothing);

  // Closes the file and clears everything.
  void reset();

  bool is_open() const { return is_open_; }

  // Why the last open() failed, as a short phrase without a full stop; empty
  // after a success.
  const std::string& failure_reason() const { return failure_reason_; }
  // The system error that made open() fail; none for other reasons.
  std::error_code system_error() const { return system_error_; }

  // Derived from the frame count, which is written last, and the index before it.
  Completion completion() const { return completion_; }

  const FileHeader& header() const { return header_; }
  uint64_t file_size() const { return file_.size(); }  // bytes
  // The coded whole-track audio (payload of the type 3 record); empty when the
  // file has none.
  std::span<const uint8_t> audio_block() const { return audio_block_; }
  // Absolute offsets of the media records' headers, in file order, ascending
  // strictly; a record header at each of them lies within the file.
  const std::vector<uint64_t>& index() const { return index_; }
  // In file order; never empty while open: a file without a key frame lists (0, 0).
  // A file without an index may have more than the 2^20 that are listed.
  const std::vector<KeyFrameEntry>& keyframes() const { return keyframes_; }

  // Reads the record header at `offset`. False when it does not lie in the file.
  [[nodiscard]] bool read_record_header(uint64_t offset, RecordHeader& header) const;

  // Reads many record headers at ascending offsets; invalid after the next open() or reset().
  RecordHeaderWalk record_headers() const { return RecordHeaderWalk(file_); }

  // Reads the payload of the record whose header, at `offset`, is `header`.
  // False, with an empty `payload`, when it is larger than 100 MiB, does not lie
  // in the file or overlaps other records beyond the allowance (see note_extent);
  // nothing is allocated then. `payload` keeps its storage.
  [[nodiscard]] bool read_payload(uint64_t offset, const RecordHeader& header,
                                  std::vector<uint8_t>& payload) const;

 private:
  [[nodiscard]] bool read_header();
  void read_audio_block();
  void load_index(UnfinishedFiles unfinished);
  Completion judge_completion() const;
  bool load_front_index();
  bool load_trailing_index();
  // Lists every complete record from `first_record` on.
  bool load_by_scan(uint64_t first_record);
  // Calls `work` with the offset of each of them.
  template <typename Work>
  void scan(uint64_t first_record, const Work& work) const;
  // The offset behind a front index record, and whether that index was filled in.
  // Nothing without such a record.
  struct ReservedIndex {
    uint64_t end = 0;
    bool filled = false;
  };
  std::optional<ReservedIndex> find_reserved_index() const;
  void list_keyframes();
  // Valid records do not overlap. Where a damaged header or index entry makes a few of
  // them do so, each is still read. To keep a hostile file from having its bytes read
  // over and over, the payloads that overlap the next record may total the file's size;
  // later ones are refused.
  void note_extent(size_t entry, const RecordHeader& record);
  bool overlaps_next(uint64_t offset, uint32_t payload_bytes) const;

  // Accepts the `count` offsets at `position` as the index when they ascend and a record
  // header at each lies inside [media_begin, media_end).
  [[nodiscard]] bool read_offsets(uint64_t position, uint32_t count, uint64_t media_begin,
                                  uint64_t media_end);
  // Records why opening failed: the system error, or else `reason`.
  bool fail(std::string reason);

  InputFile file_;
  bool is_open_ = false;
  Completion completion_ = Completion::kFinished;
  std::string failure_reason_;
  std::error_code system_error_;
  FileHeader header_;
  uint64_t head_end_ = 0;  // offset of the front index, or else of the first media record
  std::vector<uint8_t> audio_block_;
  std::vector<uint64_t> index_;
  bool index_was_stored_ = false;
  bool frames_listed_ = false;  // the index lists a record that represents frames
  std::vector<KeyFrameEntry> keyframes_;
  uint64_t overlap_allowance_ = 0;      // bytes, while the records are listed
  uint64_t first_refused_overlap_ = 0;  // from this offset on overlapping payloads are not read
};

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_CONTAINER_READER_H_
