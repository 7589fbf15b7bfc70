// SPDX-License-Identifier: MIT
#include "cli/messages.h"

#include <algorithm>
#include <initializer_list>

#include "base/printable.h"
#include "cli/number_format.h"
#include "cli/option_names.h"

namespace qolm::cli::messages {
namespace {

constexpr size_t kHelpColumn = 34;

std::string Concat(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

// "  WORD            HELP"
std::string UsageRow(std::string_view word, std::string_view help) {
  std::string row = "  ";
  row += word;
  row.resize(row.size() < kHelpColumn ? kHelpColumn : row.size() + 1, ' ');
  row += help;
  return row + "\n";
}

// One line, whatever its pieces hold.
std::string Note(std::initializer_list<std::string_view> pieces) {
  return Concat({"[+] Note: ", Printable(Concat(pieces)), "\n"});
}

std::string Joined(std::string_view first, std::string_view link, std::string_view second) {
  return Concat({first, link, second});
}

// "--[no-]WORD" for the two words of a switch, given the one that begins with "--WORD".
std::string OnOrOff(std::string_view on_word) {
  constexpr std::string_view kDashes = "--";
  return Concat({kDashes, "[no-]", on_word.substr(kDashes.size())});
}

}  // namespace

std::string Banner() {
  return "QOLM Converter " QOLM_VERSION
         "\n"
         "Converts video files to the QOLM v2 format and reads them back.\n"
         "\n";
}

std::string Usage(std::string_view program) {
  std::string text = "Usage:\n";
  text += Concat({"  ", program, " ", names::kEncodeCommand, " <input> <output.qolm> [options]\n"});
  text += Concat({"  ", program, " ", names::kInfoCommand, " <file.qolm>\n"});
  text += Concat({"  ", program, " ", names::kHelp, " | ", names::kVersion, "\n"});
  text += Concat(
      {"\nThe input may be a pipe or a device; ", names::kStandardInput, " is standard input.\n"});
  text += "\nOptions of encode:\n";
  text += UsageRow(Joined(names::kQuality, " ", "N"), "picture quality, 1 to 100 (default 45)");
  text +=
      UsageRow(Joined(names::kGop, " ", "N"), "most frames between two key frames (default 60)");
  text += UsageRow(Joined(names::kVfrOn, " / ", names::kVfrOff),
                   "count static frames instead of coding them (default on)");
  text += UsageRow(Joined(names::kGaborOn, " / ", names::kGaborOff),
                   "note the Gabor option in the file (default on)");
  text += UsageRow(Joined(names::kFastStart, " / ", names::kMonolithic),
                   "index at the front or at the end of the file (default front)");
  text += UsageRow(Joined(names::kCclcOn, " / ", names::kCclcOff),
                   "predict colour from brightness in key frames (default on)");
  text += UsageRow(
      Joined(names::kFrameLimit, " ", "N"),
      "stop after N frames; counts and sound follow the whole source (default 0: no limit)");
  text +=
      UsageRow(Joined(names::kAudioPreset, " ", "PRESET"), "sound preset, see below (default 32k)");
  text += UsageRow(Joined(names::kAudioMode, " ", "MODE"),
                   "sound coder, see below (default transform)");
  text += UsageRow(names::kNoAudio, "leave the sound out (default: it is kept)");
  text +=
      UsageRow(names::kOverwrite, "replace an output that is not a QOLM file (default: refuse)");
  text += "\nFurther options of encode:\n";
  text += UsageRow(OnOrOff(names::kInterleaveOn),
                   "sound between the pictures instead of in one block (default off)");
  text += UsageRow(OnOrOff(names::kBidirectionalOn),
                   "code every other frame between its neighbours (default off)");
  text += UsageRow(OnOrOff(names::kAdaptiveGopOn),
                   "up to twice as many frames between key frames while calm (default on)");
  text += UsageRow(OnOrOff(names::kTemporalFilterOn),
                   "quiet the brightness against the previous frame (default on)");
  text += UsageRow(OnOrOff(names::kFlatBlocksOn),
                   "drop faint detail of flat blocks in key frames (default on)");
  text += UsageRow(OnOrOff(names::kSparseLevelsOn),
                   "drop coefficients that cost more than they bring (default on)");
  text += UsageRow(OnOrOff(names::kMotionPredictionOn),
                   "predict motion vectors from their neighbours (default on)");
  text += UsageRow(OnOrOff(names::kDeblockingOn), "soften the edges of blocks (default on)");
  text += UsageRow(OnOrOff(names::kPreAnalysisOn),
                   "look for the motion of the whole picture first (default on)");
  text += "\nSound presets:\n";
  text +=
      UsageRow(Joined(names::kPreset32k, ", ", names::kPresetSpeech), "32000 Hz, mono (default)");
  text += UsageRow(names::kPreset24k, "24000 Hz, mono");
  text += UsageRow(names::kPresetCd, "44100 Hz, stereo");
  text += UsageRow(names::kPreset48k, "48000 Hz, stereo");
  text += UsageRow(Joined(names::kPresetOff, ", ", names::kPresetNone), "no sound");
  text += "\nSound coders:\n";
  text +=
      UsageRow(Joined(names::kModeTransform, ", ", names::kModeMdct), "transform coder (default)");
  text += UsageRow(names::kModeAdpcm, "ADPCM coder");
  return text;
}

std::string Error(std::string_view message) {
  return Concat({"[-] Error: ", Printable(message), "\n"});
}

std::string OptionAsPathError(std::string_view option) {
  return Error(
      Concat({"An option stands where the name of a file belongs (a file of that name is ./",
              option, "): ", option}));
}

std::string StandardOutputError() {
  return OutputOpenError("it has to be a file; one of this name is ./-", "-");
}

std::string InputOpenError(std::string_view reason, std::string_view input_path) {
  return Error(Concat({"Cannot open input video (", reason, "): ", input_path}));
}

std::string OutputOpenError(std::string_view reason, std::string_view output_path) {
  return Error(Concat({"Cannot open output file (", reason, "): ", output_path}));
}

std::string WriteError(std::string_view reason, std::string_view output_path) {
  return Error(Concat({"Cannot write output file (", reason, "): ", output_path}));
}

std::string RenameError(std::string_view reason, std::string_view part_path,
                        std::string_view output_path) {
  return Error(Concat({"The file is finished as ", part_path, " but cannot be renamed (", reason,
                       "): ", output_path}));
}

std::string InterruptedWithPart(uint32_t frames, std::string_view part_path) {
  return Error(Concat({"Interrupted after ", std::to_string(frames),
                       " frames; these are kept in a playable file: ", part_path}));
}

std::string InterruptedWithNothing(std::string_view output_path) {
  return Error(Concat({"Interrupted before the first frame; nothing was written: ", output_path}));
}

std::string InputSizeUnknown(std::string_view output_path) {
  return Concat(
      {"The output is complete (", output_path, "), but cannot get the input's file size"});
}

std::string ContainerOpenError(std::string_view reason, std::string_view path) {
  return Error(Concat({"Cannot open as a QOLM v2 file (", reason, "): ", path}));
}

std::string LegacyFormatError() {
  return "[-] Error: File is in legacy QOLM v1 format (QOLM magic 0x4D4C4F51).\n"
         "    QOLM v1 is deprecated and no longer supported in QOLM v2 players/decoders.\n"
         "    Please re-encode your source video using: "
         "qolm2_converter encode <input> <output.qolm>\n";
}

std::string ReportWriteError(std::string_view reason) {
  return Error(Concat({"Cannot write the report to standard output (", reason, ")"}));
}

std::string ReportLostNotice(std::string_view reason, std::string_view output_path) {
  return Note({"the report could not be written to standard output (", reason,
               "); the file is complete: ", output_path});
}

std::string AudioNotReadNotice(std::string_view reason) {
  if (reason.empty()) return "[+] Note: no sound could be read; converting without it.\n";
  return Note({"no sound could be read (", reason, "); converting without it."});
}

std::string AudioTruncatedNotice(std::string_view reason) {
  return Note(
      {"the sound could not be read to its end (", reason, "); the file holds what came before."});
}

std::string DamagedAudioNotice(double seconds) {
  constexpr double kLeastShown = 0.01;
  return Note({FixedNumber(std::max(seconds, kLeastShown), 2),
               " s of the sound of the source are damaged; what could not be decoded is silent."});
}

std::string SourceNotice(std::string_view phrase) { return Note({phrase, "."}); }

std::string AudioOffNotice() { return "[+] Sound is switched off; converting the picture only.\n"; }

std::string IndexAtEndNotice() {
  return "[+] Note: more records than the front index can hold; the index goes to the end of "
         "the file.\n";
}

std::string NoFramesNotice() {
  return "[+] Note: the source delivered no frame; the file holds no picture.\n";
}

std::string SourceReadNotice(std::string_view reason, uint32_t frames) {
  return Note({"the source could not be read to its end (", reason, "); the file holds ",
               std::to_string(frames), " frames."});
}

std::string DamagedPicturesNotice(int64_t pictures) {
  return Note({std::to_string(pictures),
               pictures == 1 ? " picture of the source is" : " pictures of the source are",
               " damaged; what could not be decoded shows the picture before it."});
}

std::string LeftOutPicturesNotice(int64_t pictures, int64_t decoded) {
  return Note({std::to_string(pictures), " of ", std::to_string(decoded),
               " pictures lie closer together than the frame rate and were left out."});
}

std::string EarlyEndNotice(uint32_t frames, int32_t expected_frames) {
  return Note({"the source ended early, after ", std::to_string(frames), " of ",
               std::to_string(expected_frames), " expected frames."});
}

std::string ReadingAudioStatus(double seconds, int32_t duration_ms) {
  std::string text = "    Reading the audio: " + FixedNumber(seconds, 0);
  if (duration_ms > 0) text += " of " + FixedNumber(duration_ms * 0.001, 0);
  return text + " s";
}

std::string CodingAudioStatus(double seconds) {
  return "    Coding the audio: " + FixedNumber(seconds, 0) + " s";
}

std::string NeverFinishedNotice(Saveable saveable) {
  std::string_view advice = "it holds no whole frame yet.";
  if (saveable == Saveable::kFrames) advice = "qolm2_export can save what it holds so far.";
  if (saveable == Saveable::kAudio) {
    advice = "it holds no whole frame yet, but sound that qolm2_export can save as .wav.";
  }
  return Note({"the file was never finished, or is still being written; ", advice});
}

std::string NoFrameYetNotice(bool holds_audio) {
  return Note(
      {"the file holds no frame; it was never finished, is still being "
       "written, or its source had none",
       holds_audio ? "; qolm2_export can save its sound as .wav." : "."});
}

std::string FewerFramesDecodedNotice(uint64_t frames, uint32_t frames_in_header) {
  return Note({"the file is damaged or incomplete; only ", std::to_string(frames), " of ",
               std::to_string(frames_in_header), " frames could be decoded."});
}

}  // namespace qolm::cli::messages
