#include "decoder/reconstruct.h"

#include <utility>

#include "container/layout.h"
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
                                 std::span<const uint8_t> payload) {
  const bool deblocking = (header_flags_ & container::kFlagDeblocking) != 0;
  const bool is_anchor =
      type == container::RecordType::kKeyFrame || type == container::RecordType::kPredictedFrame;
  if (is_anchor && (header_flags_ & container::kFlagBidirectional) != 0) secondary_ref_ = current_;

  switch (type) {
    case container::RecordType::kKeyFrame:
      return video::DecodeKeyFrame(payload, (header_flags_ & container::kFlagCclc) != 0, deblocking,
                                   WritableBlank());
    case container::RecordType::kPredictedFrame:
      if (payload.empty()) return false;
      return video::DecodeInterFrame(payload,
                                     (header_flags_ & container::kFlagMotionPrediction) != 0,
                                     deblocking, WritableCopy());
    case container::RecordType::kBidirectionalFrame:
      // No coder for these pictures is built in: a file that holds one ends here.
      return false;
    default:
      return false;
  }
}

const SharedPlanes& Reconstruction::current() {
  if (!current_) {
    auto blank = std::make_shared<video::YuvPlanes>();
    video::ResizeYuvPlanes(*blank, width_, height_);
    current_ = std::move(blank);
  }
  return current_;
}

void Reconstruction::restore(SharedPlanes current, SharedPlanes secondary_ref) {
  current_ = std::move(current);
  secondary_ref_ = std::move(secondary_ref);
}

// A picture that caches hold must stay as it is, so the next one is made beside it.
video::YuvPlanes& Reconstruction::WritableCopy() {
  if (current().use_count() > 1) current_ = std::make_shared<video::YuvPlanes>(*current_);
  return Mutable(current_);
}

video::YuvPlanes& Reconstruction::WritableBlank() {
  if (current_.use_count() != 1) current_ = std::make_shared<video::YuvPlanes>();
  return Mutable(current_);
}

}  // namespace qolm::decoder
