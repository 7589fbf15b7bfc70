// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/mediafoundation/mediafoundation_video_framework.h"
#include "media/platform.h"
#include "media/video_source.h"
#include "video/picture/video_frame.h"
#include "windows/scripted_source_reader.h"

namespace qolm::test {
namespace {

using media::VideoReader;
using media::VideoSource;

constexpr UINT32 kWidth = 3;
constexpr UINT32 kHeight = 2;
constexpr size_t kRowBytes = kWidth * 4;

// Opens nothing but the reader that it was given, once.
class OneVideoReader : public media::VideoFramework {
 public:
  explicit OneVideoReader(ComPtr<IMFSourceReader> reader) : reader_(std::move(reader)) {}
  std::unique_ptr<VideoReader> Open(const std::filesystem::path&,
                                    const std::optional<ReaderAttributes>&) override {
    return media::mediafoundation::AdaptVideoReader(std::exchange(reader_, nullptr));
  }
  std::string failure_reason() const override { return {}; }

 private:
  ComPtr<IMFSourceReader> reader_;
};

ComPtr<IMFMediaType> VideoType(UINT32 width, UINT32 height, std::optional<INT32> stride) {
  ComPtr<IMFMediaType> type;
  MFCreateMediaType(&type);
  type->SetUINT64(MF_MT_FRAME_SIZE, UINT64{width} << 32 | height);
  if (stride) type->SetUINT32(MF_MT_DEFAULT_STRIDE, static_cast<UINT32>(*stride));
  return type;
}

// Row `y` of the picture has blue `y` + 1 throughout; the rows are in the order
// in which they are named.
std::vector<BYTE> RowsOf(std::vector<int> picture_rows, size_t row_bytes = kRowBytes) {
  std::vector<BYTE> bytes;
  for (const int y : picture_rows) {
    for (size_t i = 0; i < row_bytes; ++i) {
      bytes.push_back(i % 4 == 0 ? static_cast<BYTE>(y + 1) : BYTE{0x77});
    }
  }
  return bytes;
}

class VideoReaderTest : public testing::Test {
 protected:
  void SetUp() override {
    live = 0;
    reader_ = MakeCounted<ScriptedSourceReader>();
    reader_->calls = &calls_;
    reader_->current_type = VideoType(kWidth, kHeight, INT32{kRowBytes});
  }
  void TearDown() override {
    reader_.Reset();
    EXPECT_EQ(live, 0) << "objects that were not released";
    EXPECT_EQ(open_locks_, 0) << "locks that were not given back";
  }

  ComPtr<ScriptedBuffer> Buffer(std::vector<BYTE> bytes) {
    ComPtr<ScriptedBuffer> buffer = MakeCounted<ScriptedBuffer>();
    buffer->bytes = std::move(bytes);
    buffer->open_locks = &open_locks_;
    buffer->linear_locks = &linear_locks_;
    return buffer;
  }
  ComPtr<ScriptedBuffer> PitchedBuffer(std::vector<BYTE> bytes, size_t scanline0, LONG pitch) {
    ComPtr<ScriptedBuffer> buffer = Buffer(std::move(bytes));
    buffer->offers_rows = true;
    buffer->scanline0 = scanline0;
    buffer->pitch = pitch;
    buffer->contiguous_length = kRowBytes * kHeight;
    return buffer;
  }
  void Deliver(ComPtr<ScriptedBuffer> buffer, ComPtr<IMFMediaType> new_type = nullptr) {
    ScriptedRead read;
    read.timestamp = 1000 + static_cast<LONGLONG>(reader_->reads.size());
    read.buffer = ComPtr<IMFMediaBuffer>(buffer.Get());
    if (new_type != nullptr) read.flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    read.type_from_now_on = std::move(new_type);
    reader_->reads.push_back(std::move(read));
  }

  // The source, opened, over the scripted reader, which it releases.
  std::unique_ptr<VideoSource> Open() {
    auto source = std::make_unique<VideoSource>(std::make_unique<OneVideoReader>(reader_));
    opened_ = source->Open("any");
    return source;
  }

  // Blue of the left pixel of each row; empty when no frame came.
  static std::vector<int> RowsRead(VideoSource& source) {
    VideoFrame frame;
    if (!source.ReadNextFrame(frame)) return {};
    std::vector<int> rows;
    for (size_t y = 0; y < kHeight; ++y) rows.push_back(frame.pixels[y * kRowBytes + 2]);
    return rows;
  }

  const media::Platform platform_;
  ComPtr<ScriptedSourceReader> reader_;
  std::vector<std::string> calls_;
  int open_locks_ = 0;
  int linear_locks_ = 0;
  bool opened_ = false;
};

TEST_F(VideoReaderTest, AsksForRgb32OfTheFirstVideoStreamAlone) {
  GUID major{};
  GUID subtype{};
  reader_->accept = [&](IMFMediaType& type) {
    type.GetGUID(MF_MT_MAJOR_TYPE, &major);
    type.GetGUID(MF_MT_SUBTYPE, &subtype);
    UINT32 count = 0;
    type.GetCount(&count);
    EXPECT_EQ(count, 2u);
    return S_OK;
  };
  Open();
  EXPECT_TRUE(opened_);
  EXPECT_EQ(major, MFMediaType_Video);
  EXPECT_EQ(subtype, MFVideoFormat_RGB32);
  EXPECT_EQ(calls_,
            (std::vector<std::string>{"select all off", "select first video on",
                                      "set type of first video", "native type 0 of first video"}));
}

TEST_F(VideoReaderTest, ReportsTheStreamsProperties) {
  reader_->native_type = VideoType(1, 1, std::nullopt);
  reader_->native_type->SetUINT64(MF_MT_FRAME_RATE, UINT64{30000} << 32 | 1001);
  reader_->duration.vt = VT_UI8;
  reader_->duration.uhVal.QuadPart = 20'020'000;
  const auto source = Open();
  EXPECT_EQ(source->width(), 3);
  EXPECT_EQ(source->height(), 2);
  EXPECT_EQ(source->stride(), 12);
  EXPECT_EQ(source->fps_numerator(), 30000);
  EXPECT_EQ(source->fps_denominator(), 1001);
  EXPECT_EQ(source->duration_ms(), 2002);
  EXPECT_EQ(source->frame_count(), 60);
}

TEST_F(VideoReaderTest, WhatIsMissingIsNotMadeUp) {
  reader_->duration.vt = VT_I4;  // no duration has this type
  const auto source = Open();
  EXPECT_TRUE(opened_);
  EXPECT_EQ(source->fps_numerator(), 30);
  EXPECT_EQ(source->fps_denominator(), 1);
  EXPECT_EQ(source->duration_ms(), 0);
  EXPECT_EQ(source->frame_count(), 0);
}

TEST_F(VideoReaderTest, SaysWhyTheOutputIsRefused) {
  reader_->accept = [](IMFMediaType&) { return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED); };
  const auto source = Open();
  EXPECT_FALSE(opened_);
  EXPECT_FALSE(source->failure_reason().empty());
  EXPECT_NE(source->failure_reason(), "the video cannot be decoded");
}

TEST_F(VideoReaderTest, AFileWithoutVideoHasNoVideoStream) {
  reader_->selection = MF_E_INVALIDSTREAMNUMBER;
  reader_->accept = [](IMFMediaType&) { return MF_E_INVALIDSTREAMNUMBER; };
  EXPECT_EQ(Open()->failure_reason(), "no video stream");
  EXPECT_FALSE(opened_);
}

TEST_F(VideoReaderTest, LinearRowsFromTheTopDown) {
  Deliver(Buffer(RowsOf({0, 1})));
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
  EXPECT_EQ(RowsRead(*source), std::vector<int>());
}

TEST_F(VideoReaderTest, TheTimestampIsTheSamples) {
  Deliver(Buffer(RowsOf({0, 1})));
  const auto source = Open();
  VideoFrame frame;
  ASSERT_TRUE(source->ReadNextFrame(frame));
  EXPECT_EQ(frame.timestamp, 1000);
}

TEST_F(VideoReaderTest, ANegativeStrideIsBottomUp) {
  reader_->current_type = VideoType(kWidth, kHeight, -INT32{kRowBytes});
  Deliver(Buffer(RowsOf({1, 0})));
  EXPECT_EQ(RowsRead(*Open()), (std::vector<int>{1, 2}));
}

TEST_F(VideoReaderTest, NoStatedStrideIsBottomUpToo) {
  reader_->current_type = VideoType(kWidth, kHeight, std::nullopt);
  Deliver(Buffer(RowsOf({1, 0})));
  EXPECT_EQ(RowsRead(*Open()), (std::vector<int>{1, 2}));
}

TEST_F(VideoReaderTest, PitchedRowsGoByTheirPitchAlone) {
  for (const INT32 stated : {INT32{kRowBytes}, -INT32{kRowBytes}}) {
    reader_->current_type = VideoType(kWidth, kHeight, stated);
    Deliver(PitchedBuffer(RowsOf({0, 1}, 16), 0, 16));
    Deliver(PitchedBuffer(RowsOf({1, 0}, 16), 16, -16));
    const auto source = Open();
    EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
    EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
  }
  EXPECT_EQ(linear_locks_, 0);
}

TEST_F(VideoReaderTest, RowsThatCannotBeLockedAreReadAsBytes) {
  reader_->current_type = VideoType(kWidth, kHeight, std::nullopt);
  const auto buffer = PitchedBuffer(RowsOf({1, 0}), 12, -12);
  buffer->lock2d_succeeds = false;
  Deliver(buffer);
  EXPECT_EQ(RowsRead(*Open()), (std::vector<int>{1, 2}));
  EXPECT_EQ(linear_locks_, 1);
}

// What is not read leaves the frame as it was.
TEST_F(VideoReaderTest, BuffersThatCannotHoldThePictureAreNotRead) {
  const auto narrow = PitchedBuffer(RowsOf({0, 1}), 0, 8);
  const auto small = PitchedBuffer(RowsOf({0, 1}), 0, 12);
  small->contiguous_length = 23;
  Deliver(narrow);
  Deliver(small);
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{0, 0}));
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{0, 0}));
  EXPECT_EQ(linear_locks_, 0);
}

TEST_F(VideoReaderTest, ShortBottomUpBytesAreNotRead) {
  reader_->current_type = VideoType(kWidth, kHeight, -INT32{kRowBytes});
  Deliver(Buffer(RowsOf({1})));
  EXPECT_EQ(RowsRead(*Open()), (std::vector<int>{0, 0}));
}

TEST_F(VideoReaderTest, ABufferThatCannotBeLockedIsNotRead) {
  const auto buffer = Buffer(RowsOf({0, 1}));
  buffer->lock_succeeds = false;
  Deliver(buffer);
  EXPECT_EQ(RowsRead(*Open()), (std::vector<int>{0, 0}));
}

TEST_F(VideoReaderTest, TheRowOrderMayChangeInMidStream) {
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(RowsOf({1, 0})), VideoType(kWidth, kHeight, -INT32{kRowBytes}));
  Deliver(Buffer(RowsOf({1, 0})));
  const auto source = Open();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2})) << i;
}

TEST_F(VideoReaderTest, FramesMayGrowAroundThePictureInMidStream) {
  std::vector<int> rows{0, 1};
  rows.resize(16, 200);
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(RowsOf(rows, 16 * 4)), VideoType(16, 16, 64));
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
}

TEST_F(VideoReaderTest, TheAreaToShowIsFollowedInMidStream) {
  const ComPtr<IMFMediaType> type = VideoType(kWidth, 5, INT32{kRowBytes});
  MFVideoArea area{};
  area.OffsetY.value = 2;
  area.Area = {kWidth, kHeight};
  type->SetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE, reinterpret_cast<const UINT8*>(&area),
                sizeof(area));
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(RowsOf({7, 8, 0, 1, 9})), type);
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
}

TEST_F(VideoReaderTest, PicturesOfAnotherSizeEndTheStream) {
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(std::vector<BYTE>(100 * 100 * 4)), VideoType(100, 100, 400));
  Deliver(Buffer(std::vector<BYTE>(100 * 100 * 4)));
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source), (std::vector<int>{1, 2}));
  EXPECT_EQ(RowsRead(*source), std::vector<int>());
}

TEST_F(VideoReaderTest, AFailedReadEndsTheStream) {
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(RowsOf({0, 1})));
  Deliver(Buffer(RowsOf({0, 1})));
  reader_->reads[1].result = E_FAIL;
  reader_->reads[2].flags = MF_SOURCE_READERF_ERROR;
  const auto source = Open();
  EXPECT_EQ(RowsRead(*source).size(), kHeight);
  EXPECT_EQ(RowsRead(*source), std::vector<int>());
  EXPECT_EQ(RowsRead(*source), std::vector<int>());
}

TEST_F(VideoReaderTest, AGapEndsTheStream) {
  reader_->reads.emplace_back().flags = MF_SOURCE_READERF_STREAMTICK;
  Deliver(Buffer(RowsOf({0, 1})));
  EXPECT_EQ(RowsRead(*Open()), std::vector<int>());
}

}  // namespace
}  // namespace qolm::test
