#include "decoder/reconstruct.h"

#include <utility>

#include "container/layout.h"
#include "video/bidirectional_frame.h"
#include "video/inter_frame.h"
#include "video/key_frame.h"

namespace qolm::decoder {
namespace {

// Every picture here is created as a mutable object; it is handed out as const
// so that nobody but its only holder can change it.
video::YuvPlanes& Mutable(const SharedPlanes& planes) {
  return const_cast<video::YuvPlanes&>(*planes);
}

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
      if (bidirectional) secondary_ref_ = current_;
      const bool cclc = (header_flags_ & container::kFlagCclc) != 0;
      if (!video::DecodeKeyFrame(payload, cclc, deblocking, WritableBlank())) return false;
      picture = current_;
      return true;
    }
    case container::RecordType::kPredictedFrame:
      if (bidirectional) secondary_ref_ = current_;
      if (payload.empty()) return false;
      if (!video::DecodeInterFrame(payload, motion_prediction, deblocking, WritableCopy())) {
        return false;
      }
      picture = current_;
      return true;
    case container::RecordType::kBidirectionalFrame: {
      if (!bidirectional || !current_ || !secondary_ref_) return false;
      auto between = std::make_shared<video::YuvPlanes>();
      if (!video::DecodeBidirectionalFrame(payload, motion_prediction, deblocking, *secondary_ref_,
                                           *current_, *between)) {
        return false;
      }
      picture = std::move(between);
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

// A picture that caches hold must stay as it is, so the next one is made beside it.
video::YuvPlanes& Reconstruction::WritableCopy() {
  if (!current_) current_ = blank();
  if (current_.use_count() > 1) current_ = std::make_shared<video::YuvPlanes>(*current_);
  return Mutable(current_);
}

video::YuvPlanes& Reconstruction::WritableBlank() {
  if (current_.use_count() != 1) current_ = std::make_shared<video::YuvPlanes>();
  return Mutable(current_);
}

}  // namespace qolm::decoder
