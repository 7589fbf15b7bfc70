// A program that a signal ends leaves no unfinished output behind.
#ifndef QOLM_OUTPUT_PART_CLEANUP_H_
#define QOLM_OUTPUT_PART_CLEANUP_H_

#include <filesystem>

namespace qolm::output {

// From now on a SIGINT, SIGTERM or SIGHUP removes this file before it ends the
// program as ever; null removes nothing. The path stays unchanged until the
// next call. One file at a time. Where the system cannot remove open files,
// nothing happens.
void RemoveFileOnSignal(const std::filesystem::path* file);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_PART_CLEANUP_H_
