// SPDX-License-Identifier: MIT
#include "media/ffmpeg/picture_sections.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include "media/ffmpeg/stop_signal.h"
#include "support/media_audio_writer.h"
#include "support/temporary_folder.h"

namespace qolm::media::ffmpeg {
namespace {

// Three recordings of ten, five and five seconds; the last one has a clock of its own.
std::vector<PictureSection> ThreeSections() {
  return {{.start = 0, .end = 10, .position = 0, .last_byte = 1000},
          {.start = 0, .end = 5, .position = 10, .last_byte = 2000},
          {.start = 100, .end = 105, .position = 15, .last_byte = 3000}};
}

TEST(PictureSections, TheOriginOfASectionIsGivenOnce) {
  PictureSections sections(ThreeSections());
  EXPECT_EQ(sections.OriginOfNewSection(500, 1), std::nullopt) << "the first one's is known";
  EXPECT_EQ(sections.OriginOfNewSection(1000, 9.9), std::nullopt);
  EXPECT_EQ(sections.OriginOfNewSection(1001, 0), -10);
  EXPECT_EQ(sections.OriginOfNewSection(1500, 2), std::nullopt);
  EXPECT_EQ(sections.OriginOfNewSection(2000, 4), std::nullopt);
  EXPECT_EQ(sections.OriginOfNewSection(2001, 101), 85);
  EXPECT_EQ(sections.OriginOfNewSection(9000, 105), std::nullopt);
}

TEST(PictureSections, ASectionMayBePassedOver) {
  PictureSections sections(ThreeSections());
  EXPECT_EQ(sections.OriginOfNewSection(2500, 101), 85);
  EXPECT_EQ(sections.OriginOfNewSection(1500, 2), std::nullopt) << "sound goes on in order";
}

// Sound whose own clock has not restarted yet.
TEST(PictureSections, ATimeFarFromASectionIsNoneOfIts) {
  PictureSections sections(ThreeSections());
  EXPECT_EQ(sections.OriginOfNewSection(2500, 50), std::nullopt);
  EXPECT_EQ(sections.OriginOfNewSection(2500, 155), std::nullopt);
  EXPECT_EQ(sections.OriginOfNewSection(2500, 103), 85);
}

// What cannot be decoded at the start of the first recording is not shown, so that all
// that follows is shown earlier.
TEST(PictureSections, JoinedRecordingsBeginWhereTheOneBeforeEnds) {
  const test::TemporaryFolder folder;
  test::SoundClip clip;
  clip.codec = "mp2";
  clip.pictures = 75;
  clip.samples = 144'000;
  const auto silence = [](int64_t, int) { return int16_t{0}; };
  test::WriteSoundClip(folder / "part.ts", clip, silence);
  constexpr int kParts = 3;
  for (int i = 0; i < kParts; ++i) {
    std::ofstream(folder / "joined.ts", std::ios::binary | std::ios::app)
        << std::ifstream(folder / "part.ts", std::ios::binary).rdbuf();
  }
  const auto bytes = static_cast<int64_t>(std::filesystem::file_size(folder / "part.ts"));
  const auto origins = [&](double picture_start) {
    const StopSignal stop([] { return false; });
    PictureSections sections = PictureSections::Scan(folder / "joined.ts", stop, picture_start);
    std::vector<double> found;
    for (int i = 0; i < kParts; ++i) {
      const auto origin = sections.OriginOfNewSection(i * bytes + bytes / 2, 2);
      if (origin) found.push_back(*origin);
    }
    return found;
  };
  const std::vector<double> from_first = origins(0);
  const std::vector<double> later = origins(0.5);
  ASSERT_EQ(from_first.size(), 2u);
  ASSERT_EQ(later.size(), 2u);
  EXPECT_NEAR(from_first[1] - from_first[0], -3, 0.001);
  EXPECT_NEAR(later[0] - from_first[0], 0.5, 0.001);
  EXPECT_NEAR(later[1] - from_first[1], 0.5, 0.001);
}

}  // namespace
}  // namespace qolm::media::ffmpeg
