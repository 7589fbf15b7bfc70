// SPDX-License-Identifier: MIT
//
// The encode command's options.
//
// What surprises: no option is refused. Unknown options, presets and modes, and an option
// without its value, are ignored; only an invalid number is an error.
#ifndef QOLM_CLI_OPTIONS_H_
#define QOLM_CLI_OPTIONS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "encoder/encode_settings.h"
#include "media/audio_options.h"

namespace qolm::cli {

struct EncodeOptions {
  encoder::EncodeSettings settings;  // geometry stays 0; the encode command fills it
  media::AudioOptions audio;
  int32_t frame_limit = 0;  // frames; below 1 means no limit
  bool overwrite = false;   // replaces even an output that is no QOLM file
};

// Reads the options in `arguments` from index `first` on, left to right; later
// ones override earlier ones. Throws what ParseInteger throws, with the option
// and its value before the text.
EncodeOptions ParseEncodeOptions(const std::vector<std::string>& arguments, size_t first);

// Whether `argument` is exactly the name of an option, so that it was hardly meant as a
// file name.
bool IsOptionName(std::string_view argument);

// The decimal number at the start of `text`: leading white space and one sign
// are accepted, whatever follows the digits is ignored. Throws
// std::invalid_argument("invalid stoi argument") when there is no digit and
// std::out_of_range("stoi argument out of range") when the number does not fit;
// std::stoi would throw the same types, but its texts differ from library to
// library.
int32_t ParseInteger(std::string_view text);

}  // namespace qolm::cli

#endif  // QOLM_CLI_OPTIONS_H_
