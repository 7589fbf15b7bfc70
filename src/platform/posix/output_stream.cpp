// SPDX-License-Identifier: MIT
#include "platform/output_stream.h"

#include <sys/types.h>

#include <cerrno>

namespace qolm::platform {

std::FILE* OpenStream(const std::filesystem::path& path) { return std::fopen(path.c_str(), "wb"); }

int SeekStream(std::FILE* stream, uint64_t position) {
  return fseeko(stream, static_cast<off_t>(position), SEEK_SET);
}

std::FILE* BinaryStandardOutput() { return stdout; }

int StreamError() { return errno; }

}  // namespace qolm::platform
