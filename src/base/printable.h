// SPDX-License-Identifier: MIT
//
// Escapes untrusted text, such as file names and error messages, for one line of output.
#ifndef QOLM_BASE_PRINTABLE_H_
#define QOLM_BASE_PRINTABLE_H_

#include <string>
#include <string_view>

namespace qolm {

// `text` with everything escaped that could break its line, reorder it or control a
// terminal: control characters, line separators and bidirectional formatting characters.
// They are written as \n, \r, \t or as their bytes, \x1B. All other bytes are unchanged,
// including those that are not valid UTF-8.
std::string Printable(std::string_view text);

}  // namespace qolm

#endif  // QOLM_BASE_PRINTABLE_H_
