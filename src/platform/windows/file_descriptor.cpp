// SPDX-License-Identifier: MIT
#include "platform/file_descriptor.h"

#include <io.h>

#include <cstdio>

#include "platform/windows/shared_file.h"

namespace qolm::platform {

int OpenForReading(const std::filesystem::path& path) {
  return OpenSharedDescriptor(path, GENERIC_READ, OPEN_EXISTING);
}

int OpenForWriting(const std::filesystem::path& path) {
  return OpenSharedDescriptor(path, GENERIC_WRITE, CREATE_ALWAYS);
}

int CloseDescriptor(int descriptor) { return _close(descriptor); }

int64_t SeekTo(int descriptor, uint64_t position) {
  return _lseeki64(descriptor, static_cast<int64_t>(position), SEEK_SET);
}

int64_t SeekToEnd(int descriptor) { return _lseeki64(descriptor, 0, SEEK_END); }

int64_t ReadSome(int descriptor, uint64_t position, std::span<uint8_t> bytes) {
  if (SeekTo(descriptor, position) < 0) return -1;
  return _read(descriptor, bytes.data(), static_cast<unsigned>(bytes.size()));
}

int64_t WriteSome(int descriptor, std::span<const uint8_t> bytes) {
  return _write(descriptor, bytes.data(), static_cast<unsigned>(bytes.size()));
}

int SyncDescriptor(int descriptor) { return _commit(descriptor); }

}  // namespace qolm::platform
