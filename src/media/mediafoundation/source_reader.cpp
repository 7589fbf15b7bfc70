// SPDX-License-Identifier: MIT
#include "media/mediafoundation/source_reader.h"

namespace qolm::media::mediafoundation {

HRESULT MakeAttributeStore(std::span<const ReaderOption> options, ComPtr<IMFAttributes>& store) {
  HRESULT result = MFCreateAttributes(&store, static_cast<UINT32>(options.size()));
  for (const ReaderOption& option : options) {
    if (SUCCEEDED(result)) result = store->SetUINT32(option.key, option.value);
  }
  return result;
}

HRESULT MakeSourceReader(const std::filesystem::path& path, std::span<const ReaderOption> options,
                         ComPtr<IMFSourceReader>& reader) {
  ComPtr<IMFAttributes> attributes;
  if (!options.empty()) {
    const HRESULT result = MakeAttributeStore(options, attributes);
    if (FAILED(result)) return result;
  }
  const HRESULT result = MFCreateSourceReaderFromURL(path.c_str(), attributes.Get(), &reader);
  return SUCCEEDED(result) && reader == nullptr ? E_FAIL : result;
}

ReadAnswer ReadSampleOf(IMFSourceReader& reader, DWORD stream) {
  ReadAnswer answer;
  DWORD flags = 0;
  answer.result = reader.ReadSample(stream, 0, nullptr, &flags, &answer.timestamp, &answer.sample);
  if ((flags & MF_SOURCE_READERF_ERROR) != 0 && SUCCEEDED(answer.result)) answer.result = E_FAIL;
  answer.end_of_stream = (flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0;
  answer.type_changed = (flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) != 0;
  return answer;
}

ComPtr<IMFMediaBuffer> ContiguousBuffer(IMFSample& sample) {
  ComPtr<IMFMediaBuffer> buffer;
  if (FAILED(sample.ConvertToContiguousBuffer(&buffer))) return nullptr;
  return buffer;
}

std::optional<LinearBytes> LockLinear(IMFMediaBuffer& buffer) {
  BYTE* data = nullptr;
  DWORD maximum_length = 0;
  DWORD current_length = 0;
  if (FAILED(buffer.Lock(&data, &maximum_length, &current_length))) return std::nullopt;
  return LinearBytes{data, current_length};
}

std::optional<UINT32> Uint32Attribute(IMFAttributes& attributes, const GUID& key) {
  UINT32 value = 0;
  if (FAILED(attributes.GetUINT32(key, &value))) return std::nullopt;
  return value;
}

}  // namespace qolm::media::mediafoundation
