// SPDX-License-Identifier: MIT
//
// Pictures and sound that a demuxer passes over, since their packets are overwritten or
// gone; and steps in a file's clock that look alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media/changed_file_fixture.h"
#include "support/media_clip_writer.h"

namespace qolm::media {
namespace {

class PassedOverTest : public ChangedFileTest, public ::testing::WithParamInterface<Kind> {
 protected:
  test::ClipOptions Options() {
    test::ClipOptions options = OptionsOf(GetParam());
    options.codec_options = {{"g", "10"}};
    return options;
  }
  int DamagedIn(const Bytes& bytes) {
    frames_ = Read(GetParam().name, bytes);
    return static_cast<int>(source_.losses().damaged);
  }
  int frames_ = 0;
};

// A tenth of the file and of its pictures, up to the next one that needs no other.
void ExpectATenth(int damaged) {
  EXPECT_GE(damaged, 8);
  EXPECT_LE(damaged, 26);
}

TEST_P(PassedOverTest, OverwrittenPicturesAreDamaged) {
  Bytes bytes = Written(GetParam().name, Options());
  EXPECT_EQ(DamagedIn(bytes), 0);
  Overwrite(bytes, bytes.size() * 45 / 100, bytes.size() / 10);
  ExpectATenth(DamagedIn(bytes));
}

TEST_P(PassedOverTest, RemovedPicturesAreDamaged) {
  Bytes bytes = Written(GetParam().name, Options());
  const auto first = bytes.begin() + static_cast<ptrdiff_t>(bytes.size() * 45 / 100);
  bytes.erase(first, first + static_cast<ptrdiff_t>(bytes.size() / 10));
  ExpectATenth(DamagedIn(bytes));
}

TEST_P(PassedOverTest, APictureThatStandsIsNoDamage) {
  test::ClipOptions options = Options();
  options.time_base = {1, 25};
  for (int i = 0; i < 100; ++i) options.timestamps.push_back(i < 50 ? i : i + 20);
  EXPECT_EQ(DamagedIn(Written(GetParam().name, options)), 0);
  EXPECT_EQ(frames_, 120);
}

const std::vector<Kind> kPassingOver = {
    {"a.mkv", "ffv1", AV_PIX_FMT_BGR0},         {"a.flv", "flv", AV_PIX_FMT_YUV420P},
    {"a.wmv", "wmv2", AV_PIX_FMT_YUV420P},      {"a.nut", "mpeg4", AV_PIX_FMT_YUV420P},
    {"a.ogv", "libtheora", AV_PIX_FMT_YUV420P}, {"a.avi", "mjpeg", AV_PIX_FMT_YUVJ420P},
};

std::string Ending(const ::testing::TestParamInfo<Kind>& info) {
  return std::string(info.param.name).substr(2);
}

INSTANTIATE_TEST_SUITE_P(Files, PassedOverTest, ::testing::ValuesIn(kPassingOver), Ending);

}  // namespace
}  // namespace qolm::media
