// SPDX-License-Identifier: MIT
//
// PNG pictures: single frames and contact sheets.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "export/contact_sheet.h"
#include "export/exporter.h"
#include "export/png_writer.h"
#include "export/report_text.h"

namespace qolm::exporter {
namespace {

using decoder::OutputFrame;

std::string RateText(const container::FileHeader& header) {
  return std::to_string(header.fps_num) + "/" + std::to_string(header.fps_den) + " a second";
}

// The number of frames of the file if nothing in it is damaged.
uint32_t FramesToExpect(const container::ContainerReader& reader) {
  uint64_t frames = 0;
  container::RecordHeaderWalk walk = reader.record_headers();
  container::RecordHeader header;
  for (const uint64_t offset : reader.index()) {
    if (!walk.read(offset, header)) break;
    // A run of no frames still shows one frame.
    const bool empty_run = header.type == container::RecordType::kRepeatRun && header.count == 0;
    frames += empty_run ? 1 : container::frames_in_record(header);
  }
  const uint32_t announced = reader.header().frame_count;
  if (announced != 0) frames = std::min<uint64_t>(frames, announced);
  return static_cast<uint32_t>(std::min<uint64_t>(frames, std::numeric_limits<int32_t>::max()));
}

ExportOutcome WritePicture(const RgbaPicture& picture, std::string summary, OutputTarget& target) {
  std::vector<uint8_t> png;
  ExportOutcome outcome;
  if (!EncodePng(picture, png, outcome.output_problem)) return outcome;
  if (!target.open() || !target.write(png) || !target.commit()) return {};
  outcome.summary = std::move(summary) + ", " + SizeText(picture.width, picture.height);
  return outcome;
}

// The number of the frame chosen; a negative one for none.
int64_t ChosenFrame(const PictureChoice& choice, const container::FileHeader& header) {
  if (!choice.seconds) return choice.frame.value_or(0);
  if (header.fps_num == 0 || header.fps_den == 0) return -1;
  // Rounding must not move a frame's exact start time before it.
  const double frames = *choice.seconds * header.fps_num / header.fps_den + 1e-6;
  return frames < 1e15 ? static_cast<int64_t>(frames) : std::numeric_limits<int64_t>::max();
}

ExportOutcome ExportFrame(ExportJob& job) {
  const int64_t wanted = ChosenFrame(job.choice, job.reader.header());
  if (wanted < 0) return {.input_problem = "the file has no frame rate to find a time with"};
  const uint32_t frames = FramesToExpect(job.reader);
  if (wanted >= int64_t{frames} && job.choice.seconds) {
    return {.input_problem = "no frame is shown at that time, the file holds " +
                             FramesText(frames) + " (" + RateText(job.reader.header()) + ")"};
  }
  if (wanted >= int64_t{frames}) {
    return {.input_problem = "there is no frame " + std::to_string(wanted) + ", the file holds " +
                             FramesText(frames)};
  }
  OutputFrame frame;
  if (!job.decoder.seek_to_frame(static_cast<int32_t>(wanted)) || !job.decoder.next_frame(frame)) {
    return {.input_problem =
                "frame " + std::to_string(wanted) + " cannot be decoded: " +
                DamageText(job.reader, job.decoder.stream_end(), job.decoder.frames_delivered())};
  }
  return WritePicture({static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height),
                       std::move(frame.pixels)},
                      "frame " + std::to_string(wanted), job.target);
}

ExportOutcome ExportSheet(ExportJob& job) {
  const uint32_t frames = FramesToExpect(job.reader);
  if (frames == 0) return {.input_problem = "the file holds no frames"};
  ContactSheet sheet(*job.choice.sheet, job.reader.header().width, job.reader.header().height);
  uint32_t placed = 0;
  std::string damage;
  OutputFrame frame;
  for (uint32_t tile = 0; tile < sheet.tiles(); ++tile) {
    const uint32_t wanted = FrameOfTile(tile, sheet.tiles(), frames);
    if (wanted >= frames) break;
    if (!job.decoder.seek_to_frame(static_cast<int32_t>(wanted)) ||
        !job.decoder.next_frame(frame)) {
      damage = DamageText(job.reader, job.decoder.stream_end(), job.decoder.frames_delivered());
      continue;  // the tile stays empty; a later key frame may be intact
    }
    if (frame.width != job.reader.header().width || frame.height != job.reader.header().height) {
      damage = "frame " + std::to_string(wanted) + " has another size than the file";
      continue;
    }
    sheet.place(tile, frame.pixels);
    ++placed;
  }
  if (placed == 0) return {.input_problem = damage};
  ExportOutcome outcome =
      WritePicture(sheet.picture(), "sheet of " + FramesText(placed), job.target);
  if (!outcome.summary.empty()) outcome.input_problem = damage;
  return outcome;
}

}  // namespace

ExportOutcome ExportPng(ExportJob& job) {
  return job.choice.sheet ? ExportSheet(job) : ExportFrame(job);
}

}  // namespace qolm::exporter
