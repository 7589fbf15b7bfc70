#include "decoder/sound_collector.h"

#include <new>
#include <span>

#include "audio/audio_coder.h"
#include "container/layout.h"

namespace qolm::decoder {
namespace {

// Of the sample values of one file, whatever its records claim.
constexpr uint64_t kMaxSampleValues = 0x7FFFFFFF;

// A few bytes may stand for hours of silence. Where memory does not hold them,
// there is no sound, and the picture goes on.
bool Decode(std::span<const uint8_t> payload, PcmTrack& track) {
  try {
    return audio::DecodeAudio(payload, kMaxSampleValues, track);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace

const PcmTrack& SoundCollector::decode_all() {
  if (updated_) return track_;
  updated_ = true;
  complete_ = true;
  if (!reader_.audio_block().empty()) {
    if (!Decode(reader_.audio_block(), track_)) track_ = {};
    return track_;
  }
  if ((reader_.header().flags & container::kFlagInterleavedAudio) == 0) return track_;
  for (const uint64_t offset : reader_.index()) {
    container::RecordHeader header;
    if (!reader_.read_record_header(offset, header)) break;
    if (header.type == container::RecordType::kAudio) append(offset, header);
  }
  return track_;
}

void SoundCollector::pass_record(size_t index_entry, uint64_t offset,
                                 const container::RecordHeader& header) {
  if (complete_ || index_entry < next_entry_) return;
  next_entry_ = index_entry + 1;
  if (append(offset, header)) updated_ = true;
}

bool SoundCollector::append(uint64_t offset, const container::RecordHeader& header) {
  if (header.size == 0 || header.size >= container::kMaxPayloadBytes) return false;
  return reader_.read_payload(offset, header, payload_) && Decode(payload_, track_);
}

}  // namespace qolm::decoder
