// SPDX-License-Identifier: MIT
//
// File descriptors with 64-bit positions. A negative result reports a failure, whose
// reason is in errno.
#ifndef QOLM_PLATFORM_FILE_DESCRIPTOR_H_
#define QOLM_PLATFORM_FILE_DESCRIPTOR_H_

#include <cstdint>
#include <filesystem>
#include <span>

namespace qolm::platform {

// The most that one call transfers: it fits every system's count type.
inline constexpr size_t kMaxBytesPerCall = size_t{1} << 30;

// Does not block on a pipe without a writer.
int OpenForReading(const std::filesystem::path& path);
// Creates the file, or empties it.
int OpenForWriting(const std::filesystem::path& path);
int CloseDescriptor(int descriptor);

// The new position.
int64_t SeekTo(int descriptor, uint64_t position);
int64_t SeekToEnd(int descriptor);

// Return the number of bytes transferred, at most kMaxBytesPerCall; fewer than requested
// is not a failure.
int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes);
int64_t WriteSome(int descriptor, std::span<const uint8_t> bytes);

// Blocks until everything written is on the disk.
int SyncDescriptor(int descriptor);

}  // namespace qolm::platform

#endif  // QOLM_PLATFORM_FILE_DESCRIPTOR_H_
