// SPDX-License-Identifier: MIT
//
// An interrupt ends the opening, the scan and the reading of real files early.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "media/audio_source.h"
#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media {
namespace {

// A file of some megabytes, so that what reads it asks often.
class InterruptedFilesTest : public ::testing::Test {
 protected:
  InterruptedFilesTest() {
    test::ClipOptions options;
    options.codec = "rawvideo";
    options.width = 160;
    options.height = 120;
    options.frames = 60;
    options.sound_seconds = 2;
    test::WriteClip(path_, options, [](AVFrame& frame, int) { test::FillPlanes(frame, {90}); });
  }

  int QuestionsWhileOpening() {
    VideoSource source(platform_.MakeVideoFramework());
    asked_ = 0;
    EXPECT_TRUE(source.Open(path_));
    return asked_;
  }

  test::TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "clip.nut";
  std::atomic<int> asked_ = 0;
  std::atomic<int> patience_ = 1'000'000'000;
  const Platform platform_{[this] { return ++asked_ > patience_; }};
};

TEST_F(InterruptedFilesTest, OpeningEndsWhereverTheInterruptMeetsIt) {
  const int questions = QuestionsWhileOpening();
  ASSERT_GT(questions, 50);
  // The last few questions may fall where nothing more needs to be read.
  for (int patience = 0; patience < questions * 3 / 4; patience += 1 + questions / 40) {
    patience_ = patience;
    asked_ = 0;
    VideoSource source(platform_.MakeVideoFramework());
    VideoFrame frame;
    if (source.Open(path_)) {
      int frames = 0;
      while (source.ReadNextFrame(frame)) ++frames;
      EXPECT_LT(frames, 30) << patience;
    }
    EXPECT_LT(asked_, patience + 100) << patience;
  }
}

TEST_F(InterruptedFilesTest, AFileIsNotOpenedAfterTheInterrupt) {
  patience_ = 0;
  VideoSource source(platform_.MakeVideoFramework());
  EXPECT_FALSE(source.Open(path_));
  EXPECT_LT(asked_, 20);
}

TEST_F(InterruptedFilesTest, ReadingEndsToo) {
  VideoSource source(platform_.MakeVideoFramework());
  ASSERT_TRUE(source.Open(path_));
  patience_ = asked_.load();
  VideoFrame frame;
  int frames = 0;
  while (source.ReadNextFrame(frame)) ++frames;
  EXPECT_LT(frames, 30);
}

TEST_F(InterruptedFilesTest, SoundIsNotReadAfterTheInterrupt) {
  PcmTrack track;
  ASSERT_TRUE(AudioSource(platform_.MakeAudioFramework()).ReadAll(path_, AudioOptions{}, track));
  patience_ = 0;
  asked_ = 0;
  EXPECT_FALSE(AudioSource(platform_.MakeAudioFramework()).ReadAll(path_, AudioOptions{}, track));
  EXPECT_LT(asked_, 20);
}

}  // namespace
}  // namespace qolm::media
