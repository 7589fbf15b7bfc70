// SPDX-License-Identifier: MIT
//
// What is refused as a source, and in which words.
#include "media/ffmpeg/container_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "media/audio_source.h"
#include "media/platform.h"
#include "media/video_source.h"
#include "support/media_clip_writer.h"
#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::media {
namespace {

using ::qolm::test::ClipOptions;
using ::qolm::test::WriteFile;

class ContainerFileTest : public ::testing::Test {
 protected:
  void WriteVideo(const std::string& name, const ClipOptions& options = {}) {
    test::WriteClip(folder_ / name, options, [](AVFrame& frame, int) {
      test::FillPlanes(frame, {90, 128, 128});
    });
  }
  void ExpectRefused(const std::string& name, const std::string& reason) {
    VideoSource video(platform_.MakeVideoFramework());
    EXPECT_FALSE(video.Open(folder_ / name)) << name;
    EXPECT_EQ(video.failure_reason(), reason) << name;
    PcmTrack track;
    EXPECT_FALSE(
        AudioSource(platform_.MakeAudioFramework()).ReadAll(folder_ / name, AudioOptions{}, track))
        << name;
  }

  test::TemporaryFolder folder_;
  Platform platform_;
};

TEST_F(ContainerFileTest, AFileThatIsCutOffWithinItsHeadEndsBeforeAnyVideo) {
  WriteVideo("a.mkv");
  std::filesystem::resize_file(folder_ / "a.mkv", 300);
  ExpectRefused("a.mkv", "it ends before any video");
}

TEST_F(ContainerFileTest, PlaylistsAreRefusedWhateverTheyName) {
  ClipOptions options;
  options.codec = "mpeg2video";
  options.format = AV_PIX_FMT_YUV420P;
  options.frames = 10;
  options.sound_seconds = 0;
  WriteVideo("a.ts", options);
  const std::string absolute = (folder_ / "a.ts").string();
  for (const std::string& named : {std::string("a.ts"), absolute, "file:" + absolute,
                                   std::string("http://127.0.0.1:9/a.ts")}) {
    const std::string list = "ffconcat version 1.0\nfile '" + named + "'\n";
    const std::string hls = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXTINF:0.4,\n" +
                            named + "\n#EXT-X-ENDLIST\n";
    const std::string dash =
        "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
        "mediaPresentationDuration=\"PT1S\" profiles=\"urn:mpeg:dash:profile:isoff-main:2011\">\n"
        "<Period><AdaptationSet mimeType=\"video/mp2t\"><Representation id=\"0\" "
        "bandwidth=\"1000\"><BaseURL>" +
        named + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n";
    for (const auto& [name, text] : {std::pair{"list.ffconcat", list},
                                     {"list.mp4", list},
                                     {"list.m3u8", hls},
                                     {"list.ts", hls},
                                     {"list.mpd", dash}}) {
      WriteFile(folder_ / name, text);
      ExpectRefused(name, "a playlist, not the video itself");
    }
  }
}

TEST_F(ContainerFileTest, ATextIsNoPictureOfItsCharacters) {
  std::string text;
  for (int i = 0; i < 30; ++i) text += "a line of notes beside a film\n";
  for (const char* name : {"a.nfo", "a.txt", "a.ans"}) {
    WriteFile(folder_ / name, text);
    ExpectRefused(name, "not a video file, or damaged");
  }
}

TEST_F(ContainerFileTest, ANameWithAPatternIsTheNameOfOneFile) {
  ClipOptions options;
  options.codec = "png";
  options.muxer = "image2pipe";
  options.format = AV_PIX_FMT_RGB24;
  for (const char* name : {"a1.png", "a2.png", "a%d.png"}) WriteVideo(name, options);
  VideoSource video(platform_.MakeVideoFramework());
  ASSERT_TRUE(video.Open(folder_ / "a%d.png")) << video.failure_reason();
  VideoFrame frame;
  EXPECT_TRUE(video.ReadNextFrame(frame));
  EXPECT_FALSE(video.ReadNextFrame(frame));
  ExpectRefused("b%d.png", "No such file or directory");
}

TEST_F(ContainerFileTest, AFileThatEndsBeforeItsVideoSaysSo) {
  ClipOptions options;
  options.frames = 1;
  WriteVideo("a.mkv", options);
  const std::string whole = test::ReadFile(folder_ / "a.mkv");
  const size_t cluster = whole.find("\x1F\x43\xB6\x75");
  ASSERT_NE(cluster, std::string::npos);
  WriteFile(folder_ / "empty.mkv", whole.substr(0, cluster));  // heads and no media
  ExpectRefused("empty.mkv", "it ends before any video");
}

TEST_F(ContainerFileTest, FailuresOfTheLibrariesAreInWordsOfAUser) {
  using ffmpeg::DescribeError;
  for (const int error :
       {AVERROR_EOF, AVERROR_EXIT, AVERROR_INVALIDDATA, AVERROR(EINVAL), AVERROR(ENOSYS),
        AVERROR(EAGAIN), AVERROR(ERANGE), AVERROR_PATCHWELCOME, AVERROR_BUG, AVERROR_BUG2,
        AVERROR_EXTERNAL, AVERROR_UNKNOWN, AVERROR_DECODER_NOT_FOUND, AVERROR_DEMUXER_NOT_FOUND}) {
    char library[AV_ERROR_MAX_STRING_SIZE];
    av_strerror(error, library, sizeof library);
    EXPECT_NE(DescribeError(error), library);
    EXPECT_NE(DescribeError(error), "");
  }
  for (const auto& [words, errors] :
       {std::pair<std::string, std::vector<int>>{"it ends before any video", {AVERROR_EOF}},
        {"interrupted", {AVERROR_EXIT}},
        {"not a video file, or damaged",
         {AVERROR_INVALIDDATA, AVERROR(EINVAL), AVERROR(EAGAIN), AVERROR(EDOM), AVERROR(ERANGE)}},
        {"of a kind that cannot be decoded",
         {AVERROR_BSF_NOT_FOUND, AVERROR_DECODER_NOT_FOUND, AVERROR_DEMUXER_NOT_FOUND,
          AVERROR_EXPERIMENTAL, AVERROR_PATCHWELCOME, AVERROR(ENOSYS)}},
        {"its decoder failed", {AVERROR_BUG, AVERROR_BUG2, AVERROR_EXTERNAL, AVERROR_UNKNOWN}}}) {
    for (const int error : errors) EXPECT_EQ(DescribeError(error), words) << error;
  }
  EXPECT_EQ(DescribeError(AVERROR(EIO)), "Input/output error");
  EXPECT_EQ(DescribeError(AVERROR(EACCES)), "Permission denied");
}

}  // namespace
}  // namespace qolm::media
