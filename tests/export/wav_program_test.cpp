// SPDX-License-Identifier: MIT
//
// WAV files as a user gets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "export/media_file_test.h"
#include "export/wav_writer.h"

namespace qolm::exporter {
namespace {

class WavProgramTest : public MediaFileTest {
 protected:
  static std::vector<uint8_t> WavOf(const PcmTrack& track) {
    std::vector<uint8_t> bytes =
        WavHeader(track.sample_rate, track.channels, track.samples.size() / track.channels);
    for (const int16_t sample : track.samples) {
      bytes.push_back(static_cast<uint8_t>(sample & 0xFF));
      bytes.push_back(static_cast<uint8_t>((sample >> 8) & 0xFF));
    }
    return bytes;
  }
};

TEST_F(WavProgramTest, HoldsTheDecodedTrack) {
  WriteUsual();
  ASSERT_EQ(track_.samples.size(), 2 * kSamples);
  EXPECT_EQ(test::ReadBytes(Export("out.wav")), WavOf(track_));
  EXPECT_EQ(messages_, "[+] Wrote " + Output("out.wav") + ": 48048 samples, 48000 Hz stereo\n");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm", "out.wav"));
}

TEST_F(WavProgramTest, TrackOfAnOddNumberOfWrites) {
  MakePictures(16, 16);
  MakeSound(8000, 1, 65537);
  Write();
  EXPECT_EQ(test::ReadBytes(Export("out.wav")), WavOf(track_));
}

TEST_F(WavProgramTest, OneSample) {
  MakePictures(16, 16);
  MakeSound(8000, 1, 1);
  Write();
  EXPECT_EQ(test::ReadBytes(Export("out.wav")), WavOf(track_));
  EXPECT_EQ(messages_, "[+] Wrote " + Output("out.wav") + ": 1 sample, 8000 Hz mono\n");
}

TEST_F(WavProgramTest, SoundInPiecesBetweenThePictures) {
  MakePictures(16, 16);
  const std::vector<int16_t> tones = Tones(16000, 2, 16016);
  header_.flags |= container::kFlagInterleavedAudio;
  header_.audio_rate = 16000;
  header_.audio_channels = 2;
  header_.audio_param = 1;
  std::vector<std::vector<uint8_t>> pieces;
  for (const auto& [first, count] : {std::pair{0, 2}, {2, 20000}, {20002, 12030}}) {
    pieces.push_back(CodedSound(
        16000, 2,
        std::span(tones).subspan(static_cast<size_t>(first), static_cast<size_t>(count))));
    ASSERT_TRUE(audio::DecodeAudio(pieces.back(), 0x7FFFFFFF, track_));
  }
  records_.insert(records_.begin(), test::Sound(pieces[0]));
  records_.insert(records_.begin() + 5, test::Sound(pieces[1]));
  records_.push_back(test::Sound(pieces[2]));
  Write();
  ASSERT_EQ(track_.samples.size(), tones.size());
  EXPECT_EQ(test::ReadBytes(Export("out.wav")), WavOf(track_));
}

TEST_F(WavProgramTest, FileWithoutSound) {
  MakePictures(16, 16);
  Write();
  ExpectFailure({Input(), Output("x.wav")},
                "[-] Error: " + Input() + ": the file holds no sound\n");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(WavProgramTest, SoundThatDoesNotDecode) {
  MakePictures(16, 16);
  MakeSound(8000, 1, 4000);
  options_.audio_block.resize(options_.audio_block.size() / 2);
  Write();
  ExpectFailure({Input(), Output("x.wav")},
                "[-] Error: " + Input() + ": the sound cannot be decoded\n");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(WavProgramTest, FullDisk) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  WriteUsual();
  std::filesystem::create_symlink("/dev/full", Output("full.wav"));
  ExpectFailure({Input(), Output("full.wav")},
                "[-] Error: " + Output("full.wav") + ": No space left on device\n");
}

}  // namespace
}  // namespace qolm::exporter
