// SPDX-License-Identifier: MIT
//
// A source reader, and buffers of every kind, that answer as a test tells them.
// `live` counts what has not been released.
#ifndef QOLM_TESTS_WINDOWS_SCRIPTED_SOURCE_READER_H_
#define QOLM_TESTS_WINDOWS_SCRIPTED_SOURCE_READER_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "media/mediafoundation/com.h"
// After windows.h.
#include <mferror.h>

namespace qolm::test {

using Microsoft::WRL::ComPtr;

inline int live = 0;

template <typename... Interfaces>
class Counted : public Interfaces... {
 public:
  Counted() { ++live; }
  virtual ~Counted() { --live; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ULONG references_ = 1;
};

template <typename Object, typename... Arguments>
ComPtr<Object> MakeCounted(Arguments&&... arguments) {
  ComPtr<Object> object(new Object(std::forward<Arguments>(arguments)...));
  object->Release();  // the reference that it was made with
  return object;
}

// Linear bytes, which may be offered as pitched rows as well.
class ScriptedBuffer : public Counted<IMFMediaBuffer, IMF2DBuffer> {
 public:
  std::vector<BYTE> bytes;
  bool lock_succeeds = true;
  bool offers_rows = false;
  bool lock2d_succeeds = true;
  size_t scanline0 = 0;  // into bytes
  LONG pitch = 0;
  DWORD contiguous_length = 0;
  int* open_locks = nullptr;  // of either kind
  int* linear_locks = nullptr;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    *object = nullptr;
    if (id == __uuidof(IUnknown) || id == __uuidof(IMFMediaBuffer)) {
      *object = static_cast<IMFMediaBuffer*>(this);
    } else if (id == __uuidof(IMF2DBuffer) && offers_rows) {
      *object = static_cast<IMF2DBuffer*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return Counted::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return Counted::Release(); }

  HRESULT STDMETHODCALLTYPE Lock(BYTE** data, DWORD* maximum, DWORD* current) override {
    if (linear_locks != nullptr) ++*linear_locks;
    if (!lock_succeeds) return E_FAIL;
    *data = bytes.data();
    if (maximum != nullptr) *maximum = static_cast<DWORD>(bytes.size());
    if (current != nullptr) *current = static_cast<DWORD>(bytes.size());
    Count(1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unlock() override {
    Count(-1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetCurrentLength(DWORD* length) override {
    *length = static_cast<DWORD>(bytes.size());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetCurrentLength(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetMaxLength(DWORD* length) override {
    return GetCurrentLength(length);
  }

  HRESULT STDMETHODCALLTYPE Lock2D(BYTE** first, LONG* distance) override {
    if (!lock2d_succeeds) return E_FAIL;
    *first = bytes.data() + scanline0;
    *distance = pitch;
    Count(1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unlock2D() override { return Unlock(); }
  HRESULT STDMETHODCALLTYPE GetScanline0AndPitch(BYTE**, LONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsContiguousFormat(WINBOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetContiguousLength(DWORD* length) override {
    *length = contiguous_length;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE ContiguousCopyTo(BYTE*, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ContiguousCopyFrom(const BYTE*, DWORD) override { return E_NOTIMPL; }

 private:
  void Count(int change) {
    if (open_locks != nullptr) *open_locks += change;
  }
};

// What one ReadSample does.
struct ScriptedRead {
  HRESULT result = S_OK;
  DWORD flags = 0;
  LONGLONG timestamp = 0;
  ComPtr<IMFMediaBuffer> buffer;          // no sample without it
  ComPtr<IMFMediaType> type_from_now_on;  // null: no change
};

class ScriptedSourceReader : public Counted<IMFSourceReader> {
 public:
  ComPtr<IMFMediaType> native_type;
  ComPtr<IMFMediaType> current_type;
  std::function<HRESULT(IMFMediaType&)> accept = [](IMFMediaType&) { return S_OK; };
  HRESULT selection = S_OK;
  PROPVARIANT duration{};  // VT_EMPTY: none
  std::deque<ScriptedRead> reads;
  std::vector<std::string>* calls = nullptr;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  HRESULT STDMETHODCALLTYPE GetStreamSelection(DWORD, WINBOOL*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetStreamSelection(DWORD stream, WINBOOL selected) override {
    Note("select " + StreamName(stream) + (selected ? " on" : " off"));
    return selection;
  }
  HRESULT STDMETHODCALLTYPE GetNativeMediaType(DWORD stream, DWORD index,
                                               IMFMediaType** type) override {
    Note("native type " + std::to_string(index) + " of " + StreamName(stream));
    return native_type == nullptr ? MF_E_INVALIDSTREAMNUMBER : native_type.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE GetCurrentMediaType(DWORD, IMFMediaType** type) override {
    return current_type == nullptr ? MF_E_INVALIDSTREAMNUMBER : current_type.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE SetCurrentMediaType(DWORD stream, DWORD*, IMFMediaType* type) override {
    Note("set type of " + StreamName(stream));
    return accept(*type);
  }
  HRESULT STDMETHODCALLTYPE SetCurrentPosition(REFGUID, REFPROPVARIANT) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ReadSample(DWORD, DWORD, DWORD*, DWORD* flags, LONGLONG* timestamp,
                                       IMFSample** sample) override {
    *sample = nullptr;
    *flags = 0;
    if (reads.empty()) {
      *flags = MF_SOURCE_READERF_ENDOFSTREAM;
      return S_OK;
    }
    const ScriptedRead read = std::move(reads.front());
    reads.pop_front();
    if (read.type_from_now_on != nullptr) current_type = read.type_from_now_on;
    *flags = read.flags;
    *timestamp = read.timestamp;
    if (read.buffer != nullptr) {
      MFCreateSample(sample);
      (*sample)->AddBuffer(read.buffer.Get());
    }
    return read.result;
  }
  HRESULT STDMETHODCALLTYPE Flush(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetServiceForStream(DWORD, REFGUID, REFIID, void**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetPresentationAttribute(DWORD stream, REFGUID key,
                                                     PROPVARIANT* value) override {
    if (stream != static_cast<DWORD>(MF_SOURCE_READER_MEDIASOURCE) || key != MF_PD_DURATION ||
        duration.vt == VT_EMPTY) {
      return MF_E_ATTRIBUTENOTFOUND;
    }
    return PropVariantCopy(value, &duration);
  }

 private:
  static std::string StreamName(DWORD stream) {
    switch (stream) {
      case static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS):
        return "all";
      case static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM):
        return "first video";
      case static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM):
        return "first audio";
      default:
        return std::to_string(stream);
    }
  }
  void Note(const std::string& call) {
    if (calls != nullptr) calls->push_back(call);
  }
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_WINDOWS_SCRIPTED_SOURCE_READER_H_
