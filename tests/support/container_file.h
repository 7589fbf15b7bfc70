// SPDX-License-Identifier: MIT
//
// Builds container files for tests from ready payloads and from pictures.
#ifndef QOLM_TESTS_SUPPORT_CONTAINER_FILE_H_
#define QOLM_TESTS_SUPPORT_CONTAINER_FILE_H_

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <vector>

#include "container/container_writer.h"
#include "container/layout.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::test {

struct Record {
  container::RecordType type;
  uint8_t count = 0;
  std::vector<uint8_t> payload;
  std::optional<uint16_t> frame_no = std::nullopt;  // nothing: counted in the order of the file
};

inline Record Repeat(uint8_t count) { return {container::RecordType::kRepeatRun, count, {}}; }
inline Record Sound(std::vector<uint8_t> payload) {
  return {container::RecordType::kAudio, 0, std::move(payload)};
}

struct FileOptions {
  bool fast_start = false;
  std::vector<uint8_t> audio_block;
};

// A header of the given size at 25 frames per second with every flag of the
// coders clear.
inline container::FileHeader PlainHeader(uint16_t width, uint16_t height) {
  container::FileHeader header;
  header.width = width;
  header.height = height;
  header.fps_num = 25;
  header.fps_den = 1;
  return header;
}

// The frames that the records stand for.
inline uint32_t FrameCount(std::span<const Record> records) {
  uint32_t frames = 0;
  for (const Record& record : records) {
    frames += container::frames_in_record({record.type, record.count, 0, 0});
  }
  return frames;
}

// Writes a finished file whose header is `header` as it stands. True on success.
[[nodiscard]] inline bool WriteContainerFile(const std::filesystem::path& path,
                                             const container::FileHeader& header,
                                             std::span<const Record> records,
                                             const FileOptions& options = {}) {
  container::ContainerWriter writer;
  if (!writer.open_output(path)) return false;
  writer.write_head(header, {options.fast_start, 0}, options.audio_block);
  uint32_t frame_number = 0;
  for (const Record& record : records) {
    writer.write_packet(record.type, record.count,
                        record.frame_no.value_or(static_cast<uint16_t>(frame_number)),
                        record.payload);
    frame_number += container::frames_in_record({record.type, record.count, 0, 0});
  }
  return writer.finish(header);
}

// Codes pictures as the encoder would and keeps its reference after each.
class PictureCoder {
 public:
  PictureCoder(uint16_t header_flags, int32_t quality) : flags_(header_flags), quality_(quality) {}

  Record Key(const video::YuvPlanes& source) {
    past_ = reference_;
    video::KeyFrameOptions options;
    options.quality = quality_;
    options.cclc = (flags_ & container::kFlagCclc) != 0;
    options.deblocking = (flags_ & container::kFlagDeblocking) != 0;
    Record record{container::RecordType::kKeyFrame, 0,
                  video::EncodeKeyFrame(source, options, reference_)};
    return record;
  }

  Record Predicted(const video::YuvPlanes& source) {
    past_ = reference_;
    Record record{container::RecordType::kPredictedFrame, 0,
                  video::EncodeInterFrame(source, InterOptions(), reference_)};
    return record;
  }

  // A picture between the last two of the others; between() is then what it shows.
  Record Bidirectional(const video::YuvPlanes& source) {
    const video::InterFrameOptions options = InterOptions();
    Record record{container::RecordType::kBidirectionalFrame, 0,
                  video::EncodeBidirectionalFrame(source, options, past_, reference_)};
    between_decoded_ = video::DecodeBidirectionalFrame(
        record.payload, options.motion_prediction, options.deblocking, past_, reference_, between_);
    return record;
  }

  const video::YuvPlanes& reference() const { return reference_; }
  const video::YuvPlanes& between() const { return between_; }
  bool between_decoded() const { return between_decoded_; }

 private:
  video::InterFrameOptions InterOptions() const {
    video::InterFrameOptions options;
    options.quality = quality_;
    options.motion_prediction = (flags_ & container::kFlagMotionPrediction) != 0;
    options.deblocking = (flags_ & container::kFlagDeblocking) != 0;
    return options;
  }

  uint16_t flags_;
  int32_t quality_;
  video::YuvPlanes reference_;
  video::YuvPlanes past_;
  video::YuvPlanes between_;
  bool between_decoded_ = false;
};

inline std::vector<uint8_t> ReadBytes(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_CONTAINER_FILE_H_
