// SPDX-License-Identifier: MIT
//
// Files that end up without sound: because the user says so, because the
// source has none, or because it has nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "converted_file.h"
#include "support/media_audio_writer.h"
#include "support/media_clip_writer.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class SoundChoice : public testing::Test {
 protected:
  void Run(const std::vector<std::string>& arguments) {
    ProgramRun run(QOLM_CONVERTER, arguments);
    run.Wait();
    exit_code_ = run.exit_code();
    out_ = run.out();
    err_ = run.err();
  }

  void ExpectPictureOnly(size_t frames) {
    EXPECT_EQ(exit_code_, 0);
    EXPECT_EQ(err_, "");
    EXPECT_THAT(out_, EndsWith("[+] Done.\n"));
    const ConvertedFile file = ReadConvertedFile(output_);
    EXPECT_EQ(file.brightness.size(), frames);
    EXPECT_EQ(file.header.frame_count, frames);
    EXPECT_EQ(file.header.audio_rate, 0);
    EXPECT_EQ(file.header.audio_channels, 0);
    EXPECT_EQ(file.header.audio_param, 0);
    EXPECT_EQ(file.header.flags & container::kFlagInterleavedAudio, 0);
    EXPECT_FALSE(file.has_audio_block);
    EXPECT_EQ(file.pieces.size(), 0u);
    EXPECT_EQ(file.track.samples.size(), 0u);
    Run({"info", output_});
    EXPECT_EQ(exit_code_, 0);
    EXPECT_THAT(out_, HasSubstr("[+] Decoded Frames : " + std::to_string(frames) + "\n"));
    EXPECT_THAT(out_, Not(HasSubstr("Audio")));
  }

  static int16_t Hum(int64_t index, int) { return static_cast<int16_t>(index % 480 * 20); }

  TemporaryFolder folder_;
  std::string output_ = (folder_ / "clip.qolm").string();
  int exit_code_ = -1;
  std::string out_;
  std::string err_;
};

TEST_F(SoundChoice, SoundIsKeptByDefault) {
  const std::string input = (folder_ / "clip.mkv").string();
  SoundClip clip;
  clip.pictures = 25;
  WriteSoundClip(input, clip, Hum);
  Run({"encode", input, output_});
  EXPECT_EQ(exit_code_, 0);
  EXPECT_EQ(err_, "");
  Run({"info", output_});
  EXPECT_THAT(out_, HasSubstr("\n    Audio     : 32000 Hz, 1 ch, 32000 samples\n"));
}

TEST_F(SoundChoice, LeftOutWhereTheUserSaysSo) {
  const std::string input = (folder_ / "clip.mkv").string();
  SoundClip clip;
  clip.pictures = 25;
  WriteSoundClip(input, clip, Hum);
  for (const std::vector<std::string>& words : {std::vector<std::string>{"--no-audio"},
                                                {"--audio", "off"},
                                                {"--audio", "none"},
                                                {"--no-audio", "--interleave"}}) {
    std::vector<std::string> arguments = {"encode", input, output_};
    arguments.insert(arguments.end(), words.begin(), words.end());
    Run(arguments);
    EXPECT_THAT(out_, HasSubstr("[+] Sound is switched off; converting the picture only.\n"));
    ExpectPictureOnly(25);
  }
}

TEST_F(SoundChoice, ASourceWithoutSoundIsConvertedWithANotice) {
  const std::string input = (folder_ / "clip.mkv").string();
  ClipOptions clip;
  clip.frames = 25;
  WriteClip(input, clip, [](AVFrame& frame, int index) {
    for (int y = 0; y < frame.height; ++y) {
      for (int x = 0; x < frame.width; ++x) {
        const auto grey = static_cast<uint8_t>(8 * index);
        SetPixel(frame, x, y, grey, grey, grey);
      }
    }
  });
  for (const char* const layout : {"--no-interleave", "--interleave"}) {
    Run({"encode", input, output_, layout});
    EXPECT_THAT(out_, HasSubstr("[+] Note: no sound could be read; converting without it.\n"));
    ExpectPictureOnly(25);
  }
}

TEST_F(SoundChoice, ASourceWithNothingButSoundIsRefused) {
  struct Case {
    const char* name;
    const char* codec;
    bool cover_art;
  };
  for (const Case& c : {Case{"sound.wav", "pcm_s16le", false}, Case{"sound.mka", "flac", false},
                        Case{"sound.m4a", "aac", false}, Case{"cover.mp3", "libmp3lame", true}}) {
    SCOPED_TRACE(c.name);
    const std::string input = (folder_ / c.name).string();
    SoundClip clip;
    clip.codec = c.codec;
    clip.cover_art = c.cover_art;
    WriteSoundClip(input, clip, Hum);
    Run({"encode", input, output_});
    EXPECT_EQ(exit_code_, 1);
    EXPECT_EQ(err_, "[-] Error: Cannot open input video (no video stream): " + input + "\n");
    EXPECT_FALSE(std::filesystem::exists(output_));
    EXPECT_FALSE(std::filesystem::exists(output_ + ".part"));
  }
}

}  // namespace
}  // namespace qolm::test
