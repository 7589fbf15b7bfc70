// SPDX-License-Identifier: MIT
//
// The name of an output's part file.
#ifndef QOLM_OUTPUT_PART_NAME_H_
#define QOLM_OUTPUT_PART_NAME_H_

#include <filesystem>

namespace qolm::output {

// `<target>.part`. Where that name would exceed the 255 bytes (on Windows UTF-16 units)
// of file systems, it is the beginning of the target's name and a hash of all of it, so
// that every target has a part file of its own.
std::filesystem::path PartNameOf(const std::filesystem::path& target);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_NAME_H_
