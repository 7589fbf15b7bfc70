// Streams of the C library as each system opens and places them.
#ifndef QOLM_EXPORT_OUTPUT_STREAM_H_
#define QOLM_EXPORT_OUTPUT_STREAM_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace qolm::exporter {

// Creates the file, or empties it; null and errno when the system refuses.
// While the stream is open, the file may be removed.
std::FILE* OpenStream(const std::filesystem::path& path);

// 0, or -1 and errno.
int SeekStream(std::FILE* stream, uint64_t position);

// Standard output for bytes that nothing may translate.
std::FILE* BinaryStandardOutput();

// Pictures on a terminal are never meant.
bool StandardOutputIsTerminal();

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_OUTPUT_STREAM_H_
