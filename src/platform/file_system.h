// SPDX-License-Identifier: MIT
//
// What validating and replacing an output needs of a system beyond the standard library.
#ifndef QOLM_PLATFORM_FILE_SYSTEM_H_
#define QOLM_PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

namespace qolm::platform {

// The file that the links at `path` lead to. On POSIX systems that file need not exist.
std::filesystem::path FollowLinks(const std::filesystem::path& path, std::error_code& error);

// Whether both paths lead to one existing file.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// Whether `path`, whose links followed have this status, is a pipe, a device …
bool IsSpecialFile(const std::filesystem::path& path, const std::filesystem::file_status& status);

// The reason why this user may not write the existing file `path`, if any: a rename would
// replace even a write-protected file.
std::error_code CheckWritable(const std::filesystem::path& path);

enum class FilePart { kBeginning, kEnd };

// Fills `bytes` from that part of the regular file `path`; `count` is the number of bytes
// read.
[[nodiscard]] std::error_code ReadFilePart(const std::filesystem::path& path, FilePart part,
                                           std::span<uint8_t> bytes, size_t& count);

// Gives `to` the owner and the permissions of `from` as far as this user may; failing to
// is not an error.
void CopyOwnerAndPermissions(const std::filesystem::path& from, const std::filesystem::path& to);

// Renames `from` over `to` atomically and makes the new name survive a power failure,
// where the file system can.
std::error_code RenameOver(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_FILE_SYSTEM_H_
