// SPDX-License-Identifier: MIT
#include "golden/golden_cases.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "audio/audio_coding_mode.h"
#include "base/parallel_for.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "encoder/encoder_session.h"
#include "golden/content_hash.h"
#include "support/container_file.h"

namespace qolm::golden {
namespace {

using encoder::EncodeSettings;

Case Make(std::string name, Scene scene = Scene::kPan) {
  Case made;
  made.name = std::move(name);
  made.scene = scene;
  made.settings.fps_numerator = 25;
  made.settings.fps_denominator = 1;
  // The reserved index would be most of a small file.
  made.settings.fast_start = false;
  return made;
}

Case Sized(int32_t width, int32_t height, Scene scene, uint32_t frames) {
  Case made = Make("size_" + std::to_string(width) + "x" + std::to_string(height), scene);
  made.width = width;
  made.height = height;
  made.frames = frames;
  return made;
}

void AddSizes(std::vector<Case>& cases) {
  cases.push_back(Sized(1, 1, Scene::kNoise, 5));
  cases.push_back(Sized(2, 3, Scene::kNoise, 5));
  cases.push_back(Sized(7, 5, Scene::kNoise, 6));
  cases.push_back(Sized(8, 8, Scene::kPan, 8));
  cases.push_back(Sized(15, 17, Scene::kPan, 8));
  cases.push_back(Sized(16, 16, Scene::kPan, 8));
  cases.push_back(Sized(17, 200, Scene::kPan, 6));
  cases.push_back(Sized(33, 31, Scene::kCuts, 16));
  cases.push_back(Sized(64, 48, Scene::kSlides, 16));
  cases.push_back(Sized(131, 71, Scene::kPan, 10));
  cases.push_back(Sized(176, 144, Scene::kPan, 8));
  cases.push_back(Sized(259, 257, Scene::kCorners, 4));
  cases.push_back(Sized(352, 288, Scene::kPan, 3));
}

void AddQualities(std::vector<Case>& cases) {
  for (const int32_t quality : {1, 10, 30, 49, 50, 75, 90, 100}) {
    Case made = Make("quality_" + std::to_string(quality));
    made.settings.quality = quality;
    made.settings.bidirectional = quality % 20 == 10;
    cases.push_back(made);
  }
}

void AddScenes(std::vector<Case>& cases) {
  cases.push_back(Make("scene_slides", Scene::kSlides));
  cases.push_back(Make("scene_cuts", Scene::kCuts));
  cases.back().frames = 40;
  cases.push_back(Make("scene_fade", Scene::kFade));
  cases.push_back(Make("scene_noise", Scene::kNoise));
  cases.push_back(Make("scene_corners", Scene::kCorners));
  cases.push_back(Make("scene_shrinks"));
  cases.back().shrinks_at = 7;
}

// The calm scene is one for which an adaptive length doubles, up to its cap.
void AddGops(std::vector<Case>& cases) {
  for (const int32_t gop : {-1, 0, 1, 4, 60, 1000}) {
    for (const bool adaptive : {false, true}) {
      const std::string length = gop < 0 ? "negative" : std::to_string(gop);
      Case made = Make((adaptive ? "gop_adaptive_" : "gop_") + length, Scene::kCalm);
      made.width = 48;
      made.height = 32;
      made.frames = gop < 60 ? 14 : 190;
      made.settings.gop_length = gop;
      made.settings.adaptive_gop = adaptive;
      cases.push_back(made);
    }
  }
}

// What a word of the command line switches, against the defaults.
void AddSwitches(std::vector<Case>& cases) {
  const std::vector<std::pair<std::string, void (*)(EncodeSettings&)>> switches = {
      {"defaults", [](EncodeSettings&) {}},
      {"no_vfr", [](EncodeSettings& settings) { settings.vfr = false; }},
      {"no_gabor", [](EncodeSettings& settings) { settings.gabor = false; }},
      {"no_cclc", [](EncodeSettings& settings) { settings.cclc = false; }},
      {"bidirectional", [](EncodeSettings& settings) { settings.bidirectional = true; }},
      {"no_temporal_filter", [](EncodeSettings& settings) { settings.temporal_filter = false; }},
      {"no_flat_blocks", [](EncodeSettings& settings) { settings.flat_blocks = false; }},
      {"no_sparse_levels", [](EncodeSettings& settings) { settings.sparse_levels = false; }},
      {"no_motion_prediction",
       [](EncodeSettings& settings) { settings.motion_prediction = false; }},
      {"no_deblocking", [](EncodeSettings& settings) { settings.deblocking = false; }},
      {"no_pre_analysis", [](EncodeSettings& settings) { settings.pre_analysis = false; }},
  };
  EncodeSettings all = Make({}).settings;
  for (const auto& [name, apply] : switches) {
    const auto add = [&, &word = name, &set = apply](const std::string& kind, Scene scene,
                                                     int32_t quality) {
      Case made = Make(kind + word, scene);
      made.settings.gop_length = 8;
      made.settings.quality = quality;
      set(made.settings);
      cases.push_back(made);
    };
    add("pan_", Scene::kPan, 45);
    add("slides_", Scene::kSlides, 30);
    add("calm_", Scene::kCalm, 90);
    apply(all);
  }
  all.adaptive_gop = false;
  cases.push_back(Make("all_switched"));
  cases.back().settings = all;
  cases.push_back(Make("fast_start"));
  cases.back().settings.fast_start = true;
  cases.back().settings.expected_frame_count = 14;
}

Case WithSound(std::string name, Sound sound, uint32_t sample_rate, uint16_t channels,
               size_t sound_frames) {
  Case made = Make(std::move(name), Scene::kSlides);
  made.width = 32;
  made.height = 24;
  made.settings.gop_length = 5;
  made.settings.adaptive_gop = false;
  made.sound = sound;
  made.sample_rate = sample_rate;
  made.channels = channels;
  made.sound_frames = sound_frames;
  return made;
}

void AddSounds(std::vector<Case>& cases) {
  for (const bool adpcm : {false, true}) {
    const std::string coder = adpcm ? "adpcm_" : "transform_";
    const size_t first = cases.size();
    cases.push_back(WithSound(coder + "mono_8000", Sound::kMixture, 8000, 1, 4401));
    cases.push_back(WithSound(coder + "mono_32000", Sound::kMixture, 32000, 1, 32000));
    cases.push_back(WithSound(coder + "stereo_44100", Sound::kMixture, 44100, 2, 30011));
    cases.push_back(WithSound(coder + "loud", Sound::kLoud, 24000, 2, 9000));
    cases.push_back(WithSound(coder + "silence", Sound::kSilence, 32000, 1, 8000));
    cases.push_back(WithSound(coder + "one_sample", Sound::kLoud, 32000, 1, 1));
    cases.push_back(WithSound(coder + "interleaved", Sound::kMixture, 22050, 1, 14001));
    cases.back().settings.audio_interleave = true;
    cases.push_back(WithSound(coder + "interleaved_stereo", Sound::kMixture, 48000, 2, 26000));
    cases.back().settings.audio_interleave = true;
    cases.back().settings.bidirectional = true;
    for (size_t i = first; i < cases.size(); ++i) {
      cases[i].settings.audio_coding_mode =
          adpcm ? audio::AudioCodingMode::kAdpcm : audio::AudioCodingMode::kTransform;
    }
  }
  cases.push_back(WithSound("sound_switched_off", Sound::kMixture, 32000, 1, 4000));
  cases.back().settings.audio_present = false;
}

// Large enough for several workers, in every coder.
void AddLarge(std::vector<Case>& cases) {
  Case base = Sized(352, 288, Scene::kPan, 4);
  base.name = "large_defaults_ntsc";
  base.settings.fps_numerator = 30000;
  base.settings.fps_denominator = 1001;
  base.sound = Sound::kMixture;
  base.sample_rate = 48000;
  base.channels = 2;
  base.sound_frames = 60000;
  cases.push_back(base);
  base.sound = Sound::kNone;
  base.name = "large_bidirectional";
  base.settings.bidirectional = true;
  cases.push_back(base);
  base.name = "large_no_cclc_quality_85";
  base.settings.bidirectional = false;
  base.settings.cclc = false;
  base.settings.quality = 85;
  base.scene = Scene::kFade;
  cases.push_back(base);
  base.name = "large_odd_cuts";
  base.width = 355;
  base.height = 201;
  base.scene = Scene::kCuts;
  base.frames = 13;
  base.settings.quality = 25;
  cases.push_back(base);
}

uint64_t HashOf(std::span<const uint8_t> bytes) {
  ContentHash hash;
  hash.AddBytes(bytes);
  return hash.value();
}

uint64_t HashOf(const PcmTrack& track) {
  ContentHash hash;
  hash.AddNumber(track.sample_rate);
  hash.AddNumber(track.channels);
  for (const int16_t sample : track.samples) hash.AddNumber(static_cast<uint16_t>(sample));
  return hash.value();
}

std::string Hexadecimal(uint64_t value) {
  std::ostringstream text;
  text << std::hex << value;
  return text.str();
}

}  // namespace

const std::vector<Case>& AllCases() {
  static const std::vector<Case> all = [] {
    std::vector<Case> cases;
    AddSizes(cases);
    AddQualities(cases);
    AddScenes(cases);
    AddGops(cases);
    AddSwitches(cases);
    AddSounds(cases);
    AddLarge(cases);
    return cases;
  }();
  return all;
}

bool MayUseWorkers(const Case& golden_case) {
  const auto samples =
      static_cast<size_t>(golden_case.width) * static_cast<size_t>(golden_case.height);
  return golden_case.sound != Sound::kNone || samples >= kMinParallelSamples;
}

Source MakeSource(const Case& golden_case) {
  Source source;
  for (uint32_t number = 0; number < golden_case.frames; ++number) {
    const int32_t less = number >= golden_case.shrinks_at ? 16 : 0;
    source.frames.push_back(
        SceneFrame(golden_case.scene, golden_case.width - less, golden_case.height - less, number));
  }
  source.sound = SoundTrack(golden_case.sound, golden_case.sample_rate, golden_case.channels,
                            golden_case.sound_frames);
  return source;
}

void WriteCase(const Case& golden_case, const Source& source, const std::filesystem::path& path) {
  EncodeSettings settings = golden_case.settings;
  settings.width = golden_case.width;
  settings.height = golden_case.height;
  encoder::EncoderSession session(settings);
  session.set_audio(source.sound);
  bool good = session.open_output(path);
  for (const VideoFrame& frame : source.frames) good = good && session.encode_frame(frame);
  good = session.finish() && good && !session.stream_error();
  if (!good) throw std::runtime_error(golden_case.name + " could not be written");
}

Decoded DecodeFile(const std::filesystem::path& path) {
  container::ContainerReader reader;
  if (!reader.open(path)) throw std::runtime_error(path.string() + ": " + reader.failure_reason());
  decoder::FrameDecoder decoder(reader);
  Decoded decoded;
  ContentHash hash;
  decoder::OutputFrame frame;
  while (decoder.next_frame(frame)) {
    ++decoded.frames;
    const video::YuvPlanes& planes = decoder.planes();
    hash.AddNumber(planes.width);
    hash.AddNumber(planes.height);
    for (const auto* plane : {&planes.y, &planes.cb, &planes.cr}) hash.AddBytes(*plane);
    hash.AddBytes(frame.pixels);
  }
  if (decoder.stream_end() != decoder::StreamEnd::kComplete) {
    throw std::runtime_error(path.string() + " ends after " + std::to_string(decoded.frames) +
                             " frames");
  }
  decoded.pictures = hash.value();
  decoded.sound = HashOf(decoder.decode_audio());
  return decoded;
}

Expected Measure(const std::string& name, const std::filesystem::path& path) {
  const std::vector<uint8_t> bytes = test::ReadBytes(path);
  return {name, bytes.size(), HashOf(bytes), DecodeFile(path)};
}

std::string Line(const Expected& expected) {
  return expected.name + ' ' + std::to_string(expected.bytes) + ' ' + Hexadecimal(expected.file) +
         ' ' + std::to_string(expected.decoded.frames) + ' ' +
         Hexadecimal(expected.decoded.pictures) + ' ' + Hexadecimal(expected.decoded.sound);
}

std::vector<Expected> ReadList(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path.string() + " cannot be read");
  std::vector<Expected> list;
  std::string line;
  while (std::getline(file, line)) {
    if (line.starts_with('#')) continue;
    Expected entry;
    std::istringstream words(line);
    words >> entry.name >> entry.bytes >> std::hex >> entry.file >> std::dec >>
        entry.decoded.frames >> std::hex >> entry.decoded.pictures >> entry.decoded.sound;
    if (!words) throw std::runtime_error(path.string() + ": " + line);
    list.push_back(entry);
  }
  return list;
}

const Expected* Find(const std::vector<Expected>& list, const std::string& name) {
  const auto found = std::find_if(list.begin(), list.end(),
                                  [&](const Expected& entry) { return entry.name == name; });
  return found == list.end() ? nullptr : &*found;
}

}  // namespace qolm::golden
