// SPDX-License-Identifier: MIT
//
// Files and streams with picture and sound, read back as a player reads them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "export/decoded_media.h"
#include "export/media_file_test.h"

namespace qolm::exporter {
namespace {

using test::DecodedMedia;
using test::DecodeMedia;
using test::ProgramRun;
using test::SamePicture;
using testing::HasSubstr;
using testing::StartsWith;

constexpr double kMillisecond = 0.001;  // Matroska's clock
const std::vector<std::string> kLosslessOutputs = {"out.mkv", "out.nut", "-"};

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double squares = 0;
  for (size_t i = 0; i < a.size(); ++i) squares += (a[i] - b[i]) * (a[i] - b[i]);
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / std::max(squares, 1e-9));
}

// In decibels, of `decoded` against `original`, both interleaved.
double SignalToNoise(std::span<const int16_t> original, std::span<const double> decoded) {
  double signal = 0;
  double noise = 0;
  for (size_t i = 0; i < original.size(); ++i) {
    signal += double{1} * original[i] * original[i];
    noise += (decoded[i] - original[i]) * (decoded[i] - original[i]);
  }
  return 10 * std::log10(signal / std::max(noise, 1e-9));
}

class MediaProgramTest : public MediaFileTest {
 protected:
  double StartOf(size_t frame) const {
    return static_cast<double>(frame) * header_.fps_den / header_.fps_num;
  }

  void ExpectSamePictures(const DecodedMedia& media, size_t frames) const {
    ASSERT_EQ(media.frames.size(), frames);
    for (size_t i = 0; i < frames; ++i) {
      EXPECT_TRUE(SamePicture(media.frames[i], planes_[i])) << "frame " << i;
    }
  }

  void ExpectSameSound(const DecodedMedia& media) const {
    EXPECT_EQ(media.sample_rate, static_cast<int>(track_.sample_rate));
    EXPECT_EQ(media.channels, track_.channels);
    EXPECT_EQ(media.samples, std::vector<double>(track_.samples.begin(), track_.samples.end()));
  }

  void ExpectConstantRate(const DecodedMedia& media, double tolerance) const {
    for (size_t i = 0; i < media.frame_seconds.size(); ++i) {
      EXPECT_NEAR(media.frame_seconds[i], StartOf(i), tolerance) << "frame " << i;
    }
  }
};

TEST_F(MediaProgramTest, NothingIsLost) {
  WriteUsual();
  for (const std::string& output : kLosslessOutputs) {
    SCOPED_TRACE(output);
    const DecodedMedia media = DecodeMedia(Export(output));
    ExpectSamePictures(media, kFrames);
    ExpectSameSound(media);
    const bool exact_clock = output == "out.nut";
    ExpectConstantRate(media, exact_clock ? 1e-9 : kMillisecond / 2 + 1e-9);
    EXPECT_EQ(media.rate_numerator, 30000);
    EXPECT_EQ(media.rate_denominator, 1001);
    EXPECT_NEAR(media.sound_start_seconds, 0, 1e-9);
    EXPECT_NEAR(media.picture_end_seconds, 1.001, 1.5 * kMillisecond);
    EXPECT_NEAR(media.sound_end_seconds, 1.001, kMillisecond);
  }
}

TEST_F(MediaProgramTest, FormsAndTheirCodecs) {
  WriteUsual();
  const DecodedMedia matroska = DecodeMedia(Export("out.mkv"));
  EXPECT_THAT(matroska.container, HasSubstr("matroska"));
  EXPECT_EQ(matroska.picture_codec, "ffv1");
  EXPECT_EQ(matroska.sound_codec, "flac");
  EXPECT_EQ(messages_, "[+] Wrote " + Output("out.mkv") + ": 30 frames, 46x34, 48000 Hz stereo\n");
  const DecodedMedia nut = DecodeMedia(Export("out.nut"));
  EXPECT_EQ(nut.container, "nut");
  EXPECT_EQ(nut.picture_codec, "rawvideo");
  EXPECT_EQ(nut.sound_codec, "pcm_s16le");
  const DecodedMedia pipe = DecodeMedia(Export("-"));
  EXPECT_THAT(pipe.container, HasSubstr("matroska"));
  EXPECT_EQ(pipe.picture_codec, "rawvideo");
  EXPECT_EQ(pipe.sound_codec, "pcm_s16le");
  EXPECT_EQ(messages_, "");
}

// The encoder knows the sum only when it has been emptied at the end.
TEST_F(MediaProgramTest, FlacCarriesTheSumOfItsSamples) {
  WriteUsual();
  const std::vector<uint8_t> setup = DecodeMedia(Export("out.mkv")).sound_setup;
  ASSERT_EQ(setup.size(), 34U);
  EXPECT_THAT(std::vector<uint8_t>(setup.begin() + 18, setup.end()),
              testing::ElementsAreArray(test::Md5Of(track_.samples)));
}

TEST_F(MediaProgramTest, PlayersLearnTheColours) {
  WriteUsual();
  for (const std::string output : {"out.mkv", "-", "out.mp4"}) {
    SCOPED_TRACE(output);
    const DecodedMedia media = DecodeMedia(Export(output));
    EXPECT_EQ(media.matrix, "smpte170m");
    EXPECT_EQ(media.range, "tv");
    EXPECT_EQ(media.chroma_location, "center");
  }
}

TEST_F(MediaProgramTest, PacketsComeInTheOrderOfTheirTimes) {
  WriteUsual();
  for (const std::string& output : kLosslessOutputs) {
    SCOPED_TRACE(output);
    double latest = 0;
    size_t sounds = 0;
    for (const test::PacketPlace& packet : DecodeMedia(Export(output)).packets) {
      EXPECT_GE(packet.seconds, latest - kMillisecond);
      latest = std::max(latest, packet.seconds);
      sounds += packet.is_sound ? 1 : 0;
    }
    EXPECT_GE(sounds, 10U);
  }
}

// A player of MP4 reads the packets in the order in which they lie in the file, however
// many pictures the encoder held back.
TEST_F(MediaProgramTest, Mp4HoldsPictureAndSoundOfATimeSideBySide) {
  WriteUsual();
  std::vector<test::PacketPlace> packets = DecodeMedia(Export("out.mp4")).packets;
  std::sort(packets.begin(), packets.end(),
            [](const auto& a, const auto& b) { return a.position < b.position; });
  double latest = -1;
  for (const test::PacketPlace& packet : packets) {
    EXPECT_GE(packet.seconds, latest - 0.1);
    latest = std::max(latest, packet.seconds);
  }
}

// Any picture can be sought.
TEST_F(MediaProgramTest, EveryPictureOfALosslessFileIsAKeyFrame) {
  WriteUsual();
  for (const std::string& output : kLosslessOutputs) {
    SCOPED_TRACE(output);
    size_t key_frames = 0;
    for (const test::PacketPlace& packet : DecodeMedia(Export(output)).packets) {
      key_frames += !packet.is_sound && packet.is_key ? 1 : 0;
    }
    EXPECT_EQ(key_frames, kFrames);
  }
}

TEST_F(MediaProgramTest, Mp4GivesEveryChannelItsShareOfBits) {
  for (const uint16_t channels : {uint16_t{1}, uint16_t{2}}) {
    MakePictures(16, 16);
    MakeSound(48000, channels, kSamples);
    Write();
    // The encoder only comes near what is asked of it.
    EXPECT_NEAR(static_cast<double>(DecodeMedia(Export("out.mp4")).sound_bit_rate),
                112000.0 * channels, 8000.0 * channels);
  }
}

TEST_F(MediaProgramTest, Mp4PlaysThePictureAndTheSound) {
  WriteUsual();
  const DecodedMedia media = DecodeMedia(Export("out.mp4"));
  EXPECT_THAT(media.container, HasSubstr("mp4"));
  EXPECT_THAT(media.picture_codec, testing::AnyOf("h264", "mpeg4"));
  EXPECT_EQ(media.sound_codec, "aac");
  ASSERT_EQ(media.frames.size(), kFrames);
  for (size_t i = 0; i < kFrames; ++i) {
    EXPECT_GT(Psnr(media.frames[i].y, planes_[i].y), 30) << "frame " << i;
    EXPECT_GT(Psnr(media.frames[i].cb, planes_[i].cb), 30) << "frame " << i;
    EXPECT_GT(Psnr(media.frames[i].cr, planes_[i].cr), 30) << "frame " << i;
  }
  ExpectConstantRate(media, 1e-9);
  EXPECT_NEAR(media.picture_end_seconds, 1.001, 1e-9);
  // The first sample lies where it should, so nothing of the coder's run-up is
  // heard, and the tones go on to the end.
  EXPECT_NEAR(media.sound_start_seconds, 0, 1e-9);
  ASSERT_GE(media.samples.size(), track_.samples.size());
  EXPECT_LT(media.samples.size(), track_.samples.size() + size_t{2} * 1024);
  EXPECT_GT(SignalToNoise(track_.samples, media.samples), 15);
}

TEST_F(MediaProgramTest, FilesWithoutSound) {
  MakePictures(46, 34);
  Write();
  for (const std::string output : {"out.mkv", "out.nut", "-", "out.mp4"}) {
    SCOPED_TRACE(output);
    const DecodedMedia media = DecodeMedia(Export(output));
    EXPECT_EQ(media.frames.size(), kFrames);
    EXPECT_EQ(media.sound_codec, "");
    if (output == "out.mkv") {
      EXPECT_EQ(messages_, "[+] Wrote " + Output(output) + ": 30 frames, 46x34, no sound\n");
    }
  }
}

TEST_F(MediaProgramTest, PicturesOfAnySize) {
  for (const auto& [width, height] :
       {std::pair<uint16_t, uint16_t>{1, 1}, {1, 7}, {2, 1}, {21, 14}, {16, 33}, {355, 289}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    MakePictures(width, height);
    MakeSound(32000, 1, 32032);
    Write();
    for (const std::string& output : kLosslessOutputs) {
      SCOPED_TRACE(output);
      const DecodedMedia media = DecodeMedia(Export(output));
      ExpectSamePictures(media, kFrames);
      ExpectSameSound(media);
    }
  }
}

TEST_F(MediaProgramTest, Mp4RepeatsTheEdgeOfOddSizes) {
  for (const auto& [width, height] :
       {std::pair<uint16_t, uint16_t>{1, 1}, {21, 14}, {16, 33}, {45, 35}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    MakePictures(width, height);
    Write();
    const DecodedMedia media = DecodeMedia(Export("out.mp4"));
    ASSERT_EQ(media.frames.size(), kFrames);
    if (media.picture_codec != "h264") continue;  // others store odd sizes
    const uint32_t stored_width = width + width % 2U;
    const uint32_t stored_height = height + height % 2U;
    EXPECT_THAT(messages_,
                HasSubstr(std::to_string(width) + "x" + std::to_string(height) + " stored as " +
                          std::to_string(stored_width) + "x" + std::to_string(stored_height)));
    for (size_t i = 0; i < kFrames; ++i) {
      ASSERT_EQ(media.frames[i].width, stored_width);
      ASSERT_EQ(media.frames[i].height, stored_height);
      std::vector<uint8_t> expected;
      for (uint32_t y = 0; y < stored_height; ++y) {
        for (uint32_t x = 0; x < stored_width; ++x) {
          expected.push_back(planes_[i].y[size_t{std::min<uint32_t>(y, height - 1U)} * width +
                                          std::min<uint32_t>(x, width - 1U)]);
        }
      }
      EXPECT_GT(Psnr(media.frames[i].y, expected), 30) << "frame " << i;
    }
  }
}

TEST_F(MediaProgramTest, SoundRatesThatACodecDoesNotKnow) {
  MakePictures(16, 16);
  MakeSound(100003, 1, 100103);
  Write();
  const DecodedMedia matroska = DecodeMedia(Export("out.mkv"));
  EXPECT_EQ(matroska.sound_codec, "pcm_s16le");
  ExpectSameSound(matroska);
  EXPECT_NEAR(matroska.sound_end_seconds, 1.001, kMillisecond);

  MakeSound(30000, 2, 30030);
  Write();
  const DecodedMedia mp4 = DecodeMedia(Export("out.mp4"));
  EXPECT_EQ(mp4.sample_rate, 32000);
  EXPECT_NEAR(static_cast<double>(mp4.samples.size() / 2), 32032, 1024);
  const std::vector<int16_t> resampled = Tones(32000, 2, 32032 - 1024);
  EXPECT_GT(SignalToNoise(resampled, mp4.samples), 15);
}

TEST_F(MediaProgramTest, SoundOfAnotherLengthThanThePicture) {
  for (const size_t samples : {size_t{1}, size_t{5000}, size_t{32000}}) {
    SCOPED_TRACE(samples);
    MakePictures(16, 16);
    MakeSound(8000, 2, samples);
    Write();
    for (const std::string& output : kLosslessOutputs) {
      SCOPED_TRACE(output);
      const DecodedMedia media = DecodeMedia(Export(output));
      ExpectSamePictures(media, kFrames);
      ExpectSameSound(media);
    }
    EXPECT_EQ(DecodeMedia(Export("out.mp4")).frames.size(), kFrames);
  }
}

TEST_F(MediaProgramTest, TenHoursOfFramesKeepTheirTimes) {
  MakePictures(1, 1);
  header_.fps_num = 1000;
  header_.fps_den = 1001;
  records_.resize(1);
  for (int run = 0; run < 144; ++run) records_.push_back(test::Repeat(250));
  header_.frame_count = test::FrameCount(records_);
  ASSERT_EQ(header_.frame_count, 36001U);
  Write();
  for (const std::string output : {"out.mkv", "out.nut", "out.mp4"}) {
    SCOPED_TRACE(output);
    const DecodedMedia media = DecodeMedia(Export(output));
    ASSERT_EQ(media.frame_seconds.size(), 36001U);
    for (size_t i = 0; i < media.frame_seconds.size(); ++i) {
      ASSERT_NEAR(media.frame_seconds[i], StartOf(i), kMillisecond / 2 + 1e-6) << i;
    }
  }
}

TEST_F(MediaProgramTest, AThousandPicturesTakeNoMoreMemoryThanAFew) {
  if (QOLM_PLAIN_BUILD == 0) GTEST_SKIP() << "sanitizers take memory of their own";
  const auto peak_bytes = [this](size_t runs) {
    MakePictures(256, 256);
    records_.resize(1);
    for (size_t run = 0; run < runs; ++run) records_.push_back(test::Repeat(50));
    header_.frame_count = test::FrameCount(records_);
    Write();
    ProgramRun run = Start({Input(), Output("out.mkv"), "--overwrite"});
    run.Wait();
    EXPECT_EQ(run.exit_code(), 0) << run.err();
    return run.peak_bytes();
  };
  // A picture is 96 KiB.
  EXPECT_LT(peak_bytes(20), peak_bytes(1) + (uint64_t{32} << 20));
}

TEST_F(MediaProgramTest, FrameRatesOfAnyKind) {
  for (const auto& [numerator, denominator] :
       {std::pair<uint32_t, uint32_t>{120000, 1001}, {1, 10}, {25, 2}, {90000, 3003}}) {
    SCOPED_TRACE(std::to_string(numerator) + "/" + std::to_string(denominator));
    MakePictures(16, 16);
    header_.fps_num = numerator;
    header_.fps_den = denominator;
    MakeSound(8000, 1, 8000);
    Write();
    for (const std::string output : {"out.mkv", "out.nut", "-", "out.mp4"}) {
      SCOPED_TRACE(output);
      const DecodedMedia media = DecodeMedia(Export(output));
      ASSERT_EQ(media.frames.size(), kFrames);
      ExpectConstantRate(media, kMillisecond / 2 + 1e-6);
      const double rate = static_cast<double>(numerator) / denominator;
      const double average = static_cast<double>(media.rate_numerator) / media.rate_denominator;
      // NUT states no average, which readers then guess.
      EXPECT_NEAR(output == "out.nut" ? media.lowest_exact_rate : average, rate, rate * 1e-6);
      EXPECT_NEAR(media.picture_end_seconds, StartOf(kFrames), kMillisecond);
    }
  }
}

TEST_F(MediaProgramTest, ASoundRateThatNoFormHoldsIsRefusedWithItsReason) {
  MakePictures(16, 16);
  MakeSound(3'000'000'000, 1, 100);
  Write();
  ExpectFailure({Input(), Output("out.mkv")},
                "[-] Error: " + Output("out.mkv") + ": Invalid argument\n");
}

TEST_F(MediaProgramTest, FileWithoutAFrameRatePlaysAtTwentyFive) {
  MakePictures(16, 16);
  header_.fps_num = 0;
  Write();
  const DecodedMedia media = DecodeMedia(Export("out.mkv"));
  EXPECT_EQ(media.rate_numerator, 25);
  EXPECT_EQ(media.rate_denominator, 1);
  EXPECT_THAT(messages_, HasSubstr("25 frames a second since the file names no rate"));
}

TEST_F(MediaProgramTest, DamagedRecordKeepsTheFramesBeforeItAndTheSound) {
  MakePictures(46, 34);
  MakeSound(48000, 2, kSamples);
  records_[6].payload.resize(9);
  Write();
  ExpectFailure({Input(), Output("out.mkv")},
                "[-] Error: " + Input() + ": damaged record behind 25 frames of 30; saved in " +
                    Output("out.mkv") + ": 25 frames, 46x34, 48000 Hz stereo\n");
  const DecodedMedia media = DecodeMedia(Output("out.mkv"));
  ExpectSamePictures(media, 25);
  ExpectSameSound(media);
}

TEST_F(MediaProgramTest, SoundThatDoesNotDecodeLeavesThePicture) {
  MakePictures(46, 34);
  MakeSound(48000, 2, kSamples);
  options_.audio_block.resize(options_.audio_block.size() / 2);
  Write();
  ExpectFailure({Input(), Output("out.mkv")},
                "[-] Error: " + Input() + ": the sound cannot be decoded; saved in " +
                    Output("out.mkv") + ": 30 frames, 46x34, no sound\n");
  ExpectSamePictures(DecodeMedia(Output("out.mkv")), kFrames);
}

TEST_F(MediaProgramTest, PictureThatChangesItsSizeEndsTheExport) {
  for (const auto& [width, height] : {std::pair<uint16_t, uint16_t>{10, 10}, {44, 34}, {46, 33}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    MakePictures(46, 34);
    test::PictureCoder coder(header_.flags, 70);
    records_[6] = coder.Key(test::MovingPicture(width, height, 0));
    Write();
    ProgramRun run = Start({Input(), Output("out.mkv")});
    run.Wait();
    EXPECT_EQ(run.exit_code(), 1);
    EXPECT_THAT(run.err(), HasSubstr("[-] Error: " + Input() +
                                     ": the picture size changes at frame 25, which this form "
                                     "cannot show; saved in " +
                                     Output("out.mkv") + ": 25 frames, 46x34, no sound\n"));
    ExpectSamePictures(DecodeMedia(Output("out.mkv")), 25);
  }
}

TEST_F(MediaProgramTest, FileWithoutFramesLeavesNothing) {
  MakePictures(46, 34);
  MakeSound(48000, 2, kSamples);
  records_.clear();
  header_.frame_count = 0;
  Write();
  for (const std::string output : {"x.mkv", "x.mp4", "x.nut"}) {
    ExpectFailure({Input(), Output(output)},
                  "[-] Error: " + Input() + ": the file holds no frames\n");
  }
  ExpectFailure({Input(), "-"}, "[-] Error: " + Input() + ": the file holds no frames\n");
  EXPECT_THAT(Files(), testing::ElementsAre("in.qolm"));
}

TEST_F(MediaProgramTest, ClosedPipeEndsQuietly) {
  WriteUsual();
  ProgramRun run = Start({Input(), "-"}, test::OutputEnd::kClosedPipe);
  run.Wait();
  EXPECT_EQ(run.exit_code(), 1);
  EXPECT_EQ(run.err(), "");
}

TEST_F(MediaProgramTest, TerminalTakesNoStream) {
  WriteUsual();
  ProgramRun run = Start({Input(), "-"}, test::OutputEnd::kTerminal);
  run.Wait();
  EXPECT_EQ(run.exit_code(), 1);
  EXPECT_EQ(run.err(), "[-] Error: standard output is a terminal, it takes no pictures\n");
}

TEST_F(MediaProgramTest, OutputsThatCannotBeWritten) {
  WriteUsual();
  for (const std::string ending : {".mkv", ".mp4", ".nut"}) {
    const std::string full = Output("full" + ending);
    std::filesystem::create_symlink("/dev/full", full);
    ExpectFailure({Input(), full}, "[-] Error: " + full + ": No space left on device\n");
    const std::string nowhere = Output("no/such/x" + ending);
    ExpectFailure({Input(), nowhere}, "[-] Error: " + nowhere + ": No such file or directory\n");
  }
  EXPECT_THAT(Files(), testing::ElementsAre("full.mkv", "full.mp4", "full.nut", "in.qolm"));
}

// A pipe cannot be written anywhere but at its end.
TEST_F(MediaProgramTest, NamedPipesTakeEveryForm) {
  WriteUsual();
  for (const std::string ending : {".mkv", ".mp4", ".nut"}) {
    SCOPED_TRACE(ending);
    const std::string link = Output("stdout" + ending);
    std::filesystem::create_symlink("/dev/stdout", link);
    const std::string command = std::string(QOLM_EXPORT_PROGRAM) + " " + Input() + " " + link +
                                " | cat > " + Output("got" + ending);
    ProgramRun run("/bin/sh", {"-c", command});
    run.Wait();
    EXPECT_THAT(run.err(), StartsWith("[+] Wrote "));
    const DecodedMedia media = DecodeMedia(Output("got" + ending));
    ASSERT_EQ(media.frames.size(), kFrames);
    ExpectConstantRate(media, kMillisecond);
    // A coder's run-up may lie before the start, where players cut it off.
    ASSERT_LE(media.sound_start_seconds, 0);
    const auto run_up =
        static_cast<size_t>(std::lround(-media.sound_start_seconds * media.sample_rate)) * 2;
    ASSERT_GE(media.samples.size(), track_.samples.size() + run_up);
    EXPECT_GT(SignalToNoise(track_.samples, std::span(media.samples).subspan(run_up)), 15);
  }
}

// The film that was converted, say, which stands beside its conversion.
TEST_F(MediaProgramTest, AFilmOfSomebodyElseIsNotReplaced) {
  for (const bool with_sound : {true, false}) {
    if (with_sound) {
      WriteUsual();
    } else {
      options_ = {};
      header_.audio_channels = 0;
      Write();
    }
    for (const std::string ending : {".mkv", ".mp4", ".nut"}) {
      SCOPED_TRACE(ending);
      const std::string film = Output("film" + ending);
      EXPECT_EQ(Export("film" + ending), film);
      const std::vector<uint8_t> own = test::ReadBytes(film);
      EXPECT_EQ(Export("film" + ending), film);  // the program knows its own work

      std::vector<uint8_t> foreign = own;
      const std::string mark = "qolm2_export";
      for (auto at = foreign.begin();
           (at = std::search(at, foreign.end(), mark.begin(), mark.end())) != foreign.end();) {
        *at = 'Q';
      }
      ASSERT_NE(foreign, own);
      test::WriteBytes(film, foreign);
      ExpectFailure({Input(), film}, "[-] Error: " + film +
                                         ": an existing file that this program did not write is "
                                         "not replaced without --overwrite\n");
      EXPECT_EQ(test::ReadBytes(film), foreign);
      EXPECT_FALSE(std::filesystem::exists(film + ".part"));
      ProgramRun run(QOLM_EXPORT_PROGRAM, {Input(), film, "--overwrite"});
      run.Wait();
      EXPECT_EQ(run.exit_code(), 0);
      EXPECT_NE(test::ReadBytes(film), foreign);
      std::filesystem::remove(film);
    }
  }
}

TEST_F(MediaProgramTest, TheSameInputGivesTheSameBytes) {
  WriteUsual();
  for (const std::string ending : {".mkv", ".nut"}) {
    EXPECT_EQ(test::ReadBytes(Export("a" + ending)), test::ReadBytes(Export("b" + ending)));
  }
}

}  // namespace
}  // namespace qolm::exporter
