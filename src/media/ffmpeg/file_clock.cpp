// SPDX-License-Identifier: MIT
#include "media/ffmpeg/file_clock.h"

#include <algorithm>
#include <cstddef>

#include "media/ffmpeg/numbers.h"

namespace qolm::media::ffmpeg {
namespace {

// Between packets that cover a step without a gap: subtitles pause, audio jitters.
constexpr double kSmallestHole = 1;  // seconds
constexpr size_t kMostSpans = 64;

}  // namespace

void FileClock::Cover(double from, double to) {
  to = std::max(from, to);
  covered_end_ = std::max(covered_end_.value_or(to), to);
  const auto joins = [from, to](const Span& span) {
    return from <= span.to + kSmallestHole && to >= span.from - kSmallestHole;
  };
  const auto span = std::find_if(covered_.rbegin(), covered_.rend(), joins);
  if (span != covered_.rend()) {
    span->from = std::min(span->from, from);
    span->to = std::max(span->to, to);
    std::swap(*span, covered_.back());
    return;
  }
  if (covered_.size() == kMostSpans) covered_.erase(covered_.begin());
  covered_.push_back({from, to});
}

bool FileClock::IsCovered(double from, double to) const {
  return std::any_of(covered_.begin(), covered_.end(), [from, to](const Span& span) {
    return span.from <= from + kSureStep && span.to >= to - kSureStep;
  });
}

bool FileClock::IsReal(double from, double to, Behind behind) {
  const double length = to - from;
  if (length <= kSureStep) return true;
  if (behind == Behind::kLeavesAgain || length > kLongestDuration) return false;
  if (declared_end_ && to <= *declared_end_ + kSureStep) return true;
  if (IsCovered(from, to)) return true;
  if (order_supports_ && behind == Behind::kGoesOn) return true;
  if (length > unsupported_left_) return false;
  unsupported_left_ -= length;
  return true;
}

}  // namespace qolm::media::ffmpeg
