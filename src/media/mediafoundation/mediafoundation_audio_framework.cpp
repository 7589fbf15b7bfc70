// SPDX-License-Identifier: MIT
#include "media/mediafoundation/mediafoundation_audio_framework.h"

#include <optional>
#include <utility>

#include "media/mediafoundation/com.h"

namespace qolm::media::mediafoundation {
namespace {

constexpr DWORD kAudio = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);

class MediaFoundationAudioBuffer : public AudioBuffer {
 public:
  explicit MediaFoundationAudioBuffer(ComPtr<IMFMediaBuffer> buffer) : buffer_(std::move(buffer)) {}

  std::optional<Bytes> Lock() override {
    const auto bytes = LockLinear(*buffer_.Get());
    if (!bytes) return std::nullopt;
    return Bytes{bytes->data, bytes->current_length};
  }
  void Unlock() override { buffer_->Unlock(); }

 private:
  ComPtr<IMFMediaBuffer> buffer_;
};

class MediaFoundationAudioSample : public AudioSample {
 public:
  explicit MediaFoundationAudioSample(ComPtr<IMFSample> sample) : sample_(std::move(sample)) {}

  std::unique_ptr<AudioBuffer> ConvertToContiguousBuffer() override {
    ComPtr<IMFMediaBuffer> buffer = ContiguousBuffer(*sample_.Get());
    if (buffer == nullptr) return nullptr;
    return std::make_unique<MediaFoundationAudioBuffer>(std::move(buffer));
  }

 private:
  ComPtr<IMFSample> sample_;
};

// Omits the attributes that the decoder may choose.
HRESULT SetUint32(IMFMediaType& type, const GUID& key, const std::optional<uint32_t>& value) {
  return value ? type.SetUINT32(key, *value) : S_OK;
}

class MediaFoundationAudioReader : public AudioReader {
 public:
  explicit MediaFoundationAudioReader(ComPtr<IMFSourceReader> reader)
      : reader_(std::move(reader)) {}

  bool SelectFirstAudioStream() override {
    return SUCCEEDED(reader_->SetStreamSelection(kAudio, TRUE));
  }

  bool SetOutputPcm(const PcmType& request) override {
    ComPtr<IMFMediaType> type;
    return SUCCEEDED(MFCreateMediaType(&type)) &&
           SUCCEEDED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio)) &&
           SUCCEEDED(type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_PCM)) &&
           SUCCEEDED(SetUint32(*type.Get(), MF_MT_AUDIO_NUM_CHANNELS, request.channels)) &&
           SUCCEEDED(SetUint32(*type.Get(), MF_MT_AUDIO_SAMPLES_PER_SECOND, request.sample_rate)) &&
           SUCCEEDED(
               SetUint32(*type.Get(), MF_MT_AUDIO_BITS_PER_SAMPLE, request.bits_per_sample)) &&
           SUCCEEDED(reader_->SetCurrentMediaType(kAudio, nullptr, type.Get()));
  }

  PcmType CurrentPcmType() override {
    agreed_type_ = ReadCurrentType();
    return agreed_type_;
  }

  ReadResult ReadSample() override {
    ReadAnswer answer = ReadSampleOf(*reader_.Get(), kAudio);
    ReadResult result;
    result.succeeded = SUCCEEDED(answer.result);
    result.end_of_stream = answer.end_of_stream;
    // Samples of another rate or layout would be misinterpreted.
    if (answer.type_changed && ReadCurrentType() != agreed_type_) result.succeeded = false;
    if (answer.sample != nullptr) {
      result.sample = std::make_unique<MediaFoundationAudioSample>(std::move(answer.sample));
    }
    return result;
  }

 private:
  PcmType ReadCurrentType() const {
    ComPtr<IMFMediaType> type;
    if (FAILED(reader_->GetCurrentMediaType(kAudio, &type))) return {};
    return {Uint32Attribute(*type.Get(), MF_MT_AUDIO_NUM_CHANNELS),
            Uint32Attribute(*type.Get(), MF_MT_AUDIO_SAMPLES_PER_SECOND),
            Uint32Attribute(*type.Get(), MF_MT_AUDIO_BITS_PER_SAMPLE)};
  }

  ComPtr<IMFSourceReader> reader_;
  PcmType agreed_type_;
};

}  // namespace

ReaderOptions OptionsOf(const AudioFramework::ReaderAttributes& attributes) {
  return {
      {{MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, attributes.enable_hardware_transforms ? 1u : 0u},
       {MF_LOW_LATENCY, attributes.low_latency ? 1u : 0u}}};
}

std::unique_ptr<AudioReader> AdaptAudioReader(ComPtr<IMFSourceReader> reader) {
  return std::make_unique<MediaFoundationAudioReader>(std::move(reader));
}

std::unique_ptr<AudioReader> MediaFoundationAudioFramework::Open(
    const std::filesystem::path& path, const ReaderAttributes& attributes) {
  ComPtr<IMFSourceReader> reader;
  if (FAILED(MakeSourceReader(path, OptionsOf(attributes), reader))) return nullptr;
  return AdaptAudioReader(std::move(reader));
}

}  // namespace qolm::media::mediafoundation
