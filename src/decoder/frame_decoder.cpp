#include "decoder/frame_decoder.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>

#include "container/layout.h"
#include "decoder/reconstruct.h"
#include "decoder/sound_collector.h"

namespace qolm::decoder {
namespace {

using container::RecordHeader;
using container::RecordType;

constexpr int32_t kSnapshotInterval = 15;  // frames

// Numbers are never used twice in a process, so a frame that another decoder
// filled is never mistaken for this one's.
uint64_t NewPictureId() {
  static std::atomic<uint64_t> last{0};
  return ++last;
}

}  // namespace

struct FrameDecoder::State {
  State(container::ContainerReader& opened, video::PixelOrder pixel_order, uint64_t cache_bytes)
      : reader(opened),
        order(pixel_order),
        reconstruction(opened.header().flags, opened.header().width, opened.header().height),
        caches(cache_bytes),
        sound(opened) {}

  bool Advance();
  bool ReadRecord(bool& delivered);
  bool Rebuild(uint64_t offset, const RecordHeader& header);
  bool Ended(StreamEnd reason) {
    end = reason;
    return false;
  }
  void ShowCurrent();
  void KeepForSeeking(RecordType type);
  void Deliver(OutputFrame& out) const;
  void MoveTo(int32_t frame_number, int32_t index_entry, SharedPlanes current,
              SharedPlanes secondary_ref);
  void FindEmptyRuns();
  int32_t FrameNumberOf(const container::KeyFrameEntry& entry) const;

  container::ContainerReader& reader;
  video::PixelOrder order;
  int32_t cursor = 0;  // next entry of the index
  int32_t frames_delivered = 0;
  uint8_t repeat_left = 0;  // frames still to repeat from the last repeat run
  Reconstruction reconstruction;
  uint64_t picture_id = 0;  // of the picture shown last, 0 before the first
  FrameCaches caches;
  StreamEnd end = StreamEnd::kNotReached;
  std::vector<uint8_t> payload;
  std::optional<std::vector<uint32_t>> empty_runs;  // index entries; nothing before the first seek
  SoundCollector sound;
};

// One frame further: the planes to show are then the reconstruction's.
bool FrameDecoder::State::Advance() {
  if (!reader.is_open() || end != StreamEnd::kNotReached) return false;
  const uint32_t frame_count = reader.header().frame_count;
  if (frame_count != 0 && static_cast<uint32_t>(frames_delivered) >= frame_count) {
    return Ended(StreamEnd::kComplete);
  }
  bool delivered = false;
  if (repeat_left > 0) {
    --repeat_left;
    ShowCurrent();
    delivered = true;
  }
  while (!delivered) {
    if (!ReadRecord(delivered)) return false;
  }
  ++frames_delivered;
  return true;
}

// Takes the next record. `delivered` tells whether it gave a frame.
bool FrameDecoder::State::ReadRecord(bool& delivered) {
  const std::vector<uint64_t>& index = reader.index();
  if (static_cast<size_t>(cursor) >= index.size()) {
    const bool holds_nothing = reader.header().frame_count == 0 && frames_delivered == 0;
    return Ended(holds_nothing ? StreamEnd::kComplete : StreamEnd::kFramesMissing);
  }
  const uint64_t offset = index[static_cast<size_t>(cursor)];
  ++cursor;
  RecordHeader header;
  if (!reader.read_record_header(offset, header)) return Ended(StreamEnd::kDamagedRecord);

  switch (header.type) {
    case RecordType::kRepeatRun:
      repeat_left = header.count;
      if (repeat_left > 0) --repeat_left;  // the first one is this call's frame
      ShowCurrent();
      delivered = true;
      return true;
    case RecordType::kIndex:
      return true;
    case RecordType::kAudio:
      sound.pass_record(static_cast<size_t>(cursor) - 1, offset, header);
      return true;
    default:
      if (!Rebuild(offset, header)) return Ended(StreamEnd::kDamagedRecord);
      delivered = true;
      return true;
  }
}

bool FrameDecoder::State::Rebuild(uint64_t offset, const RecordHeader& header) {
  if (!reader.read_payload(offset, header, payload)) return false;
  if (!reconstruction.reconstruct(header.type, header.count, payload)) return false;
  picture_id = NewPictureId();
  KeepForSeeking(header.type);
  return true;
}

// A repeat before the first coded frame shows the blank picture.
void FrameDecoder::State::ShowCurrent() {
  if (picture_id != 0) return;
  reconstruction.current();
  picture_id = NewPictureId();
}

void FrameDecoder::State::KeepForSeeking(RecordType type) {
  const SharedPlanes& current = reconstruction.current();
  if (type == RecordType::kKeyFrame) caches.store_key_frame(frames_delivered, current);
  if (frames_delivered % kSnapshotInterval == 0) {
    caches.store_snapshot({frames_delivered, cursor, current->width, current->height, current,
                           reconstruction.secondary_ref()});
  }
}

void FrameDecoder::State::Deliver(OutputFrame& out) const {
  const video::YuvPlanes& planes = *reconstruction.shown();
  out.presentation_tag = frames_delivered - 1;
  const bool holds_it =
      out.picture_id == picture_id && out.pixels.size() == size_t{planes.width} * planes.height * 4;
  if (holds_it) return;
  out.picture_id = 0;
  video::ConvertYuvToPacked(planes, order, out.pixels);
  out.width = static_cast<int32_t>(planes.width);
  out.height = static_cast<int32_t>(planes.height);
  out.picture_id = picture_id;
}

void FrameDecoder::State::MoveTo(int32_t frame_number, int32_t index_entry, SharedPlanes current,
                                 SharedPlanes secondary_ref) {
  end = StreamEnd::kNotReached;
  repeat_left = 0;
  frames_delivered = frame_number;
  cursor = index_entry;
  picture_id = current ? NewPictureId() : 0;
  reconstruction.restore(std::move(current), std::move(secondary_ref));
}

// A repeat run of no frames, which no writer leaves, still delivers the one that
// its record stands for, but the reader's list of key frames does not count it.
void FrameDecoder::State::FindEmptyRuns() {
  if (empty_runs) return;
  empty_runs.emplace();
  const std::vector<uint64_t>& index = reader.index();
  RecordHeader header;
  for (size_t entry = 0; entry < index.size(); ++entry) {
    if (!reader.read_record_header(index[entry], header)) return;
    if (header.type == RecordType::kRepeatRun && header.count == 0) {
      empty_runs->push_back(static_cast<uint32_t>(entry));
    }
  }
}

// The number of a key frame when all frames before it are delivered.
int32_t FrameDecoder::State::FrameNumberOf(const container::KeyFrameEntry& entry) const {
  const auto behind = std::lower_bound(empty_runs->begin(), empty_runs->end(), entry.record_index);
  return static_cast<int32_t>(entry.frame_number) +
         static_cast<int32_t>(std::distance(empty_runs->begin(), behind));
}

FrameDecoder::FrameDecoder(container::ContainerReader& reader, video::PixelOrder order,
                           uint64_t cache_bytes)
    : state_(std::make_unique<State>(reader, order, cache_bytes)) {}

FrameDecoder::~FrameDecoder() = default;

bool FrameDecoder::next_frame(OutputFrame& out) {
  if (!state_->Advance()) return false;
  state_->Deliver(out);
  return true;
}

bool FrameDecoder::next_planes() { return state_->Advance(); }

const video::YuvPlanes& FrameDecoder::planes() const {
  static const video::YuvPlanes kNone;
  const SharedPlanes& shown = state_->reconstruction.shown();
  return shown ? *shown : kNone;
}

uint64_t FrameDecoder::picture_id() const { return state_->picture_id; }

int32_t FrameDecoder::frames_delivered() const { return state_->frames_delivered; }

StreamEnd FrameDecoder::stream_end() const { return state_->end; }

const FrameCaches& FrameDecoder::caches() const { return state_->caches; }

bool FrameDecoder::seek_to_key_frame(size_t keyframes_entry) {
  const std::vector<container::KeyFrameEntry>& entries = state_->reader.keyframes();
  if (keyframes_entry >= entries.size()) return false;
  const container::KeyFrameEntry& entry = entries[keyframes_entry];
  state_->FindEmptyRuns();
  state_->MoveTo(state_->FrameNumberOf(entry), static_cast<int32_t>(entry.record_index), nullptr,
                 nullptr);
  return true;
}

bool FrameDecoder::seek_to_frame(int32_t frame_number) {
  if (!state_->reader.is_open() || frame_number < 0) return false;
  const uint32_t frame_count = state_->reader.header().frame_count;
  if (frame_count != 0 && static_cast<uint32_t>(frame_number) >= frame_count) return false;

  const bool may_go_on =
      state_->end == StreamEnd::kNotReached && state_->frames_delivered <= frame_number;
  int32_t nearest = may_go_on ? state_->frames_delivered : -1;

  const auto& snapshots = state_->caches.snapshot_cache();
  const auto behind = snapshots.lower_bound(frame_number);
  const Snapshot* snapshot = nullptr;
  if (behind != snapshots.begin() && std::prev(behind)->first + 1 > nearest) {
    snapshot = &std::prev(behind)->second;
    nearest = snapshot->frame_number + 1;
  }

  state_->FindEmptyRuns();
  const auto& entries = state_->reader.keyframes();
  const auto after = std::upper_bound(entries.begin(), entries.end(), frame_number,
                                      [this](int32_t number, const container::KeyFrameEntry& e) {
                                        return number < state_->FrameNumberOf(e);
                                      });
  const auto entry = static_cast<size_t>(std::distance(entries.begin(), after));
  if (entry > 0 && state_->FrameNumberOf(entries[entry - 1]) > nearest) {
    if (!seek_to_key_frame(entry - 1)) return false;
  } else if (snapshot != nullptr) {
    state_->MoveTo(nearest, snapshot->cursor, snapshot->planes, snapshot->secondary_ref);
  } else if (nearest < 0) {
    state_->MoveTo(0, 0, nullptr, nullptr);
  }
  while (state_->frames_delivered < frame_number) {
    if (!state_->Advance()) return false;
  }
  return true;
}

const PcmTrack& FrameDecoder::decode_audio() { return state_->sound.decode_all(); }

}  // namespace qolm::decoder
