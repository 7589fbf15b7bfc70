// The sound of an opened file: its audio block, or the pieces between the
// pictures, gathered either all at once or as the frames go by.
#ifndef QOLM_DECODER_SOUND_COLLECTOR_H_
#define QOLM_DECODER_SOUND_COLLECTOR_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "audio/pcm_track.h"
#include "container/container_reader.h"

namespace qolm::decoder {

class SoundCollector {
 public:
  // `reader` must be open and outlive the collector.
  explicit SoundCollector(const container::ContainerReader& reader) : reader_(reader) {}

  // Decodes all of the file's sound, once. Where pieces have already gone by
  // through pass_record, the track stays what they made it.
  const PcmTrack& decode_all();

  // Decodes all of the file's sound as decode_all would, but keeps only how much it
  // is; decode_all then has none.
  SoundExtent measure_all();

  // A type 8 record that the frames pass on their way. Its sound is appended
  // unless decode_all has run or a seek brought the record by a second time. A
  // piece that cannot be decoded is skipped.
  void pass_record(size_t index_entry, uint64_t offset, const container::RecordHeader& header);

 private:
  void collect_all();
  void give_up();
  bool append(uint64_t offset, const container::RecordHeader& header);
  bool decode(std::span<const uint8_t> payload);
  bool in_pieces() const;
  // Calls work(offset, header) for every piece of the file.
  template <typename Work>
  void for_each_piece(const Work& work) const;
  void make_room();
  // What the sound's headers say, of however many bytes.
  struct Claim {
    uint64_t values = 0;
    uint64_t bytes = 0;
  };
  Claim read_claims() const;
  void reserve(uint64_t values);

  const container::ContainerReader& reader_;
  PcmTrack track_;
  std::optional<SoundExtent> extent_;  // what is filled in place of the track
  bool updated_ = false;               // the track has been filled for this file
  bool complete_ = false;              // by decode_all
  size_t next_entry_ = 0;              // pieces before this index entry have been taken
  uint64_t pieces_end_ = 0;            // where the last good piece ends in the file
  uint64_t values_in_vain_ = 0;
  std::vector<uint8_t> payload_;
};

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_SOUND_COLLECTOR_H_
