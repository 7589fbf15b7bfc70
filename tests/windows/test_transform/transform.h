// SPDX-License-Identifier: MIT
//
// What the two test transforms have in common: one stream in, one out, whole
// samples, synchronous.
//
// They stand in, in the tests' own Windows system only, for the converters that
// Windows has and Wine's source reader does not look for. How they deliver is
// told by the environment, so that a test can have it any way that a real
// system might choose.
#ifndef QOLM_TESTS_WINDOWS_TEST_TRANSFORM_TRANSFORM_H_
#define QOLM_TESTS_WINDOWS_TEST_TRANSFORM_TRANSFORM_H_

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// After windows.h.
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mftransform.h>
#include <wrl/client.h>

#include <atomic>
#include <string>

namespace qolm::test {

using Microsoft::WRL::ComPtr;

// Of objects of this library that are alive.
inline std::atomic<long> live_objects{0};

// Empty when the variable is not set.
inline std::string EnvironmentValue(const char* name) {
  char value[64];
  const DWORD length = GetEnvironmentVariableA(name, value, sizeof(value));
  return length < sizeof(value) ? std::string(value, length) : std::string();
}

class Transform : public IMFTransform {
 public:
  Transform() { ++live_objects; }
  virtual ~Transform() { --live_objects; }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IUnknown) && id != __uuidof(IMFTransform)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<IMFTransform*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG STDMETHODCALLTYPE Release() override {
    const long left = --references_;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

  HRESULT STDMETHODCALLTYPE GetStreamLimits(DWORD* least_in, DWORD* most_in, DWORD* least_out,
                                            DWORD* most_out) override {
    *least_in = *most_in = *least_out = *most_out = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetStreamCount(DWORD* inputs, DWORD* outputs) override {
    *inputs = *outputs = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO* info) override {
    *info = {};
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO* info) override {
    *info = {};
    info->dwFlags = MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetInputStreamAttributes(DWORD, IMFAttributes**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetOutputStreamAttributes(DWORD, IMFAttributes**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DeleteInputStream(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }

  HRESULT STDMETHODCALLTYPE GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override {
    return MF_E_NO_MORE_TYPES;
  }
  HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD, DWORD index,
                                                   IMFMediaType** type) override {
    if (input_ == nullptr || index > 0) return MF_E_NO_MORE_TYPES;
    return MakeOutputType(type);
  }
  HRESULT STDMETHODCALLTYPE SetInputType(DWORD, IMFMediaType* type, DWORD flags) override {
    const HRESULT result = AcceptInput(*type);
    if (SUCCEEDED(result) && (flags & MFT_SET_TYPE_TEST_ONLY) == 0) input_ = type;
    return result;
  }
  HRESULT STDMETHODCALLTYPE SetOutputType(DWORD, IMFMediaType* type, DWORD flags) override {
    if (input_ == nullptr) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if ((flags & MFT_SET_TYPE_TEST_ONLY) == 0) output_ = type;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD, IMFMediaType** type) override {
    return input_ == nullptr ? MF_E_TRANSFORM_TYPE_NOT_SET : input_.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD, IMFMediaType** type) override {
    return output_ == nullptr ? MF_E_TRANSFORM_TYPE_NOT_SET : output_.CopyTo(type);
  }

  HRESULT STDMETHODCALLTYPE GetInputStatus(DWORD, DWORD* flags) override {
    *flags = pending_ == nullptr ? static_cast<DWORD>(MFT_INPUT_STATUS_ACCEPT_DATA) : 0u;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetOutputStatus(DWORD* flags) override {
    *flags = pending_ == nullptr ? 0u : static_cast<DWORD>(MFT_OUTPUT_STATUS_SAMPLE_READY);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR) override {
    if (message == MFT_MESSAGE_COMMAND_FLUSH) pending_.Reset();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ProcessInput(DWORD, IMFSample* sample, DWORD) override {
    if (pending_ != nullptr) return MF_E_NOTACCEPTING;
    pending_ = sample;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD, DWORD count, MFT_OUTPUT_DATA_BUFFER* outputs,
                                          DWORD* status) override {
    *status = 0;
    if (count != 1) return E_INVALIDARG;
    if (pending_ == nullptr) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    const ComPtr<IMFSample> input = pending_;
    pending_.Reset();
    ComPtr<IMFMediaBuffer> source;
    HRESULT result = input->ConvertToContiguousBuffer(&source);
    if (FAILED(result)) return result;
    BYTE* bytes = nullptr;
    DWORD length = 0;
    result = source->Lock(&bytes, nullptr, &length);
    if (FAILED(result)) return result;
    ComPtr<IMFMediaBuffer> converted;
    result = Convert(bytes, length, converted);
    source->Unlock();
    ComPtr<IMFSample> output;
    if (SUCCEEDED(result)) result = MFCreateSample(&output);
    if (SUCCEEDED(result)) result = output->AddBuffer(converted.Get());
    if (FAILED(result)) return result;
    LONGLONG time = 0;
    if (SUCCEEDED(input->GetSampleTime(&time))) output->SetSampleTime(time);
    if (SUCCEEDED(input->GetSampleDuration(&time))) output->SetSampleDuration(time);
    outputs[0].pSample = output.Detach();
    outputs[0].dwStatus = 0;
    return S_OK;
  }

 protected:
  // Called before input() is the type.
  virtual HRESULT AcceptInput(IMFMediaType& type) = 0;
  virtual HRESULT MakeOutputType(IMFMediaType** type) = 0;
  virtual HRESULT Convert(const BYTE* bytes, DWORD length, ComPtr<IMFMediaBuffer>& converted) = 0;

  IMFMediaType* input() const { return input_.Get(); }

 private:
  std::atomic<long> references_{1};
  ComPtr<IMFMediaType> input_;
  ComPtr<IMFMediaType> output_;
  ComPtr<IMFSample> pending_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_WINDOWS_TEST_TRANSFORM_TRANSFORM_H_
