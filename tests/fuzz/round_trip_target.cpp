// SPDX-License-Identifier: MIT
//
// A script of settings, pictures and sound goes through the encoder; what the
// decoder makes of the file is held against what the encoder kept.
//
// The scripts are short: small pictures, few frames. A picture is the one before
// it, changed a little, so that repeat runs, predicted frames and cuts all occur.
#include <algorithm>
#include <filesystem>
#include <vector>

#include "audio/audio_coding_mode.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "encoder/encoder_session.h"
#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"

namespace qolm::fuzz {
namespace {

using container::RecordHeader;
using container::RecordType;
using video::YuvPlanes;

constexpr size_t kMostFrames = 11;
constexpr uint32_t kMostWidth = 36;   // pixels
constexpr uint32_t kMostHeight = 26;  // pixels
constexpr size_t kSeeks = 3;

const std::filesystem::path& OutputPath() {
  static const test::TemporaryFolder folder;
  static const std::filesystem::path path = folder / "output.qolm";
  return path;
}

encoder::EncodeSettings ReadSettings(InputReader& reader) {
  encoder::EncodeSettings settings;
  settings.width = static_cast<int32_t>(reader.Between(1, kMostWidth));
  settings.height = static_cast<int32_t>(reader.Between(1, kMostHeight));
  const uint8_t switches = reader.Byte();
  settings.vfr = (switches & 1) != 0;
  settings.bidirectional = (switches & 2) != 0;
  settings.cclc = (switches & 4) != 0;
  settings.temporal_filter = (switches & 8) != 0;
  settings.flat_blocks = (switches & 16) != 0;
  settings.sparse_levels = (switches & 32) != 0;
  settings.motion_prediction = (switches & 64) != 0;
  settings.deblocking = (switches & 128) != 0;
  const uint8_t more_switches = reader.Byte();
  settings.adaptive_gop = (more_switches & 1) != 0;
  settings.pre_analysis = (more_switches & 2) != 0;
  settings.audio_present = (more_switches & 4) != 0;
  settings.audio_interleave = (more_switches & 8) != 0;
  settings.audio_coding_mode = (more_switches & 16) != 0 ? audio::AudioCodingMode::kAdpcm
                                                         : audio::AudioCodingMode::kTransform;
  // The reserved index is 64 KiB, so most scripts go without.
  settings.fast_start = (more_switches & 0xE0) == 0xE0;
  settings.quality = static_cast<int32_t>(reader.Between(0, 110)) - 4;
  settings.gop_length = static_cast<int32_t>(reader.Between(0, 40)) - 1;
  settings.fps_numerator = static_cast<int32_t>(reader.Between(0, 60));
  settings.fps_denominator = static_cast<int32_t>(reader.Between(0, 3));
  settings.expected_frame_count = static_cast<int32_t>(reader.Between(0, 20));
  return settings;
}

PcmTrack ReadSound(InputReader& reader) {
  constexpr uint32_t kRates[] = {0, 1, 640, 3199, 3200, 3201, 4000, 8000};
  PcmTrack track;
  track.sample_rate = kRates[reader.Between(0, 7)];
  track.channels = static_cast<uint16_t>(reader.Between(0, 2));
  uint32_t grain = reader.Word();
  const size_t values = size_t{reader.Byte()} * reader.Between(0, 6);
  for (size_t i = 0; i < values; ++i) {
    grain = grain * 1664525 + 1013904223;
    track.samples.push_back(static_cast<int16_t>((grain >> 16) >> (grain >> 28)));
  }
  return track;
}

class PictureScript {
 public:
  PictureScript(int32_t width, int32_t height) { Resize(width, height); }

  const VideoFrame& Next(InputReader& reader) {
    const uint8_t change = reader.Byte();
    switch (change % 8) {
      case 0:
        break;
      case 1:
        Fill(0, 0, frame_.width, frame_.height, reader.Word());
        break;
      case 2:
        Scene(reader.Byte());
        break;
      case 3:
        Shift(reader.Byte());
        break;
      case 4:
        Noise(reader.Word(), reader.Byte());
        break;
      case 5: {
        const auto x = static_cast<int32_t>(reader.Byte()) % frame_.width;
        const auto y = static_cast<int32_t>(reader.Byte()) % frame_.height;
        Fill(x, y, frame_.width / 2, frame_.height / 3, reader.Word());
        break;
      }
      case 6:
        Raw(reader.Bytes(size_t{4} * reader.Byte()));
        break;
      default:
        // Another size makes a key frame.
        if (change >= 240) {
          const auto width = static_cast<int32_t>(reader.Between(1, kMostWidth));
          Resize(width, static_cast<int32_t>(reader.Between(1, kMostHeight)));
        }
        Scene(change);
    }
    return frame_;
  }

 private:
  uint8_t* Pixel(int32_t x, int32_t y) {
    return frame_.pixels.data() + 4 * (static_cast<size_t>(y) * static_cast<size_t>(frame_.width) +
                                       static_cast<size_t>(x));
  }

  void Resize(int32_t width, int32_t height) {
    frame_.width = width;
    frame_.height = height;
    frame_.pixels.assign(size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height), 255);
  }

  void Fill(int32_t left, int32_t top, int32_t width, int32_t height, uint32_t color) {
    for (int32_t y = top; y < std::min(top + height, frame_.height); ++y) {
      for (int32_t x = left; x < std::min(left + width, frame_.width); ++x) {
        for (int c = 0; c < 3; ++c) Pixel(x, y)[c] = static_cast<uint8_t>(color >> (8 * c));
      }
    }
  }

  void Scene(uint32_t salt) {
    for (int32_t y = 0; y < frame_.height; ++y) {
      for (int32_t x = 0; x < frame_.width; ++x) {
        for (uint32_t c = 0; c < 3; ++c) {
          Pixel(x, y)[c] =
              test::SceneSample(static_cast<uint32_t>(x), static_cast<uint32_t>(y), salt * (c + 1));
        }
      }
    }
  }

  void Shift(uint8_t by) {
    const size_t distance =
        (size_t{4} * (by % 8) + 4 * static_cast<size_t>(frame_.width) * (by / 64)) %
        frame_.pixels.size();
    std::rotate(frame_.pixels.begin(), frame_.pixels.begin() + static_cast<ptrdiff_t>(distance),
                frame_.pixels.end());
  }

  void Noise(uint32_t grain, uint8_t strength) {
    for (size_t i = 0; i < frame_.pixels.size(); ++i) {
      grain = grain * 1664525 + 1013904223;
      if (i % 4 != 3) {
        frame_.pixels[i] = static_cast<uint8_t>(frame_.pixels[i] + (grain >> 24) % (strength + 1U));
      }
    }
  }

  void Raw(Input bytes) {
    const size_t count = std::min(bytes.size(), frame_.pixels.size());
    for (size_t i = 0; i < count; ++i) {
      if (i % 4 != 3) frame_.pixels[i] = bytes[i];
    }
  }

  VideoFrame frame_;
};

// What a whole script was encoded to, and what the session knew on the way.
struct Encoded {
  std::vector<YuvPlanes> references;  // after each frame, and after the end
  int32_t skipped = 0;
};

Encoded Encode(const encoder::EncodeSettings& settings, const PcmTrack& sound,
               InputReader& reader) {
  Encoded encoded;
  encoder::EncoderSession session(settings);
  session.set_audio(sound);
  QOLM_REQUIRE(session.open_output(OutputPath()));
  PictureScript pictures(settings.width, settings.height);
  const size_t frames = reader.Between(0, kMostFrames);
  for (size_t i = 0; i < frames; ++i) {
    QOLM_REQUIRE(session.encode_frame(pictures.Next(reader)));
    encoded.references.push_back(session.reference_planes());
  }
  encoded.skipped = session.frames_skipped();
  QOLM_REQUIRE(session.finish());
  QOLM_REQUIRE(!session.stream_error());
  encoded.references.push_back(session.reference_planes());
  return encoded;
}

std::vector<YuvPlanes> DecodeAll(container::ContainerReader& reader) {
  decoder::FrameDecoder decoder(reader);
  std::vector<YuvPlanes> pictures;
  while (decoder.next_planes()) pictures.push_back(decoder.planes());
  QOLM_REQUIRE(decoder.stream_end() == decoder::StreamEnd::kComplete);
  return pictures;
}

std::vector<RecordHeader> VideoRecords(const container::ContainerReader& reader) {
  std::vector<RecordHeader> records;
  for (const uint64_t offset : reader.index()) {
    RecordHeader record;
    QOLM_REQUIRE(reader.read_record_header(offset, record));
    if (record.type != RecordType::kAudio) records.push_back(record);
  }
  return records;
}

// Every anchor is what the encoder kept of it. Of a frame that was held and then
// coded ahead of a key frame the encoder has kept nothing by the time one can ask.
void CheckPictures(const std::vector<RecordHeader>& records, const Encoded& encoded,
                   const std::vector<YuvPlanes>& decoded, bool bidirectional) {
  size_t repeated = 0;
  for (size_t i = 0; i < records.size(); ++i) {
    const size_t number = records[i].frame_no;
    const bool has_next = i + 1 < records.size();
    if (records[i].type == RecordType::kRepeatRun) {
      repeated += records[i].count;
      for (size_t frame = number; frame < number + records[i].count; ++frame) {
        QOLM_REQUIRE(frame >= 1 && test::SamePicture(decoded[frame], decoded[frame - 1]));
      }
    } else if (records[i].type == RecordType::kBidirectionalFrame) {
      QOLM_REQUIRE(bidirectional && i > 0 && records[i - 1].frame_no > number);
    } else {
      const bool coded_at_once =
          !bidirectional || records[i].type == RecordType::kKeyFrame ||
          (has_next && records[i + 1].type == RecordType::kBidirectionalFrame);
      const bool coded_at_the_end = std::all_of(
          records.begin() + static_cast<ptrdiff_t>(i) + 1, records.end(),
          [](const RecordHeader& record) { return record.type == RecordType::kRepeatRun; });
      if (coded_at_once) {
        QOLM_REQUIRE(test::SamePicture(decoded[number], encoded.references[number]));
      } else if (coded_at_the_end) {
        QOLM_REQUIRE(test::SamePicture(decoded[number], encoded.references.back()));
      }
    }
  }
  QOLM_REQUIRE(repeated == static_cast<size_t>(encoded.skipped));
}

void CheckSound(const encoder::EncodeSettings& settings, const PcmTrack& sound,
                container::ContainerReader& reader) {
  decoder::FrameDecoder decoder(reader);
  const PcmTrack& decoded = decoder.decode_audio();
  const bool stored = settings.audio_present && sound.sample_rate != 0 && sound.channels != 0;
  const size_t whole = stored ? sound.samples.size() - sound.samples.size() % sound.channels : 0;
  QOLM_REQUIRE(decoded.samples.size() == whole);
  if (whole == 0) return;
  QOLM_REQUIRE(decoded.sample_rate == sound.sample_rate && decoded.channels == sound.channels);
}

void CheckSeeks(container::ContainerReader& reader, const std::vector<YuvPlanes>& pictures,
                InputReader& script) {
  if (pictures.empty()) return;
  decoder::FrameDecoder decoder(reader);
  for (size_t i = 0; i < kSeeks; ++i) {
    const size_t number = (script.Byte() + i * 5 + 3) % pictures.size();
    QOLM_REQUIRE(decoder.seek_to_frame(static_cast<int32_t>(number)) && decoder.next_planes());
    QOLM_REQUIRE(test::SamePicture(decoder.planes(), pictures[number]));
  }
}

}  // namespace

void RoundTrip(Input input) {
  InputReader script(input);
  const encoder::EncodeSettings settings = ReadSettings(script);
  const PcmTrack sound = ReadSound(script);
  const Encoded encoded = Encode(settings, sound, script);

  container::ContainerReader reader;
  QOLM_REQUIRE(reader.open(OutputPath()));
  const std::vector<YuvPlanes> decoded = DecodeAll(reader);
  const size_t frames = encoded.references.size() - 1;
  QOLM_REQUIRE(decoded.size() == frames);
  QOLM_REQUIRE(reader.header().frame_count == frames);
  CheckPictures(VideoRecords(reader), encoded, decoded, settings.bidirectional);
  CheckSound(settings, sound, reader);
  CheckSeeks(reader, decoded, script);
}

}  // namespace qolm::fuzz
