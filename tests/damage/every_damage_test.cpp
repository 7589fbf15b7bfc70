// SPDX-License-Identifier: MIT
//
// A small file cut at every length and with every single bit turned: info ends
// soon, says one of the things that it may say, and loses no more than the
// damage touched. Run it under the sanitizers.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "base/byte_order.h"
#include "info_report.h"
#include "sample_files.h"
#include "support/container_file.h"
#include "support/cpu_limit.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

using container::RecordType;

constexpr size_t kSlices = 4;  // of a file, so that they run side by side
constexpr rlim_t kSecondsPerFile = 20;

char where[64] = "before the first damage\n";

void SayWhereItHangs(int /*signal_number*/) {
  constexpr char kText[] = "no end of info: ";
  if (write(2, kText, sizeof(kText) - 1) < 0 || write(2, where, std::strlen(where)) < 0) _exit(2);
  _exit(1);
}

class EveryDamage : public testing::TestWithParam<std::tuple<Sample, size_t>> {
 protected:
  EveryDamage() : file_(MakeSampleFile(std::get<0>(GetParam()))), path_(folder_ / "a.qolm") {
    signal(SIGXCPU, SayWhereItHangs);
    WriteBytes(path_, file_.bytes);
    stream_.open(path_, std::ios::binary | std::ios::in | std::ios::out);
    whole_ = Report(file_.bytes);
  }

  void SetUp() override {
    ASSERT_LT(file_.bytes.size(), 8192U);
    ASSERT_EQ(whole_.frames, file_.frames);
    ASSERT_EQ(whole_.frames, 8U);
    ASSERT_EQ(whole_.sound_line, "    Audio     : 3200 Hz, 1 ch, 1000 samples\n");
  }

  size_t SliceBegin() const { return file_.bytes.size() * std::get<1>(GetParam()) / kSlices; }
  size_t SliceEnd() const { return file_.bytes.size() * (std::get<1>(GetParam()) + 1) / kSlices; }

  Findings Report(std::span<const uint8_t> bytes) {
    LimitCpuSeconds(kSecondsPerFile);
    Findings findings = Judge(RunInfo(path_.string()), path_.string(), bytes);
    EXPECT_EQ(findings.complaint, "") << where;
    return findings;
  }

  void Put(size_t position, uint8_t byte) {
    stream_.seekp(static_cast<std::streamoff>(position));
    stream_.put(static_cast<char>(byte));
    stream_.flush();
  }

  bool SoundIsInBlock() const { return std::get<0>(GetParam()) != Sample::kHeldFrames; }

  // What a bit in the file's header may change beside the lines that show it.
  void CheckHeaderDamage(size_t position, std::span<const uint8_t> bytes, const Findings& found) {
    constexpr size_t kFlags = 8;
    constexpr size_t kFrameCount = 22;
    const bool in_flags = position / 2 == kFlags / 2;
    if (in_flags) return;
    EXPECT_EQ(found.sound_line, whole_.sound_line) << where;
    const bool in_frame_count = position >= kFrameCount && position < kFrameCount + 4;
    const uint32_t announced = LoadLe32(&bytes[kFrameCount]);
    const bool fewer = in_frame_count && announced != 0 && announced < file_.frames;
    EXPECT_EQ(found.frames, fewer ? announced : file_.frames) << where;
  }

  void CheckRecordDamage(const Extent& record, const Findings& found) {
    const bool of_pictures = container::frames_in_record({record.type, 1, 0, 0}) > 0;
    EXPECT_GE(found.frames, record.frames_before) << where;
    if (record.type == RecordType::kAudioBlock || record.type == RecordType::kAudio) return;
    if (of_pictures && SoundIsInBlock()) {
      EXPECT_EQ(found.sound_line, whole_.sound_line) << where;
    }
  }

  // Damage in the payload of the sound takes none of the pictures.
  void CheckSoundPayloadDamage(const Findings& found) {
    EXPECT_EQ(found.frames, file_.frames) << where;
  }

  void CheckBit(size_t position, std::span<const uint8_t> bytes, const Findings& found) {
    if (found.refused) return;
    if (position < container::kFileHeaderBytes) {
      CheckHeaderDamage(position, bytes, found);
      return;
    }
    for (const Extent& record : file_.records) {
      if (position < record.begin || position >= record.end) continue;
      CheckRecordDamage(record, found);
      const bool is_sound =
          record.type == RecordType::kAudioBlock || record.type == RecordType::kAudio;
      if (is_sound && position >= record.begin + container::kRecordHeaderBytes) {
        CheckSoundPayloadDamage(found);
      }
    }
  }

  void CheckCut(size_t length, const Findings& found) {
    ASSERT_EQ(found.refused, length < container::kFileHeaderBytes) << where;
    uint32_t whole_frames = 0;
    for (const Extent& record : file_.records) {
      if (record.end > length) break;
      whole_frames = &record == &file_.records.back() ? file_.frames : (&record + 1)->frames_before;
      if (record.type == RecordType::kAudioBlock) {
        EXPECT_EQ(found.sound_line, whole_.sound_line) << where;
      }
    }
    EXPECT_GE(found.frames, whole_frames) << where;
  }

  TemporaryFolder folder_;
  SampleFile file_;
  std::filesystem::path path_;
  std::fstream stream_;
  Findings whole_;
};

TEST_P(EveryDamage, Cut) {
  // The next slice's first length, so that all lengths but the whole are there.
  for (size_t length = SliceEnd(); length-- > SliceBegin();) {
    std::snprintf(where, sizeof(where), "cut at %zu\n", length);
    std::filesystem::resize_file(path_, length);
    CheckCut(length, Report(std::span(file_.bytes).first(length)));
  }
}

TEST_P(EveryDamage, Bit) {
  std::vector<uint8_t> bytes = file_.bytes;
  for (size_t position = SliceBegin(); position < SliceEnd(); ++position) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::snprintf(where, sizeof(where), "bit %u of byte %zu\n", bit, position);
      bytes[position] = static_cast<uint8_t>(file_.bytes[position] ^ (1U << bit));
      Put(position, bytes[position]);
      CheckBit(position, bytes, Report(bytes));
    }
    bytes[position] = file_.bytes[position];
    Put(position, bytes[position]);
  }
}

std::string NameOf(const testing::TestParamInfo<EveryDamage::ParamType>& info) {
  std::ostringstream name;
  name << std::get<0>(info.param) << std::get<1>(info.param);
  return name.str();
}

INSTANTIATE_TEST_SUITE_P(SmallFiles, EveryDamage,
                         testing::Combine(testing::Values(Sample::kFastStart, Sample::kMonolithic,
                                                          Sample::kHeldFrames),
                                          testing::Range<size_t>(0, kSlices)),
                         NameOf);

}  // namespace
}  // namespace qolm::test
