// SPDX-License-Identifier: MIT
#include "decoder/reconstruct.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "container/layout.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"

namespace qolm::decoder {
namespace {

// Two anchors and the picture between them: unless callers hold pictures, one of the
// three is free whenever another picture is reconstructed.
constexpr size_t kPicturePoolSize = 3;

}  // namespace

Reconstruction::Reconstruction(uint16_t header_flags, uint32_t width, uint32_t height)
    : header_flags_(header_flags), width_(width), height_(height) {}

bool Reconstruction::reconstruct(container::RecordType type, uint8_t /*count*/,
                                 std::span<const uint8_t> payload, SharedPlanes& picture) {
  const bool deblocking = (header_flags_ & container::kFlagDeblocking) != 0;
  const bool motion_prediction = (header_flags_ & container::kFlagMotionPrediction) != 0;
  const bool bidirectional = (header_flags_ & container::kFlagBidirectional) != 0;

  switch (type) {
    case container::RecordType::kKeyFrame: {
      secondary_ref_ = bidirectional ? std::move(current_) : nullptr;
      current_ = nullptr;
      const bool cclc = (header_flags_ & container::kFlagCclc) != 0;
      const auto rebuilt = AcquirePicture();
      if (!video::DecodeKeyFrame(payload, cclc, deblocking, *rebuilt)) return false;
      picture = current_ = rebuilt;
      return true;
    }
    case container::RecordType::kPredictedFrame: {
      if (payload.empty()) return false;
      if (bidirectional) secondary_ref_ = current_;
      const SharedPlanes reference = current_ ? std::move(current_) : blank();
      const auto rebuilt = AcquirePicture();
      if (!video::DecodeInterFrame(payload, motion_prediction, deblocking, *reference, *rebuilt)) {
        return false;
      }
      picture = current_ = rebuilt;
      return true;
    }
    case container::RecordType::kBidirectionalFrame: {
      if (!bidirectional || !current_ || !secondary_ref_) return false;
      const auto rebuilt = AcquirePicture();
      if (!video::DecodeBidirectionalFrame(payload, motion_prediction, deblocking, *secondary_ref_,
                                           *current_, *rebuilt)) {
        return false;
      }
      picture = rebuilt;
      return true;
    }
    default:
      return false;
  }
}

SharedPlanes Reconstruction::blank() const {
  auto planes = std::make_shared<video::YuvPlanes>();
  video::ResizeYuvPlanes(*planes, width_, height_);
  return planes;
}

void Reconstruction::restore(SharedPlanes current, SharedPlanes secondary_ref) {
  current_ = std::move(current);
  secondary_ref_ = std::move(secondary_ref);
}

// A picture with unspecified content to reconstruct into. When all pictures of the pool
// are referenced, the oldest leaves the pool and a new one is allocated.
std::shared_ptr<video::YuvPlanes> Reconstruction::AcquirePicture() {
  const auto free = std::find_if(pool_.begin(), pool_.end(),
                                 [](const auto& planes) { return planes.use_count() == 1; });
  if (free != pool_.end()) {
    std::rotate(free, std::next(free), pool_.end());
    return pool_.back();
  }
  if (pool_.size() == kPicturePoolSize) pool_.erase(pool_.begin());
  return pool_.emplace_back(std::make_shared<video::YuvPlanes>());
}

}  // namespace qolm::decoder
