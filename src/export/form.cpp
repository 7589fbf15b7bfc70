// SPDX-License-Identifier: MIT
#include "export/form.h"

#include <algorithm>
#include <string>
#include <utility>

namespace qolm::exporter {
namespace {

using namespace std::string_view_literals;

bool HasAt(std::span<const uint8_t> bytes, size_t position, std::string_view text) {
  if (bytes.size() < position + text.size()) return false;
  return std::equal(text.begin(), text.end(), bytes.begin() + static_cast<ptrdiff_t>(position),
                    [](char c, uint8_t byte) { return static_cast<uint8_t>(c) == byte; });
}

}  // namespace

std::optional<Form> FormOfExtension(std::string_view extension) {
  std::string lower(extension);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  constexpr std::pair<std::string_view, Form> kExtensions[] = {
      {".y4m", Form::kY4m},      {".png", Form::kPng}, {".wav", Form::kWav},
      {".mkv", Form::kMatroska}, {".mp4", Form::kMp4}, {".nut", Form::kNut}};
  for (const auto& [known, form] : kExtensions) {
    if (lower == known) return form;
  }
  return std::nullopt;
}

bool IsMediaForm(Form form) {
  return form == Form::kMatroska || form == Form::kMp4 || form == Form::kNut || form == Form::kPipe;
}

bool BeginsAs(Form form, std::span<const uint8_t> bytes) {
  switch (form) {
    case Form::kY4m:
      return HasAt(bytes, 0, "YUV4MPEG2");
    case Form::kPng:
      return HasAt(bytes, 0, "\x89PNG\r\n\x1A\n");
    case Form::kWav:  // videos may be RIFF files, too
      return (HasAt(bytes, 0, "RIFF") || HasAt(bytes, 0, "RF64")) && HasAt(bytes, 8, "WAVE");
    case Form::kMatroska:
      return HasAt(bytes, 0, "\x1A\x45\xDF\xA3");
    case Form::kMp4:
      return HasAt(bytes, 4, "ftyp");
    case Form::kNut:
      return HasAt(bytes, 0, "nut/multimedia container\0"sv);
    case Form::kPipe:
      break;
  }
  return false;
}

output::ReplacePolicy ReplacePolicyOf(Form form, bool overwrite) {
  return {[form](std::span<const uint8_t> bytes) { return BeginsAs(form, bytes); }, overwrite,
          IsMediaForm(form) ? kProgramMark : ""};
}

}  // namespace qolm::exporter
