// SPDX-License-Identifier: MIT
#include "windows/test_transform/audio_transform.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace qolm::test {
namespace {

constexpr UINT32 kBytesPerSample = sizeof(int16_t);

int16_t FromFloat(const BYTE* bytes) {
  float value = 0;
  std::memcpy(&value, bytes, sizeof(value));
  return static_cast<int16_t>(std::lround(std::clamp(value, -1.0f, 1.0f) * 32767.0f));
}

int16_t FromInteger(const BYTE* bytes) {
  int16_t value = 0;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

}  // namespace

std::vector<GUID> AudioTransform::Inputs() { return {MFAudioFormat_PCM, MFAudioFormat_Float}; }

HRESULT AudioTransform::AcceptInput(IMFMediaType& type) {
  const std::string format = EnvironmentValue("QOLM_TEST_SOUND");
  if (format == "refuse") return MF_E_INVALIDMEDIATYPE;
  if (!format.empty() && std::sscanf(format.c_str(), "%ux%u", &rate_, &channels_) != 2) {
    return MF_E_INVALIDMEDIATYPE;
  }
  GUID subtype{};
  UINT32 bits = 0;
  type.GetGUID(MF_MT_SUBTYPE, &subtype);
  type.GetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, &bits);
  type.GetUINT32(MF_MT_AUDIO_NUM_CHANNELS, &input_channels_);
  floating_ = subtype == MFAudioFormat_Float;
  return input_channels_ > 0 && bits == (floating_ ? 32u : 16u) ? S_OK : MF_E_INVALIDMEDIATYPE;
}

HRESULT AudioTransform::MakeOutputType(IMFMediaType** type) {
  ComPtr<IMFMediaType> made;
  const HRESULT result = MFCreateMediaType(&made);
  if (FAILED(result)) return result;
  made->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
  made->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_PCM);
  made->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, channels_);
  made->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate_);
  made->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 8 * kBytesPerSample);
  made->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, channels_ * kBytesPerSample);
  made->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, rate_ * channels_ * kBytesPerSample);
  made->SetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, TRUE);
  *type = made.Detach();
  return S_OK;
}

HRESULT AudioTransform::Convert(const BYTE* bytes, DWORD length,
                                ComPtr<IMFMediaBuffer>& converted) {
  const size_t sample_bytes = floating_ ? sizeof(float) : sizeof(int16_t);
  const size_t frames = length / (sample_bytes * input_channels_);
  std::vector<int16_t> samples;
  samples.reserve(frames * channels_);
  for (size_t i = 0; i < frames; ++i) {
    for (UINT32 channel = 0; channel < channels_; ++channel) {
      const size_t from = i * input_channels_ + std::min(channel, input_channels_ - 1);
      const BYTE* const sample = bytes + from * sample_bytes;
      samples.push_back(floating_ ? FromFloat(sample) : FromInteger(sample));
    }
  }
  const auto size = static_cast<DWORD>(samples.size() * kBytesPerSample);
  HRESULT result = MFCreateMemoryBuffer(std::max<DWORD>(size, 1), &converted);
  BYTE* target = nullptr;
  if (SUCCEEDED(result)) result = converted->Lock(&target, nullptr, nullptr);
  if (FAILED(result)) return result;
  std::memcpy(target, samples.data(), size);
  converted->Unlock();
  return converted->SetCurrentLength(size);
}

}  // namespace qolm::test
