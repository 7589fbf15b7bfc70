// SPDX-License-Identifier: MIT
#include "export/wav_writer.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>

#include "base/byte_order.h"

namespace qolm::exporter {
namespace {

constexpr uint32_t kLargest32 = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kBytesPerSample = 2;
constexpr size_t kSamplesPerWrite = size_t{1} << 16;

void AppendTag(std::vector<uint8_t>& bytes, std::string_view tag) {
  bytes.insert(bytes.end(), tag.begin(), tag.end());
}

void AppendLe64(std::vector<uint8_t>& bytes, uint64_t value) {
  AppendLe32(bytes, static_cast<uint32_t>(value));
  AppendLe32(bytes, static_cast<uint32_t>(value >> 32));
}

}  // namespace

std::vector<uint8_t> WavHeader(uint32_t sample_rate, uint16_t channels, uint64_t frames) {
  constexpr uint64_t kRiffBytesBeforeData = 36;  // counted from behind the RIFF size
  constexpr uint64_t kDs64ChunkBytes = 36;
  constexpr uint32_t kDs64Bytes = 28;
  constexpr uint32_t kFormatBytes = 16;
  constexpr uint16_t kPcm = 1;

  const uint64_t frame_bytes = kBytesPerSample * channels;
  const uint64_t data_bytes = frames * frame_bytes;
  const bool wide = data_bytes > kLargest32 - kRiffBytesBeforeData;

  std::vector<uint8_t> bytes;
  AppendTag(bytes, wide ? "RF64" : "RIFF");
  AppendLe32(bytes, wide ? kLargest32 : static_cast<uint32_t>(kRiffBytesBeforeData + data_bytes));
  AppendTag(bytes, "WAVE");
  if (wide) {
    AppendTag(bytes, "ds64");
    AppendLe32(bytes, kDs64Bytes);
    AppendLe64(bytes, kRiffBytesBeforeData + kDs64ChunkBytes + data_bytes);
    AppendLe64(bytes, data_bytes);
    AppendLe64(bytes, frames);
    AppendLe32(bytes, 0);  // entries of the table of further chunk sizes
  }
  AppendTag(bytes, "fmt ");
  AppendLe32(bytes, kFormatBytes);
  AppendLe16(bytes, kPcm);
  AppendLe16(bytes, channels);
  AppendLe32(bytes, sample_rate);
  AppendLe32(bytes,
             static_cast<uint32_t>(std::min<uint64_t>(sample_rate * frame_bytes, kLargest32)));
  AppendLe16(bytes, static_cast<uint16_t>(frame_bytes));
  AppendLe16(bytes, 16);  // bits per sample
  AppendTag(bytes, "data");
  AppendLe32(bytes, wide ? kLargest32 : static_cast<uint32_t>(data_bytes));
  return bytes;
}

bool WriteWav(const PcmTrack& track, OutputTarget& target) {
  const size_t frames = track.samples.size() / track.channels;
  if (!target.write(WavHeader(track.sample_rate, track.channels, frames))) return false;
  std::span<const int16_t> left(track.samples.data(), frames * track.channels);
  std::vector<uint8_t> bytes;
  while (!left.empty()) {
    const auto piece = left.first(std::min(left.size(), kSamplesPerWrite));
    left = left.subspan(piece.size());
    bytes.resize(piece.size() * kBytesPerSample);
    for (size_t i = 0; i < piece.size(); ++i) {
      StoreLe16(&bytes[i * kBytesPerSample], static_cast<uint16_t>(piece[i]));
    }
    if (!target.write(bytes)) return false;
  }
  return true;
}

}  // namespace qolm::exporter
