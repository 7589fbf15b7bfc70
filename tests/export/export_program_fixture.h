// SPDX-License-Identifier: MIT
//
// A file of eight frames and the program that exports it.
#ifndef QOLM_TESTS_EXPORT_EXPORT_PROGRAM_FIXTURE_H_
#define QOLM_TESTS_EXPORT_EXPORT_PROGRAM_FIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/container_file.h"
#include "support/moving_picture.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"
#include "video/picture/colour_conversion.h"

namespace qolm::exporter {

using container::FileHeader;
using test::MovingPicture;
using test::PictureCoder;
using test::Record;
using test::Repeat;

struct ExportRun {
  int exit_code = -1;
  std::vector<uint8_t> output;
  std::string errors;
};

inline constexpr uint16_t kWidth = 21;
inline constexpr uint16_t kHeight = 14;

inline void Append(std::vector<uint8_t>& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

// Eight frames: key, two predicted, three repeats, key, predicted.
class ExportProgramTest : public testing::Test {
 protected:
  ExportProgramTest() {
    header_ = test::PlainHeader(kWidth, kHeight);
    header_.fps_num = 30000;
    header_.fps_den = 1001;
    header_.frame_count = 8;
    PictureCoder coder(header_.flags, 60);
    const auto add = [&](Record record, size_t frames) {
      records_.push_back(std::move(record));
      planes_.insert(planes_.end(), frames, coder.reference());
    };
    add(coder.Key(MovingPicture(kWidth, kHeight, 0)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 1)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 2)), 1);
    add(Repeat(3), 3);
    add(coder.Key(MovingPicture(kWidth, kHeight, 6)), 1);
    add(coder.Predicted(MovingPicture(kWidth, kHeight, 7)), 1);
    Write(header_);
  }

  void Write(const FileHeader& header) {
    ASSERT_TRUE(test::WriteContainerFile(Input(), header, records_));
  }

  std::string Input() const { return (folder_ / "in.qolm").string(); }
  std::string Output(const std::string& name) const { return (folder_ / name).string(); }

  static ExportRun Run(const std::vector<std::string>& arguments,
                       test::OutputEnd end = test::OutputEnd::kCaptured) {
    test::ProgramRun run(
        QOLM_EXPORT_PROGRAM, arguments, [] {}, end);
    run.Wait();
    const std::string out = run.out();
    return {run.exit_code(), std::vector<uint8_t>(out.begin(), out.end()), run.err()};
  }

  std::vector<uint8_t> ExpectedY4m(size_t frames) const {
    std::vector<uint8_t> bytes;
    Append(bytes, "YUV4MPEG2 W21 H14 F30000:1001 Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n");
    for (size_t number = 0; number < frames; ++number) {
      Append(bytes, "FRAME\n");
      for (const auto* plane : {&planes_[number].y, &planes_[number].cb, &planes_[number].cr}) {
        bytes.insert(bytes.end(), plane->begin(), plane->end());
      }
    }
    return bytes;
  }

  std::vector<uint8_t> ExpectedPixels(size_t number) const {
    std::vector<uint8_t> pixels;
    video::ConvertYuvToPacked(planes_[number], video::PixelOrder::kRgba, pixels);
    return pixels;
  }

  // What an export to Y4M or PNG may replace.
  static std::vector<uint8_t> OldY4m() {
    std::vector<uint8_t> bytes;
    Append(bytes, "YUV4MPEG2 old");
    return bytes;
  }
  static std::vector<uint8_t> OldPng() {
    std::vector<uint8_t> bytes;
    Append(bytes, "\x89PNG\r\n\x1A\n old");
    return bytes;
  }

  void ExpectFailure(const std::vector<std::string>& arguments, const std::string& error_line) {
    const ExportRun run = Run(arguments);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors, "[-] Error: " + error_line + "\n");
    EXPECT_TRUE(run.output.empty());
  }

  // Names in the folder, sorted: nothing may be left behind.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  test::TemporaryFolder folder_;
  FileHeader header_;
  std::vector<Record> records_;
  std::vector<video::YuvPlanes> planes_;
};

}  // namespace qolm::exporter

#endif  // QOLM_TESTS_EXPORT_EXPORT_PROGRAM_FIXTURE_H_
