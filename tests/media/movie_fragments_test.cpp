// SPDX-License-Identifier: MIT
//
// Fragments as files hold them, written box by box.
#include "media/ffmpeg/movie_fragments.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "support/temporary_folder.h"
#include "support/text_file.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr uint32_t kTrack = 7;
constexpr uint32_t kOtherTrack = 8;

std::string Be(uint64_t value, int bytes = 4) {
  std::string text;
  for (int i = bytes; i-- > 0;) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::string Box(const std::string& name, const std::string& content) {
  return Be(8 + content.size()) + name + content;
}

// With its size in 64 bits.
std::string LongBox(const std::string& name, const std::string& content) {
  return Be(1) + name + Be(16 + content.size(), 8) + content;
}

std::string Defaults(uint32_t track, uint32_t duration) {
  return Box("trex", Be(0) + Be(track) + Be(1) + Be(duration) + Be(0) + Be(0));
}

std::string Movie(const std::string& defaults) { return Box("moov", Box("mvex", defaults)); }

std::string Header(uint32_t track, uint32_t flags = 0, const std::string& fields = "") {
  return Box("tfhd", Be(flags) + Be(track) + fields);
}

std::string Time(uint32_t time) { return Box("tfdt", Be(0) + Be(time)); }

std::string SampleRun(uint32_t samples, uint32_t flags = 0, const std::string& fields = "") {
  return Box("trun", Be(flags) + Be(samples) + fields);
}

std::string Fragment(const std::string& track_fragments) {
  return Box("moof", Box("mfhd", Be(0) + Be(1)) + track_fragments);
}

std::string TrackFragment(const std::string& boxes) { return Box("traf", boxes); }

// Three samples of the default duration.
std::string SimpleFragment(uint32_t time) {
  return Fragment(TrackFragment(Header(kTrack) + Time(time) + SampleRun(3)));
}

class MovieFragmentsTest : public ::testing::Test {
 protected:
  MovieFragments Examine(const std::string& bytes) {
    test::WriteFile(folder_ / "a.mp4", bytes);
    return ExamineMovieFragments(folder_ / "a.mp4", kTrack);
  }
  void ExpectFragments(const std::string& bytes, int64_t samples, uint64_t start, uint64_t end) {
    const MovieFragments found = Examine(bytes);
    EXPECT_EQ(found.samples, samples);
    EXPECT_EQ(found.start, start);
    EXPECT_EQ(found.end, end);
  }

  const test::TemporaryFolder folder_;
  const std::string movie_ =
      Movie(Defaults(kOtherTrack, 900) + Defaults(kTrack, 10) + Defaults(kOtherTrack, 901));
};

TEST_F(MovieFragmentsTest, SamplesLastAsLongAsTheirTracksDefault) {
  ExpectFragments(movie_ + SimpleFragment(100) + Box("mdat", "abc") + SimpleFragment(130), 6, 100,
                  160);
}

TEST_F(MovieFragmentsTest, TheEarliestStartAndTheLatestEndCount) {
  ExpectFragments(movie_ + SimpleFragment(500) + SimpleFragment(100), 6, 100, 530);
}

TEST_F(MovieFragmentsTest, OtherTracksDoNotCount) {
  const std::string other = TrackFragment(Header(kOtherTrack) + Time(9000) + SampleRun(5));
  const std::string own = TrackFragment(Header(kTrack) + Time(100) + SampleRun(3));
  ExpectFragments(movie_ + Fragment(other + own + other), 3, 100, 130);
}

TEST_F(MovieFragmentsTest, AFragmentMayHaveADefaultOfItsOwn) {
  const std::string header = Header(kTrack, 0xB, Be(1234, 8) + Be(2) + Be(20));
  ExpectFragments(movie_ + Fragment(TrackFragment(header + Time(100) + SampleRun(3))), 3, 100, 160);
}

TEST_F(MovieFragmentsTest, EverySampleMayHaveADurationOfItsOwn) {
  const std::string alone = SampleRun(2, 0x100, Be(5) + Be(7));
  const std::string among_all = SampleRun(
      2, 0xF05, Be(40) + Be(1) + Be(5) + Be(80) + Be(0) + Be(3) + Be(7) + Be(81) + Be(0) + Be(4));
  const std::string without = SampleRun(2, 0x200, Be(80) + Be(81));
  for (const auto& [run, duration] : {std::pair{alone, 12U}, {among_all, 12U}, {without, 20U}}) {
    ExpectFragments(movie_ + Fragment(TrackFragment(Header(kTrack) + Time(100) + run)), 2, 100,
                    100 + duration);
  }
}

TEST_F(MovieFragmentsTest, TimesMayHave64Bits) {
  const std::string late = Box("tfdt", Be(0x01000000) + Be(uint64_t{1} << 40, 8));
  const uint64_t start = uint64_t{1} << 40;
  ExpectFragments(movie_ + Fragment(TrackFragment(Header(kTrack) + late + SampleRun(3))), 3, start,
                  start + 30);
}

TEST_F(MovieFragmentsTest, ATimePastEveryFilmIsNone) {
  const std::string wild = Box("tfdt", Be(0x01000000) + Be(uint64_t{1} << 63, 8));
  const MovieFragments found =
      Examine(movie_ + Fragment(TrackFragment(Header(kTrack) + wild + SampleRun(3))));
  EXPECT_EQ(found.samples, 3);
  EXPECT_FALSE(found.start);
  EXPECT_FALSE(found.end);
}

TEST_F(MovieFragmentsTest, SizesMayHave64Bits) {
  const std::string own = Header(kTrack) + Time(100) + SampleRun(3);
  ExpectFragments(movie_ + LongBox("moof", Box("mfhd", Be(0) + Be(1)) + LongBox("traf", own)), 3,
                  100, 130);
}

TEST_F(MovieFragmentsTest, TheLastBoxMayReachToTheEnd) {
  std::string fragment = SimpleFragment(100);
  fragment.replace(0, 4, Be(0));
  ExpectFragments(movie_ + fragment, 3, 100, 130);
}

TEST_F(MovieFragmentsTest, ACountThatTheFileCannotHoldIsNone) {
  for (const std::string& run : {SampleRun(0xFFFFFFFF), SampleRun(3, 0x100, Be(5) + Be(7)),
                                 SampleRun(1'000'000'000, 0x200)}) {
    EXPECT_EQ(Examine(movie_ + Fragment(TrackFragment(Header(kTrack) + Time(100) + run))).samples,
              0);
  }
}

TEST_F(MovieFragmentsTest, AFragmentThatIsCutOffHasAsManySamplesAsItSays) {
  const std::string whole = movie_ + SimpleFragment(100) + Box("mdat", "abc");
  const std::string cut = Fragment(
      TrackFragment(Header(kTrack) + Time(130) + SampleRun(5, 0x200, std::string(20, '\x1'))));
  const size_t announced = cut.size() - 20;
  for (size_t left = 4; left < cut.size(); ++left) {  // fewer look like padding
    SCOPED_TRACE(left);
    // What says nothing yet had as many as the one before.
    EXPECT_EQ(Examine(whole + cut.substr(0, left)).samples, left < announced ? 3 + 3 : 3 + 5);
  }
}

TEST_F(MovieFragmentsTest, WhatStandsBeforeAFragmentMayBeCutOff) {
  const std::string whole = movie_ + SimpleFragment(100) + Box("mdat", "abc");
  for (const char* const name : {"styp", "sidx", "emsg", "prft"}) {
    const std::string before = Box(name, "twelve bytes");
    EXPECT_EQ(Examine(whole + before.substr(0, 15)).samples, 6) << name;
    EXPECT_EQ(Examine(whole + before).samples, 3) << name;
  }
  for (const char* const name : {"mdat", "free", "mfra"}) {
    EXPECT_EQ(Examine(whole + Box(name, "twelve bytes").substr(0, 15)).samples, 3) << name;
  }
  EXPECT_EQ(Examine(whole + std::string(5, '\0')).samples, 3) << "padding";
  EXPECT_EQ(Examine(movie_ + SimpleFragment(100) + Box("mdat", "").substr(0, 7)).samples, 3);
  EXPECT_EQ(Examine(movie_ + Fragment("").substr(0, 15)).samples, 0);
}

// Searched in pieces of 1 MiB from behind the damage on.
TEST_F(MovieFragmentsTest, AFragmentBehindDamageIsFoundWhereverItLies) {
  for (int offset = -20; offset <= 4; offset += 3) {
    const auto damaged = static_cast<size_t>((1 << 20) + offset);
    ExpectFragments(movie_ + std::string(damaged, '\0') + SimpleFragment(100), 3, 100, 130);
  }
}

TEST_F(MovieFragmentsTest, AFragmentFarBehindDamageIsNotSearchedFor) {
  constexpr size_t kFarthest = size_t{64} << 20;
  ExpectFragments(movie_ + std::string(kFarthest - 4096, '\0') + SimpleFragment(100), 3, 100, 130);
  EXPECT_EQ(Examine(movie_ + std::string(kFarthest + 4096, '\0') + SimpleFragment(100)).samples, 0);
}

TEST_F(MovieFragmentsTest, OtherBoxesOfAFragmentAreNoTrackFragments) {
  const std::string boxes = Header(kTrack) + Time(100) + SampleRun(3);
  ExpectFragments(movie_ + Fragment(TrackFragment(boxes) + Box("free", boxes)), 3, 100, 130);
}

TEST_F(MovieFragmentsTest, TheSearchesHaveAnEnd) {
  std::string bytes = movie_;
  for (uint32_t i = 0; i < 70; ++i) bytes += std::string(16, '\0') + SimpleFragment(i * 30);
  ExpectFragments(bytes, 64 * 3, 0, 64 * 30);
}

}  // namespace
}  // namespace qolm::media::ffmpeg
