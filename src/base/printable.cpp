// SPDX-License-Identifier: MIT
#include "base/printable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qolm {
namespace {

// The length of the UTF-8 character at the start of `text`, 1 when it is malformed.
size_t CharacterBytes(std::string_view text) {
  const auto first = static_cast<uint8_t>(text[0]);
  size_t length = 1;
  if (first >= 0xC2) length = 2;
  if (first >= 0xE0) length = 3;
  if (first >= 0xF0) length = 4;
  if (first >= 0xF5 || text.size() < length) return 1;
  const auto continues = [](char c) { return (static_cast<uint8_t>(c) & 0xC0) == 0x80; };
  return std::all_of(text.begin() + 1, text.begin() + static_cast<ptrdiff_t>(length), continues)
             ? length
             : 1;
}

bool NeedsEscape(std::string_view character) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(character[i]); };
  // 8-bit terminals interpret a single byte of 0x80 to 0x9F as a control character.
  if (character.size() == 1) return byte(0) < 0x20 || (byte(0) >= 0x7F && byte(0) < 0xA0);
  if (character.size() == 2) return byte(0) == 0xC2 && byte(1) < 0xA0;
  if (character.size() != 3 || byte(0) != 0xE2) return false;
  const bool separator_or_direction = byte(1) == 0x80 && byte(2) >= 0xA8 && byte(2) <= 0xAE;
  const bool isolate = byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9;
  return separator_or_direction || isolate;
}

void AppendEscaped(std::string_view character, std::string& text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char c : character) {
    text += '\\';
    if (c == '\n') {
      text += 'n';
    } else if (c == '\r') {
      text += 'r';
    } else if (c == '\t') {
      text += 't';
    } else {
      const auto byte = static_cast<uint8_t>(c);
      text += 'x';
      text += kDigits[byte >> 4];
      text += kDigits[byte & 15];
    }
  }
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const std::string_view character = text.substr(0, CharacterBytes(text));
    if (NeedsEscape(character)) {
      AppendEscaped(character, printable);
    } else {
      printable += character;
    }
    text.remove_prefix(character.size());
  }
  return printable;
}

}  // namespace qolm
