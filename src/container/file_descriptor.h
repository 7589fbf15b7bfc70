// Files by descriptor with 64-bit positions, as each system has them. Failures
// are told by a negative result and errno.
#ifndef QOLM_CONTAINER_FILE_DESCRIPTOR_H_
#define QOLM_CONTAINER_FILE_DESCRIPTOR_H_

#include <cstdint>
#include <filesystem>
#include <span>

namespace qolm::container {

// One call never moves more: it keeps the count inside every system's type.
inline constexpr size_t kMaxBytesPerCall = size_t{1} << 30;

// Does not wait for the other end of a pipe.
int OpenForReading(const std::filesystem::path& path);
// Creates the file, or empties it.
int OpenForWriting(const std::filesystem::path& path);
int CloseDescriptor(int descriptor);

// The new position.
int64_t SeekTo(int descriptor, uint64_t position);
int64_t SeekToEnd(int descriptor);

// The bytes that were read or written, at most kMaxBytesPerCall; fewer than asked for
// are no failure.
int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes);
int64_t WriteSome(int descriptor, std::span<const uint8_t> bytes);

// Waits until the disk holds what was written.
int SyncDescriptor(int descriptor);

}  // namespace qolm::container

#endif  // QOLM_CONTAINER_FILE_DESCRIPTOR_H_
