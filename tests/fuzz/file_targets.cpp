#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "audio/adpcm_payload.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"
#include "container/container_reader.h"
#include "container/layout.h"
#include "decoder/frame_decoder.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"
#include "support/container_file.h"
#include "support/moving_picture.h"
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

constexpr Bounds kSmall = {512 * 512, 1 << 16, 1 << 16, 1 << 23, 300};
constexpr Bounds kLarge = {uint64_t{16384} * 16384, uint64_t{16384} * 16384 * 2, 1 << 22,
                           uint64_t{1} << 32, 2000};

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

  void AddPicture(uint64_t width, uint64_t height) {
    pixels_ += width * height;
    if (pixels_ > bounds_.record_pixels) bounded_ = false;
  }

  void AddSound(Input payload) {
    if (payload.size() < audio::kAdpcmHeaderBytes) return;
    if (LoadLe32(payload.data()) == audio::kTransformTag) {
      const uint64_t coded = uint64_t{LoadLe16(payload.data() + 10)} * LoadLe32(&payload[12]);
      AddValues(coded, LoadLe16(payload.data() + 10));
      AddValues(LoadLe32(payload.data() + 16), 1);
    } else {
      AddValues(2 * uint64_t{LoadLe32(payload.data() + 6)}, 1);
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
  uint64_t pixels_ = 0;
  uint64_t values_ = 0;
  uint64_t products_ = 0;
  bool bounded_ = true;
};

bool CostsAMoment(const ContainerReader& reader, const Bounds& bounds) {
  const container::FileHeader& file = reader.header();
  if (uint64_t{file.width} * file.height > bounds.pixels) return false;
  Cost cost(bounds);
  cost.AddSound(reader.audio_block());
  uint64_t width = file.width;
  uint64_t height = file.height;
  for (const uint64_t offset : reader.index()) {
    RecordHeader record;
    std::vector<uint8_t> payload;
    if (!reader.read_record_header(offset, record)) continue;
    if (!reader.read_payload(offset, record, payload)) continue;
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
  return cost.IsBounded();
}

void CheckReader(const ContainerReader& reader) {
  const container::FileHeader& header = reader.header();
  QOLM_REQUIRE(header.width >= 1 && header.width <= container::kMaxDimension);
  QOLM_REQUIRE(header.height >= 1 && header.height <= container::kMaxDimension);
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

void CheckFrame(const OutputFrame& frame, const FrameDecoder& decoder) {
  const auto pixels = static_cast<size_t>(frame.width) * static_cast<size_t>(frame.height);
  QOLM_REQUIRE(frame.pixels.size() == 4 * pixels);
  QOLM_REQUIRE(frame.presentation_tag == decoder.frames_delivered() - 1);
  const video::YuvPlanes& planes = decoder.planes();
  QOLM_REQUIRE(planes.width == static_cast<uint32_t>(frame.width));
  QOLM_REQUIRE(planes.height == static_cast<uint32_t>(frame.height));
  QOLM_REQUIRE(planes.y.size() == pixels);
}

// Enough to tell pictures apart; FNV-1a (G. Fowler, L. C. Noll, K.-P. Vo).
uint64_t HashOf(const video::YuvPlanes& planes) {
  uint64_t hash = 14695981039346656037U;
  const auto add = [&hash](uint8_t byte) { hash = (hash ^ byte) * 1099511628211U; };
  for (int shift = 0; shift < 16; shift += 8) {
    add(static_cast<uint8_t>(planes.width >> shift));
    add(static_cast<uint8_t>(planes.height >> shift));
  }
  for (const auto* plane : {&planes.y, &planes.cb, &planes.cr}) {
    for (const uint8_t sample : *plane) add(sample);
  }
  return hash;
}

struct Playback {
  std::vector<uint64_t> hashes;  // of the frames delivered
  bool ended = false;            // before the bound on frames
};

Playback PlayFromStart(FrameDecoder& decoder, const ContainerReader& reader, int32_t most_frames) {
  Playback playback;
  OutputFrame frame;
  uint64_t hashed_id = 0;
  uint64_t hash = 0;
  while (decoder.frames_delivered() < most_frames) {
    if (!decoder.next_frame(frame)) {
      QOLM_REQUIRE(decoder.stream_end() != StreamEnd::kNotReached);
      QOLM_REQUIRE(!decoder.next_planes());
      playback.ended = true;
      break;
    }
    CheckFrame(frame, decoder);
    if (decoder.picture_id() != hashed_id) hash = HashOf(decoder.planes());
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

// A seek shows what playing from the start shows, and finds nothing beyond it.
void CheckSeek(FrameDecoder& decoder, const Playback& playback, int32_t number) {
  const bool known = static_cast<size_t>(number) < playback.hashes.size();
  if (!known && !playback.ended) return;
  const bool shown = decoder.seek_to_frame(number) && decoder.next_planes();
  QOLM_REQUIRE(shown == known);
  if (!shown) return;
  QOLM_REQUIRE(decoder.frames_delivered() == number + 1);
  QOLM_REQUIRE(HashOf(decoder.planes()) == playback.hashes[static_cast<size_t>(number)]);
}

void CheckSeeks(FrameDecoder& decoder, const ContainerReader& reader, const Playback& playback,
                Input input) {
  const auto last = static_cast<uint32_t>(playback.hashes.size());
  CheckSeek(decoder, playback, static_cast<int32_t>(last));
  // The input's own last bytes choose, so that a fuzzer can.
  for (size_t i = 0; i < std::min<size_t>(input.size(), 6); ++i) {
    CheckSeek(decoder, playback, static_cast<int32_t>(input[input.size() - 1 - i] % (last + 1)));
  }
  QOLM_REQUIRE(!decoder.seek_to_frame(-1));
  QOLM_REQUIRE(!decoder.seek_to_key_frame(reader.keyframes().size()));
  for (size_t i = 0; i < std::min<size_t>(reader.keyframes().size(), 4); ++i) {
    if (!decoder.seek_to_key_frame(i)) continue;
    const auto number = static_cast<size_t>(decoder.frames_delivered());
    if (!decoder.next_planes() || number >= playback.hashes.size()) continue;
    QOLM_REQUIRE(HashOf(decoder.planes()) == playback.hashes[number]);
  }
}

void CheckSound(const PcmTrack& track, const Bounds& bounds) {
  if (track.samples.empty()) return;
  QOLM_REQUIRE(track.channels == 1 || track.channels == 2);
  QOLM_REQUIRE(track.sample_rate != 0);
  QOLM_REQUIRE(track.samples.size() % track.channels == 0);
  QOLM_REQUIRE(track.samples.size() <= bounds.sound_values);
}

void CheckFile(Input input, const Bounds& bounds) {
  std::filesystem::remove(InputPath());
  test::WriteBytes(InputPath(), input);
  ContainerReader reader;
  if (!reader.open(InputPath())) {
    QOLM_REQUIRE(!reader.is_open());
    QOLM_REQUIRE(!reader.failure_reason().empty());
    return;
  }
  CheckReader(reader);
  if (!CostsAMoment(reader, bounds)) return;

  // A small room for cached pictures makes them go, too.
  FrameDecoder decoder(reader, video::PixelOrder::kRgba, 1 << 16);
  const Playback playback = PlayFromStart(decoder, reader, bounds.frames);
  CheckSeeks(decoder, reader, playback, input);

  FrameDecoder sound_first(reader);
  const PcmTrack track = sound_first.decode_audio();
  CheckSound(track, bounds);
  const Playback again = PlayFromStart(sound_first, reader, bounds.frames);
  QOLM_REQUIRE(again.hashes == playback.hashes && again.ended == playback.ended);
  QOLM_REQUIRE(sound_first.decode_audio().samples == track.samples);
  // What was gathered piece by piece on the way is how the whole begins.
  const bool in_pieces = (reader.header().flags & container::kFlagInterleavedAudio) != 0;
  if (in_pieces && reader.audio_block().empty()) {
    const std::vector<int16_t>& gathered = decoder.decode_audio().samples;
    QOLM_REQUIRE(gathered.size() <= track.samples.size());
    QOLM_REQUIRE(std::equal(gathered.begin(), gathered.end(), track.samples.begin()));
  }
  CheckSeeks(sound_first, reader, playback, input);
}

}  // namespace

void File(Input input) { CheckFile(input, kSmall); }

void LargeFile(Input input) { CheckFile(input, kLarge); }

}  // namespace qolm::fuzz
