// SPDX-License-Identifier: MIT
#include "decoder/audio_collector.h"

#include <algorithm>
#include <new>
#include <span>

#include "audio/audio_coder.h"
#include "container/layout.h"

namespace qolm::decoder {
namespace {

// Limit on the sample values of one file, wasted ones included, whatever its records
// declare.
constexpr uint64_t kMaxSampleValues = 0x7FFFFFFF;

// Upper bound for plausible audio, which has about ten.
constexpr uint64_t kPlausibleValuesPerByte = 32;

}  // namespace

const PcmTrack& AudioCollector::decode_all() {
  if (updated_) return track_;
  updated_ = true;
  complete_ = true;
  try {
    reserve_track();
  } catch (const std::bad_alloc&) {
    discard_all();
    return track_;
  }
  collect_all();
  return track_;
}

AudioExtent AudioCollector::measure_all() {
  if (extent_) return *extent_;
  updated_ = true;
  complete_ = true;
  track_ = {};
  chunks_end_ = 0;
  wasted_values_ = 0;
  extent_.emplace();
  collect_all();
  return *extent_;
}

void AudioCollector::collect_all() {
  try {
    if (is_interleaved()) {
      for_each_chunk([this](uint64_t offset, const container::RecordHeader& header) {
        append(offset, header);
      });
      std::vector<uint8_t>().swap(payload_);
    } else if (!decode(reader_.audio_block())) {
      track_ = {};
    }
  } catch (const std::bad_alloc&) {
    discard_all();
  }
}

bool AudioCollector::is_interleaved() const {
  const bool flag = (reader_.header().flags & container::kFlagInterleavedAudio) != 0;
  return flag && reader_.audio_block().empty();
}

template <typename Work>
void AudioCollector::for_each_chunk(const Work& work) const {
  container::RecordHeaderWalk walk = reader_.record_headers();
  container::RecordHeader header;
  for (const uint64_t offset : reader_.index()) {
    if (!walk.read(offset, header)) break;
    if (header.type == container::RecordType::kAudio) work(offset, header);
  }
}

// A growing track would be reallocated repeatedly and peak at three times its size, so
// the whole track is reserved at once. When the declared size is implausible for the
// bytes of the file, or cannot be allocated, the actual size is measured first.
void AudioCollector::reserve_track() {
  const DeclaredSize declared = read_declared_size();
  if (declared.values <= kPlausibleValuesPerByte * declared.bytes) {
    try {
      reserve(declared.values);
      return;
    } catch (const std::bad_alloc&) {
    }
  }
  reserve(AudioCollector(reader_).measure_all().values);
}

AudioCollector::DeclaredSize AudioCollector::read_declared_size() const {
  if (!is_interleaved()) {
    const std::span<const uint8_t> block = reader_.audio_block();
    return {audio::DeclaredValues(block), block.size()};
  }
  DeclaredSize all;
  std::vector<uint8_t> head;
  for_each_chunk([&](uint64_t offset, container::RecordHeader header) {
    const uint64_t bytes = header.size;
    if (offset + container::kRecordHeaderBytes + bytes > reader_.file_size()) return;
    header.size = std::min<uint32_t>(header.size, audio::kDeclarationBytes);
    if (!reader_.read_payload(offset, header, head)) return;
    all.values += audio::DeclaredValues(head);
    all.bytes = std::min(all.bytes + bytes, reader_.file_size());
  });
  return all;
}

void AudioCollector::reserve(uint64_t values) {
  const uint64_t limit = std::min<uint64_t>(kMaxSampleValues, track_.samples.max_size());
  track_.samples.reserve(static_cast<size_t>(std::min(values, limit)));
}

void AudioCollector::collect_record(size_t index_entry, uint64_t offset,
                                    const container::RecordHeader& header) {
  if (complete_ || index_entry < next_entry_) return;
  next_entry_ = index_entry + 1;
  try {
    if (append(offset, header)) updated_ = true;
  } catch (const std::bad_alloc&) {
    discard_all();
  }
}

// A few bytes may decode to hours of silence. When memory is insufficient the whole
// track is discarded, since the samples after a gap would be out of sync; video decoding
// continues.
void AudioCollector::discard_all() {
  track_ = {};
  if (extent_) extent_.emplace();
  updated_ = true;
  complete_ = true;
}

// Overlapping and malformed chunks could cost unlimited time without any output.
// Therefore chunks must not overlap, and wasted values count towards the limit.
bool AudioCollector::append(uint64_t offset, const container::RecordHeader& header) {
  if (header.size == 0 || header.size >= container::kMaxPayloadBytes) return false;
  if (offset < chunks_end_ || wasted_values_ >= kMaxSampleValues) return false;
  if (!reader_.read_payload(offset, header, payload_)) return false;
  if (decode(payload_)) {
    chunks_end_ = offset + container::kRecordHeaderBytes + header.size;
    return true;
  }
  wasted_values_ += header.size;
  return false;
}

bool AudioCollector::decode(std::span<const uint8_t> payload) {
  audio::SampleSink sink = extent_ ? audio::SampleSink(*extent_) : audio::SampleSink(track_);
  const bool decoded = audio::DecodeAudio(payload, kMaxSampleValues - wasted_values_, sink);
  wasted_values_ = std::min(wasted_values_ + sink.wasted_values(), kMaxSampleValues);
  return decoded;
}

}  // namespace qolm::decoder
