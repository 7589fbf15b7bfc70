// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/audio_source.h"
#include "media/mediafoundation/mediafoundation_audio_framework.h"
#include "media/platform.h"
#include "windows/scripted_source_reader.h"

namespace qolm::test {
namespace {

// Opens nothing but the reader that it was given, once.
class OneAudioReader : public media::AudioFramework {
 public:
  explicit OneAudioReader(ComPtr<IMFSourceReader> reader) : reader_(std::move(reader)) {}
  std::unique_ptr<media::AudioReader> Open(const std::filesystem::path&,
                                           const ReaderAttributes&) override {
    return media::mediafoundation::AdaptAudioReader(std::exchange(reader_, nullptr));
  }

 private:
  ComPtr<IMFSourceReader> reader_;
};

ComPtr<IMFMediaType> PcmType(UINT32 channels, UINT32 rate, UINT32 bits) {
  ComPtr<IMFMediaType> type;
  MFCreateMediaType(&type);
  type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, channels);
  type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate);
  type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, bits);
  return type;
}

std::string Described(IMFMediaType& type) {
  GUID major{};
  GUID subtype{};
  type.GetGUID(MF_MT_MAJOR_TYPE, &major);
  type.GetGUID(MF_MT_SUBTYPE, &subtype);
  std::string text =
      major == MFMediaType_Audio && subtype == MFAudioFormat_PCM ? "PCM" : "something else";
  for (const GUID& key :
       {MF_MT_AUDIO_NUM_CHANNELS, MF_MT_AUDIO_SAMPLES_PER_SECOND, MF_MT_AUDIO_BITS_PER_SAMPLE}) {
    UINT32 value = 0;
    text += SUCCEEDED(type.GetUINT32(key, &value)) ? " " + std::to_string(value) : " -";
  }
  return text;
}

class AudioReaderTest : public testing::Test {
 protected:
  void SetUp() override {
    live = 0;
    reader_ = MakeCounted<ScriptedSourceReader>();
    reader_->calls = &calls_;
    reader_->current_type = PcmType(1, 32000, 16);
  }
  void TearDown() override {
    reader_.Reset();
    EXPECT_EQ(live, 0) << "objects that were not released";
    EXPECT_EQ(open_locks_, 0) << "locks that were not given back";
  }

  void Deliver(const std::vector<int16_t>& samples, ComPtr<IMFMediaType> new_type = nullptr) {
    const ComPtr<ScriptedBuffer> buffer = MakeCounted<ScriptedBuffer>();
    for (const int16_t sample : samples) {
      buffer->bytes.push_back(static_cast<BYTE>(sample & 0xff));
      buffer->bytes.push_back(static_cast<BYTE>(sample >> 8 & 0xff));
    }
    buffer->open_locks = &open_locks_;
    ScriptedRead read;
    read.buffer = ComPtr<IMFMediaBuffer>(buffer.Get());
    if (new_type != nullptr) read.flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    read.type_from_now_on = std::move(new_type);
    reader_->reads.push_back(std::move(read));
  }

  // Empty when there is no sound.
  std::vector<int16_t> ReadAll() {
    PcmTrack track;
    const bool read = media::AudioSource(std::make_unique<OneAudioReader>(reader_))
                          .ReadAll("any", media::AudioOptions{}, track);
    EXPECT_EQ(read, !track.samples.empty());
    return track.samples;
  }

  const media::Platform platform_;
  ComPtr<ScriptedSourceReader> reader_;
  std::vector<std::string> calls_;
  int open_locks_ = 0;
};

TEST_F(AudioReaderTest, ReadsTheWholeTrack) {
  Deliver({1, -2, 3});
  reader_->reads.emplace_back().flags = MF_SOURCE_READERF_STREAMTICK;
  Deliver({-32768, 32767});
  EXPECT_EQ(ReadAll(), (std::vector<int16_t>{1, -2, 3, -32768, 32767}));
  EXPECT_EQ(calls_, (std::vector<std::string>{"select first audio on", "set type of first audio"}));
}

TEST_F(AudioReaderTest, AsksForLessAndLess) {
  std::vector<std::string> requests;
  reader_->accept = [&](IMFMediaType& type) {
    requests.push_back(Described(type));
    return MF_E_INVALIDMEDIATYPE;
  };
  Deliver({1});
  EXPECT_EQ(ReadAll(), std::vector<int16_t>());
  EXPECT_EQ(requests, (std::vector<std::string>{"PCM 1 32000 16", "PCM 1 - 16", "PCM - - -"}));
}

TEST_F(AudioReaderTest, ADeliveredFormatIsConverted) {
  reader_->current_type = PcmType(2, 64000, 16);
  Deliver({10, 20, 30, 40, 50, 60, 70, 80});  // 15, 35, 55, 75
  EXPECT_EQ(ReadAll(), (std::vector<int16_t>{15, 55}));
}

TEST_F(AudioReaderTest, OtherThan16BitsIsNoSound) {
  reader_->current_type = PcmType(1, 32000, 8);
  Deliver({1});
  EXPECT_EQ(ReadAll(), std::vector<int16_t>());
}

TEST_F(AudioReaderTest, AFileWithoutSoundHasNone) {
  reader_->selection = MF_E_INVALIDSTREAMNUMBER;
  Deliver({1});
  EXPECT_EQ(ReadAll(), std::vector<int16_t>());
}

TEST_F(AudioReaderTest, TheSameTypeAgainIsNoChange) {
  Deliver({1, 2});
  Deliver({3}, PcmType(1, 32000, 16));
  EXPECT_EQ(ReadAll(), (std::vector<int16_t>{1, 2, 3}));
}

TEST_F(AudioReaderTest, AnotherFormatEndsTheSound) {
  Deliver({1, 2});
  Deliver({3, 4}, PcmType(2, 32000, 16));
  Deliver({5, 6});
  EXPECT_EQ(ReadAll(), (std::vector<int16_t>{1, 2}));
}

TEST_F(AudioReaderTest, AFailedReadEndsTheSound) {
  Deliver({1, 2});
  Deliver({3});
  reader_->reads[1].result = E_FAIL;
  EXPECT_EQ(ReadAll(), (std::vector<int16_t>{1, 2}));
}

}  // namespace
}  // namespace qolm::test
