// SPDX-License-Identifier: MIT
#include "platform/windows/shared_file.h"

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <system_error>

namespace qolm::platform {
namespace {

// EIO for codes without an errno value.
int ErrnoOf(DWORD error) {
  const std::error_condition known =
      std::system_category().default_error_condition(static_cast<int>(error));
  return known.category() == std::generic_category() ? known.value() : EIO;
}

}  // namespace

int OpenSharedDescriptor(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  const HANDLE file = CreateFileW(path.c_str(), access, kShareAll, nullptr, disposition,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    errno = ErrnoOf(GetLastError());
    return -1;
  }
  const int descriptor =
      _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_BINARY | _O_NOINHERIT);
  if (descriptor < 0) CloseHandle(file);
  return descriptor;
}

}  // namespace qolm::platform
