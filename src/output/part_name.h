// What the part file of an output is called.
#ifndef QOLM_OUTPUT_PART_NAME_H_
#define QOLM_OUTPUT_PART_NAME_H_

#include <filesystem>

namespace qolm::output {

// `<target>.part`. Where that name would be longer than file systems take, 255
// bytes or on Windows UTF-16 units, it holds the beginning of the target's name
// and a number made of all of it, so that targets side by side keep part files
// of their own.
std::filesystem::path PartNameOf(const std::filesystem::path& target);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_NAME_H_
