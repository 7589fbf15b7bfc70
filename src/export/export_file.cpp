#include "export/export_file.h"

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include "base/path_bytes.h"
#include "container/container_reader.h"
#include "decoder/frame_decoder.h"
#include "export/contact_sheet.h"
#include "export/export_report.h"
#include "export/form_signature.h"
#include "export/media_export.h"
#include "export/output_target.h"
#include "export/png_writer.h"
#include "export/y4m_writer.h"
#include "output/output_path.h"
#include "platform/terminal.h"

namespace qolm::exporter {
namespace {

using decoder::FrameDecoder;
using decoder::OutputFrame;

std::string RateText(const container::FileHeader& header) {
  return std::to_string(header.fps_num) + "/" + std::to_string(header.fps_den) + " a second";
}

// Frames that the file can deliver if nothing in it is damaged.
uint32_t FramesToExpect(const container::ContainerReader& reader) {
  uint64_t frames = 0;
  container::RecordHeaderWalk walk = reader.record_headers();
  container::RecordHeader header;
  for (const uint64_t offset : reader.index()) {
    if (!walk.read(offset, header)) break;
    // A run of no frames still shows the one that its record stands for.
    const bool empty_run = header.type == container::RecordType::kRepeatRun && header.count == 0;
    frames += empty_run ? 1 : container::frames_in_record(header);
  }
  const uint32_t announced = reader.header().frame_count;
  if (announced != 0) frames = std::min<uint64_t>(frames, announced);
  return static_cast<uint32_t>(std::min<uint64_t>(frames, std::numeric_limits<int32_t>::max()));
}

ExportResult ExportY4m(const ExportOptions& options, const container::ContainerReader& reader,
                       FrameDecoder& decoder) {
  // The first frame is decoded before the output is touched, so a file that
  // shows nothing leaves nothing behind.
  bool more = decoder.next_planes();
  if (!more) return Failure(options.input, NoFrameText(reader, decoder.stream_end()));
  const uint32_t width = decoder.planes().width;
  const uint32_t height = decoder.planes().height;

  OutputTarget target;
  const bool opened = options.to_standard_output
                          ? target.open_standard_output()
                          : target.open(options.output, options.input, ReplacePolicyOf(options));
  if (!opened ||
      !WriteY4mHeader(width, height, reader.header().fps_num, reader.header().fps_den, target)) {
    return OutputFailure(options, target);
  }
  int32_t written = 0;
  std::string damage;
  for (; more; more = decoder.next_planes()) {
    if (decoder.planes().width != width || decoder.planes().height != height) {
      damage = "the picture size changes at frame " + std::to_string(written) +
               ", which Y4M cannot show";
      break;
    }
    if (!WriteY4mFrame(decoder.planes(), target)) return OutputFailure(options, target);
    ++written;
  }
  if (!target.commit()) return OutputFailure(options, target);
  if (damage.empty()) damage = DamageText(reader, decoder.stream_end(), written);

  ExportResult result;
  result.summary = FramesText(written) + ", " + SizeText(width, height);
  result.succeeded = damage.empty();
  if (!result.succeeded) result.problem = BytesFromPath(options.input) + ": " + damage;
  return result;
}

ExportResult WritePicture(const ExportOptions& options, const PackedPicture& picture,
                          std::string summary) {
  std::vector<uint8_t> png;
  std::string problem;
  if (!EncodePng(picture, png, problem)) return Failure(options.output, problem);
  OutputTarget target;
  if (!target.open(options.output, options.input, ReplacePolicyOf(options)) || !target.write(png) ||
      !target.commit()) {
    return OutputFailure(options, target);
  }
  return {true, std::move(summary) + ", " + SizeText(picture.width, picture.height), {}};
}

// The number of the frame that the options name; a negative one for none.
int64_t WantedFrame(const ExportOptions& options, const container::FileHeader& header) {
  if (!options.seconds) return options.frame.value_or(0);
  if (header.fps_num == 0 || header.fps_den == 0) return -1;
  // A time that names a frame's start exactly must not fall short of it by rounding.
  const double frames = *options.seconds * header.fps_num / header.fps_den + 1e-6;
  return frames < 1e15 ? static_cast<int64_t>(frames) : std::numeric_limits<int64_t>::max();
}

ExportResult ExportPicture(const ExportOptions& options, const container::ContainerReader& reader,
                           FrameDecoder& decoder) {
  const int64_t wanted = WantedFrame(options, reader.header());
  if (wanted < 0) return Failure(options.input, "the file has no frame rate to find a time with");
  const uint32_t frames = FramesToExpect(reader);
  if (wanted >= int64_t{frames} && options.seconds) {
    return Failure(options.input, "no frame is shown at that time, the file holds " +
                                      FramesText(frames) + " (" + RateText(reader.header()) + ")");
  }
  if (wanted >= int64_t{frames}) {
    return Failure(options.input, "there is no frame " + std::to_string(wanted) +
                                      ", the file holds " + FramesText(frames));
  }
  OutputFrame frame;
  if (!decoder.seek_to_frame(static_cast<int32_t>(wanted)) || !decoder.next_frame(frame)) {
    return Failure(options.input,
                   "frame " + std::to_string(wanted) + " cannot be decoded: " +
                       DamageText(reader, decoder.stream_end(), decoder.frames_delivered()));
  }
  return WritePicture(options,
                      {static_cast<uint32_t>(frame.width), static_cast<uint32_t>(frame.height),
                       std::move(frame.pixels)},
                      "frame " + std::to_string(wanted));
}

ExportResult ExportSheet(const ExportOptions& options, const container::ContainerReader& reader,
                         FrameDecoder& decoder) {
  const uint32_t frames = FramesToExpect(reader);
  if (frames == 0) return Failure(options.input, "the file holds no frames");
  ContactSheet sheet(*options.sheet, reader.header().width, reader.header().height);
  uint32_t placed = 0;
  std::string damage;
  OutputFrame frame;
  for (uint32_t tile = 0; tile < sheet.tiles(); ++tile) {
    const uint32_t wanted = FrameOfTile(tile, sheet.tiles(), frames);
    if (wanted >= frames) break;
    if (!decoder.seek_to_frame(static_cast<int32_t>(wanted)) || !decoder.next_frame(frame)) {
      damage = DamageText(reader, decoder.stream_end(), decoder.frames_delivered());
      continue;  // the tile stays empty; a later key frame may still be sound
    }
    if (frame.width != reader.header().width || frame.height != reader.header().height) {
      damage = "frame " + std::to_string(wanted) + " has another size than the file";
      continue;
    }
    sheet.place(tile, frame.pixels);
    ++placed;
  }
  if (placed == 0) return Failure(options.input, damage);
  ExportResult result = WritePicture(options, sheet.picture(), "sheet of " + FramesText(placed));
  if (result.succeeded && !damage.empty()) {
    result.succeeded = false;
    result.problem = BytesFromPath(options.input) + ": " + damage;
  }
  return result;
}

}  // namespace

ExportResult ExportFile(const ExportOptions& options) {
  container::ContainerReader reader;
  if (!reader.open(options.input, container::UnfinishedFiles::kYieldRecords)) {
    return Failure(options.input, reader.failure_reason());
  }
  if (options.to_standard_output && platform::StandardOutputIsTerminal()) {
    return {false, {}, "standard output is a terminal, it takes no pictures"};
  }
  if (!options.to_standard_output) {
    // A long export shall not end at what could be seen before it.
    output::OutputPath judged;
    if (const std::error_code refusal = output::ValidateOutputPath(
            options.output, options.input, ReplacePolicyOf(options), judged)) {
      return Failure(options.output, refusal == output::OutputRefusal::kIsInput
                                         ? "is the input file"
                                         : refusal.message());
    }
  }
  // Only a contact sheet seeks, and only forward, so nothing need be kept.
  FrameDecoder decoder(reader, video::PixelOrder::kRgba, 0);
  switch (options.form) {
    case Form::kY4m:
      return ExportY4m(options, reader, decoder);
    case Form::kPng:
      return options.sheet ? ExportSheet(options, reader, decoder)
                           : ExportPicture(options, reader, decoder);
    case Form::kWav:
      return ExportWav(options, reader, decoder);
    default:
      return ExportMedia(options, reader, decoder);
  }
}

}  // namespace qolm::exporter
