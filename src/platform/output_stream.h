// SPDX-License-Identifier: MIT
//
// Output streams of the C library.
#ifndef QOLM_PLATFORM_OUTPUT_STREAM_H_
#define QOLM_PLATFORM_OUTPUT_STREAM_H_

#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace qolm::platform {

// Creates the file, or empties it; null with errno set on failure. Others may remove the
// file while the stream is open.
std::FILE* OpenStream(const std::filesystem::path& path);

// 0, or -1 and errno.
int SeekStream(std::FILE* stream, uint64_t position);

// Standard output without any translation of bytes.
std::FILE* BinaryStandardOutput();

// errno of the stream operation that has just failed; EPIPE where the reader of a pipe
// has closed it.
int StreamError();

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_OUTPUT_STREAM_H_
