// What the command line of the export program asks for.
#ifndef QOLM_EXPORT_EXPORT_OPTIONS_H_
#define QOLM_EXPORT_EXPORT_OPTIONS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qolm::exporter {

// kPipe is the stream with picture and sound on standard output.
enum class Form { kY4m, kPng, kWav, kMatroska, kMp4, kNut, kPipe };

struct SheetLayout {
  uint32_t columns = 0;  // 1..kMaxSheetSide
  uint32_t rows = 0;     // 1..kMaxSheetSide
};
inline constexpr uint32_t kMaxSheetSide = 100;

struct ExportOptions {
  bool help = false;     // the other members are then unset
  bool version = false;  // likewise
  std::filesystem::path input;
  std::filesystem::path output;
  bool to_standard_output = false;
  Form form = Form::kY4m;
  bool overwrite = false;  // replaces even a file that is not of the form
  // At most one of the three; a PNG without any shows frame 0.
  std::optional<int32_t> frame;
  std::optional<double> seconds;
  std::optional<SheetLayout> sheet;
};

// Tells which forms this build leaves out, too.
std::string_view UsageText();

// The program's name and version.
std::string_view VersionText();

struct OptionsProblem {
  std::string text;         // a phrase without a full stop
  bool needs_usage = true;  // so that the usage would help
};

// `arguments` do not hold the program's name. Nothing when they are wrong, with
// the reason in `problem`.
std::optional<ExportOptions> ParseExportOptions(std::span<const std::string> arguments,
                                                OptionsProblem& problem);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORT_OPTIONS_H_
