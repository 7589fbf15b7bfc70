// SPDX-License-Identifier: MIT
//
// The one description of a version-2 file. Reader and writer both use it.
//
//   +-------------+ 0
//   | file header | 48 bytes
//   +-------------+ 48
//   | audio block | one type 3 record, only when audio is stored as a whole
//   +-------------+
//   | front index | one type 7 record of a fixed size, only in the fast-start layout
//   +-------------+
//   | media       | records of types 1, 2, 4, 5 and 8 in the order they were produced
//   +-------------+
//   | trailing    | n u64 offsets, then u32 n, without a record header: monolithic
//   | index       | layout, or a fast-start file whose index outgrew its record
//   +-------------+ end of file
//
// All integers are little-endian and nothing is padded.
//
// File header                         Record header (before every payload)
//    0  4  magic "QLM2"                 0  1  type
//    4  4  version, 2                   1  1  count: repeated frames of a type 5 record, else 0
//    8  2  flags                        2  2  frame_no: low 16 bits of the display number,
//   10  2  width                              0 for types 3, 7 and 8
//   12  2  height                       4  4  size of the payload, without these 8 bytes
//   14  4  fps_num
//   18  4  fps_den                    Front index payload (capacity * 8 + 4 bytes)
//   22  4  frame_count                  0      4              n
//   26  2  gop                          4      8 * n          offsets
//   28  2  coder_param_a                4+8n   to the end     zero
//   30  2  coder_param_b
//   32  2  coder_param_c              What surprises: the two indexes hold n at opposite ends;
//   34  2  audio_rate                 a rate of 96000 Hz is stored as 30464 (16 bits); an
//   36  1  audio_channels             offset points at a record's header, not at its payload.
//   37  1  audio_param
//   38  4  duration_ms
//   42  6  zero
#ifndef QOLM_CONTAINER_LAYOUT_H_
#define QOLM_CONTAINER_LAYOUT_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qolm::container {

inline constexpr size_t kFileHeaderBytes = 48;
inline constexpr size_t kRecordHeaderBytes = 8;
inline constexpr size_t kIndexCountBytes = 4;
inline constexpr size_t kIndexEntryBytes = 8;

inline constexpr uint32_t kMagic = 0x324D4C51;        // "QLM2"
inline constexpr uint32_t kLegacyMagic = 0x4D4C4F51;  // version 1, recognised but not read
inline constexpr uint32_t kVersion = 2;

// Limits that reader and writer enforce.
inline constexpr uint32_t kMaxIndexEntries = 1'000'000;    // of one stored index
inline constexpr uint32_t kMaxScannedRecords = 1U << 24;   // listed without an index
inline constexpr uint32_t kMaxListedKeyFrames = 1U << 20;  // more than an index holds
inline constexpr uint32_t kMaxPayloadBytes = 104'857'600;  // of one record, 100 MiB
inline constexpr uint32_t kMaxRepeatRun = 250;             // frames of one written type 5 record
inline constexpr uint32_t kMinIndexCapacity = 8192;        // entries
inline constexpr uint32_t kSpareIndexCapacity = 2048;      // entries beyond the expected frames

// The flag word at offset 8.
inline constexpr uint16_t kFlagGabor = 0x0001;
inline constexpr uint16_t kFlagsAlwaysSet = 0x003E;
inline constexpr uint16_t kFlagBidirectional = 0x0040;  // type 4 records may occur
inline constexpr uint16_t kFlagVfr = 0x0100;            // static frames became repeat runs
inline constexpr uint16_t kFlagSparseLevels = 0x0200;
inline constexpr uint16_t kFlagFastStart = 0x0400;  // the front index is complete
inline constexpr uint16_t kFlagCclc = 0x0800;       // key frames predict chroma from luma
inline constexpr uint16_t kFlagFlatBlocks = 0x1000;
inline constexpr uint16_t kFlagInterleavedAudio = 0x2000;  // audio is in type 8 records
inline constexpr uint16_t kFlagMotionPrediction = 0x4000;  // vectors as differences from a median
inline constexpr uint16_t kFlagDeblocking = 0x8000;        // reconstructions are deblocked

// A file may hold any byte here; 0 and 6 are never written.
enum class RecordType : uint8_t {
  kKeyFrame = 1,
  kPredictedFrame = 2,
  kAudioBlock = 3,
  kBidirectionalFrame = 4,
  kRepeatRun = 5,
  kIndex = 7,
  kAudio = 8,
};

// Whether a file that begins with these bytes has this format, including version 1, so
// that converting its source again may replace it.
bool BeginsAsQolm(std::span<const uint8_t> bytes);

struct FileHeader {
  uint32_t magic = kMagic;
  uint32_t version = kVersion;
  uint16_t flags = kFlagsAlwaysSet;
  uint16_t width = 0;   // pixels, 1..16384
  uint16_t height = 0;  // pixels, 1..16384
  uint32_t fps_num = 0;
  uint32_t fps_den = 0;
  uint32_t frame_count = 0;  // display frames, repeats included; 0 until the file is finished
  uint16_t gop = 0;
  uint16_t coder_param_a = 0;
  uint16_t coder_param_b = 0;
  uint16_t coder_param_c = 0;
  uint16_t audio_rate = 0;     // Hz, low 16 bits; 0 without audio
  uint8_t audio_channels = 0;  // 0 without audio
  uint8_t audio_param = 0;     // audio coding mode; 0 without audio
  uint32_t duration_ms = 0;    // 0 until the file is finished

  bool operator==(const FileHeader&) const = default;
};

struct RecordHeader {
  RecordType type{};
  uint8_t count = 0;
  uint16_t frame_no = 0;
  uint32_t size = 0;  // payload bytes

  bool operator==(const RecordHeader&) const = default;
};

using FileHeaderBytes = std::array<uint8_t, kFileHeaderBytes>;
using RecordHeaderBytes = std::array<uint8_t, kRecordHeaderBytes>;

FileHeaderBytes EncodeFileHeader(const FileHeader& header);
// Parses every field unchecked; the caller validates magic, version and size.
FileHeader DecodeFileHeader(std::span<const uint8_t, kFileHeaderBytes> bytes);

RecordHeaderBytes EncodeRecordHeader(const RecordHeader& header);
RecordHeader DecodeRecordHeader(std::span<const uint8_t, kRecordHeaderBytes> bytes);

// Display frames that a record represents: `count` for a repeat run, none for audio and
// index, 1 for every other type.
uint32_t frames_in_record(const RecordHeader& header);

// Entries that the fast-start layout reserves: max(8192, expected + 2048), at
// most 1,000,000. `expected_frames` is 0 when unknown.
uint32_t index_capacity(uint32_t expected_frames);

// Payload bytes of a front index with that many entries.
uint32_t front_index_payload_bytes(uint32_t capacity);

// Play time in milliseconds, rounded down, low 32 bits; 0 when fps_num is 0.
uint32_t duration_ms(uint32_t frame_count, uint32_t fps_num, uint32_t fps_den);

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_LAYOUT_H_
