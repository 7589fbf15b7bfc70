#include <unistd.h>

#include "export/output_stream.h"

namespace qolm::exporter {

std::FILE* OpenStream(const std::filesystem::path& path) { return std::fopen(path.c_str(), "wb"); }

int SeekStream(std::FILE* stream, uint64_t position) {
  return fseeko(stream, static_cast<off_t>(position), SEEK_SET);
}

std::FILE* BinaryStandardOutput() { return stdout; }

bool StandardOutputIsTerminal() { return isatty(STDOUT_FILENO) != 0; }

}  // namespace qolm::exporter
