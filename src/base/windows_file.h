// Files as descriptors of the C library that do not keep others from renaming
// or removing them, which its own open would. Only on Windows.
#ifndef QOLM_BASE_WINDOWS_FILE_H_
#define QOLM_BASE_WINDOWS_FILE_H_

#include <windows.h>

#include <filesystem>

namespace qolm {

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// `access` and `disposition` as CreateFileW takes them. A binary descriptor
// that no child inherits; -1 with errno set otherwise.
int OpenSharedDescriptor(const std::filesystem::path& path, DWORD access, DWORD disposition);

}  // namespace qolm

#endif  // QOLM_BASE_WINDOWS_FILE_H_
