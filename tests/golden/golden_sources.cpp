// SPDX-License-Identifier: MIT
#include "golden/golden_sources.h"

#include <algorithm>
#include <array>

#include "support/moving_picture.h"

namespace qolm::golden {
namespace {

using Colour = std::array<uint8_t, 3>;

struct Place {
  uint32_t x;
  uint32_t y;
  uint32_t width;
  uint32_t height;
};

uint32_t Grain(uint32_t x, uint32_t y, uint32_t salt) {
  uint32_t grain = (x + 1) * 2654435761U ^ (y + 7) * 2246822519U ^ (salt + 3) * 3266489917U;
  grain = (grain ^ grain >> 15) * 2246822519U;
  return grain ^ grain >> 13;
}

uint8_t Brighter(uint8_t sample, uint32_t by) {
  return static_cast<uint8_t>(std::min(uint32_t{sample} + by, 255U));
}

Colour Texture(uint32_t x, uint32_t y, uint32_t salt) {
  return {test::SceneSample(x, y, salt), test::SceneSample(x + 3, y / 2 + 5, salt + 40),
          test::SceneSample(x / 2 + 11, y, salt + 80)};
}

Colour PanColour(const Place& at, uint32_t number) {
  const uint32_t left = 3 + 2 * number;
  const bool in_box = at.x >= left && at.x < left + at.width / 4 + 2 && at.y >= at.height / 4 &&
                      at.y < at.height / 2;
  if (in_box) return {225, static_cast<uint8_t>(90 + at.y % 16), 40};
  return Texture(at.x + 3 * number, at.y + number, 1);
}

Colour SlideColour(const Place& at, uint32_t number) {
  const uint32_t slide = number / 5;
  const bool changed = at.y < at.height / 2 && at.x / 8 % 3 == slide % 3;
  Colour colour = Texture(at.x, at.y, changed ? 100 + slide : 7);
  if (number % 5 == 3 && Grain(at.x, at.y, number) % 61 == 0) colour[1] = Brighter(colour[1], 2);
  return colour;
}

Colour FadeColour(const Place& at, uint32_t number) {
  Colour colour = Texture(at.x, at.y, 3);
  const uint32_t light = number * 5 % (at.width + 9);
  const uint32_t distance = at.x > light ? at.x - light : light - at.x;
  const uint32_t glow = distance < 12 ? 60 - 5 * distance : 0;
  for (uint8_t& sample : colour) sample = Brighter(sample, number + glow);
  return colour;
}

Colour CalmColour(const Place& at, uint32_t number) {
  const uint32_t left = 3 * number % at.width;
  const uint32_t top = at.height / 3;
  const bool in_box = at.x >= left && at.x < left + 6 && at.y >= top && at.y < top + at.height / 4;
  if (in_box) return {200, 60, static_cast<uint8_t>(30 + 10 * (at.y - top) % 200)};
  const auto ground = static_cast<uint8_t>(90 + 4 * (at.x / 8 + at.y / 8) + at.x % 2 * 5);
  return {ground, ground, ground};
}

Colour NoiseColour(const Place& at, uint32_t number) {
  const uint32_t grain = Grain(at.x, at.y, 1000 + number);
  return {static_cast<uint8_t>(grain), static_cast<uint8_t>(grain >> 8),
          static_cast<uint8_t>(grain >> 16)};
}

Colour CornerColour(const Place& at, uint32_t number) {
  const uint32_t block = Grain(at.x / 13, at.y / 11, number / 3) % 8;
  const auto level = [block](uint32_t bit) -> uint8_t { return (block >> bit & 1) != 0 ? 255 : 0; };
  return {level(0), level(1), level(2)};
}

Colour ColourOf(Scene scene, const Place& at, uint32_t number) {
  switch (scene) {
    case Scene::kPan:
      return PanColour(at, number);
    case Scene::kSlides:
      return SlideColour(at, number);
    case Scene::kCuts:
      return Texture(at.x + number % 12, at.y + 70 * (number / 12), 200 * (number / 12) + 5);
    case Scene::kFade:
      return FadeColour(at, number);
    case Scene::kCalm:
      return CalmColour(at, number);
    case Scene::kNoise:
      return NoiseColour(at, number);
    case Scene::kCorners:
      return CornerColour(at, number);
  }
  return {};
}

// Every note is a triangle, so that its partials fall off.
int32_t Note(uint32_t at, uint32_t period) {
  const auto phase = static_cast<int32_t>(at % period);
  const auto length = static_cast<int32_t>(period);
  const int32_t folded = phase < length / 2 ? phase : length - phase;
  return folded * 40000 / length - 10000;
}

int32_t MixtureSample(uint32_t at, uint32_t channel, uint32_t sample_rate) {
  const uint32_t note_length = sample_rate / 4 + 1;
  const uint32_t note = at / note_length;
  const uint32_t age = at % note_length;
  const uint32_t period = sample_rate / (110 + 55 * (note % 7)) + 2;
  const auto loudness = static_cast<int32_t>(64 - 60 * uint64_t{age} / note_length);
  const auto noise = static_cast<int32_t>(Grain(at, channel, note) % 1200) - 600;
  return Note(at + 5 * channel, period) * loudness / 64 + (note % 2 == channel ? noise : 0);
}

int16_t SoundSample(Sound sound, uint32_t at, uint32_t channel, uint32_t sample_rate) {
  if (sound == Sound::kSilence) return 0;
  if (sound == Sound::kLoud) return at / (20 + 17 * channel) % 2 == 0 ? 32767 : -32768;
  return static_cast<int16_t>(MixtureSample(at, channel, sample_rate));
}

}  // namespace

VideoFrame SceneFrame(Scene scene, int32_t width, int32_t height, uint32_t number) {
  VideoFrame frame{.width = width, .height = height, .pixels = {}};
  const auto columns = static_cast<uint32_t>(width);
  const auto rows = static_cast<uint32_t>(height);
  frame.pixels.reserve(size_t{4} * columns * rows);
  for (uint32_t y = 0; y < rows; ++y) {
    for (uint32_t x = 0; x < columns; ++x) {
      const Colour colour = ColourOf(scene, {x, y, columns, rows}, number);
      frame.pixels.insert(frame.pixels.end(), {colour[0], colour[1], colour[2], 255});
    }
  }
  return frame;
}

PcmTrack SoundTrack(Sound sound, uint32_t sample_rate, uint16_t channels, size_t frames) {
  PcmTrack track;
  if (sound == Sound::kNone) return track;
  track.sample_rate = sample_rate;
  track.channels = channels;
  track.samples.reserve(frames * channels);
  for (uint32_t at = 0; at < frames; ++at) {
    for (uint32_t channel = 0; channel < channels; ++channel) {
      track.samples.push_back(SoundSample(sound, at, channel, sample_rate));
    }
  }
  return track;
}

}  // namespace qolm::golden
