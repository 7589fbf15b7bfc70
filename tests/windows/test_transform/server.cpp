// SPDX-License-Identifier: MIT
//
// The library's doors: making the transforms, and registering them with COM and
// Media Foundation as decoders, which is where Wine's source reader looks.
#include <string>
#include <vector>

#include "windows/test_transform/audio_transform.h"
#include "windows/test_transform/video_transform.h"

namespace {

using qolm::test::AudioTransform;
using qolm::test::Transform;
using qolm::test::VideoTransform;

constexpr CLSID kVideoTransform = {
    0x5b0d3f61, 0x2c84, 0x4f0e, {0x9a, 0x37, 0x6e, 0x41, 0xd2, 0x08, 0x7c, 0x15}};
constexpr CLSID kAudioTransform = {
    0x5b0d3f62, 0x2c84, 0x4f0e, {0x9a, 0x37, 0x6e, 0x41, 0xd2, 0x08, 0x7c, 0x15}};

class Factory : public IClassFactory {
 public:
  explicit Factory(bool video) : video_(video) { ++qolm::test::live_objects; }
  virtual ~Factory() { --qolm::test::live_objects; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (id != __uuidof(IUnknown) && id != __uuidof(IClassFactory)) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG STDMETHODCALLTYPE Release() override {
    const long left = --references_;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    Transform* const made = video_ ? static_cast<Transform*>(new VideoTransform)
                                   : static_cast<Transform*>(new AudioTransform);
    const HRESULT result = made->QueryInterface(id, object);
    made->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  const bool video_;
  std::atomic<long> references_{1};
};

std::wstring ClassKey(const CLSID& id) {
  wchar_t text[64];
  StringFromGUID2(id, text, 64);
  return L"CLSID\\" + std::wstring(text);
}

std::wstring LibraryPath() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<LPCWSTR>(&LibraryPath), &module);
  wchar_t path[1024];
  const DWORD length = GetModuleFileNameW(module, path, 1024);
  return std::wstring(path, length);
}

HRESULT SetClassValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  const LSTATUS status =
      RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

HRESULT Register(const CLSID& id, const GUID& category, const GUID& major, std::wstring name,
                 const std::vector<GUID>& inputs, const GUID& output) {
  const std::wstring key = ClassKey(id) + L"\\InprocServer32";
  HRESULT result = SetClassValue(key, nullptr, LibraryPath());
  if (SUCCEEDED(result)) result = SetClassValue(key, L"ThreadingModel", L"Both");
  if (FAILED(result)) return result;
  std::vector<MFT_REGISTER_TYPE_INFO> types;
  for (const GUID& input : inputs) types.push_back({major, input});
  MFT_REGISTER_TYPE_INFO delivered{major, output};
  return MFTRegister(id, category, name.data(), MFT_ENUM_FLAG_SYNCMFT,
                     static_cast<UINT32>(types.size()), types.data(), 1, &delivered, nullptr);
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID id, REFIID interface_id, void** object) {
  if (id != kVideoTransform && id != kAudioTransform) return CLASS_E_CLASSNOTAVAILABLE;
  Factory* const factory = new Factory(id == kVideoTransform);
  const HRESULT result = factory->QueryInterface(interface_id, object);
  factory->Release();
  return result;
}

STDAPI DllCanUnloadNow() { return qolm::test::live_objects == 0 ? S_OK : S_FALSE; }

STDAPI DllRegisterServer() {
  const HRESULT result =
      Register(kVideoTransform, MFT_CATEGORY_VIDEO_DECODER, MFMediaType_Video,
               L"Test converter to RGB32", VideoTransform::Inputs(), MFVideoFormat_RGB32);
  if (FAILED(result)) return result;
  return Register(kAudioTransform, MFT_CATEGORY_AUDIO_DECODER, MFMediaType_Audio,
                  L"Test converter to PCM", AudioTransform::Inputs(), MFAudioFormat_PCM);
}

STDAPI DllUnregisterServer() {
  MFTUnregister(kVideoTransform);
  MFTUnregister(kAudioTransform);
  RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(kVideoTransform).c_str());
  RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(kAudioTransform).c_str());
  return S_OK;
}
