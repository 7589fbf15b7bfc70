// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "audio/adpcm_payload.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"
#include "base/picture_limits.h"
#include "container/container_reader.h"
#include "container/layout.h"
#include "decoder/frame_decoder.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"
#include "support/container_file.h"
#include "support/temporary_folder.h"

namespace qolm::fuzz {
namespace {

using container::ContainerReader;
using container::RecordHeader;
using container::RecordType;
using decoder::FrameDecoder;
using decoder::OutputFrame;
using decoder::StreamEnd;

// What one run may cost.
struct Bounds {
  uint64_t pixels;          // that the file's header states
  uint64_t record_pixels;   // of all coded pictures together
  uint64_t sound_values;    // that all sound together claims
  uint64_t sound_products;  // the same, each as often as the transform multiplies it
  int32_t frames;           // delivered one by one
};

constexpr Bounds kSmall = {64 * 64, 1 << 13, 1 << 12, 1 << 19, 300};
constexpr Bounds kLarge = {uint64_t{16384} * 16384, uint64_t{16384} * 16384 * 2, 1 << 20,
                           uint64_t{1} << 30, 1000};

// Whatever its size, a picture takes the time of its streams' tables.
constexpr uint64_t kLeastPixels = 512;
// Above this a picture's planes are looked at, not its packed pixels.
constexpr uint64_t kMostPackedPixels = 1 << 18;

const std::filesystem::path& InputPath() {
  static const test::TemporaryFolder folder;
  static const std::filesystem::path path = folder / "input.qolm";
  return path;
}

// Adds up what the records claim that decoding them costs.
class Cost {
 public:
  explicit Cost(const Bounds& bounds) : bounds_(bounds) {}

  bool IsBounded() const { return bounded_; }
  uint64_t largest_picture() const { return largest_picture_; }  // pixels

  void AddPicture(uint64_t width, uint64_t height) {
    const uint64_t pixels = width * height;
    largest_picture_ = std::max(largest_picture_, pixels);
    pixels_ += std::max(pixels, kLeastPixels);
    if (pixels_ > bounds_.record_pixels) bounded_ = false;
  }

  void AddSound(Input payload) {
    if (payload.size() < audio::kAdpcmHeaderBytes) return;
    if (LoadLe32(payload.data()) != audio::kTransformTag) {
      AddValues(2 * uint64_t{LoadLe32(payload.data() + 6)}, 1);
    } else if (payload.size() >= audio::kTransformHeaderBytes) {
      const uint64_t coded = uint64_t{LoadLe16(payload.data() + 10)} * LoadLe32(&payload[12]);
      AddValues(coded, LoadLe16(payload.data() + 10));
      AddValues(LoadLe32(payload.data() + 16), 1);
    }
  }

 private:
  void AddValues(uint64_t values, uint64_t products_each) {
    values_ += values;
    if (values_ > bounds_.sound_values) {
      bounded_ = false;
      return;
    }
    products_ += values * products_each;
    if (products_ > bounds_.sound_products) bounded_ = false;
  }

  const Bounds& bounds_;
  uint64_t largest_picture_ = 0;
  uint64_t pixels_ = 0;
  uint64_t values_ = 0;
  uint64_t products_ = 0;
  bool bounded_ = true;
};

Cost CostOf(Input file, const ContainerReader& reader, const Bounds& bounds) {
  Cost cost(bounds);
  cost.AddSound(reader.audio_block());
  uint64_t width = reader.header().width;
  uint64_t height = reader.header().height;
  // What a repeat run shows before any picture.
  cost.AddPicture(width, height);
  for (const uint64_t offset : reader.index()) {
    const Input bytes = file.subspan(static_cast<size_t>(offset));
    const RecordHeader record =
        container::DecodeRecordHeader(bytes.first<container::kRecordHeaderBytes>());
    const Input behind = bytes.subspan(container::kRecordHeaderBytes);
    if (record.size > behind.size()) continue;
    const Input payload = behind.first(record.size);
    if (record.type == RecordType::kKeyFrame && payload.size() >= 4) {
      width = LoadLe16(payload.data());
      height = LoadLe16(payload.data() + 2);
    }
    if (record.type == RecordType::kAudio) {
      cost.AddSound(payload);
    } else if (container::frames_in_record(record) == 1) {
      cost.AddPicture(width, height);
    }
  }
  return cost;
}

void CheckReader(const ContainerReader& reader) {
  const container::FileHeader& header = reader.header();
  QOLM_REQUIRE(header.width >= 1 && header.width <= kMaxPictureSide);
  QOLM_REQUIRE(header.height >= 1 && header.height <= kMaxPictureSide);
  uint64_t least = container::kFileHeaderBytes;
  for (const uint64_t offset : reader.index()) {
    QOLM_REQUIRE(offset >= least);
    QOLM_REQUIRE(offset + container::kRecordHeaderBytes <= reader.file_size());
    least = offset + 1;
  }
  QOLM_REQUIRE(!reader.keyframes().empty());
  for (const container::KeyFrameEntry& entry : reader.keyframes()) {
    QOLM_REQUIRE(entry.record_index < std::max<size_t>(reader.index().size(), 1));
  }
}

void CheckPlanes(const FrameDecoder& decoder) {
  const video::YuvPlanes& planes = decoder.planes();
  const size_t chroma = size_t{planes.ChromaWidth()} * planes.ChromaHeight();
  QOLM_REQUIRE(planes.y.size() == size_t{planes.width} * planes.height);
  QOLM_REQUIRE(planes.cb.size() == chroma && planes.cr.size() == chroma);
}

void CheckFrame(const OutputFrame& frame, const FrameDecoder& decoder) {
  const auto pixels = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
  QOLM_REQUIRE(frame.pixels.size() == 4 * pixels);
  QOLM_REQUIRE(frame.presentation_tag == decoder.frames_delivered() - 1);
  QOLM_REQUIRE(decoder.planes().width == static_cast<uint32_t>(frame.width));
  QOLM_REQUIRE(decoder.planes().height == static_cast<uint32_t>(frame.height));
}

// FNV-1a (G. Fowler, L. C. Noll, K.-P. Vo).
class Hash {
 public:
  void Add(uint8_t byte) { value_ = (value_ ^ byte) * 1099511628211U; }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 14695981039346656037U;
};

// Enough to tell pictures apart; of large ones some samples are.
uint64_t HashOf(const video::YuvPlanes& planes) {
  Hash hash;
  for (int shift = 0; shift < 16; shift += 8) {
    hash.Add(static_cast<uint8_t>(planes.width >> shift));
    hash.Add(static_cast<uint8_t>(planes.height >> shift));
  }
  for (const auto* plane : {&planes.y, &planes.cb, &planes.cr}) {
    const size_t step = plane->size() / 65536 + 1;
    for (size_t i = 0; i < plane->size(); i += step) hash.Add((*plane)[i]);
  }
  return hash.value();
}

// Where seeks go: every byte of the input has a part in it.
class Choice {
 public:
  explicit Choice(Input input) {
    Hash hash;
    for (const uint8_t byte : input) hash.Add(byte);
    rest_ = hash.value();
  }

  // 0 .. count - 1; few enough are asked for.
  size_t Below(size_t count) {
    const uint64_t chosen = rest_ % count;
    rest_ /= count;
    return static_cast<size_t>(chosen);
  }

 private:
  uint64_t rest_ = 0;
};

struct Playback {
  std::vector<uint64_t> hashes;  // of the frames delivered
  bool ended = false;            // before the bound on frames

  bool Holds(size_t number) const { return number < hashes.size(); }
};

Playback PlayFromStart(FrameDecoder& decoder, const ContainerReader& reader, bool packed,
                       int32_t most_frames) {
  Playback playback;
  OutputFrame frame;
  uint64_t hashed_id = 0;
  uint64_t hash = 0;
  while (decoder.frames_delivered() < most_frames) {
    if (!(packed ? decoder.next_frame(frame) : decoder.next_planes())) {
      QOLM_REQUIRE(decoder.stream_end() != StreamEnd::kNotReached);
      QOLM_REQUIRE(!decoder.next_planes());
      playback.ended = true;
      break;
    }
    if (packed) CheckFrame(frame, decoder);
    if (decoder.picture_id() != hashed_id) {
      CheckPlanes(decoder);
      hash = HashOf(decoder.planes());
    }
    hashed_id = decoder.picture_id();
    playback.hashes.push_back(hash);
  }
  const uint32_t announced = reader.header().frame_count;
  if (announced != 0) QOLM_REQUIRE(playback.hashes.size() <= announced);
  if (playback.ended) {
    // A file that announces nothing is complete only if it holds nothing.
    const bool all_delivered = playback.hashes.size() == announced;
    const bool complete = decoder.stream_end() == StreamEnd::kComplete;
    QOLM_REQUIRE(announced != 0 ? complete == all_delivered : !complete || all_delivered);
  }
  return playback;
}

// A seek shows what playing from the start shows, goes on as that does for
// `further` pictures, and finds nothing beyond it.
void CheckSeek(FrameDecoder& decoder, const Playback& playback, size_t number, int further) {
  if (!playback.Holds(number) && !playback.ended) return;
  const auto frame_number = static_cast<int32_t>(number);
  const bool shown = decoder.seek_to_frame(frame_number) && decoder.next_planes();
  QOLM_REQUIRE(shown == playback.Holds(number));
  if (!shown) return;
  QOLM_REQUIRE(decoder.frames_delivered() == frame_number + 1);
  QOLM_REQUIRE(HashOf(decoder.planes()) == playback.hashes[number]);
  for (uint64_t id = decoder.picture_id(); further > 0;) {
    const bool more = playback.Holds(++number);
    if (!more && !playback.ended) return;
    QOLM_REQUIRE(decoder.next_planes() == more);
    if (!more) return;
    if (decoder.picture_id() == id) continue;
    QOLM_REQUIRE(HashOf(decoder.planes()) == playback.hashes[number]);
    id = decoder.picture_id();
    --further;
  }
}

void CheckKeyFrameSeek(FrameDecoder& decoder, const ContainerReader& reader,
                       const Playback& playback, size_t entry) {
  QOLM_REQUIRE(!decoder.seek_to_key_frame(reader.keyframes().size()));
  if (!decoder.seek_to_key_frame(entry)) return;
  const auto number = static_cast<size_t>(decoder.frames_delivered());
  if (!decoder.next_planes() || !playback.Holds(number)) return;
  QOLM_REQUIRE(HashOf(decoder.planes()) == playback.hashes[number]);
}

void CheckSound(const PcmTrack& track, const Bounds& bounds) {
  if (track.samples.empty()) return;
  QOLM_REQUIRE(track.channels == 1 || track.channels == 2);
  QOLM_REQUIRE(track.sample_rate != 0);
  QOLM_REQUIRE(track.samples.size() % track.channels == 0);
  QOLM_REQUIRE(track.samples.size() <= bounds.sound_values);
}

void CheckFile(Input input, const Bounds& bounds) {
  test::WriteBytes(InputPath(), input);
  ContainerReader reader;
  if (!reader.open(InputPath())) {
    QOLM_REQUIRE(!reader.is_open());
    QOLM_REQUIRE(!reader.failure_reason().empty());
    return;
  }
  CheckReader(reader);
  const container::FileHeader& header = reader.header();
  if (uint64_t{header.width} * header.height > bounds.pixels) return;
  const Cost cost = CostOf(input, reader, bounds);
  if (!cost.IsBounded()) return;
  const bool packed = cost.largest_picture() <= kMostPackedPixels;
  Choice choice(input);

  // A small room for cached pictures makes them go, too.
  FrameDecoder decoder(reader, video::PixelOrder::kRgba, 1 << 10);
  const Playback playback = PlayFromStart(decoder, reader, packed, bounds.frames);
  const size_t end = playback.hashes.size();
  CheckSeek(decoder, playback, end, 0);
  CheckSeek(decoder, playback, choice.Below(end + 1), 0);
  QOLM_REQUIRE(!decoder.seek_to_frame(-1));

  FrameDecoder sound_first(reader);
  const PcmTrack track = sound_first.decode_audio();
  CheckSound(track, bounds);
  CheckSeek(sound_first, playback, choice.Below(end + 1), 2);
  CheckSeek(sound_first, playback, choice.Below(end + 1), 0);
  CheckKeyFrameSeek(sound_first, reader, playback, choice.Below(reader.keyframes().size()));
  QOLM_REQUIRE(sound_first.decode_audio().samples == track.samples);
  // What was gathered piece by piece on the way is how the whole begins.
  const bool is_interleaved = (header.flags & container::kFlagInterleavedAudio) != 0;
  if (is_interleaved && reader.audio_block().empty()) {
    const std::vector<int16_t>& gathered = decoder.decode_audio().samples;
    QOLM_REQUIRE(gathered.size() <= track.samples.size());
    QOLM_REQUIRE(std::equal(gathered.begin(), gathered.end(), track.samples.begin()));
  }
}

}  // namespace

void File(Input input) { CheckFile(input, kSmall); }

void LargeFile(Input input) { CheckFile(input, kLarge); }

}  // namespace qolm::fuzz
