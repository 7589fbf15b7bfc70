// SPDX-License-Identifier: MIT
//
// The rules that make a frame a key frame.
#ifndef QOLM_ENCODER_KEY_FRAME_SCHEDULE_H_
#define QOLM_ENCODER_KEY_FRAME_SCHEDULE_H_

#include <cstdint>

#include "encoder/frame_statistics.h"

namespace qolm::encoder {

// The GOP rule. `frames_since_key` is the session's counter before the frame: a key
// frame resets it to 0 and every other frame increments it after this test, so the
// frame after a key frame is tested with 0. A GOP length of 60 therefore allows 60
// frames between two key frames, at 0, 61, 122 …; an adaptive GOP doubles for calm
// frames (up to 180), so that calm video has key frames at 0, 121, 242 …
// Frame 0 is always due, and so is every frame when the GOP length is 0 or less.
bool KeyFrameDue(int32_t frame_index, int32_t frames_since_key, int32_t gop_length,
                 bool adaptive_gop, const FrameStatistics& statistics);

// The scene-cut rule: a scene change forces a key frame, but not within the
// first ten frames after the last one (counted as above: from the 11th on).
bool SceneCutDue(int32_t frame_index, int32_t frames_since_key, const FrameStatistics& statistics);

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_KEY_FRAME_SCHEDULE_H_
