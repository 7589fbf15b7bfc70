// SPDX-License-Identifier: MIT
//
// What an encoder session leaves in its file when memory runs out.
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "encoder/encoder_session.h"
#include "faults/failing_allocations.h"
#include "support/moving_picture.h"
#include "support/temporary_folder.h"
#include "video/picture/colour_conversion.h"

namespace qolm::test {
namespace {

constexpr uint32_t kWidth = 48;
constexpr uint32_t kHeight = 32;

// Whether the index goes to the front, and whether all allocations after the
// first that fails do so too.
class SessionMemory : public testing::TestWithParam<std::tuple<bool, bool>> {
 protected:
  SessionMemory() {
    settings_.width = kWidth;
    settings_.height = kHeight;
    settings_.fps_numerator = 25;
    settings_.fps_denominator = 1;
    settings_.gop_length = 4;
    settings_.adaptive_gop = false;
    settings_.bidirectional = true;
    settings_.audio_interleave = true;
    settings_.fast_start = std::get<0>(GetParam());
    for (uint32_t i = 0; i < 8; ++i) {
      VideoFrame& frame = frames_.emplace_back();
      frame.width = kWidth;
      frame.height = kHeight;
      video::ConvertYuvToPacked(MovingPicture(kWidth, kHeight, i), video::PixelOrder::kRgba,
                                frame.pixels);
    }
  }

  // How many frames were handed over while memory lasted, which it may not have
  // done for the last of them.
  int Encode(const AllocationFault& fault, uint64_t& refused) {
    PcmTrack sound{.sample_rate = 8000, .channels = 1, .samples = std::vector<int16_t>(2560, 99)};
    int taken = 0;
    const FailingAllocations allocations(fault);
    try {
      encoder::EncoderSession session(settings_);
      session.set_audio(std::move(sound));
      if (!session.open_output(path_)) return 0;
      for (const VideoFrame& frame : frames_) {
        ++taken;
        session.encode_frame(frame);
      }
      session.finish();
    } catch (const std::bad_alloc&) {
      // The session has been destroyed by now, which had to do without memory too.
    }
    refused = allocations.failed();
    return taken;
  }

  const TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "clip.qolm";
  encoder::EncodeSettings settings_;
  std::vector<VideoFrame> frames_;
};

TEST_P(SessionMemory, WhatWasWrittenStaysReadable) {
  int partial_files = 0;
  uint64_t refused = 1;
  for (uint64_t at = 1; refused > 0 && !HasFailure(); ++at) {
    SCOPED_TRACE("allocation " + std::to_string(at));
    const int taken = Encode({.at = at, .from_then = std::get<1>(GetParam())}, refused);
    if (taken == 0) continue;
    container::ContainerReader reader;
    ASSERT_TRUE(reader.open(path_)) << reader.failure_reason();
    const bool front = (reader.header().flags & container::kFlagFastStart) != 0;
    EXPECT_EQ(front, settings_.fast_start);

    decoder::FrameDecoder decoder(reader);
    int shown = 0;
    while (decoder.next_planes()) ++shown;
    EXPECT_NE(decoder.stream_end(), decoder::StreamEnd::kDamagedRecord);
    // The frame in hand and the one that waits for it may be lost.
    EXPECT_GE(shown, taken - 2);
    EXPECT_LE(shown, taken);
    if (refused == 0) {
      EXPECT_EQ(shown, static_cast<int>(frames_.size()));
    }
    if (refused > 0 && shown > 0) ++partial_files;
  }
  EXPECT_GT(partial_files, 20);
}

std::string NameOf(const testing::TestParamInfo<std::tuple<bool, bool>>& chosen) {
  return std::string(std::get<0>(chosen.param) ? "FastStart" : "Monolithic") +
         (std::get<1>(chosen.param) ? "AllFromOneOn" : "One");
}

INSTANTIATE_TEST_SUITE_P(Files, SessionMemory, testing::Combine(testing::Bool(), testing::Bool()),
                         NameOf);

}  // namespace
}  // namespace qolm::test
