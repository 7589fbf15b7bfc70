// SPDX-License-Identifier: MIT
//
// C library descriptors of files that others may rename and remove meanwhile, which the
// library's own open does not allow.
#ifndef QOLM_PLATFORM_WINDOWS_SHARED_FILE_H_
#define QOLM_PLATFORM_WINDOWS_SHARED_FILE_H_

#include <windows.h>

#include <filesystem>

namespace qolm::platform {

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// `access` and `disposition` are CreateFileW's. Returns a binary descriptor that child
// processes do not inherit, or -1 with errno set.
int OpenSharedDescriptor(const std::filesystem::path& path, DWORD access, DWORD disposition);

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_WINDOWS_SHARED_FILE_H_
