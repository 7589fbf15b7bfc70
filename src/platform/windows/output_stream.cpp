// SPDX-License-Identifier: MIT
#include "platform/output_stream.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstdlib>

#include "platform/windows/shared_file.h"

namespace qolm::platform {

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

int StreamError() {
  // The C library reports a pipe whose reader has closed it as an invalid argument.
  return errno == EINVAL && _doserrno == ERROR_NO_DATA ? EPIPE : errno;
}

}  // namespace qolm::platform
