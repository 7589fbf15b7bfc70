// Ctrl-C leaves no unfinished output behind.
#ifndef QOLM_EXPORT_PART_CLEANUP_H_
#define QOLM_EXPORT_PART_CLEANUP_H_

#include <filesystem>

namespace qolm::exporter {

// From now on a SIGINT, SIGTERM or SIGHUP removes this file before it ends the
// program as ever; null removes nothing. The path stays unchanged until the
// next call. One file at a time. Where the system cannot remove open files,
// nothing happens.
void RemoveOnSignal(const std::filesystem::path* part);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_PART_CLEANUP_H_
