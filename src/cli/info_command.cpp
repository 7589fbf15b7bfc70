// SPDX-License-Identifier: MIT
#include "cli/info_command.h"

#include <array>
#include <ostream>
#include <sstream>

#include "base/byte_order.h"
#include "base/path_bytes.h"
#include "base/printable.h"
#include "cli/messages.h"
#include "cli/number_format.h"
#include "container/container_reader.h"
#include "container/input_file.h"
#include "decoder/frame_decoder.h"

namespace qolm::cli {
namespace {

bool IsLegacyFile(const std::filesystem::path& path) {
  container::InputFile file;
  std::array<uint8_t, 4> magic = {};
  return file.open(path) && file.read_at(0, magic) &&
         LoadLe32(magic.data()) == container::kLegacyMagic;
}

std::string HeaderText(const container::FileHeader& header) {
  std::ostringstream flags;
  flags << std::hex << header.flags;
  std::string text;
  text += "    Resolution: " + std::to_string(header.width) + "x" + std::to_string(header.height) +
          "\n";
  text += "    FPS       : " + std::to_string(header.fps_num) + "/" +
          std::to_string(header.fps_den) + "\n";
  text += "    Frames    : " + std::to_string(header.frame_count) + "\n";
  text += "    Duration  : " + DefaultNumber(header.duration_ms * 0.001) + " s\n";
  text += "    Flags     : 0x" + flags.str() +
          ((header.flags & container::kFlagFastStart) != 0 ? " [Fast-Start]" : "") + "\n";
  return text;
}

std::string SoundText(const AudioExtent& sound) {
  if (sound.sample_rate == 0 || sound.channels == 0 || sound.values == 0) return {};
  return "    Audio     : " + std::to_string(sound.sample_rate) + " Hz, " +
         std::to_string(sound.channels) + " ch, " + std::to_string(sound.values) + " samples\n";
}

std::string SpeedText(uint64_t frames, double elapsed_ms) {
  const double frames_per_second = static_cast<double>(frames) * 1000.0 / elapsed_ms;
  return "[+] Decoded Frames : " + std::to_string(frames) + "\n" +
         "    Decode Time    : " + FixedNumber(elapsed_ms, 1) + " ms\n" +
         "    Decode Speed   : " + FixedNumber(frames_per_second, 1) + " FPS\n";
}

// Whether the export program would find a picture in a file that was never finished.
bool HoldsFramesToSave(const std::filesystem::path& path) {
  container::ContainerReader reader;
  if (!reader.open(path, container::UnfinishedFiles::kYieldRecords)) return false;
  decoder::FrameDecoder decoder(reader, video::PixelOrder::kRgba, 0);
  // Else audio between the pictures would be decoded and kept on the way.
  decoder.measure_audio();
  return decoder.next_planes();
}

}  // namespace

int RunInfoCommand(const std::string& path_bytes, std::ostream& out, std::ostream& err,
                   const MonotonicClock& now) {
  const std::filesystem::path path = PathFromBytes(path_bytes);
  out << "[+] Opening QOLM v2 file: " << Printable(path_bytes) << "\n" << std::flush;
  if (IsLegacyFile(path)) {
    err << messages::LegacyFormatError() << std::flush;
    return 1;
  }
  container::ContainerReader reader;
  if (!reader.open(path)) {
    err << messages::ContainerOpenError(reader.failure_reason(), path_bytes) << std::flush;
    return 1;
  }
  if (!(out << HeaderText(reader.header()) << std::flush)) return 0;

  uint64_t frames = 0;
  bool holds_audio = false;
  {
    // Nothing seeks here, so no frame needs caching.
    decoder::FrameDecoder decoder(reader, video::PixelOrder::kRgba, 0);
    const std::string sound_text = SoundText(decoder.measure_audio());
    holds_audio = !sound_text.empty();
    if (!(out << sound_text << std::flush)) return 0;

    decoder::OutputFrame frame;
    const std::chrono::nanoseconds start = now();
    while (decoder.next_frame(frame)) ++frames;
    const std::chrono::nanoseconds stop = now();
    out << SpeedText(frames, static_cast<double>((stop - start).count()) * 1e-6);
  }
  const uint32_t expected_frames = reader.header().frame_count;
  const container::Completion completion = reader.completion();
  reader.reset();  // frees its index, since HoldsFramesToSave makes another
  if (completion == container::Completion::kNeverFinished) {
    out << messages::NeverFinishedNotice(frames > 0 || HoldsFramesToSave(path)
                                             ? messages::Saveable::kFrames
                                         : holds_audio ? messages::Saveable::kAudio
                                                       : messages::Saveable::kNothing);
  } else if (completion == container::Completion::kUnknown) {
    out << messages::NoFrameYetNotice(holds_audio);
  } else if (frames < expected_frames) {
    out << messages::FewerFramesDecodedNotice(frames, expected_frames);
  }
  out << std::flush;
  return 0;
}

int RunInfoCommand(const std::string& path, std::ostream& out, std::ostream& err) {
  return RunInfoCommand(path, out, err, [] {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch());
  });
}

}  // namespace qolm::cli
