// SPDX-License-Identifier: MIT
#include "decoder/frame_decoder.h"

#include <atomic>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "container/layout.h"
#include "decoder/audio_collector.h"
#include "decoder/display_order.h"
#include "decoder/reconstruct.h"
#include "decoder/seek_points.h"

namespace qolm::decoder {
namespace {

using container::RecordHeader;
using container::RecordType;

constexpr int32_t kSnapshotInterval = 15;  // frames

// Ids are unique in the process, so that an OutputFrame filled by another decoder is
// never mistaken for a picture of this one.
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
        display_order(DisplayOrder::For(opened.header())),
        caches(cache_bytes),
        audio(opened) {}

  bool Advance();
  bool ReadRecord();
  bool Rebuild(uint64_t offset, const RecordHeader& header);
  bool Ended(StreamEnd reason) {
    end = reason;
    return false;
  }
  bool RecordsEnded(StreamEnd reason) {
    records_end = reason;
    return false;
  }
  void Show(DisplayItem item);
  void KeepForSeeking(RecordType type);
  void Deliver(OutputFrame& out) const;
  void MoveTo(const SeekPoint& point);
  void MoveTo(const Snapshot& snapshot);
  void SetPosition(int32_t frame_number, int32_t index_entry);
  const SeekPoints& GetSeekPoints();

  container::ContainerReader& reader;
  video::PixelOrder order;
  int32_t cursor = 0;  // next entry of the index
  int32_t frames_delivered = 0;
  int64_t frames_left = 0;  // of the current display item
  Reconstruction reconstruction;
  DisplayOrder display_order;
  DecodedPicture shown;
  FrameCaches caches;
  StreamEnd records_end = StreamEnd::kNotReached;  // pending frames may remain
  StreamEnd end = StreamEnd::kNotReached;
  std::vector<uint8_t> payload;
  uint64_t pictures_rebuilt = 0;
  std::optional<SeekPoints> seek_points;  // built on the first seek
  // The last end of the stream that a seek reached.
  struct SeekEnd {
    uint32_t record_index;  // of the last seek point before the requested frame
    int32_t frames_delivered;
    int32_t cursor;
    StreamEnd reason;
  };
  std::optional<SeekEnd> seek_end;
  AudioCollector audio;
};

// Advances by one frame, whose picture is then `shown`.
bool FrameDecoder::State::Advance() {
  if (!reader.is_open() || end != StreamEnd::kNotReached) return false;
  const uint32_t frame_count = reader.header().frame_count;
  if (frame_count != 0 && static_cast<uint32_t>(frames_delivered) >= frame_count) {
    return Ended(StreamEnd::kComplete);
  }
  if (frames_delivered == std::numeric_limits<int32_t>::max()) {
    return Ended(StreamEnd::kFramesMissing);
  }
  while (frames_left == 0) {
    DisplayItem item;
    if (display_order.take(item)) {
      Show(std::move(item));
    } else if (records_end != StreamEnd::kNotReached) {
      return Ended(records_end);
    } else if (!ReadRecord()) {
      display_order.release();
    }
  }
  --frames_left;
  ++frames_delivered;
  return true;
}

// Reads the next record; false when there is none or it is damaged.
bool FrameDecoder::State::ReadRecord() {
  const std::vector<uint64_t>& index = reader.index();
  if (static_cast<size_t>(cursor) >= index.size()) {
    const bool holds_nothing = reader.header().frame_count == 0 && frames_delivered == 0 &&
                               display_order.pending().empty();
    return RecordsEnded(holds_nothing ? StreamEnd::kComplete : StreamEnd::kFramesMissing);
  }
  const uint64_t offset = index[static_cast<size_t>(cursor)];
  ++cursor;
  RecordHeader header;
  if (!reader.read_record_header(offset, header)) return RecordsEnded(StreamEnd::kDamagedRecord);

  switch (header.type) {
    case RecordType::kRepeatRun:
      display_order.add(header, {}, 0);
      return true;
    case RecordType::kIndex:
      return true;
    case RecordType::kAudio:
      audio.collect_record(static_cast<size_t>(cursor) - 1, offset, header);
      return true;
    default:
      return Rebuild(offset, header) || RecordsEnded(StreamEnd::kDamagedRecord);
  }
}

bool FrameDecoder::State::Rebuild(uint64_t offset, const RecordHeader& header) {
  if (!reader.read_payload(offset, header, payload)) return false;
  // In stored order this picture is shown next, so it can reuse the memory of the one
  // that is shown now.
  if (display_order.mode() != DisplayOrder::Mode::kByNumber) shown.planes.reset();
  DecodedPicture picture;
  ++pictures_rebuilt;
  if (!reconstruction.reconstruct(header.type, header.count, payload, picture.planes)) return false;
  picture.id = NewPictureId();
  const uint64_t plane_bytes = PlaneBytes(picture.planes->width, picture.planes->height);
  display_order.add(header, std::move(picture), plane_bytes);
  return true;
}

void FrameDecoder::State::Show(DisplayItem item) {
  frames_left = item.frames;
  if (item.type != RecordType::kRepeatRun) {
    shown = std::move(item.picture);
    KeepForSeeking(item.type);
  } else if (!shown.planes) {
    shown = {reconstruction.blank(), NewPictureId()};
  }
}

void FrameDecoder::State::KeepForSeeking(RecordType type) {
  if (type == RecordType::kKeyFrame) caches.store_key_frame(frames_delivered, shown.planes);
  // A snapshot resumes with the record at the cursor, so none is kept after the end.
  if (frames_delivered % kSnapshotInterval != 0 || records_end != StreamEnd::kNotReached) return;
  caches.store_snapshot({frames_delivered, cursor, shown.planes->width, shown.planes->height,
                         reconstruction.current(), reconstruction.secondary_ref(), shown,
                         display_order});
}

void FrameDecoder::State::Deliver(OutputFrame& out) const {
  const video::YuvPlanes& planes = *shown.planes;
  out.presentation_tag = frames_delivered - 1;
  const bool is_current =
      out.picture_id == shown.id && out.pixels.size() == size_t{planes.width} * planes.height * 4;
  if (is_current) return;
  out.picture_id = 0;
  video::ConvertYuvToPacked(planes, order, out.pixels);
  out.width = static_cast<int32_t>(planes.width);
  out.height = static_cast<int32_t>(planes.height);
  out.picture_id = shown.id;
}

void FrameDecoder::State::MoveTo(const SeekPoint& point) {
  SetPosition(point.frame_number, static_cast<int32_t>(point.record_index));
  display_order = DisplayOrder(point.order, point.frame_number);
  shown = {};
  reconstruction.restore(nullptr, nullptr);
}

// To the frame after the snapshot's.
void FrameDecoder::State::MoveTo(const Snapshot& snapshot) {
  SetPosition(snapshot.frame_number + 1, snapshot.cursor);
  display_order = snapshot.order;
  shown = snapshot.shown;
  reconstruction.restore(snapshot.planes, snapshot.secondary_ref);
}

void FrameDecoder::State::SetPosition(int32_t frame_number, int32_t index_entry) {
  records_end = StreamEnd::kNotReached;
  end = StreamEnd::kNotReached;
  frames_left = 0;
  frames_delivered = frame_number;
  cursor = index_entry;
}

const SeekPoints& FrameDecoder::State::GetSeekPoints() {
  if (!seek_points) seek_points.emplace(reader);
  return *seek_points;
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
  return state_->shown.planes ? *state_->shown.planes : kNone;
}

uint64_t FrameDecoder::picture_id() const { return state_->shown.id; }

int32_t FrameDecoder::frames_delivered() const { return state_->frames_delivered; }

StreamEnd FrameDecoder::stream_end() const { return state_->end; }

const FrameCaches& FrameDecoder::caches() const { return state_->caches; }

uint64_t FrameDecoder::pictures_rebuilt() const { return state_->pictures_rebuilt; }

bool FrameDecoder::seek_to_key_frame(size_t keyframes_entry) {
  const std::vector<container::KeyFrameEntry>& entries = state_->reader.keyframes();
  if (keyframes_entry >= entries.size()) return false;
  const SeekPoints& points = state_->GetSeekPoints();
  const SeekPoint& point = points.last_before_record(entries[keyframes_entry].record_index);
  const int32_t frame_number = points.key_frame_numbers()[keyframes_entry];
  // With inconsistent frame numbers a key frame may be displayed after later records.
  if (point.frame_number != frame_number) return seek_to_frame(frame_number);
  state_->MoveTo(point);
  return true;
}

bool FrameDecoder::seek_to_frame(int32_t frame_number) {
  if (!state_->reader.is_open() || frame_number < 0) return false;
  const uint32_t frame_count = state_->reader.header().frame_count;
  if (frame_count != 0 && static_cast<uint32_t>(frame_number) >= frame_count) return false;

  const bool can_continue =
      state_->end == StreamEnd::kNotReached && state_->frames_delivered <= frame_number;
  int32_t nearest = can_continue ? state_->frames_delivered : -1;

  const auto& snapshots = state_->caches.snapshot_cache();
  const auto behind = snapshots.lower_bound(frame_number);
  const Snapshot* snapshot = nullptr;
  if (behind != snapshots.begin() && std::prev(behind)->first + 1 > nearest) {
    snapshot = &std::prev(behind)->second;
    nearest = snapshot->frame_number + 1;
  }

  const SeekPoint& point = state_->GetSeekPoints().last_before_frame(frame_number);
  const auto& known_end = state_->seek_end;
  if (known_end && known_end->record_index == point.record_index &&
      frame_number > known_end->frames_delivered) {
    state_->SetPosition(known_end->frames_delivered, known_end->cursor);
    return state_->Ended(known_end->reason);
  }
  if (point.frame_number > nearest) {
    state_->MoveTo(point);
  } else if (snapshot != nullptr) {
    state_->MoveTo(*snapshot);
  }
  while (state_->frames_delivered < frame_number) {
    if (state_->Advance()) continue;
    state_->seek_end = {point.record_index, state_->frames_delivered, state_->cursor, state_->end};
    return false;
  }
  return true;
}

const PcmTrack& FrameDecoder::decode_audio() { return state_->audio.decode_all(); }

AudioExtent FrameDecoder::measure_audio() { return state_->audio.measure_all(); }

}  // namespace qolm::decoder
