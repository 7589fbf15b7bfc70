// SPDX-License-Identifier: MIT
//
// What is missing from real files, and what only looks so.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "media/changed_file_fixture.h"
#include "support/media_clip_writer.h"

namespace qolm::media {
namespace {

using ::qolm::test::ClipOptions;

const std::vector<Kind> kKinds = {
    {"a.mkv", "ffv1", AV_PIX_FMT_BGR0},
    {"a.mp4", "mpeg4", AV_PIX_FMT_YUV420P},
    {"a.mov", "mpeg4", AV_PIX_FMT_YUV420P},
    {"a.avi", "mpeg4", AV_PIX_FMT_YUV420P},
    {"a.flv", "flv", AV_PIX_FMT_YUV420P},
    {"a.wmv", "wmv2", AV_PIX_FMT_YUV420P, false},
    {"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P, false},
    {"a.nut", "ffv1", AV_PIX_FMT_BGR0, false},
};

// The Duration element of a Matroska file: its identifier, its size and a number.
void DeclareDuration(Bytes& matroska, double milliseconds) {
  const std::string element = "\x44\x89\x88";
  const auto found = std::search(matroska.begin(), matroska.end(), element.begin(), element.end());
  ASSERT_NE(found, matroska.end());
  const char* const bytes = reinterpret_cast<const char*>(&milliseconds);
  std::reverse_copy(bytes, bytes + sizeof(milliseconds), found + 3);
}

class IncompleteFilesTest : public ChangedFileTest {};

TEST_F(IncompleteFilesTest, HalfAFilmExpectsTheWholeOne) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const Bytes whole = Written(kind.name, OptionsOf(kind));
    EXPECT_EQ(Read(kind.name, whole), 100);
    EXPECT_EQ(source_.frame_count(), 100);
    EXPECT_EQ(source_.losses().damaged, 0);

    const Bytes half(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(whole.size() / 2));
    const int frames = Read(kind.name, half);
    EXPECT_GT(frames, 35);
    EXPECT_LT(frames, 60);
    if (kind.declares_its_length) {
      EXPECT_NEAR(source_.frame_count(), 100, 1);
    } else {
      EXPECT_NEAR(source_.frame_count(), frames, 2);
    }
  }
}

// Also within what announces a packet, where the parser fails before it finds the end.
TEST_F(IncompleteFilesTest, TheCountHoldsWhereverAFileIsCut) {
  const Kind kind{"a.nut", "mpeg4", AV_PIX_FMT_YUV420P};
  ClipOptions options = OptionsOf(kind);
  options.width = options.height = 16;
  options.frames = 40;
  const Bytes whole = Written(kind.name, options);
  const size_t middle = whole.size() / 2;
  for (size_t cut = middle; cut < middle + 400; ++cut) {
    SCOPED_TRACE(cut);
    const Bytes part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(cut));
    const int frames = Read(kind.name, part);
    EXPECT_GT(frames, 10);
    EXPECT_NEAR(source_.frame_count(), frames, 2);
  }
}

TEST_F(IncompleteFilesTest, ALateStartIsNoMissingEnd) {
  // Neither declares how long its stream is; the length of the file counts from zero.
  Kind flv{"a.flv", "flv", AV_PIX_FMT_YUV420P};
  Kind wmv{"a.wmv", "wmv2", AV_PIX_FMT_YUV420P};
  for (const Kind& kind : {flv, wmv}) {
    SCOPED_TRACE(kind.name);
    ClipOptions options = OptionsOf(kind);
    for (int i = 0; i < options.frames; ++i) options.timestamps.push_back(90 + i);
    if (kind.name == flv.name) options.muxer_options = {{"flvflags", "no_duration_filesize"}};
    EXPECT_EQ(Read(kind.name, Written(kind.name, options)), 100);
    EXPECT_EQ(source_.frame_count(), 100);
  }
}

TEST_F(IncompleteFilesTest, TheDelayOfAPackedStreamIsNoMissingPicture) {
  // Its writer leaves places empty behind the first picture, which the decoder gives out
  // only with the packet behind them.
  Kind kind{"a.avi", "libxvid", AV_PIX_FMT_YUV420P};
  ClipOptions options = OptionsOf(kind);
  options.codec_options = {{"bf", "2"}};
  options.frames = 33;
  for (int i = 0; i < options.frames; ++i) options.timestamps.push_back(i > 0 ? i + 6 : 0);
  const int frames = Read(kind.name, Written(kind.name, options));
  EXPECT_GE(frames, 30);
  EXPECT_EQ(source_.frame_count(), frames);
  EXPECT_EQ(source_.losses().pictures, frames);
}

TEST_F(IncompleteFilesTest, ABareStreamIsTimedByWhatItsPicturesSay) {
  // These count in steps of 1001 / 30000 seconds, and no header says so.
  for (const Kind& kind :
       {Kind{"a.h261", "h261", AV_PIX_FMT_YUV420P}, Kind{"a.h263", "h263", AV_PIX_FMT_YUV420P}}) {
    SCOPED_TRACE(kind.name);
    ClipOptions options = OptionsOf(kind);
    options.width = 176;
    options.height = 144;
    options.rate = {30000, 1001};
    EXPECT_EQ(Read(kind.name, Written(kind.name, options)), 100);
    EXPECT_EQ(source_.frame_count(), 100);
    EXPECT_EQ(source_.fps_numerator(), 30000);
    EXPECT_EQ(source_.fps_denominator(), 1001);
    EXPECT_EQ(source_.losses().left_out, 0);
  }
}

TEST_F(IncompleteFilesTest, PicturesBeforeTheFirstKeyFrameAreNotMissing) {
  Kind kind{"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P};
  ClipOptions options = OptionsOf(kind);
  options.codec_options = {{"bf", "2"}, {"g", "30"}};
  const Bytes whole = Written(kind.name, options);
  for (const size_t part : {4U, 8U, 16U, 32U}) {
    SCOPED_TRACE(part);
    constexpr size_t kPacket = 188;
    const size_t cut = whole.size() / part / kPacket * kPacket;
    const Bytes rest(whole.begin() + static_cast<ptrdiff_t>(cut), whole.end());
    const int frames = Read(kind.name, rest);
    EXPECT_GE(frames, 68);
    EXPECT_NEAR(source_.frame_count(), frames, 1);
    EXPECT_EQ(source_.fps_numerator(), 25);
  }
}

TEST_F(IncompleteFilesTest, LongerSoundIsNoMissingPicture) {
  for (const Kind& kind : kKinds) {
    const std::string name = kind.name;
    if (name == "a.ts" || name == "a.flv" || name == "a.mp4") continue;  // take no such sound
    SCOPED_TRACE(name);
    ClipOptions options = OptionsOf(kind);
    options.sound_seconds = 12;
    EXPECT_EQ(Read(name, Written(name, options)), 100);
    EXPECT_EQ(expected_when_opened_, 100);
    EXPECT_EQ(source_.frame_count(), 100);
  }
}

TEST_F(IncompleteFilesTest, AHeldPictureAndAVariableRateAreNoMissingPictures) {
  for (const char* const name : {"a.mkv", "a.mov"}) {
    ClipOptions options;
    options.time_base = {1, 1000};
    options.timestamps = {0, 40, 80, 500, 540, 580, 3000, 3040};
    options.last_duration = 2000;
    options.frames = 8;
    if (std::string(name) == "a.mov") {
      options.codec = "mpeg4";
      options.format = AV_PIX_FMT_YUV420P;
    }
    const int frames = Read(name, Written(name, options));
    EXPECT_EQ(source_.frame_count(), frames) << name;
  }
}

// --- Files of full length that are damaged within ---

// The demuxer looks for the next cluster, and there is none.
TEST_F(IncompleteFilesTest, WhatTheDemuxerNeverReachesIsMissing) {
  ClipOptions options = OptionsOf(kKinds.front());
  options.codec_options = {{"g", "1000"}};  // a key frame would begin a cluster
  const Bytes whole = Written("a.mkv", options);
  Bytes damaged = whole;
  Overwrite(damaged, whole.size() / 4, whole.size() / 20);
  EXPECT_LT(Read("b.mkv", damaged), 40);
  EXPECT_EQ(source_.frame_count(), 100);
}

// Fragments of ten pictures each; nothing else declares how many there are.
class FragmentedFilesTest : public IncompleteFilesTest {
 protected:
  Bytes WrittenInFragments(const std::string& flags) {
    ClipOptions options = OptionsOf({"a.mp4", "mpeg4", AV_PIX_FMT_YUV420P});
    options.muxer_options = {{"movflags", flags}, {"frag_duration", "400000"}};
    return Written("a.mp4", options);
  }
  static ptrdiff_t FragmentIn(const Bytes& bytes, int number) {
    const std::string name = "moof";
    auto found = bytes.begin();
    for (int i = 0; i <= number; ++i) {
      found = std::search(found + 1, bytes.end(), name.begin(), name.end());
    }
    return found - bytes.begin() - 4;
  }
};

const char* const kFragmentFlags[] = {"empty_moov", "empty_moov+default_base_moof",
                                      "default_base_moof"};

TEST_F(FragmentedFilesTest, WhatLiesBehindADamagedFragmentIsMissing) {
  for (const char* const flags : kFragmentFlags) {
    SCOPED_TRACE(flags);
    Bytes bytes = WrittenInFragments(flags);
    EXPECT_EQ(Read("a.mp4", bytes), 100);
    EXPECT_EQ(source_.frame_count(), 100);

    const ptrdiff_t damaged = FragmentIn(bytes, 5);
    Overwrite(bytes, static_cast<size_t>(damaged), 600);
    const int frames = Read("b.mp4", bytes);
    EXPECT_GE(frames, 50);
    EXPECT_LE(frames, 60);
    EXPECT_EQ(source_.frame_count(), 100);
  }
}

// Also within the table of a fragment, of which the demuxer reads all before the first
// picture.
TEST_F(FragmentedFilesTest, WhatLiesBeforeACutIsReadAndTheRestExpected) {
  const Bytes whole = WrittenInFragments("empty_moov+default_base_moof");
  const auto at = static_cast<size_t>(FragmentIn(whole, 5));
  for (size_t left = 4; left < 190; left += 3) {
    SCOPED_TRACE(left);
    const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(at + left));
    EXPECT_EQ(Read("b.mp4", cut), 50);
    EXPECT_EQ(source_.frame_count(), 60);
  }
}

// Nothing but the structure of the file tells such a picture from a lost end.
TEST_F(IncompleteFilesTest, APictureHeldForLongIsToldFromALostEnd) {
  ClipOptions options = OptionsOf(kKinds.front());
  options.muxer_options = {{"cluster_time_limit", "500"}};
  Bytes bytes = Written("a.mkv", options);
  const std::string length = "00:00:04";
  const auto tag = std::search(bytes.begin(), bytes.end(), length.begin(), length.end());
  ASSERT_NE(tag, bytes.end());
  *(tag + 7) = '9';
  EXPECT_EQ(Read("b.mkv", bytes), 100);
  EXPECT_EQ(source_.frame_count(), 100);

  bytes.back() = '\0';
  EXPECT_EQ(Read("c.mkv", bytes), 100);
  EXPECT_EQ(source_.frame_count(), 100) << "the last element's own bytes are no structure";

  bytes.resize(bytes.size() - 1);
  EXPECT_EQ(Read("d.mkv", bytes), 100);
  EXPECT_EQ(source_.frame_count(), 225);
}

TEST_F(IncompleteFilesTest, AnImpossibleDeclaredDurationIsNone) {
  ClipOptions options;
  options.codec = "rawvideo";
  options.width = options.height = 64;
  options.frames = 100;
  const Bytes whole = Written("a.mkv", options);
  for (const double milliseconds : {1e22, 1e300, -5.0, 0.0, 4e9}) {
    Bytes bytes = whole;
    DeclareDuration(bytes, milliseconds);
    EXPECT_EQ(Read("b.mkv", bytes), 100);
    EXPECT_EQ(source_.frame_count(), 100) << milliseconds;
  }
}

// What a program writes before it knows the number, and leaves there in a pipe.
TEST_F(IncompleteFilesTest, APlaceholderInAnAviHeaderDeclaresNothing) {
  constexpr size_t kLengthOffset = 40;  // from the name of the stream's header
  const Bytes whole = Written("a.avi", OptionsOf({"a.avi", "mpeg4", AV_PIX_FMT_YUV420P}));
  const std::string name = "strh";
  const auto header = std::search(whole.begin(), whole.end(), name.begin(), name.end());
  ASSERT_NE(header, whole.end());
  const size_t length = static_cast<size_t>(header - whole.begin()) + kLengthOffset;
  ASSERT_EQ(whole.at(length), 100);
  for (const int top : {0x40, 0x7F, 0xFF}) {
    Bytes bytes = whole;
    const char rest = top == 0x40 ? '\0' : '\xFF';
    for (size_t i = 0; i < 3; ++i) bytes[length + i] = rest;
    bytes[length + 3] = static_cast<char>(top);
    std::fill_n(bytes.begin() + 4, 4, '\xFF');  // the size of the file, as unknown
    bytes.resize(bytes.size() - 100 * 16 - 8);  // no index either
    EXPECT_EQ(Read("b.avi", bytes), 100);
    EXPECT_EQ(source_.frame_count(), 100) << top;
  }
}

// Matroska's time stamps below zero cannot be read.
TEST_F(IncompleteFilesTest, PicturesBeforeTheClockBeginsAreExpectedToo) {
  ClipOptions options;
  options.time_base = {1, 25};
  for (int i = -40; i < 60; ++i) options.timestamps.push_back(i);
  options.frames = 100;
  options.muxer_options = {{"avoid_negative_ts", "disabled"}};
  EXPECT_EQ(Read("a.mkv", Written("a.mkv", options)), 100);
  EXPECT_EQ(source_.frame_count(), 100);
}

TEST_F(IncompleteFilesTest, DamagedPicturesAreCounted) {
  for (const Kind& kind : kKinds) {
    if (std::string(kind.codec) == "wmv2") continue;  // its decoder takes anything
    SCOPED_TRACE(kind.name);
    ClipOptions options = OptionsOf(kind);
    options.corrupt_packet = 42;
    options.codec_options = {{"g", "1"}};
    Read(kind.name, Written(kind.name, options));
    EXPECT_EQ(source_.losses().damaged, 1);
    EXPECT_EQ(source_.losses().left_out, 0);
  }
}

// Whichever threads decode them, and however far each comes before the others.
TEST_F(IncompleteFilesTest, DamageIsTheSameInEveryRun) {
  for (const Kind& kind :
       {Kind{"a.mkv", "libx264", AV_PIX_FMT_YUV420P}, Kind{"a.avi", "mpeg4", AV_PIX_FMT_YUV420P}}) {
    SCOPED_TRACE(kind.codec);
    ClipOptions options = OptionsOf(kind);
    options.width = 320;
    options.height = 240;
    options.frames = 30;
    options.codec_options = {{"g", "30"}};
    Bytes bytes = Written(kind.name, options);
    for (size_t i = 4; i < 36; i += 2) Overwrite(bytes, bytes.size() * i / 40, 8);
    const auto outcome = [&] {
      std::ofstream(folder_ / kind.name, std::ios::binary)
          .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      EXPECT_TRUE(source_.Open(folder_ / kind.name));
      VideoFrame frame;
      std::vector<std::vector<uint8_t>> pictures;
      while (source_.ReadNextFrame(frame)) pictures.push_back(frame.pixels);
      return std::pair(source_.losses().damaged, std::move(pictures));
    };
    const auto first = outcome();
    EXPECT_GT(first.first, 1);
    for (int i = 0; i < 3; ++i) {
      const auto again = outcome();
      EXPECT_EQ(again.first, first.first);
      EXPECT_TRUE(again.second == first.second) << "other pictures";
    }
  }
}

TEST_F(IncompleteFilesTest, ADamagedLastPictureIsCounted) {
  ClipOptions options = OptionsOf(kKinds.front());
  options.corrupt_packet = options.frames - 1;
  options.codec_options = {{"g", "1"}};
  Read("a.mkv", Written("a.mkv", options));
  EXPECT_EQ(source_.losses().damaged, 1);
}

TEST_F(IncompleteFilesTest, AHoleInATransportStreamIsDamage) {
  constexpr size_t kPacket = 188;
  constexpr int kPictures = 0x100;  // the identifier of their packets; tables have others
  const Kind kind{"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P, false};
  const Bytes whole = Written("a.ts", OptionsOf(kind));
  int holes = 0;
  for (size_t at = whole.size() / kPacket / 2 * kPacket; holes < 20; at += kPacket) {
    ASSERT_LT(at + kPacket, whole.size());
    const int identifier = (whole[at + 1] & 0x1F) << 8 | static_cast<uint8_t>(whole[at + 2]);
    if (identifier != kPictures) continue;
    SCOPED_TRACE(at);
    ++holes;
    Bytes stream = whole;
    const auto hole = stream.begin() + static_cast<ptrdiff_t>(at);
    stream.erase(hole, hole + kPacket);
    Read("b.ts", stream);
    EXPECT_GE(source_.losses().damaged, 1);
    EXPECT_LE(source_.losses().damaged, 2);
  }
}

TEST_F(IncompleteFilesTest, JoinedRecordingsPlayOneBehindTheOther) {
  const Kind kind{"a.ts", "mpeg2video", AV_PIX_FMT_YUV420P, false};
  for (const char* const muxer : {"mpegts", "vob"}) {
    SCOPED_TRACE(muxer);
    ClipOptions options = OptionsOf(kind);
    options.muxer = muxer;
    Bytes stream = Written("a.ts", options);
    const Bytes once = stream;
    stream.insert(stream.end(), once.begin(), once.end());
    EXPECT_EQ(Read("b.ts", stream), 200);
    EXPECT_EQ(source_.frame_count(), 200);
    EXPECT_EQ(source_.fps_numerator(), 25);
    EXPECT_EQ(source_.fps_denominator(), 1);
    EXPECT_EQ(source_.losses().damaged, 0);
    EXPECT_EQ(source_.losses().left_out, 0);
  }
}

TEST_F(IncompleteFilesTest, AFastStreamKeepsEveryPicture) {
  for (const int rate : {1200, 2000, 20000}) {
    ClipOptions options;
    options.codec = "mpeg4";
    options.format = AV_PIX_FMT_YUV420P;
    options.rate = {rate, 1};
    options.frames = 12;
    EXPECT_EQ(Read("a.mov", Written("a.mov", options)), 12);
    EXPECT_EQ(source_.frame_count(), 12);
    EXPECT_EQ(source_.fps_numerator(), rate);
    EXPECT_EQ(source_.fps_denominator(), 1);
  }
}

TEST_F(IncompleteFilesTest, PicturesWithoutAPlaceAreCounted) {
  ClipOptions options;
  options.time_base = {1, 1000};
  // Bursts of ten, 1 ms apart: not typical of the whole, so 60 a second at most.
  for (int i = 0; i < 40; ++i) options.timestamps.push_back(i / 10 * 200 + i % 10);
  for (int i = 0; i < 10; ++i) options.timestamps.push_back(800 + i * 40);
  options.frames = 50;
  const int frames = Read("a.mkv", Written("a.mkv", options));
  EXPECT_NEAR(frames, 70, 2);
  EXPECT_EQ(source_.losses().pictures, 50);
  EXPECT_GT(source_.losses().left_out, 25);
}

// --- Pictures that stand long ---

class LongPicturesTest : public IncompleteFilesTest {
 protected:
  // One picture a second, and then these seconds, in a file that declares nothing.
  int ReadLive(const std::vector<int64_t>& seconds, double sound_seconds = 0) {
    ClipOptions options;
    options.time_base = {1, 1000};
    options.timestamps = {0, 1000, 2000, 3000};
    for (const int64_t second : seconds) options.timestamps.push_back(second * 1000);
    options.last_duration = 1000;
    options.frames = static_cast<int>(options.timestamps.size());
    options.sound_seconds = sound_seconds;
    options.sound_packet_seconds = 0.5;
    options.sound_rate = 1000;
    if (!declared_) options.muxer_options = {{"live", "1"}};
    const int frames = Read("a.mkv", Written("a.mkv", options));
    EXPECT_EQ(source_.fps_numerator(), 1);
    EXPECT_EQ(source_.frame_count(), frames);
    return frames;
  }
  bool declared_ = false;
};

TEST_F(LongPicturesTest, SoundSupportsThem) {
  EXPECT_EQ(ReadLive({3903}, 3904), 3904);
  EXPECT_EQ(ReadLive({3903}), 5);
  EXPECT_EQ(ReadLive({3903}, 3000), 5);
}

TEST_F(LongPicturesTest, LaterPicturesSupportThem) { EXPECT_EQ(ReadLive({7203, 7204}), 7205); }

TEST_F(LongPicturesTest, TheDeclaredDurationSupportsThem) {
  declared_ = true;
  EXPECT_EQ(ReadLive({7203}), 7204);
}

}  // namespace
}  // namespace qolm::media
