// SPDX-License-Identifier: MIT
#include "media/ffmpeg/audio_timeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace qolm::media::ffmpeg {
namespace {

using Piece = AudioTimeline::Piece;

constexpr double kMillisecond = 0.001;
constexpr double kPiece = 1024.0 / 48000;

struct Outcome {
  std::vector<size_t> corrected;  // pieces with a correction ahead of them
  double silence = 0;
  double cut = 0;
  double length = 0;
};

struct Clocks {
  std::optional<double> picture_start;
  double unit;
  FileClock file{false, std::nullopt};
};

Outcome Follow(Clocks clocks, const std::vector<Piece>& pieces) {
  AudioTimeline timeline(clocks.picture_start, clocks.unit, clocks.file);
  Outcome outcome;
  double cut_left = 0;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const size_t ahead = std::min(AudioTimeline::kLookAhead, pieces.size() - i);
    double correction = 0;
    if (cut_left <= 0) correction = timeline.Correction({pieces.data() + i, ahead});
    if (correction != 0) outcome.corrected.push_back(i);
    if (correction > 0) {
      outcome.silence += correction;
      timeline.Advance(correction);
    } else {
      outcome.cut -= correction;
      cut_left -= correction;
    }
    const double cut = std::min(cut_left, pieces[i].duration);
    cut_left -= cut;
    timeline.Advance(pieces[i].duration - cut);
  }
  outcome.length = timeline.position();
  return outcome;
}

std::vector<Piece> Pieces(size_t count, const std::function<double(size_t)>& time) {
  std::vector<Piece> pieces;
  for (size_t i = 0; i < count; ++i) pieces.push_back({time(i), kPiece});
  return pieces;
}

double OnTime(size_t i) { return static_cast<double>(i) * kPiece; }

TEST(AudioTimelineTest, TenHoursOfRoundedTimestampsNeedNoCorrection) {
  const auto pieces =
      Pieces(1'687'500, [](size_t i) { return std::round(OnTime(i) * 1000) / 1000; });
  const Outcome outcome = Follow({0.0, kMillisecond}, pieces);
  EXPECT_TRUE(outcome.corrected.empty());
  EXPECT_NEAR(outcome.length, 36000, 0.1 / 48000);
}

TEST(AudioTimelineTest, AClockThatRunsOffIsFollowedForTenHours) {
  const auto pieces = Pieces(1'687'500, [](size_t i) { return OnTime(i) * 1.0001; });
  const Outcome outcome = Follow({0.0, 1.0 / 90000}, pieces);
  EXPECT_NEAR(outcome.length, 36003.6, 0.012);
}

TEST(AudioTimelineTest, JitterInsertsAndCutsNothing) {
  const auto pieces = Pieces(1000, [](size_t i) {
    return OnTime(i) + (i % 3 == 0 ? 0.0 : i % 3 == 1 ? 0.04 : -0.03);
  });
  EXPECT_TRUE(Follow({0.0, kMillisecond}, pieces).corrected.empty());
}

TEST(AudioTimelineTest, OneWildTimestampChangesNothing) {
  for (const double wild : {5.0, -5.0, 100000.0, -1e15, 1e15}) {
    const auto pieces = Pieces(100, [wild](size_t i) { return i == 50 ? wild : OnTime(i); });
    EXPECT_TRUE(Follow({0.0, kMillisecond}, pieces).corrected.empty()) << wild;
  }
}

TEST(AudioTimelineTest, AGapIsFilledWhereItIs) {
  const auto pieces = Pieces(100, [](size_t i) { return OnTime(i) + (i >= 40 ? 0.5 : 0); });
  const Outcome outcome = Follow({0.0, kMillisecond}, pieces);
  EXPECT_EQ(outcome.corrected, std::vector<size_t>{40});
  EXPECT_NEAR(outcome.silence, 0.5, 1e-9);
}

TEST(AudioTimelineTest, ALostPieceIsAGap) {
  auto pieces = Pieces(100, OnTime);
  pieces.erase(pieces.begin() + 30);
  const Outcome outcome = Follow({0.0, kMillisecond}, pieces);
  EXPECT_EQ(outcome.corrected, std::vector<size_t>{30});
  EXPECT_NEAR(outcome.silence, kPiece, 1e-9);
}

TEST(AudioTimelineTest, AnOverlapFallsAwayWhereItBegins) {
  const auto pieces = Pieces(100, [](size_t i) { return OnTime(i) - (i >= 40 ? 0.1 : 0); });
  const Outcome outcome = Follow({0.0, kMillisecond}, pieces);
  EXPECT_EQ(outcome.corrected, std::vector<size_t>{40});
  EXPECT_NEAR(outcome.cut, 0.1, 1e-9);
}

TEST(AudioTimelineTest, BreaksInTheClockAreNoTime) {
  for (const double jump : {-3.0, 20.0}) {
    const auto pieces = Pieces(100, [jump](size_t i) { return OnTime(i) + (i >= 40 ? jump : 0); });
    EXPECT_TRUE(
        Follow({0.0, kMillisecond, FileClock(true, std::nullopt)}, pieces).corrected.empty())
        << jump;
  }
}

TEST(AudioTimelineTest, BeginsWithThePicture) {
  const auto pieces = Pieces(100, OnTime);
  const Outcome late = Follow({-0.123, 1.0 / 90000}, pieces);
  EXPECT_EQ(late.corrected, std::vector<size_t>{0});
  EXPECT_NEAR(late.silence, 0.123, 1e-9);
  const Outcome early = Follow({0.123, 1.0 / 90000}, pieces);
  EXPECT_EQ(early.corrected, std::vector<size_t>{0});
  EXPECT_NEAR(early.cut, 0.123, 1e-9);
  EXPECT_NEAR(early.length, 100 * kPiece - 0.123, 1e-9);
}

TEST(AudioTimelineTest, SoundThatBeginsHoursLateNeedsSupport) {
  const auto pieces = Pieces(100, [](size_t i) { return 7200 + OnTime(i); });
  EXPECT_NEAR(Follow({0.0, kMillisecond, FileClock(false, 7203.0)}, pieces).silence, 7200, 1e-6);
  for (const bool restarts : {false, true}) {
    FileClock covered(restarts, std::nullopt);
    covered.Cover(0, 7202);
    EXPECT_NEAR(Follow({0.0, kMillisecond, covered}, pieces).silence, 7200, 1e-6);
    const FileClock bare(restarts, std::nullopt);
    EXPECT_EQ(Follow({0.0, kMillisecond, bare}, pieces).silence, 0);
  }
}

TEST(AudioTimelineTest, AGapOfHoursIsRealWhereTheSoundGoesOn) {
  const auto pieces = Pieces(100, [](size_t i) { return OnTime(i) + (i >= 40 ? 7200 : 0); });
  EXPECT_NEAR(Follow({0.0, kMillisecond}, pieces).silence, 7200, 1e-6);
  EXPECT_EQ(Follow({0.0, kMillisecond, FileClock(false, 5.0)}, pieces).silence, 0);
  EXPECT_EQ(Follow({0.0, kMillisecond, FileClock(true, std::nullopt)}, pieces).silence, 0);
}

TEST(AudioTimelineTest, AnOffsetWithinTheClocksTicksIsNoGap) {
  const auto shifted = [](double offset) {
    return Pieces(100, [offset](size_t i) { return OnTime(i) + (i >= 40 ? offset : 0); });
  };
  EXPECT_TRUE(Follow({0.0, 0.020}, shifted(0.029)).corrected.empty());
  EXPECT_EQ(Follow({0.0, 0.020}, shifted(0.031)).corrected, std::vector<size_t>{40});
  EXPECT_TRUE(Follow({0.0, kMillisecond}, shifted(0.0105)).corrected.empty());
  EXPECT_EQ(Follow({0.0, kMillisecond}, shifted(0.0115)).corrected, std::vector<size_t>{40});
}

TEST(AudioTimelineTest, AStartWithinTheRoundingIsOnTime) {
  const auto pieces = Pieces(10, OnTime);
  EXPECT_TRUE(Follow({0.0015, kMillisecond}, pieces).corrected.empty());
}

TEST(AudioTimelineTest, AnUnrelatedPictureClockIsIgnored) {
  EXPECT_TRUE(Follow({5000.0, kMillisecond}, Pieces(10, OnTime)).corrected.empty());
}

TEST(AudioTimelineTest, WithoutAPictureTheFirstPieceIsTheStart) {
  const auto pieces = Pieces(100, [](size_t i) { return OnTime(i) + 17; });
  EXPECT_TRUE(Follow({std::nullopt, kMillisecond}, pieces).corrected.empty());
}

TEST(AudioTimelineTest, PiecesWithoutATimeFollowTheOthers) {
  auto pieces = Pieces(100, OnTime);
  for (size_t i = 0; i < pieces.size(); i += 2) pieces[i].time.reset();
  EXPECT_TRUE(Follow({0.0, kMillisecond}, pieces).corrected.empty());
}

}  // namespace
}  // namespace qolm::media::ffmpeg
