// SPDX-License-Identifier: MIT
//
// The use of a source reader that the video and the audio adapter share.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_SOURCE_READER_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_SOURCE_READER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "media/mediafoundation/com.h"

namespace qolm::media::mediafoundation {

struct ReaderOption {
  GUID key;
  UINT32 value;
};

// Both of a reader's options that this program sets.
using ReaderOptions = std::array<ReaderOption, 2>;

// An attribute store with these options.
[[nodiscard]] HRESULT MakeAttributeStore(std::span<const ReaderOption> options,
                                         ComPtr<IMFAttributes>& store);

// Without options the reader is made without an attribute store. A success
// leaves a reader in `reader`.
[[nodiscard]] HRESULT MakeSourceReader(const std::filesystem::path& path,
                                       std::span<const ReaderOption> options,
                                       ComPtr<IMFSourceReader>& reader);

struct ReadAnswer {
  HRESULT result = E_FAIL;
  bool end_of_stream = false;
  bool type_changed = false;  // the current type, from this sample on
  LONGLONG timestamp = 0;     // 100-nanosecond units
  ComPtr<IMFSample> sample;   // null in a stream gap
};

[[nodiscard]] ReadAnswer ReadSampleOf(IMFSourceReader& reader, DWORD stream);

// Null on failure.
[[nodiscard]] ComPtr<IMFMediaBuffer> ContiguousBuffer(IMFSample& sample);

struct LinearBytes {
  const uint8_t* data = nullptr;  // may be null after a lock that succeeded
  size_t current_length = 0;
};

// Nothing when the lock fails; otherwise IMFMediaBuffer::Unlock ends it.
[[nodiscard]] std::optional<LinearBytes> LockLinear(IMFMediaBuffer& buffer);

// Nothing when the store lacks it.
[[nodiscard]] std::optional<UINT32> Uint32Attribute(IMFAttributes& attributes, const GUID& key);

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_SOURCE_READER_H_
