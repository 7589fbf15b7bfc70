// SPDX-License-Identifier: MIT
//
// The audio of an opened file: its audio block, or the interleaved chunks, collected
// either all at once or while frames are decoded.
#ifndef QOLM_DECODER_AUDIO_COLLECTOR_H_
#define QOLM_DECODER_AUDIO_COLLECTOR_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "audio/pcm_track.h"
#include "container/container_reader.h"

namespace qolm::decoder {

class AudioCollector {
 public:
  // `reader` must be open and outlive the collector.
  explicit AudioCollector(const container::ContainerReader& reader) : reader_(reader) {}

  // Decodes the complete audio of the file once. When collect_record has already taken
  // chunks, returns the track collected so far.
  const PcmTrack& decode_all();

  // Decodes like decode_all but keeps only the extent of the track; decode_all then
  // returns an empty track.
  AudioExtent measure_all();

  // Appends the chunk of a type 8 record, found while decoding frames, unless decode_all
  // has run or the chunk was collected before a seek. Undecodable chunks are skipped.
  void collect_record(size_t index_entry, uint64_t offset, const container::RecordHeader& header);

 private:
  void collect_all();
  void discard_all();
  bool append(uint64_t offset, const container::RecordHeader& header);
  bool decode(std::span<const uint8_t> payload);
  bool is_interleaved() const;
  // Calls work(offset, header) for every chunk of the file.
  template <typename Work>
  void for_each_chunk(const Work& work) const;
  void reserve_track();
  // The sample values that the payload headers declare, and the size of the payloads.
  struct DeclaredSize {
    uint64_t values = 0;
    uint64_t bytes = 0;
  };
  DeclaredSize read_declared_size() const;
  void reserve(uint64_t values);

  const container::ContainerReader& reader_;
  PcmTrack track_;
  std::optional<AudioExtent> extent_;  // set while only the extent is measured
  bool updated_ = false;               // the track has samples of this file
  bool complete_ = false;              // no further chunks are collected
  size_t next_entry_ = 0;              // chunks before this index entry were collected
  uint64_t chunks_end_ = 0;            // file offset of the end of the last valid chunk
  uint64_t wasted_values_ = 0;
  std::vector<uint8_t> payload_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_AUDIO_COLLECTOR_H_
