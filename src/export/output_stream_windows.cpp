#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstdlib>

#include "export/output_stream.h"

namespace qolm::exporter {
namespace {

int ErrnoOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return EACCES;
    case ERROR_DISK_FULL:
      return ENOSPC;
    default:
      return EIO;
  }
}

}  // namespace

std::FILE* OpenStream(const std::filesystem::path& path) {
  // The C library's own open would keep the file from being removed.
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    errno = ErrnoOf(GetLastError());
    return nullptr;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_BINARY);
  if (descriptor < 0) {
    CloseHandle(file);
    return nullptr;
  }
  std::FILE* const stream = _fdopen(descriptor, "wb");
  if (stream == nullptr) _close(descriptor);
  return stream;
}

int SeekStream(std::FILE* stream, uint64_t position) {
  return _fseeki64(stream, static_cast<int64_t>(position), SEEK_SET);
}

int StreamError() {
  // The C library takes a pipe that closes for an invalid argument.
  return errno == EINVAL && _doserrno == ERROR_NO_DATA ? EPIPE : errno;
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
