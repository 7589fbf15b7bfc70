// SPDX-License-Identifier: MIT
//
// Writes the inputs that fuzzing starts from, one folder for each target:
//
//   fuzz_seeds <folder>
//
// They come from the tree's own coders, so they follow every change of the format.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "audio/audio_coder.h"
#include "base/byte_order.h"
#include "container/layout.h"
#include "encoder/encoder_session.h"
#include "entropy/coefficient_stream.h"
#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"
#include "entropy/rans.h"
#include "support/container_file.h"
#include "support/front_index.h"
#include "support/moving_picture.h"
#include "support/numbered_picture.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"

namespace qolm::fuzz {
namespace {

using Bytes = std::vector<uint8_t>;

std::filesystem::path seeds;

std::filesystem::path SeedPath(std::string_view target, const std::string& name) {
  const std::filesystem::path folder = seeds / target;
  std::filesystem::create_directories(folder);
  return folder / name;
}

void Save(std::string_view target, const std::string& name, const Bytes& bytes) {
  test::WriteBytes(SeedPath(target, name), bytes);
}

Bytes PseudoRandomBytes(uint32_t state, size_t count) {
  Bytes bytes;
  for (size_t i = 0; i < count; ++i) {
    state = state * 1664525 + 1013904223;
    bytes.push_back(static_cast<uint8_t>(state >> 24));
  }
  return bytes;
}

// Mostly zeros, as levels are, with a few values of every kind.
std::vector<int16_t> SparseValues(size_t count) {
  std::vector<int16_t> values(count);
  const Bytes chance = PseudoRandomBytes(3, 2 * count);
  for (size_t i = 0; i < count; ++i) {
    if (chance[2 * i] < 30) values[i] = static_cast<int16_t>(chance[2 * i + 1] % 9 - 4);
    if (chance[2 * i] == 77) values[i] = static_cast<int16_t>(chance[2 * i + 1] * 8 - 900);
  }
  return values;
}

Bytes WithCount(size_t count, const Bytes& rest) {
  Bytes bytes(2 + rest.size());
  StoreLe16(bytes.data(), static_cast<uint16_t>(count));
  std::copy(rest.begin(), rest.end(), bytes.begin() + 2);
  return bytes;
}

void MakeEntropySeeds() {
  const Bytes inputs[] = {{},
                          {7},
                          Bytes(300, 9),
                          PseudoRandomBytes(1, 40),
                          entropy::EncodeCoefficientTokens(SparseValues(1500))};
  for (size_t i = 0; i < std::size(inputs); ++i) {
    const std::string name = std::to_string(i);
    const Bytes stream = entropy::RansEncodeBytes(inputs[i]);
    Save("rans", name, stream);
    if (stream.size() > 4) Save("frequency_table", name, {stream.begin() + 4, stream.end()});
    Save("context_rans", name, entropy::ContextRansEncode(inputs[i]));
  }
  for (const size_t count :
       {size_t{0}, size_t{1}, size_t{63}, size_t{64}, size_t{200}, size_t{1500}}) {
    const std::vector<int16_t> values = SparseValues(count);
    const std::string name = std::to_string(count);
    Save("coefficient_tokens", name, WithCount(count, entropy::EncodeCoefficientTokens(values)));
    Save("coefficient_stream", name, WithCount(count, entropy::EncodeCoefficients(values)));
  }
}

Bytes WithFlags(uint8_t flags, const Bytes& payload) {
  Bytes bytes(1 + payload.size(), flags);
  std::copy(payload.begin(), payload.end(), bytes.begin() + 1);
  return bytes;
}

// The flag bytes are those of the picture targets.
void MakePictureSeeds() {
  constexpr std::array<std::array<uint32_t, 2>, 4> kSizes = {{{1, 1}, {17, 11}, {40, 33}, {3, 70}}};
  uint8_t flags = 0;
  for (const auto& size : kSizes) {
    const uint32_t width = size[0];
    const uint32_t height = size[1];
    for (const int32_t quality : {10, 90}) {
      flags = static_cast<uint8_t>((flags + 5) % 16 & ~4);
      const std::string name =
          std::to_string(width) + "x" + std::to_string(height) + "-" + std::to_string(quality);
      const auto picture = [&](uint32_t number) {
        return test::MovingPicture(width, height, number);
      };
      video::KeyFrameOptions key;
      key.quality = quality;
      key.cclc = (flags & 1) != 0;
      key.deblocking = (flags & 2) != 0;
      video::YuvPlanes reference;
      Save("key_frame", name, WithFlags(flags, video::EncodeKeyFrame(picture(0), key, reference)));
      video::InterFrameOptions inter;
      inter.quality = quality;
      inter.motion_prediction = (flags & 1) != 0;
      inter.deblocking = (flags & 2) != 0;
      reference = picture(0);
      Save("predicted_frame", name,
           WithFlags(flags, video::EncodeInterFrame(picture(1), inter, reference)));
      Save("bidirectional_frame", name,
           WithFlags(flags,
                     video::EncodeBidirectionalFrame(picture(1), inter, picture(0), picture(2))));
    }
  }
}

std::vector<int16_t> Tone(size_t values) {
  std::vector<int16_t> samples(values);
  for (size_t i = 0; i < values; ++i) {
    samples[i] = static_cast<int16_t>(9000 * std::sin(0.21 * static_cast<double>(i)));
  }
  return samples;
}

Bytes SoundPayload(uint32_t rate, uint32_t channels, size_t values, audio::AudioCodingMode mode) {
  const std::vector<int16_t> samples = Tone(values);
  Bytes payload;
  if (!audio::EncodeAudio({rate, channels, samples}, mode, payload)) payload.clear();
  return payload;
}

void MakeSoundSeeds() {
  for (const uint32_t channels : {1u, 2u}) {
    for (const size_t values : {size_t{1}, size_t{161}, size_t{700}}) {
      const std::string name = std::to_string(channels) + "-" + std::to_string(values);
      Save("adpcm_audio", name,
           SoundPayload(8000, channels, values, audio::AudioCodingMode::kAdpcm));
      Save("transform_audio", name,
           SoundPayload(8000, channels, values, audio::AudioCodingMode::kTransform));
    }
  }
}

// Files of few and tiny records, since a fuzzer's rate is that of its inputs: each
// has one thing to change.
bool MakeShortFiles() {
  constexpr uint16_t kWidth = 17;
  constexpr uint16_t kHeight = 9;
  const auto picture = [](uint32_t number) { return test::MovingPicture(kWidth, kHeight, number); };
  const auto sound = [](audio::AudioCodingMode mode) {
    return test::Sound(SoundPayload(3200, 1, 70, mode));
  };
  const auto save = [](const std::string& name, container::FileHeader header,
                       std::span<const test::Record> records,
                       const test::FileOptions& options = {}) {
    header.frame_count = test::FrameCount(records);
    const std::filesystem::path path = SeedPath("file", name);
    return test::WriteContainerFile(path, header, records, options);
  };
  container::FileHeader header = test::PlainHeader(kWidth, kHeight);
  test::PictureCoder plain(header.flags, 40);
  const std::vector<test::Record> still = {plain.Key(picture(0)), test::Repeat(3)};
  if (!save("still", header, still)) return false;
  const Bytes trailing = test::ReadBytes(SeedPath("file", "still"));
  Save("file", "still-front-index", test::WithFrontIndex(trailing, 3));
  Save("file", "still-no-index", {trailing.begin(), trailing.end() - 4 - 8 * ptrdiff_t{2}});
  Save("file", "still-unfinished", {trailing.begin(), trailing.end() - 4 - 8 * ptrdiff_t{3}});
  if (!save("nothing-shown", header, std::span(still).last(1))) return false;
  const test::FileOptions block{false,
                                SoundPayload(3200, 2, 140, audio::AudioCodingMode::kTransform)};
  if (!save("audio-block", header, still, block)) return false;
  const std::vector<test::Record> moving = {plain.Key(picture(0)), plain.Predicted(picture(1)),
                                            test::Repeat(2), plain.Predicted(picture(2))};
  if (!save("moving", header, moving)) return false;
  const test::Record key = plain.Key(picture(0));
  const std::vector<test::Record> keys = {key, plain.Key(test::MovingPicture(8, 20, 1)),
                                          test::Repeat(2), key};
  if (!save("two-sizes", header, keys)) return false;

  header.flags |= container::kFlagInterleavedAudio;
  const std::vector<test::Record> pieces = {sound(audio::AudioCodingMode::kTransform), key,
                                            test::Repeat(1), sound(audio::AudioCodingMode::kAdpcm),
                                            key};
  if (!save("sound-in-pieces", header, pieces)) return false;

  header = test::PlainHeader(kWidth, kHeight);
  header.flags |= container::kFlagCclc | container::kFlagDeblocking |
                  container::kFlagMotionPrediction | container::kFlagBidirectional;
  test::PictureCoder held(header.flags, 40);
  std::vector<test::Record> between = {held.Key(picture(0)), held.Predicted(picture(2)),
                                       held.Bidirectional(picture(1)), test::Repeat(2)};
  between[1].frame_no = 2;
  between[2].frame_no = 1;
  between[3].frame_no = 3;
  if (!save("between", header, between)) return false;
  // Not every standard library can copy over what an earlier run left.
  std::filesystem::remove_all(seeds / "large_file");
  std::filesystem::copy(seeds / "file", seeds / "large_file",
                        std::filesystem::copy_options::recursive);
  return true;
}

// Records of every type that takes no held frame.
bool MakeRecordFile() {
  constexpr uint16_t kWidth = 18;
  constexpr uint16_t kHeight = 21;
  container::FileHeader header = test::PlainHeader(kWidth, kHeight);
  header.flags |= container::kFlagCclc | container::kFlagDeblocking |
                  container::kFlagMotionPrediction | container::kFlagInterleavedAudio;
  test::PictureCoder coder(header.flags, 30);
  const auto picture = [](uint32_t number) { return test::MovingPicture(kWidth, kHeight, number); };
  const std::vector<test::Record> records = {
      coder.Key(picture(0)),
      coder.Predicted(picture(1)),
      test::Repeat(3),
      test::Sound(SoundPayload(3200, 1, 300, audio::AudioCodingMode::kTransform)),
      coder.Predicted(picture(2)),
      test::Sound(SoundPayload(3200, 1, 90, audio::AudioCodingMode::kAdpcm)),
      coder.Key(picture(9)),
      test::Repeat(20),
      coder.Predicted(picture(11)),
  };
  header.frame_count = test::FrameCount(records);
  return test::WriteContainerFile(SeedPath("large_file", "records"), header, records);
}

// Sound in pieces, held frames and repeat runs, as the encoder lays them out.
bool MakeSessionFile() {
  encoder::EncodeSettings settings;
  settings.width = test::kNumberedWidth;
  settings.height = test::kNumberedHeight;
  settings.fps_numerator = 25;
  settings.fps_denominator = 1;
  settings.bidirectional = true;
  settings.fast_start = false;
  settings.audio_interleave = true;
  settings.gop_length = 9;
  settings.adaptive_gop = false;
  encoder::EncoderSession session(settings);
  session.set_audio({3200, 1, Tone(2000)});
  if (!session.open_output(SeedPath("large_file", "session"))) return false;
  for (const uint32_t number : {1U, 2U, 3U, 3U, 3U, 4U, 5U, 5U, 6U, 7U, 7U, 8U, 9U, 10U, 11U}) {
    session.encode_frame(test::NumberedFrame(number));
  }
  return session.finish() && !session.stream_error();
}

void MakeScriptSeeds() {
  for (uint32_t i = 0; i < 12; ++i) {
    const std::string name = std::to_string(i);
    Save("round_trip", name, PseudoRandomBytes(i + 1, 60 + 25 * size_t{i}));
    Save("video_source", name, PseudoRandomBytes(i + 100, 100 + 40 * size_t{i}));
    Save("audio_source", name, PseudoRandomBytes(i + 200, 60 + 30 * size_t{i}));
    Save("row_layout", name, PseudoRandomBytes(i + 300, 20));
#ifdef QOLM_FUZZ_FFMPEG
    Save("source", name, PseudoRandomBytes(i + 400, 60 + 60 * size_t{i}));
#endif
  }
  // A whole picture in rows that are there, and a sound that nobody refuses.
  Save("video_source", "plain", {0, 7, 5, 0, 0, 0, 0, 0x80, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 1});
  Save("audio_source", "plain", {0, 1, 4, 0, 0, 0, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8});
}

void SaveText(std::string_view target, const std::string& name, std::string_view words) {
  Bytes bytes;
  for (const char c : words) bytes.push_back(c == ' ' ? uint8_t{0} : static_cast<uint8_t>(c));
  Save(target, name, bytes);
}

void MakeOptionSeeds() {
  SaveText("encode_options", "numbers", "--quality 60 --gop -5 --frames 2147483647");
  SaveText("encode_options", "past", "--quality 2147483648 --gop x --frames");
  SaveText("encode_options", "switches",
           "--no-vfr --no-gabor --monolithic --no-cclc --interleave --bidirectional "
           "--no-adaptive-gop --no-temporal-filter --no-flat-blocks --no-sparse-levels "
           "--no-motion-prediction --no-deblocking --no-pre-analysis");
  SaveText("encode_options", "sound", "--audio cd --audio-mode adpcm --audio speech --no-audio");
  SaveText("export_options", "picture", "a.qolm b.png --frame 3");
  SaveText("export_options", "sheet", "a.qolm b.PNG --sheet 6x4");
  SaveText("export_options", "time", "a.qolm b.png --time 1.5e1");
  SaveText("export_options", "pipe", "a.qolm - --y4m");
  SaveText("export_options", "sound", "a.qolm b.wav");
  SaveText("export_options", "help", "--help");
}

}  // namespace

// False when a file could not be written.
static bool MakeSeeds(const std::filesystem::path& folder) {
  seeds = folder;
  MakeEntropySeeds();
  MakePictureSeeds();
  MakeSoundSeeds();
  MakeScriptSeeds();
  MakeOptionSeeds();
  return MakeShortFiles() && MakeRecordFile() && MakeSessionFile();
}

}  // namespace qolm::fuzz

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds <folder>\n");
    return 1;
  }
  if (!qolm::fuzz::MakeSeeds(argv[1])) {
    std::fprintf(stderr, "fuzz_seeds: cannot write under %s\n", argv[1]);
    return 1;
  }
  return 0;
}
