// SPDX-License-Identifier: MIT
#include <vector>

#include "base/byte_order.h"
#include "fuzz/require.h"
#include "fuzz/scalar_level.h"
#include "fuzz/targets.h"
#include "support/moving_picture.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::fuzz {
namespace {

using video::YuvPlanes;

// Bounds the work of one run; a long thin picture passes.
constexpr uint32_t kMostPixels = 128 * 128;

constexpr uint8_t kCclcOrPrediction = 1;
constexpr uint8_t kDeblocking = 2;
constexpr uint8_t kOtherSize = 4;
constexpr uint8_t kCodeAgain = 8;

struct PictureInput {
  uint8_t flags = 0;
  Input payload;
  uint32_t width = 0;
  uint32_t height = 0;

  bool Has(uint8_t flag) const { return (flags & flag) != 0; }
};

// False for payloads whose picture costs too much.
bool ReadPictureInput(Input input, PictureInput& picture) {
  if (input.empty()) return false;
  picture.flags = input[0];
  picture.payload = input.subspan(1);
  if (picture.payload.size() >= 4) {
    picture.width = LoadLe16(picture.payload.data());
    picture.height = LoadLe16(picture.payload.data() + 2);
  }
  return picture.width * picture.height <= kMostPixels;
}

bool IsConsistent(const YuvPlanes& planes) {
  const size_t chroma = size_t{planes.ChromaWidth()} * planes.ChromaHeight();
  return planes.y.size() == size_t{planes.width} * planes.height && planes.cb.size() == chroma &&
         planes.cr.size() == chroma;
}

video::InterFrameOptions InterOptions(const PictureInput& picture) {
  video::InterFrameOptions options;
  options.quality = picture.payload[4];
  options.motion_prediction = picture.Has(kCclcOrPrediction);
  options.deblocking = picture.Has(kDeblocking);
  return options;
}

YuvPlanes Anchor(const PictureInput& picture, uint32_t number) {
  const uint32_t extra = picture.Has(kOtherSize) ? 1 : 0;
  return test::MovingPicture(picture.width + extra, picture.height, number);
}

}  // namespace

void KeyFrame(Input input) {
  PictureInput picture;
  if (!ReadPictureInput(input, picture)) return;
  const bool cclc = picture.Has(kCclcOrPrediction);
  const bool deblocking = picture.Has(kDeblocking);
  YuvPlanes planes;
  const bool decodes = video::DecodeKeyFrame(picture.payload, cclc, deblocking, planes);
  QOLM_REQUIRE(IsConsistent(planes));
  // Neither what was in the planes before nor the kernels change anything.
  YuvPlanes again = test::FlatPicture(33, 5, 1, 2, 3);
  {
    const ScalarLevel scalar;
    QOLM_REQUIRE(video::DecodeKeyFrame(picture.payload, cclc, deblocking, again) == decodes);
  }
  QOLM_REQUIRE(IsConsistent(again));
  if (!decodes) return;
  QOLM_REQUIRE(planes.width == picture.width && planes.height == picture.height);
  QOLM_REQUIRE(test::SamePicture(planes, again));
  if (!picture.Has(kCodeAgain)) return;

  video::KeyFrameOptions options;
  options.quality = picture.payload[4];
  options.cclc = cclc;
  options.deblocking = deblocking;
  YuvPlanes reference;
  const std::vector<uint8_t> payload = video::EncodeKeyFrame(planes, options, reference);
  QOLM_REQUIRE(video::DecodeKeyFrame(payload, cclc, deblocking, again));
  QOLM_REQUIRE(test::SamePicture(again, reference));
}

void PredictedFrame(Input input) {
  PictureInput picture;
  if (!ReadPictureInput(input, picture)) return;
  const bool prediction = picture.Has(kCclcOrPrediction);
  const bool deblocking = picture.Has(kDeblocking);
  const YuvPlanes anchor = Anchor(picture, 0);
  const auto decode = [&](Input payload, YuvPlanes& planes) {
    return video::DecodeInterFrame(payload, prediction, deblocking, anchor, planes);
  };
  YuvPlanes planes;
  if (!decode(picture.payload, planes)) return;
  QOLM_REQUIRE(!picture.Has(kOtherSize));
  QOLM_REQUIRE(planes.SameSize(anchor) && IsConsistent(planes));
  YuvPlanes again = test::FlatPicture(33, 5, 1, 2, 3);
  {
    const ScalarLevel scalar;
    QOLM_REQUIRE(decode(picture.payload, again));
  }
  QOLM_REQUIRE(test::SamePicture(planes, again));
  if (!picture.Has(kCodeAgain)) return;

  YuvPlanes reference = anchor;
  const std::vector<uint8_t> payload =
      video::EncodeInterFrame(planes, InterOptions(picture), reference);
  QOLM_REQUIRE(decode(payload, again));
  QOLM_REQUIRE(test::SamePicture(again, reference));
}

void BidirectionalFrame(Input input) {
  PictureInput picture;
  if (!ReadPictureInput(input, picture)) return;
  const bool prediction = picture.Has(kCclcOrPrediction);
  const bool deblocking = picture.Has(kDeblocking);
  const YuvPlanes past = test::MovingPicture(picture.width, picture.height, 0);
  const YuvPlanes future = Anchor(picture, 2);
  const auto decode = [&](Input payload, YuvPlanes& planes) {
    return video::DecodeBidirectionalFrame(payload, prediction, deblocking, past, future, planes);
  };
  YuvPlanes planes;
  if (!decode(picture.payload, planes)) return;
  QOLM_REQUIRE(!picture.Has(kOtherSize));
  QOLM_REQUIRE(planes.SameSize(past) && IsConsistent(planes));
  YuvPlanes again = test::FlatPicture(33, 5, 1, 2, 3);
  {
    const ScalarLevel scalar;
    QOLM_REQUIRE(decode(picture.payload, again));
  }
  QOLM_REQUIRE(test::SamePicture(planes, again));
  if (!picture.Has(kCodeAgain)) return;

  const std::vector<uint8_t> payload =
      video::EncodeBidirectionalFrame(planes, InterOptions(picture), past, future);
  QOLM_REQUIRE(decode(payload, again));
  QOLM_REQUIRE(again.SameSize(past) && IsConsistent(again));
}

}  // namespace qolm::fuzz
