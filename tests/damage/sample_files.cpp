// SPDX-License-Identifier: MIT
#include "sample_files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <span>

#include "base/byte_order.h"
#include "encoder/encoder_session.h"
#include "support/container_file.h"
#include "support/front_index.h"
#include "support/numbered_picture.h"
#include "support/temporary_folder.h"

namespace qolm::test {
namespace {

constexpr uint32_t kSoundRate = 3200;  // Hz, the lowest at which a frame has its 64 samples
constexpr size_t kSoundSamples = 1000;

std::vector<int16_t> Tone() {
  std::vector<int16_t> samples(kSoundSamples);
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<int16_t>(9000 * std::sin(0.21 * static_cast<double>(i)));
  }
  return samples;
}

std::vector<uint8_t> Encode(Sample sample) {
  encoder::EncodeSettings settings;
  settings.width = kNumberedWidth;
  settings.height = kNumberedHeight;
  settings.fps_numerator = 25;
  settings.fps_denominator = 1;
  settings.fast_start = false;
  settings.gop_length = 4;
  settings.adaptive_gop = false;
  settings.bidirectional = sample == Sample::kHeldFrames;
  settings.audio_interleave = sample == Sample::kHeldFrames;
  encoder::EncoderSession session(settings);
  session.set_audio({kSoundRate, 1, Tone()});
  const TemporaryFolder folder;
  EXPECT_TRUE(session.open_output(folder / "a.qolm"));
  for (const uint32_t number : {1U, 2U, 2U, 3U, 0x155U, 4U, 4U, 5U}) {
    session.encode_frame(NumberedFrame(number));
  }
  EXPECT_TRUE(session.finish());
  EXPECT_FALSE(session.stream_error());
  return ReadBytes(folder / "a.qolm");
}

}  // namespace

SampleFile MakeSampleFile(Sample sample) {
  SampleFile file;
  file.bytes = Encode(sample);
  const uint32_t entries = LoadLe32(&file.bytes[file.bytes.size() - 4]);
  const bool in_front = sample == Sample::kFastStart;
  if (in_front) file.bytes = WithFrontIndex(file.bytes, entries + 1);
  file.records_end = file.bytes.size() - (in_front ? 0 : 4 + size_t{8} * entries);
  file.first_entry = file.records_end;
  for (size_t at = container::kFileHeaderBytes; at < file.records_end;) {
    const auto header = container::DecodeRecordHeader(
        std::span(file.bytes).subspan(at).first<container::kRecordHeaderBytes>());
    const size_t end = at + container::kRecordHeaderBytes + header.size;
    file.records.push_back({at, end, header.type, file.frames});
    if (header.type == container::RecordType::kIndex) {
      file.first_entry = at + container::kRecordHeaderBytes + container::kIndexCountBytes;
    }
    file.frames += container::frames_in_record(header);
    at = end;
  }
  return file;
}

}  // namespace qolm::test
