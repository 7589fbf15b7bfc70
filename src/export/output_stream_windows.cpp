#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "base/windows_file.h"
#include "export/output_stream.h"

namespace qolm::exporter {

std::FILE* OpenStream(const std::filesystem::path& path) {
  const int descriptor = OpenSharedDescriptor(path, GENERIC_WRITE, CREATE_ALWAYS);
  if (descriptor < 0) return nullptr;
  std::FILE* const stream = _fdopen(descriptor, "wb");
  if (stream == nullptr) _close(descriptor);
  return stream;
}

int SeekStream(std::FILE* stream, uint64_t position) {
  return _fseeki64(stream, static_cast<int64_t>(position), SEEK_SET);
}

std::FILE* BinaryStandardOutput() {
  _setmode(_fileno(stdout), _O_BINARY);
  return stdout;
}

bool StandardOutputIsTerminal() {
  // _isatty alone would also take NUL for a terminal.
  DWORD mode = 0;
  return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout))), &mode) != FALSE;
}

}  // namespace qolm::exporter
