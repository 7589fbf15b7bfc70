// SPDX-License-Identifier: MIT
//
// The forms that an export can have: their file extensions and how their files begin.
#ifndef QOLM_EXPORT_FORM_H_
#define QOLM_EXPORT_FORM_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "output/output_path.h"

namespace qolm::exporter {

enum class Form {
  kY4m,
  kPng,
  kWav,
  kMatroska,
  kMp4,
  kNut,
  kPipe,  // picture and audio as a stream on standard output
};

// The form of a file with this extension, such as ".png" in any case.
std::optional<Form> FormOfExtension(std::string_view extension);

// Whether picture and audio share one file, which a media library writes.
bool IsMediaForm(Form form);

// Whether a file that begins with these bytes, 32 if it has as many, is of the form.
bool BeginsAs(Form form, std::span<const uint8_t> bytes);

// In every media file that this program writes, within the first or the last 4 KiB.
inline constexpr const char* kProgramMark = "qolm2_export";

// An export replaces files of its own form, and with `overwrite` all others. A media file
// must also bear the program's mark: the film that was converted often stands beside
// its conversion, under the very name that its export would be given.
output::ReplacePolicy ReplacePolicyOf(Form form, bool overwrite);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_FORM_H_
