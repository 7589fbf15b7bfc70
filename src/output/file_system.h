// What judging and replacing an output takes from a system beyond the standard
// library.
#ifndef QOLM_OUTPUT_FILE_SYSTEM_H_
#define QOLM_OUTPUT_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

namespace qolm::output {

// The file that the links at `path` lead to. Where the system tells it, that
// file need not exist.
std::filesystem::path FollowLinks(const std::filesystem::path& path, std::error_code& error);

// Whether both lead to one existing file, whatever they are called.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// Whether `path`, whose links followed have this status, is a pipe, a device …
bool IsSpecialFile(const std::filesystem::path& path, const std::filesystem::file_status& status);

// Why this user may not write the existing file `path`: a rename would replace
// even a file that its owner has write-protected.
std::error_code CheckWritable(const std::filesystem::path& path);

enum class FilePart { kBeginning, kEnd };

// Fills `bytes` with that part of the regular file `path`; `count` says how many
// there were.
[[nodiscard]] std::error_code ReadFilePart(const std::filesystem::path& path, FilePart part,
                                           std::span<uint8_t> bytes, size_t& count);

// Gives `to` the owner and the permissions of `from`, as far as the system lets
// this user do so; a file that keeps other rights is still a finished one.
void CopyOwnerAndPermissions(const std::filesystem::path& from, const std::filesystem::path& to);

// Renames `from` over `to` in one step and makes the new name last through a
// power cut, where the file system can.
std::error_code RenameOver(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace qolm::output

#endif  // QOLM_OUTPUT_FILE_SYSTEM_H_
