#include "decoder/sound_collector.h"

#include <algorithm>
#include <new>
#include <span>

#include "audio/audio_coder.h"
#include "container/layout.h"

namespace qolm::decoder {
namespace {

// Of the sample values of one file, whatever its records claim, with what was
// decoded beside them in vain.
constexpr uint64_t kMaxSampleValues = 0x7FFFFFFF;

// Real sound has some ten.
constexpr uint64_t kLikelyValuesPerByte = 32;

}  // namespace

const PcmTrack& SoundCollector::decode_all() {
  if (updated_) return track_;
  updated_ = true;
  complete_ = true;
  try {
    make_room();
  } catch (const std::bad_alloc&) {
    give_up();
    return track_;
  }
  collect_all();
  return track_;
}

SoundExtent SoundCollector::measure_all() {
  if (extent_) return *extent_;
  updated_ = true;
  complete_ = true;
  track_ = {};
  pieces_end_ = 0;
  values_in_vain_ = 0;
  extent_.emplace();
  collect_all();
  return *extent_;
}

void SoundCollector::collect_all() {
  try {
    if (in_pieces()) {
      for_each_piece([this](uint64_t offset, const container::RecordHeader& header) {
        append(offset, header);
      });
      std::vector<uint8_t>().swap(payload_);
    } else if (!decode(reader_.audio_block())) {
      track_ = {};
    }
  } catch (const std::bad_alloc&) {
    give_up();
  }
}

bool SoundCollector::in_pieces() const {
  const bool flag = (reader_.header().flags & container::kFlagInterleavedAudio) != 0;
  return flag && reader_.audio_block().empty();
}

template <typename Work>
void SoundCollector::for_each_piece(const Work& work) const {
  container::RecordHeaderWalk walk = reader_.record_headers();
  container::RecordHeader header;
  for (const uint64_t offset : reader_.index()) {
    if (!walk.read(offset, header)) break;
    if (header.type == container::RecordType::kAudio) work(offset, header);
  }
}

// A track that grew with what comes would be copied now and then and take three
// times its memory. So there is room for all of it at once, and where the file
// claims more than its bytes make likely or memory holds, how much that is is
// measured first.
void SoundCollector::make_room() {
  const Claim claim = read_claims();
  if (claim.values <= kLikelyValuesPerByte * claim.bytes) {
    try {
      reserve(claim.values);
      return;
    } catch (const std::bad_alloc&) {
    }
  }
  reserve(SoundCollector(reader_).measure_all().values);
}

SoundCollector::Claim SoundCollector::read_claims() const {
  if (!in_pieces()) {
    const std::span<const uint8_t> block = reader_.audio_block();
    return {audio::ClaimedValues(block), block.size()};
  }
  Claim all;
  std::vector<uint8_t> head;
  for_each_piece([&](uint64_t offset, container::RecordHeader header) {
    const uint64_t bytes = header.size;
    if (offset + container::kRecordHeaderBytes + bytes > reader_.file_size()) return;
    header.size = std::min<uint32_t>(header.size, audio::kClaimBytes);
    if (!reader_.read_payload(offset, header, head)) return;
    all.values += audio::ClaimedValues(head);
    all.bytes = std::min(all.bytes + bytes, reader_.file_size());
  });
  return all;
}

void SoundCollector::reserve(uint64_t values) {
  const uint64_t most = std::min<uint64_t>(kMaxSampleValues, track_.samples.max_size());
  track_.samples.reserve(static_cast<size_t>(std::min(values, most)));
}

void SoundCollector::pass_record(size_t index_entry, uint64_t offset,
                                 const container::RecordHeader& header) {
  if (complete_ || index_entry < next_entry_) return;
  next_entry_ = index_entry + 1;
  try {
    if (append(offset, header)) updated_ = true;
  } catch (const std::bad_alloc&) {
    give_up();
  }
}

// A few bytes may stand for hours of silence. Where memory does not hold them
// there is no sound, since what follows a gap would come too early, and the
// picture goes on.
void SoundCollector::give_up() {
  track_ = {};
  if (extent_) extent_.emplace();
  updated_ = true;
  complete_ = true;
}

// Pieces that overlap, and pieces that are decoded only to be refused, could cost
// any time without a sample to show for it. So none may begin in another, and what
// was in vain counts as if it were kept.
bool SoundCollector::append(uint64_t offset, const container::RecordHeader& header) {
  if (header.size == 0 || header.size >= container::kMaxPayloadBytes) return false;
  if (offset < pieces_end_ || values_in_vain_ >= kMaxSampleValues) return false;
  if (!reader_.read_payload(offset, header, payload_)) return false;
  if (decode(payload_)) {
    pieces_end_ = offset + container::kRecordHeaderBytes + header.size;
    return true;
  }
  values_in_vain_ += header.size;
  return false;
}

bool SoundCollector::decode(std::span<const uint8_t> payload) {
  audio::TrackRoom room = extent_ ? audio::TrackRoom(*extent_) : audio::TrackRoom(track_);
  const bool decoded = audio::DecodeAudio(payload, kMaxSampleValues - values_in_vain_, room);
  values_in_vain_ = std::min(values_in_vain_ + room.values_in_vain(), kMaxSampleValues);
  return decoded;
}

}  // namespace qolm::decoder
