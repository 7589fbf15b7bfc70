// SPDX-License-Identifier: MIT
//
// Whatever a file claims, info and qolm2_export take no more memory than
//
//   64 MiB + 8 packed pictures (4 bytes a pixel) + the file's size + the decoded sound
//
// and no more time than what the file holds is worth.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/transform_payload.h"
#include "hostile_file.h"
#include "hostile_payloads.h"
#include "support/container_file.h"
#include "support/cpu_limit.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

using container::FileHeader;
using container::RecordType;
using testing::HasSubstr;
using testing::Not;

constexpr uint64_t kMebibyte = uint64_t{1} << 20;
constexpr uint32_t kMillion = 1'000'000;
// Sanitizers take memory and time of their own; what they find is then the test.
constexpr bool kPlainBuild = QOLM_PLAIN_BUILD != 0;

class Bounds : public testing::Test {
 protected:
  // What the bound is reckoned from.
  struct Worth {
    uint64_t width = 16;  // pixels, of the largest picture that is decoded
    uint64_t height = 16;
    uint64_t sound_values = 0;
    rlim_t cpu_seconds = 30;
  };

  struct Outcome {
    int exit_code;
    std::string out;
    std::string err;
  };

  uint64_t MemoryBound(const Worth& worth) const {
    return 64 * kMebibyte + 8 * 4 * worth.width * worth.height + std::filesystem::file_size(path_) +
           2 * worth.sound_values;
  }

  Outcome Run(const char* program, const std::vector<std::string>& arguments, const Worth& worth) {
    const rlim_t seconds = worth.cpu_seconds * (kPlainBuild ? 1 : 8);
    ProgramRun run(program, arguments, [seconds] { LimitCpuSeconds(seconds); });
    run.Wait();
    EXPECT_TRUE(run.exit_code() == 0 || run.exit_code() == 1) << run.exit_code() << run.err();
    const uint64_t bound = MemoryBound(worth);
    if (kPlainBuild) {
      EXPECT_LE(run.peak_bytes(), bound);
    }
    RecordProperty("peak_mib", std::to_string(run.peak_bytes() / kMebibyte));
    return {run.exit_code(), run.out(), run.err()};
  }

  std::string Info(const Worth& worth) {
    const Outcome outcome = Run(QOLM_CONVERTER, {"info", path_.string()}, worth);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
  }

  Outcome Export(const std::vector<std::string>& words, const Worth& worth) {
    std::vector<std::string> arguments = {path_.string()};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return Run(QOLM_EXPORT, arguments, worth);
  }

  HostileFile Create(uint16_t flags = 0, uint16_t width = 16, uint16_t height = 16) const {
    FileHeader header = PlainHeader(width, height);
    header.flags |= flags;
    return {path_, header};
  }

  // A file of one sound block.
  void WriteSoundBlock(const Bytes& payload) const {
    Create().whole_record(RecordType::kAudioBlock, payload);
  }

  static std::string Frames(uint64_t count) {
    return "Decoded Frames : " + std::to_string(count) + "\n";
  }
  static std::string Values(uint64_t count) { return std::to_string(count) + " samples\n"; }

  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "a.qolm";
  std::string wav_ = (folder_ / "a.wav").string();
  std::string png_ = (folder_ / "a.png").string();
};

TEST_F(Bounds, StreamsOfFourBillionValues) {
  const Bytes stream = OneValueStream(0, 0xFFFFFFFF);
  Bytes sound = AdpcmAudio(1000);
  sound[4] = 2;
  for (const size_t field : {size_t{6}, size_t{10}}) StoreLe32(&sound[field], 0xFFFFFFFF);
  std::copy(stream.begin(), stream.end(), sound.end() - 13);
  Bytes picture = KeyFrame(16, 16, Spelling::kShort);
  std::copy(stream.begin(), stream.end(), picture.begin() + 21);
  HostileFile file = Create();
  file.whole_record(RecordType::kAudioBlock, sound);
  file.whole_record(RecordType::kKeyFrame, picture);
  file.close();
  EXPECT_THAT(Info({}), AllOf(HasSubstr(Frames(0)), Not(HasSubstr("Audio"))));
}

// Two of the five contexts, 71 bytes: zero runs that no block holds.
TEST_F(Bounds, ContextStreamOfFourBillionTokens) {
  constexpr uint32_t kPairs = 0x7FFFFFFF;
  const Bytes stream = FiveOneValueStreams(2 * kPairs, {{{0, kPairs}, {255, kPairs}, {}, {}, {}}});
  ASSERT_EQ(stream.size(), 71U);
  constexpr uint32_t kMostValues = 0x7FFFFFFF - 128;
  Bytes sound = Silence(kMostValues, Spelling::kShort);
  sound.erase(sound.end() - LoadLe32(&sound[22]), sound.end());
  StoreLe32(&sound[22], static_cast<uint32_t>(stream.size()));
  sound.insert(sound.end(), stream.begin(), stream.end());
  WriteSoundBlock(sound);
  EXPECT_THAT(Info({}), Not(HasSubstr("Audio")));
}

TEST_F(Bounds, AMillionEqualOffsets) {
  HostileFile file = Create();
  const uint64_t first = file.position();
  file.whole_record(RecordType::kKeyFrame, KeyFrame(16, 16, Spelling::kShort));
  file.trailing_index(kMillion, first, 0);
  file.close();
  EXPECT_THAT(Info({}), HasSubstr(Frames(1)));
}

TEST_F(Bounds, OverlappingPiecesOfSound) {
  constexpr uint32_t kPieces = 400'000;
  HostileFile file = Create(container::kFlagInterleavedAudio);
  const uint64_t first = file.position();
  const uint64_t end = first + uint64_t{8} * kPieces;
  for (uint32_t i = 0; i < kPieces; ++i) {
    file.record({RecordType::kAudio, 0, 0, static_cast<uint32_t>(end - file.position() - 8)});
  }
  file.trailing_index(kPieces, first, 8);
  file.close();
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
}

TEST_F(Bounds, TheLargestPictureWithNothingBehindTheHeader) {
  Create(0, 16384, 16384);
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
  EXPECT_EQ(Export({"-", "--y4m"}, {}).exit_code, 1);
  EXPECT_EQ(Export({png_}, {}).exit_code, 1);
}

// Each record begins with a good picture and claims all that follows, which the
// decoder would pass over.
TEST_F(Bounds, RecordsInsideOneAnother) {
  constexpr uint32_t kRecords = 60'000;
  HostileFile file = Create();
  const uint64_t first = file.position();
  const Bytes picture = KeyFrame(16, 16, Spelling::kShort);
  const uint64_t step = container::kRecordHeaderBytes + picture.size();
  const uint64_t end = first + step * kRecords;
  for (uint32_t i = 0; i < kRecords; ++i) {
    Bytes outer = picture;
    const auto payload_bytes = static_cast<uint32_t>(end - file.position() - 8);
    // The last stream takes all that is left.
    StoreLe32(&outer[5 + 3 * 4],
              LoadLe32(&outer[5 + 3 * 4]) + payload_bytes - static_cast<uint32_t>(picture.size()));
    file.record({RecordType::kKeyFrame, 0, 0, payload_bytes}, outer);
  }
  file.trailing_index(kRecords, first, step);
  file.close();
  EXPECT_THAT(Info({.cpu_seconds = 4}), HasSubstr("Decoded Frames : "));
  EXPECT_EQ(Export({png_, "--sheet", "20x20"}, {.cpu_seconds = 4}).exit_code, 1);
}

TEST_F(Bounds, AMillionIndexRecords) {
  HostileFile file = Create();
  const uint64_t first = file.position();
  for (uint32_t i = 0; i < kMillion; ++i) file.record({RecordType::kIndex, 0, 0, 0});
  file.trailing_index(kMillion, first, 8);
  file.close();
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
}

TEST_F(Bounds, AMillionPiecesOfNoSound) {
  HostileFile file = Create(container::kFlagInterleavedAudio);
  for (uint32_t i = 0; i < kMillion; ++i) {
    file.whole_record(RecordType::kAudio, Bytes(i % 4, 7));
  }
  file.close();
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
}

TEST_F(Bounds, RepeatsOfManyMillionFrames) {
  HostileFile file = Create();
  for (uint32_t i = 0; i < 200'000; ++i) file.record({RecordType::kRepeatRun, 255, 0, 0});
  file.close();
  EXPECT_THAT(Info({.cpu_seconds = 6}), HasSubstr(Frames(51'000'000)));
  EXPECT_EQ(Export({png_, "--frame", "50999999"}, {.cpu_seconds = 6}).exit_code, 0);
}

// An entry of the list is as large as one of these records.
TEST_F(Bounds, MillionsOfTheSmallestRecords) {
  constexpr uint32_t kRecords = 9'000'000;
  {
    HostileFile file = Create();
    file.record({RecordType::kKeyFrame, 0, 0, 0});  // ends the decoding at once
    Bytes records;
    const auto header = container::EncodeRecordHeader({RecordType::kRepeatRun, 1, 0, 0});
    for (int i = 0; i < 9000; ++i) records.insert(records.end(), header.begin(), header.end());
    for (uint32_t i = 0; i < kRecords; i += 9000) file.append(records);
  }
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
}

// Listed by a scan, since no index may hold as many.
TEST_F(Bounds, AsManyKeyFramesAsAreListed) {
  {
    HostileFile file = Create();
    Bytes records;
    const auto header = container::EncodeRecordHeader({RecordType::kKeyFrame, 0, 0, 0});
    for (int i = 0; i < 8192; ++i) records.insert(records.end(), header.begin(), header.end());
    for (uint32_t i = 0; i < container::kMaxScannedRecords; i += 8192) file.append(records);
  }
  EXPECT_THAT(Info({}), HasSubstr(Frames(0)));
  EXPECT_EQ(Export({png_, "--frame", "16000000"}, {}).exit_code, 1);
}

TEST_F(Bounds, SmallKeyFrames) {
  constexpr uint32_t kFrames = 6'000;
  HostileFile file = Create();
  const Bytes picture = KeyFrame(160, 128, Spelling::kShort);
  for (uint32_t i = 0; i < kFrames; ++i) file.whole_record(RecordType::kKeyFrame, picture);
  file.close();
  EXPECT_THAT(Info({.width = 160, .height = 128}), HasSubstr(Frames(kFrames)));
}

TEST_F(Bounds, LargeKeyFrames) {
  const uint32_t frames = kPlainBuild ? 4 : 1;
  HostileFile file = Create();
  const Bytes picture = KeyFrame(8192, 8192, Spelling::kShort);
  for (uint32_t i = 0; i < frames; ++i) file.whole_record(RecordType::kKeyFrame, picture);
  file.close();
  EXPECT_THAT(Info({.width = 8192, .height = 8192, .cpu_seconds = 50}), HasSubstr(Frames(frames)));
}

// Tokens three times as many as levels, and as many pictures at once as may be.
TEST_F(Bounds, LongSpellingsOfPicturesThatWait) {
  constexpr uint32_t kSide = 1536;
  constexpr uint16_t kWaiting = 8;
  HostileFile file = Create(container::kFlagBidirectional | container::kFlagMotionPrediction |
                            container::kFlagDeblocking);
  file.whole_record(RecordType::kKeyFrame, KeyFrame(kSide, kSide, Spelling::kLong), 0);
  for (uint16_t i = 0; i < kWaiting; ++i) {
    file.whole_record(RecordType::kPredictedFrame, PredictedFrame(kSide, kSide, Spelling::kLong),
                      static_cast<uint16_t>(2 + i));
  }
  file.whole_record(RecordType::kBidirectionalFrame,
                    BidirectionalFrame(kSide, kSide, Spelling::kLong), 1);
  file.close();
  const Worth worth = {.width = kSide, .height = kSide};
  EXPECT_THAT(Info(worth), HasSubstr(Frames(kWaiting + 2)));
  EXPECT_EQ(Export({png_, "--frame", "9"}, worth).exit_code, 0);
}

class BoundsOfSound : public Bounds {
 protected:
  static constexpr uint32_t kValues = (1U << 25) + (1U << 14);

  // Info keeps no sound; an export does.
  void ExpectDecoded(uint32_t values) {
    EXPECT_THAT(Info({.cpu_seconds = 60}), HasSubstr(Values(values)));
    EXPECT_EQ(Export({wav_}, {.sound_values = values, .cpu_seconds = 60}).exit_code, 0);
    EXPECT_EQ(std::filesystem::file_size(wav_), 44 + uint64_t{2} * values);
  }
};

TEST_F(BoundsOfSound, ABlockOfSilence) {
  WriteSoundBlock(Silence(kValues, Spelling::kShort));
  ExpectDecoded(kValues);
}

TEST_F(BoundsOfSound, ABlockOfSilenceInLongSpelling) {
  WriteSoundBlock(Silence(kValues, Spelling::kLong));
  ExpectDecoded(kValues);
}

TEST_F(BoundsOfSound, ABlockOfAdpcm) {
  WriteSoundBlock(AdpcmAudio(kValues));
  ExpectDecoded(kValues);
}

TEST_F(BoundsOfSound, InPieces) {
  constexpr uint32_t kPieceValues = 1U << 14;
  HostileFile file = Create(container::kFlagInterleavedAudio);
  const Bytes piece = Silence(kPieceValues, Spelling::kShort);
  for (uint32_t i = 0; i < kValues / kPieceValues; ++i) {
    file.whole_record(RecordType::kAudio, piece);
  }
  file.close();
  ExpectDecoded(kValues);
}

// Each piece in vain counts 2^18 values, so 8192 of them use up what one file may
// hold, and nothing behind them is looked at.
TEST_F(BoundsOfSound, PiecesInVainUseUpTheSound) {
  const Bytes in_vain = Silence(1024, Spelling::kShort, /*refused=*/true);
  const Bytes good = Silence(1000, Spelling::kShort);
  for (const uint32_t count : {4000U, 8192U}) {
    HostileFile file = Create(container::kFlagInterleavedAudio);
    for (uint32_t i = 0; i < count; ++i) file.whole_record(RecordType::kAudio, in_vain);
    file.whole_record(RecordType::kAudio, good);
    file.close();
    const std::string text = Info({.cpu_seconds = 60});
    if (count < 8192) {
      EXPECT_THAT(text, HasSubstr(Values(1000)));
    } else {
      EXPECT_THAT(text, Not(HasSubstr("Audio")));
    }
  }
}

// Of a piece of one sample two whole frames are decoded, which at the highest rate
// take some milliseconds. They count like what is decoded in vain, at that rate
// as 122,880 values, so this file ends its sound with the first or the third.
TEST_F(BoundsOfSound, PiecesOfOneSampleUseUpTheSound) {
  const Bytes in_vain = Silence(1024, Spelling::kShort, /*refused=*/true);
  const Bytes one_sample = Silence(1, Spelling::kShort, false, audio::kHighestTransformRate);
  ASSERT_LT(one_sample.size(), 80U);
  for (const uint32_t samples : {1U, 3U}) {
    HostileFile file = Create(container::kFlagInterleavedAudio);
    // Their bytes count, too: about 8,000 values are left, or 270,000.
    const uint32_t refused = samples == 1 ? 8190 : 8189;
    for (uint32_t i = 0; i < refused; ++i) file.whole_record(RecordType::kAudio, in_vain);
    for (int i = 0; i < 10'000; ++i) file.whole_record(RecordType::kAudio, one_sample);
    file.close();
    EXPECT_THAT(Info({}), HasSubstr(Values(samples)));
  }
}

}  // namespace
}  // namespace qolm::test
