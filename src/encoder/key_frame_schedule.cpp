// SPDX-License-Identifier: MIT
#include "encoder/key_frame_schedule.h"

#include <algorithm>

namespace qolm::encoder {
namespace {

constexpr int64_t kLongestCalmGop = 180;
constexpr double kCalmMeanDifference = 5.0;
constexpr double kCalmChangedFraction = 0.15;
constexpr int32_t kShortestSceneFrames = 10;

}  // namespace

bool KeyFrameDue(int32_t frame_index, int32_t frames_since_key, int32_t gop_length,
                 bool adaptive_gop, const FrameStatistics& statistics) {
  if (frame_index == 0) return true;
  int64_t effective_gop = gop_length;
  const bool calm = statistics.mean_absolute_difference < kCalmMeanDifference &&
                    statistics.changed_fraction < kCalmChangedFraction;
  // The cap applies to calm frames only, even when it shortens a longer GOP.
  if (adaptive_gop && calm) effective_gop = std::min(effective_gop * 2, kLongestCalmGop);
  return frames_since_key >= effective_gop;
}

bool SceneCutDue(int32_t frame_index, int32_t frames_since_key, const FrameStatistics& statistics) {
  return frame_index >= 1 && frames_since_key >= kShortestSceneFrames && statistics.is_scene_change;
}

}  // namespace qolm::encoder
