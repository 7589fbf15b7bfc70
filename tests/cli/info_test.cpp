// SPDX-License-Identifier: MIT
//
// The info command on files made record by record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "audio/adpcm_payload.h"
#include "base/byte_order.h"
#include "cli/info_command.h"
#include "container/layout.h"
#include "scratch_directory.h"
#include "support/container_file.h"
#include "support/moving_picture.h"

namespace qolm::cli {
namespace {

using container::RecordType;

class Info : public testing::Test {
 protected:
  Info() : path_(directory_ / "file.qolm") {
    header_.width = 16;
    header_.height = 8;
    header_.fps_num = 30000;
    header_.fps_den = 1001;
    header_.flags = container::kFlagsAlwaysSet;
  }

  void AddRepeats(uint8_t count, uint16_t first_number = 0) {
    const container::RecordHeader record = {RecordType::kRepeatRun, count, first_number, 0};
    const container::RecordHeaderBytes bytes = container::EncodeRecordHeader(record);
    records_.append(bytes.begin(), bytes.end());
  }

  void AddEmptyFrontIndex() {
    const auto bytes = container::EncodeRecordHeader({RecordType::kIndex, 0, 0, 20});
    records_.append(bytes.begin(), bytes.end());
    records_.append(20, '\0');
  }

  void AddSound() {
    std::vector<uint8_t> payload;
    ASSERT_TRUE(audio::EncodeAdpcmPayload(std::vector<int16_t>(100), 8000, 1, payload));
    const auto bytes = container::EncodeRecordHeader(
        {RecordType::kAudioBlock, 0, 0, static_cast<uint32_t>(payload.size())});
    records_.append(bytes.begin(), bytes.end());
    records_.append(payload.begin(), payload.end());
  }

  int Run() {
    const container::FileHeaderBytes head = container::EncodeFileHeader(header_);
    WriteFile(path_, std::string(head.begin(), head.end()) + records_);
    return RunOnFile();
  }

  int RunOnFile() {
    int calls = 0;
    return RunInfoCommand(path_, out_, err_,
                          [&calls] { return std::chrono::milliseconds(250 * calls++); });
  }

  ScratchDirectory directory_;
  std::string path_;
  container::FileHeader header_;
  std::string records_;
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(Info, PrintsTheHeaderAndTheSpeed) {
  header_.frame_count = 3;
  header_.duration_ms = 100;
  AddRepeats(3);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_EQ(out_.str(), "[+] Opening QOLM v2 file: " + path_ +
                            "\n"
                            "    Resolution: 16x8\n"
                            "    FPS       : 30000/1001\n"
                            "    Frames    : 3\n"
                            "    Duration  : 0.1 s\n"
                            "    Flags     : 0x3e\n"
                            "[+] Decoded Frames : 3\n"
                            "    Decode Time    : 250.0 ms\n"
                            "    Decode Speed   : 12.0 FPS\n");
}

TEST_F(Info, AFileWithoutFrames) {
  header_.flags = 0x013E;
  records_.assign(4, '\0');  // an index of no entries
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::EndsWith("    Frames    : 0\n"
                                            "    Duration  : 0 s\n"
                                            "    Flags     : 0x13e\n"
                                            "[+] Decoded Frames : 0\n"
                                            "    Decode Time    : 250.0 ms\n"
                                            "    Decode Speed   : 0.0 FPS\n"));
}

TEST_F(Info, SaysThatAFileWasNeverFinished) {
  AddRepeats(3);
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), testing::HasSubstr("    Frames    : 0\n"));
  EXPECT_THAT(out_.str(), testing::HasSubstr("[+] Decoded Frames : 3\n"));
  EXPECT_THAT(out_.str(),
              testing::EndsWith(" FPS\n[+] Note: the file was never finished, or is still being "
                                "written; qolm2_export can save what it holds so far.\n"));
}

TEST_F(Info, SaysThatAnUnfinishedFileHoldsNothingWhole) {
  AddRepeats(3);
  records_.back() = '\1';  // the record is longer than the file
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(),
              testing::EndsWith(" FPS\n[+] Note: the file was never finished, or is still being "
                                "written; it holds no whole frame yet.\n"));
}

// As after a writer that was ended before its first frame came to the disk.
TEST_F(Info, SaysThatAFileWithNothingBehindItsHeadWasNeverFinished) {
  for (const size_t bytes : {0u, 1u, 3u}) {
    out_.str("");
    records_.assign(bytes, '\0');
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(out_.str(),
                testing::EndsWith(" FPS\n[+] Note: the file was never finished, or is still being "
                                  "written; it holds no whole frame yet.\n"))
        << bytes;
  }
}

// A finished file of a source without frames has the very same bytes.
TEST_F(Info, SaysThatAFileWithAnEmptyFrontIndexHoldsNoFrame) {
  header_.flags |= container::kFlagFastStart;
  AddEmptyFrontIndex();
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(),
              testing::EndsWith(" FPS\n[+] Note: the file holds no frame; it was never finished, "
                                "is still being written, or its source had none.\n"));

  for (const bool cut : {false, true}) {
    cut ? records_.pop_back() : records_.push_back('\5');
    if (cut) records_.pop_back();
    out_.str("");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(out_.str(),
                testing::EndsWith(" FPS\n[+] Note: the file was never finished, or is still being "
                                  "written; it holds no whole frame yet.\n"))
        << cut;
  }
}

TEST_F(Info, SaysThatAnUnfinishedFileWithoutFramesHoldsSound) {
  header_.audio_rate = 8000;
  header_.audio_channels = 1;
  AddSound();
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), testing::HasSubstr("    Audio     : 8000 Hz, 1 ch, 100 samples\n"));
  EXPECT_THAT(out_.str(), testing::EndsWith("written; it holds no whole frame yet, but sound that "
                                            "qolm2_export can save as .wav.\n"));

  header_.flags |= container::kFlagFastStart;
  AddEmptyFrontIndex();
  out_.str("");
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), testing::EndsWith(" or its source had none; qolm2_export can save its "
                                            "sound as .wav.\n"));
}

// The frame count is the last thing that a writer writes.
TEST_F(Info, SaysThatAFileWithItsIndexButNoFrameCountWasNeverFinished) {
  const std::vector<test::Record> records = {test::Repeat(3)};
  for (const bool fast_start : {false, true}) {
    out_.str("");
    ASSERT_TRUE(test::WriteContainerFile(path_, header_, records, {fast_start, {}}));
    EXPECT_EQ(RunOnFile(), 0);
    EXPECT_THAT(out_.str(), testing::HasSubstr("[+] Decoded Frames : 3\n"));
    EXPECT_THAT(out_.str(),
                testing::EndsWith(" FPS\n[+] Note: the file was never finished, or is still being "
                                  "written; qolm2_export can save what it holds so far.\n"));
  }
}

// Sound between pictures of which there are none, which is complete.
TEST_F(Info, AFinishedFileOfSoundAloneIsNotTakenForAnother) {
  header_.flags |= container::kFlagInterleavedAudio;
  const std::vector<test::Record> records = {test::Sound({1, 2, 3})};
  ASSERT_TRUE(test::WriteContainerFile(path_, header_, records));
  EXPECT_EQ(RunOnFile(), 0);
  EXPECT_THAT(out_.str(), testing::Not(testing::HasSubstr("Note")));
}

TEST_F(Info, CountsFramesThatAreStoredBeforeEarlierOnes) {
  header_.flags |= container::kFlagBidirectional;
  header_.frame_count = 7;
  AddRepeats(2, 1);
  AddRepeats(1, 0);
  AddRepeats(4, 3);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::EndsWith("[+] Decoded Frames : 7\n"
                                            "    Decode Time    : 250.0 ms\n"
                                            "    Decode Speed   : 28.0 FPS\n"));
}

class InfoOfHeldFrames : public Info {
 protected:
  // 1@0 5x3@2 2@5 4@1, the last one with `lost_bytes` of its payload cut off.
  int RunOnRecords(uint16_t flags, size_t lost_bytes) {
    header_.flags |= flags;
    header_.frame_count = 6;
    test::PictureCoder coder(header_.flags, 50);
    std::vector<test::Record> records = {coder.Key(test::MovingPicture(16, 8, 0)), test::Repeat(3),
                                         coder.Predicted(test::MovingPicture(16, 8, 5)),
                                         coder.Bidirectional(test::MovingPicture(16, 8, 1))};
    EXPECT_TRUE(coder.between_decoded());
    records[1].frame_no = 2;
    records[2].frame_no = 5;
    records[3].frame_no = 1;
    std::vector<uint8_t>& last = records[3].payload;
    last.resize(last.size() - lost_bytes);
    EXPECT_TRUE(test::WriteContainerFile(path_, header_, records));
    return RunOnFile();
  }
};

TEST_F(InfoOfHeldFrames, AllAreCounted) {
  EXPECT_EQ(RunOnRecords(container::kFlagBidirectional, 0), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::EndsWith("    Frames    : 6\n"
                                            "    Duration  : 0 s\n"
                                            "    Flags     : 0x7e\n"
                                            "[+] Decoded Frames : 6\n"
                                            "    Decode Time    : 250.0 ms\n"
                                            "    Decode Speed   : 24.0 FPS\n"));
}

// The run and the predicted frame waited for the bidirectional one.
TEST_F(InfoOfHeldFrames, OneThatIsDamagedLosesOnlyItself) {
  const std::string five_of_six =
      "[+] Decoded Frames : 5\n"
      "    Decode Time    : 250.0 ms\n"
      "    Decode Speed   : 20.0 FPS\n"
      "[+] Note: the file is damaged or incomplete; only 5 of 6 frames could be decoded.\n";
  EXPECT_EQ(RunOnRecords(container::kFlagBidirectional, 1), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::EndsWith(five_of_six));
}

TEST_F(InfoOfHeldFrames, WithoutTheirFlagTheyAreDamage) {
  EXPECT_EQ(RunOnRecords(0, 0), 0);
  EXPECT_THAT(out_.str(), testing::HasSubstr("; only 5 of 6 frames could be decoded.\n"));
}

TEST_F(Info, TellsThatFramesAreMissing) {
  header_.frame_count = 100;
  AddRepeats(3);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(err_.str(), "");
  EXPECT_THAT(out_.str(), testing::EndsWith("    Decode Speed   : 12.0 FPS\n"
                                            "[+] Note: the file is damaged or incomplete; only 3 "
                                            "of 100 frames could be decoded.\n"));
}

TEST_F(Info, RefusesTheLegacyFormat) {
  for (const char* content : {"QOLM", "QOLM and more, whatever it is"}) {
    out_.str("");
    err_.str("");
    WriteFile(path_, content);
    EXPECT_EQ(RunOnFile(), 1);
    EXPECT_EQ(out_.str(), "[+] Opening QOLM v2 file: " + path_ + "\n");
    EXPECT_EQ(err_.str(),
              "[-] Error: File is in legacy QOLM v1 format (QOLM magic 0x4D4C4F51).\n"
              "    QOLM v1 is deprecated and no longer supported in QOLM v2 players/decoders.\n"
              "    Please re-encode your source video using: qolm2_converter encode <input> "
              "<output.qolm>\n");
  }
}

TEST_F(Info, RefusesWhatDoesNotOpenAsVersionTwo) {
  const auto expect_refused = [this](const std::string& what) {
    EXPECT_EQ(out_.str(), "[+] Opening QOLM v2 file: " + path_ + "\n") << what;
    EXPECT_THAT(err_.str(),
                testing::AllOf(testing::StartsWith("[-] Error: Cannot open as a QOLM v2 file ("),
                               testing::EndsWith("): " + path_ + "\n"),
                               testing::Not(testing::HasSubstr("()"))))
        << what;
    out_.str("");
    err_.str("");
  };
  EXPECT_EQ(RunOnFile(), 1);
  EXPECT_THAT(err_.str(), testing::HasSubstr("(No such file or directory)"));
  expect_refused("missing");
  for (const char* content : {"", "QLM", "QLM2", "some text"}) {
    WriteFile(path_, content);
    EXPECT_EQ(RunOnFile(), 1);
    expect_refused(content);
  }
  header_.width = 0;
  EXPECT_EQ(Run(), 1);
  expect_refused("no width");
  header_.width = 16385;
  EXPECT_EQ(Run(), 1);
  expect_refused("too wide");
  header_.width = 16;
  header_.version = 3;
  EXPECT_EQ(Run(), 1);
  expect_refused("version 3");
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  EXPECT_EQ(RunOnFile(), 1);
  EXPECT_THAT(err_.str(), testing::HasSubstr("(Is a directory)"));
  expect_refused("directory");
}

}  // namespace
}  // namespace qolm::cli
