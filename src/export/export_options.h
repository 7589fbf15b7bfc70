// SPDX-License-Identifier: MIT
//
// The options of the export program.
#ifndef QOLM_EXPORT_EXPORT_OPTIONS_H_
#define QOLM_EXPORT_EXPORT_OPTIONS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "export/form.h"

namespace qolm::exporter {

struct SheetLayout {
  uint32_t columns = 0;  // 1..kMaxSheetSide
  uint32_t rows = 0;     // 1..kMaxSheetSide
};
inline constexpr uint32_t kMaxSheetSide = 100;

// What a PNG shows: at most one of the three; without any, frame 0.
struct PictureChoice {
  std::optional<int32_t> frame;
  std::optional<double> seconds;
  std::optional<SheetLayout> sheet;
};

struct ExportOptions {
  bool help = false;     // the other members are then unset
  bool version = false;  // likewise
  std::filesystem::path input;
  std::filesystem::path output;
  bool to_standard_output = false;
  Form form = Form::kY4m;
  bool overwrite = false;  // replaces even a file of another form
  PictureChoice choice;
};

// Names the forms that this build leaves out, too.
std::string_view UsageText();

// The program's name and version.
std::string_view VersionText();

struct OptionsProblem {
  std::string text;         // a phrase without a full stop
  bool needs_usage = true;  // whether to refer to the usage text
};

// `arguments` exclude the program's name. Nothing when they are invalid, with the reason in
// `problem`.
std::optional<ExportOptions> ParseExportOptions(std::span<const std::string> arguments,
                                                OptionsProblem& problem);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_EXPORT_OPTIONS_H_
