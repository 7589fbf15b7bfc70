// SPDX-License-Identifier: MIT
#include "export/export_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

#include "base/path_bytes.h"
#include "export/media_muxer.h"

namespace qolm::exporter {
namespace {

template <typename Number>
std::optional<Number> ParseWhole(std::string_view text) {
  Number value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return value;
}

std::optional<SheetLayout> ParseSheet(std::string_view text) {
  const size_t cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  const auto columns = ParseWhole<uint32_t>(text.substr(0, cross));
  const auto rows = ParseWhole<uint32_t>(text.substr(cross + 1));
  if (!columns || !rows || *columns < 1 || *rows < 1) return std::nullopt;
  if (*columns > kMaxSheetSide || *rows > kMaxSheetSide) return std::nullopt;
  return SheetLayout{*columns, *rows};
}

bool ParseFrame(const std::string& value, ExportOptions& options) {
  options.choice.frame = ParseWhole<int32_t>(value);
  return options.choice.frame && *options.choice.frame >= 0;
}

bool ParseTime(const std::string& value, ExportOptions& options) {
  options.choice.seconds = ParseWhole<double>(value);
  return options.choice.seconds && std::isfinite(*options.choice.seconds) &&
         *options.choice.seconds >= 0;
}

bool ParseSheetOption(const std::string& value, ExportOptions& options) {
  options.choice.sheet = ParseSheet(value);
  return options.choice.sheet.has_value();
}

struct ValueOption {
  std::string_view name;
  std::string_view expected;
  bool (*parse)(const std::string& value, ExportOptions& options);  // false when it is invalid
};

constexpr ValueOption kValueOptions[] = {
    {"--frame", "a frame number, counted from 0", ParseFrame},
    {"--time", "seconds, such as 1.5", ParseTime},
    {"--sheet", "columns and rows, each 1 to 100, such as 4x3", ParseSheetOption},
};

Form FormOfStandardOutput(bool wants_y4m) {
  return wants_y4m || !MediaFormsAvailable() ? Form::kY4m : Form::kPipe;
}

constexpr std::string_view kUsage =
    "Usage: qolm2_export IN.qolm OUT [options]\n"
    "\n"
    "  OUT.mkv    picture and sound, nothing lost (FFV1 and FLAC)\n"
    "  OUT.mp4    picture and sound, small (H.264 and AAC)\n"
    "  OUT.nut    picture and sound, uncompressed\n"
    "  OUT.wav    the sound\n"
    "  OUT.y4m    every frame, the decoded planes untouched\n"
    "  OUT.png    one frame, or a contact sheet with --sheet\n"
    "  -          picture and sound on standard output, uncompressed, as for\n"
    "             qolm2_export a.qolm - | ffplay -\n"
    "\n"
    "Options:\n"
    "  --y4m               with -: every frame as Y4M, without sound\n"
    "  --frame N           with .png: the frame with this number, counted from 0\n"
    "                      (default: 0)\n"
    "  --time S            with .png: the frame shown S seconds after the start\n"
    "  --sheet COLSxROWS   with .png: scaled-down frames, evenly spaced (each side\n"
    "                      1 to 100)\n"
    "  --overwrite         replace an existing OUT that is of another kind, or a film\n"
    "                      that this program did not write\n"
    "  --                  what follows are no options\n"
    "\n"
    "  --help              print this text\n"
    "  --version           print the program's version\n";

constexpr std::string_view kUsageWithoutMedia =
    "Usage: qolm2_export IN.qolm OUT [options]\n"
    "\n"
    "  OUT.wav    the sound\n"
    "  OUT.y4m    every frame, the decoded planes untouched\n"
    "  OUT.png    one frame, or a contact sheet with --sheet\n"
    "  -          every frame as Y4M on standard output\n"
    "\n"
    "This program was built without FFmpeg, so it makes no .mkv, .mp4 and .nut.\n"
    "\n"
    "Options:\n"
    "  --y4m               with -: every frame as Y4M, which it is anyway\n"
    "  --frame N           with .png: the frame with this number, counted from 0\n"
    "                      (default: 0)\n"
    "  --time S            with .png: the frame shown S seconds after the start\n"
    "  --sheet COLSxROWS   with .png: scaled-down frames, evenly spaced (each side\n"
    "                      1 to 100)\n"
    "  --overwrite         replace an existing OUT that is of another kind\n"
    "  --                  what follows are no options\n"
    "\n"
    "  --help              print this text\n"
    "  --version           print the program's version\n";

// Splits the arguments into options and the two paths.
bool SplitArguments(std::span<const std::string> arguments, ExportOptions& options, bool& wants_y4m,
                    std::vector<std::string>& paths, OptionsProblem& problem) {
  // A file may be called "help", but a single argument is never a file.
  if (arguments.size() == 1 && arguments[0] == "help") {
    options.help = true;
    return true;
  }
  bool options_ended = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (options_ended || argument.size() < 2 || argument[0] != '-') {
      paths.push_back(argument);
      continue;
    }
    if (argument == "--") {
      options_ended = true;
      continue;
    }
    if (argument == "--help" || argument == "-h") {
      options.help = true;
      return true;
    }
    if (argument == "--version") {
      options.version = true;
      return true;
    }
    if (argument == "--y4m") {
      wants_y4m = true;
    } else if (argument == "--overwrite") {
      options.overwrite = true;
    } else {
      const auto* const option =
          std::find_if(std::begin(kValueOptions), std::end(kValueOptions),
                       [&](const ValueOption& known) { return known.name == argument; });
      if (option == std::end(kValueOptions)) {
        problem.text = "unknown option " + argument;
        return false;
      }
      if (i + 1 == arguments.size()) {
        problem.text = argument + " needs a value";
        return false;
      }
      const std::string& value = arguments[++i];
      if (!option->parse(value, options)) {
        problem.text = "invalid value for " + argument + ": \"" + value + "\" (";
        problem.text += option->expected;
        problem.text += ")";
        return false;
      }
    }
  }
  return true;
}

}  // namespace

std::string_view UsageText() { return MediaFormsAvailable() ? kUsage : kUsageWithoutMedia; }

std::string_view VersionText() { return "qolm2_export " QOLM_VERSION "\n"; }

std::optional<ExportOptions> ParseExportOptions(std::span<const std::string> arguments,
                                                OptionsProblem& problem) {
  ExportOptions options;
  std::vector<std::string> paths;
  bool wants_y4m = false;
  if (!SplitArguments(arguments, options, wants_y4m, paths, problem)) return std::nullopt;
  if (options.help || options.version) return options;
  if (paths.size() != 2) {
    problem.text =
        paths.size() < 2 ? "an input and an output are needed" : "unexpected argument " + paths[2];
    return std::nullopt;
  }
  options.input = PathFromBytes(paths[0]);
  options.output = PathFromBytes(paths[1]);
  options.to_standard_output = paths[1] == "-";

  const std::optional<Form> form = options.to_standard_output
                                       ? FormOfStandardOutput(wants_y4m)
                                       : FormOfExtension(BytesFromPath(options.output.extension()));
  if (!form) {
    problem.text =
        paths[1] + ": unsupported file extension; expected .mkv, .mp4, .nut, .wav, .y4m or .png";
    problem.needs_usage = false;
    return std::nullopt;
  }
  if (IsMediaForm(*form) && !MediaFormsAvailable()) {
    problem.text =
        paths[1] + ": this program was built without FFmpeg; it makes .wav, .y4m and .png";
    problem.needs_usage = false;
    return std::nullopt;
  }
  if (wants_y4m && *form != Form::kY4m) {
    problem.text = "--y4m is for standard output and .y4m outputs";
    return std::nullopt;
  }
  options.form = *form;
  const int choices = int{options.choice.frame.has_value()} +
                      int{options.choice.seconds.has_value()} +
                      int{options.choice.sheet.has_value()};
  if (choices > 1) {
    problem.text = "--frame, --time and --sheet exclude each other";
    return std::nullopt;
  }
  if (choices > 0 && options.form != Form::kPng) {
    problem.text = "--frame, --time and --sheet are for .png outputs";
    return std::nullopt;
  }
  return options;
}

}  // namespace qolm::exporter
