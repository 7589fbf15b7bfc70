// SPDX-License-Identifier: MIT
#include "encoder/encoder_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/resource.h>

#include <csignal>
#endif

#include <cstdint>
#include <filesystem>
#include <optional>
#include <random>
#include <vector>

#include "base/byte_order.h"
#include "encoder/session_run.h"
#include "support/container_file.h"

namespace qolm::encoder {
namespace {

using test::ReadBytes;
using ::testing::Each;
using ::testing::ElementsAreArray;

class Session : public SessionRun {};

TEST_F(Session, HeadOfADefaultFile) {
  EncodeSettings settings = SettingsFor(320, 180);
  settings.fps_numerator = 30000;
  settings.fps_denominator = 1001;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(path()));
  EXPECT_EQ(session.bytes_written(), 48U + 8U + 65'540U);
  EXPECT_EQ(session.frames_skipped(), 0);
  ASSERT_TRUE(session.finish());
  std::vector<uint8_t> bytes = ReadBytes(path());
  ASSERT_EQ(bytes.size(), 48U + 8U + 65'540U);
  const std::vector<uint8_t> head = {
      'Q', 'L', 'M', '2', 2, 0, 0, 0,  0x3F, 0xDF, 0x40, 1,  180, 0,  0x30, 0x75, 0, 0, 0xE9,
      3,   0,   0,   0,   0, 0, 0, 60, 0,    20,   0,    12, 0,   16, 0,    0,    0, 0, 0,
      0,   0,   0,   0,   0, 0, 0, 0,  0,    0,    7,    0,  0,   0,  4,    0,    1, 0};
  EXPECT_THAT(std::vector(bytes.begin(), bytes.begin() + 56), ElementsAreArray(head));
  EXPECT_THAT(std::vector(bytes.begin() + 56, bytes.end()), Each(0));
}

TEST_F(Session, MonolithicFileIsHeaderRecordsAndTrailingIndex) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.fast_start = false;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(path()));
  EXPECT_EQ(session.bytes_written(), 48U);
  for (int i = 0; i < 4; ++i) session.encode_frame(GreyFrame(16, 16, 100));
  ASSERT_TRUE(session.finish());
  const std::vector<uint8_t> bytes = ReadBytes(path());
  EXPECT_EQ(LoadLe16(&bytes[8]), 0xDB3F);
  EXPECT_EQ(LoadLe32(&bytes[22]), 4U);
  EXPECT_EQ(LoadLe32(&bytes[38]), 160U);
  const size_t payload = LoadLe32(&bytes[52]);
  const size_t run = 56 + payload;
  ASSERT_EQ(bytes.size(), run + 8 + 2 * 8 + 4);
  EXPECT_EQ(session.bytes_written(), run + 8);
  EXPECT_THAT(std::vector(bytes.begin() + static_cast<std::ptrdiff_t>(run), bytes.end() - 20),
              ::testing::ElementsAre(5, 3, 1, 0, 0, 0, 0, 0));
  EXPECT_EQ(LoadLe64(&bytes[run + 8]), 48U);
  EXPECT_EQ(LoadLe64(&bytes[run + 16]), run);
  EXPECT_EQ(LoadLe32(&bytes[run + 24]), 2U);
}

TEST_F(Session, MissingFolderFailsOpen) {
  EncoderSession session(SettingsFor(16, 16));
  EXPECT_FALSE(session.open_output(folder() / "missing" / "out.qolm"));
  EXPECT_FALSE(session.is_open());
  EXPECT_EQ(session.stream_error(), std::errc::no_such_file_or_directory);
  EXPECT_FALSE(std::filesystem::exists(folder() / "missing"));
  EXPECT_FALSE(session.encode_frame(GreyFrame(16, 16, 1)));
  EXPECT_FALSE(session.finish());
}

TEST_F(Session, InvalidSizesAreRejectedBeforeCreatingFile) {
  for (const auto& [width, height] : std::vector<std::pair<int32_t, int32_t>>{
           {0, 16}, {16, 0}, {-1, 16}, {16385, 16}, {16, 16385}}) {
    EncoderSession session(SettingsFor(width, height));
    EXPECT_FALSE(session.open_output(path()));
    EXPECT_EQ(session.stream_error(), std::errc::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(path()));
  }
  for (const auto& [width, height] :
       std::vector<std::pair<int32_t, int32_t>>{{16384, 1}, {1, 16384}}) {
    EncoderSession largest(SettingsFor(width, height));
    EXPECT_TRUE(largest.open_output(path()));
    EXPECT_TRUE(largest.encode_frame(GreyFrame(width, height, 100)));
    EXPECT_TRUE(largest.encode_frame(GreyFrame(height, width, 100)));
    EXPECT_FALSE(largest.encode_frame(GreyFrame(16385, 1, 100)));
    EXPECT_FALSE(largest.encode_frame(GreyFrame(1, 16385, 100)));
  }
}

TEST_F(Session, SecondFinishDoesNothing) {
  EncoderSession session(SettingsFor(16, 16));
  ASSERT_TRUE(session.open_output(path()));
  session.encode_frame(GreyFrame(16, 16, 1));
  EXPECT_TRUE(session.finish());
  const std::vector<uint8_t> bytes = ReadBytes(path());
  EXPECT_FALSE(session.finish());
  EXPECT_FALSE(session.encode_frame(GreyFrame(16, 16, 1)));
  EXPECT_EQ(ReadBytes(path()), bytes);
}

TEST_F(Session, DestructorFinishesFile) {
  {
    EncoderSession session(SettingsFor(16, 16));
    ASSERT_TRUE(session.open_output(path()));
    for (int i = 0; i < 3; ++i) session.encode_frame(GreyFrame(16, 16, 1));
  }
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(path()));
  EXPECT_EQ(reader.header().frame_count, 3U);
  EXPECT_EQ(reader.index().size(), 2U);
}

TEST_F(Session, AbandonedOutputIsNotWritten) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.audio_interleave = true;
  uint64_t written = 0;
  {
    EncoderSession session(settings);
    session.set_audio({8000, 1, std::vector<int16_t>(80'000)});
    ASSERT_TRUE(session.open_output(path()));
    ASSERT_TRUE(session.encode_frame(GreyFrame(16, 16, 100)));
    written = session.bytes_written();
    session.abandon();
    EXPECT_FALSE(session.is_open());
    EXPECT_FALSE(session.encode_frame(GreyFrame(16, 16, 200)));
  }
  EXPECT_EQ(ReadBytes(path()).size(), written);
}

TEST_F(Session, StopDuringOpenClosesOutput) {
  EncoderSession session(SettingsFor(16, 16));
  session.set_audio({8000, 1, std::vector<int16_t>(80'000)});
  EXPECT_FALSE(session.open_output(path(), [] { return true; }));
  EXPECT_EQ(session.stream_error(), std::errc::operation_canceled);
  EXPECT_FALSE(session.is_open());
  EXPECT_TRUE(ReadBytes(path()).empty());
  EXPECT_TRUE(session.open_output(path()));
  EXPECT_FALSE(session.stream_error());
}

TEST_F(Session, ReopeningFinishesFirstFile) {
  // If the session kept its last picture, the temporal filter would blend it into the
  // first picture of the next file.
  const std::vector<uint8_t> greys = {100, 106, 106, 112, 122, 107, 103};
  const auto encode = [&greys](EncoderSession& session) {
    for (const uint8_t grey : greys) session.encode_frame(GreyFrame(16, 16, grey));
  };
  EncodeSettings settings = SettingsFor(16, 16);
  settings.quality = 100;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(folder() / "first"));
  encode(session);
  EXPECT_EQ(session.frames_skipped(), 1);
  ASSERT_TRUE(session.open_output(folder() / "second"));
  EXPECT_EQ(session.frames_skipped(), 0);
  encode(session);
  ASSERT_TRUE(session.finish());
  EXPECT_EQ(ReadBytes(folder() / "first"), ReadBytes(folder() / "second"));
}

TEST_F(Session, SuccessfulOpenClearsEarlierFailure) {
  EncoderSession session(SettingsFor(16, 16));
  EXPECT_FALSE(session.open_output(folder() / "missing" / "out.qolm"));
  EXPECT_TRUE(session.open_output(path()));
  EXPECT_FALSE(session.stream_error());
}

TEST_F(Session, NoAudioFieldsWhenAudioWasNotSet) {
  for (const bool interleave : {false, true}) {
    EncodeSettings settings = SettingsFor(16, 16);
    settings.audio_interleave = interleave;
    EncoderSession session(settings);
    ASSERT_TRUE(session.open_output(path()));
    session.encode_frame(GreyFrame(16, 16, 1));
    ASSERT_TRUE(session.finish());
    container::ContainerReader reader;
    ASSERT_TRUE(reader.open(path()));
    EXPECT_EQ(reader.header().audio_rate, 0);
    EXPECT_EQ(reader.header().audio_channels, 0);
    EXPECT_EQ(reader.header().audio_param, 0);
    EXPECT_EQ(reader.header().flags, 0xDF3F);
    EXPECT_TRUE(reader.audio_block().empty());
  }
}

TEST_F(Session, OutgrownFrontIndexIsWrittenAtEnd) {
  EncodeSettings settings = SettingsFor(1, 1);
  settings.gop_length = 0;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(path()));
  for (int i = 0; i < 9000; ++i) session.encode_frame(GreyFrame(1, 1, 100));
  ASSERT_TRUE(session.finish());
  EXPECT_TRUE(session.index_too_large_for_front());
  EXPECT_EQ(session.bytes_written(), std::filesystem::file_size(path()) - 9000 * 8 - 4);
  container::ContainerReader reader;
  ASSERT_TRUE(reader.open(path()));
  EXPECT_EQ(reader.header().flags, 0xDB3F);
  EXPECT_EQ(reader.index().size(), 9000U);
  EXPECT_EQ(reader.keyframes().size(), 9000U);
  EXPECT_EQ(reader.index().front(), 56U + 65'540U);
}

TEST_F(Session, TooManyExpectedRecordsUseTrailingIndex) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.expected_frame_count = 1'000'000;
  {
    EncoderSession session(settings);
    EXPECT_FALSE(session.index_too_large_for_front());
    ASSERT_TRUE(session.open_output(path()));
    EXPECT_EQ(session.bytes_written(), 48U + 8U + 8'000'004U);
  }
  settings.expected_frame_count = 1'000'001;
  {
    EncoderSession session(settings);
    EXPECT_TRUE(session.index_too_large_for_front());
    ASSERT_TRUE(session.open_output(path()));
    EXPECT_EQ(session.bytes_written(), 48U);
    EXPECT_EQ(LoadLe16(&ReadBytes(path())[8]), 0xDB3F);
  }
  settings.fast_start = false;
  EXPECT_FALSE(EncoderSession(settings).index_too_large_for_front());
}

TEST_F(Session, NegativeExpectationCountsAsUnknown) {
  EncodeSettings settings = SettingsFor(16, 16);
  settings.expected_frame_count = -1;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(path()));
  EXPECT_EQ(session.bytes_written(), 48U + 8U + 65'540U);
}

TEST_F(Session, FullDiskFailsOpen) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  EncoderSession session(SettingsFor(16, 16));
  EXPECT_FALSE(session.open_output("/dev/full"));
  EXPECT_FALSE(session.is_open());
  EXPECT_EQ(session.stream_error(), std::errc::no_space_on_device);
}

#ifndef _WIN32
// Limits the size of the files of this process to `bytes`.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(Session, FailedWriteIsReportedUntilEnd) {
  EncodeSettings settings = SettingsFor(256, 256);
  settings.fast_start = false;
  settings.gop_length = 0;
  settings.quality = 100;
  EncoderSession session(settings);
  ASSERT_TRUE(session.open_output(path()));
  VideoFrame frame = GreyFrame(256, 256, 0);
  std::mt19937 random(1);
  for (uint8_t& value : frame.pixels) value = static_cast<uint8_t>(random());
  {
    const FileSizeLimit limit(100'000);
    for (int i = 0; i < 100 && !session.stream_error(); ++i) {
      EXPECT_TRUE(session.encode_frame(frame));
    }
    EXPECT_EQ(session.stream_error(), std::errc::file_too_large);
  }
  EXPECT_TRUE(session.encode_frame(frame));
  EXPECT_TRUE(session.finish());
  EXPECT_EQ(session.stream_error(), std::errc::file_too_large);
}
#endif

}  // namespace
}  // namespace qolm::encoder
