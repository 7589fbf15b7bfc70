// SPDX-License-Identifier: MIT
//
// Pictures and sound for the golden cases, made of integers alone, so that every
// machine makes the same.
#ifndef QOLM_TESTS_GOLDEN_GOLDEN_SOURCES_H_
#define QOLM_TESTS_GOLDEN_GOLDEN_SOURCES_H_

#include <cstddef>
#include <cstdint>

#include "audio/pcm_track.h"
#include "video/picture/video_frame.h"

namespace qolm::golden {

enum class Scene {
  kPan,      // a texture that moves under a box, which moves otherwise
  kSlides,   // still for 5 frames, with faint noise, then another picture in part
  kCuts,     // another place every 12 frames, slow motion between
  kFade,     // a still texture that grows brighter, with a moving light
  kCalm,     // faint stripes on flat ground, over which a small box moves
  kNoise,    // nothing to predict
  kCorners,  // black, white and primary colours in hard-edged blocks that jump
};

// Frame `number` of the scene.
VideoFrame SceneFrame(Scene scene, int32_t width, int32_t height, uint32_t number);

enum class Sound {
  kNone,
  kMixture,  // notes that fall in loudness, with noise between
  kLoud,     // square waves over the whole range
  kSilence,
};

// `frames` samples in each channel, which differ where there are two.
PcmTrack SoundTrack(Sound sound, uint32_t sample_rate, uint16_t channels, size_t frames);

}  // namespace qolm::golden

#endif  // QOLM_TESTS_GOLDEN_GOLDEN_SOURCES_H_
