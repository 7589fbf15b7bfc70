#include <io.h>
#include <windows.h>

#include <cstdio>

#include "cli/status_line.h"

namespace qolm::cli {

bool StandardErrorIsTerminal() {
  if (_fileno(stderr) < 0) return false;  // no such handle was handed on
  // _isatty alone would also take NUL for a terminal.
  DWORD mode = 0;
  return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stderr))), &mode) != FALSE;
}

}  // namespace qolm::cli
