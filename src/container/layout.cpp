// SPDX-License-Identifier: MIT
#include "container/layout.h"

#include <algorithm>
#include <cmath>

#include "base/byte_order.h"

namespace qolm::container {

bool BeginsAsQolm(std::span<const uint8_t> bytes) {
  if (bytes.size() < sizeof(kMagic)) return false;
  const uint32_t magic = LoadLe32(bytes.data());
  return magic == kMagic || magic == kLegacyMagic;
}

FileHeaderBytes EncodeFileHeader(const FileHeader& header) {
  FileHeaderBytes bytes{};
  StoreLe32(&bytes[0], header.magic);
  StoreLe32(&bytes[4], header.version);
  StoreLe16(&bytes[8], header.flags);
  StoreLe16(&bytes[10], header.width);
  StoreLe16(&bytes[12], header.height);
  StoreLe32(&bytes[14], header.fps_num);
  StoreLe32(&bytes[18], header.fps_den);
  StoreLe32(&bytes[22], header.frame_count);
  StoreLe16(&bytes[26], header.gop);
  StoreLe16(&bytes[28], header.coder_param_a);
  StoreLe16(&bytes[30], header.coder_param_b);
  StoreLe16(&bytes[32], header.coder_param_c);
  StoreLe16(&bytes[34], header.audio_rate);
  bytes[36] = header.audio_channels;
  bytes[37] = header.audio_param;
  StoreLe32(&bytes[38], header.duration_ms);
  return bytes;
}

FileHeader DecodeFileHeader(std::span<const uint8_t, kFileHeaderBytes> bytes) {
  FileHeader header;
  header.magic = LoadLe32(&bytes[0]);
  header.version = LoadLe32(&bytes[4]);
  header.flags = LoadLe16(&bytes[8]);
  header.width = LoadLe16(&bytes[10]);
  header.height = LoadLe16(&bytes[12]);
  header.fps_num = LoadLe32(&bytes[14]);
  header.fps_den = LoadLe32(&bytes[18]);
  header.frame_count = LoadLe32(&bytes[22]);
  header.gop = LoadLe16(&bytes[26]);
  header.coder_param_a = LoadLe16(&bytes[28]);
  header.coder_param_b = LoadLe16(&bytes[30]);
  header.coder_param_c = LoadLe16(&bytes[32]);
  header.audio_rate = LoadLe16(&bytes[34]);
  header.audio_channels = bytes[36];
  header.audio_param = bytes[37];
  header.duration_ms = LoadLe32(&bytes[38]);
  return header;
}

RecordHeaderBytes EncodeRecordHeader(const RecordHeader& header) {
  RecordHeaderBytes bytes{};
  bytes[0] = static_cast<uint8_t>(header.type);
  bytes[1] = header.count;
  StoreLe16(&bytes[2], header.frame_no);
  StoreLe32(&bytes[4], header.size);
  return bytes;
}

RecordHeader DecodeRecordHeader(std::span<const uint8_t, kRecordHeaderBytes> bytes) {
  RecordHeader header;
  header.type = static_cast<RecordType>(bytes[0]);
  header.count = bytes[1];
  header.frame_no = LoadLe16(&bytes[2]);
  header.size = LoadLe32(&bytes[4]);
  return header;
}

uint32_t frames_in_record(const RecordHeader& header) {
  switch (header.type) {
    case RecordType::kRepeatRun:
      return header.count;
    case RecordType::kAudioBlock:
    case RecordType::kIndex:
    case RecordType::kAudio:
      return 0;
    default:
      return 1;
  }
}

uint32_t index_capacity(uint32_t expected_frames) {
  const uint64_t wanted = uint64_t{expected_frames} + kSpareIndexCapacity;
  return static_cast<uint32_t>(std::clamp<uint64_t>(wanted, kMinIndexCapacity, kMaxIndexEntries));
}

uint32_t front_index_payload_bytes(uint32_t capacity) {
  return static_cast<uint32_t>(capacity * kIndexEntryBytes + kIndexCountBytes);
}

uint32_t duration_ms(uint32_t frame_count, uint32_t fps_num, uint32_t fps_den) {
  if (fps_num == 0) return 0;
  const double milliseconds = frame_count * 1000.0 * fps_den / fps_num;
  // fmod is exact, so this is the low half of the truncated value even where
  // that value is beyond every integer type.
  return static_cast<uint32_t>(std::fmod(std::trunc(milliseconds), 4294967296.0));
}

}  // namespace qolm::container
