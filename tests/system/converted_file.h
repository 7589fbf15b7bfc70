// SPDX-License-Identifier: MIT
//
// A finished file as its reader sees it.
#ifndef QOLM_TESTS_SYSTEM_CONVERTED_FILE_H_
#define QOLM_TESTS_SYSTEM_CONVERTED_FILE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

#include "audio/audio_coder.h"
#include "audio/pcm_track.h"
#include "container/container_reader.h"
#include "container/layout.h"
#include "decoder/frame_decoder.h"

namespace qolm::test {

struct ConvertedFile {
  container::FileHeader header;
  std::vector<uint8_t> brightness;  // mean luma of each delivered frame
  PcmTrack track;                   // what the decoder delivers
  bool has_audio_block = false;
  std::vector<PcmTrack> pieces;  // each sound record between the pictures by itself
};

// Throws std::runtime_error when a step of reading fails.
inline ConvertedFile ReadConvertedFile(const std::filesystem::path& path) {
  container::ContainerReader reader;
  if (!reader.open(path)) throw std::runtime_error(reader.failure_reason());
  ConvertedFile file;
  file.header = reader.header();
  file.has_audio_block = !reader.audio_block().empty();

  decoder::FrameDecoder decoder(reader);
  file.track = decoder.decode_audio();
  while (decoder.next_planes()) {
    const std::vector<uint8_t>& luma = decoder.planes().y;
    const uint64_t sum = std::accumulate(luma.begin(), luma.end(), uint64_t{0});
    file.brightness.push_back(static_cast<uint8_t>(sum / luma.size()));
  }
  if (decoder.stream_end() != decoder::StreamEnd::kComplete) {
    throw std::runtime_error("frames are missing");
  }

  std::vector<uint8_t> payload;
  for (const uint64_t offset : reader.index()) {
    container::RecordHeader record;
    if (!reader.read_record_header(offset, record)) throw std::runtime_error("record header");
    if (record.type != container::RecordType::kAudio) continue;
    PcmTrack piece;
    if (!reader.read_payload(offset, record, payload) ||
        !audio::DecodeAudio(payload, audio::kMaxPayloadValues, piece)) {
      throw std::runtime_error("sound record");
    }
    file.pieces.push_back(std::move(piece));
  }
  return file;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SYSTEM_CONVERTED_FILE_H_
