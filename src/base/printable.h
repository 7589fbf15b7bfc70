// Names and reasons that come from outside, made fit for one line of a message.
#ifndef QOLM_BASE_PRINTABLE_H_
#define QOLM_BASE_PRINTABLE_H_

#include <string>
#include <string_view>

namespace qolm {

// `text` with everything escaped that could end its line, change what stands in it
// or command a terminal: control characters, line separators and the marks that turn
// the direction of writing. They show as \n, \r, \t or as their bytes, \x1B. All
// else stays byte for byte, bytes that are no UTF-8 included.
std::string Printable(std::string_view text);

}  // namespace qolm

#endif  // QOLM_BASE_PRINTABLE_H_
