// SPDX-License-Identifier: MIT
#include "platform/terminal.h"

#include <io.h>
#include <windows.h>

#include <cstdio>

namespace qolm::platform {
namespace {

bool IsTerminal(std::FILE* stream) {
  const int descriptor = _fileno(stream);
  if (descriptor < 0) return false;  // the program was started without this handle
  // _isatty alone would also take NUL for a terminal.
  DWORD mode = 0;
  return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &mode) != FALSE;
}

}  // namespace

bool StandardOutputIsTerminal() { return IsTerminal(stdout); }

bool StandardErrorIsTerminal() { return IsTerminal(stderr); }

}  // namespace qolm::platform
