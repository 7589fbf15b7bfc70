// SPDX-License-Identifier: MIT
//
// Owning types for COM interfaces and variants.
#ifndef QOLM_MEDIA_MEDIAFOUNDATION_COM_H_
#define QOLM_MEDIA_MEDIAFOUNDATION_COM_H_

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// After windows.h.
#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>
#include <propidl.h>
#include <wrl/client.h>

namespace qolm::media::mediafoundation {

using Microsoft::WRL::ComPtr;

class ScopedVariant {
 public:
  ScopedVariant() { PropVariantInit(&variant_); }
  ~ScopedVariant() { PropVariantClear(&variant_); }
  ScopedVariant(const ScopedVariant&) = delete;
  ScopedVariant& operator=(const ScopedVariant&) = delete;

  // For a call to fill in; only once.
  PROPVARIANT* Receive() { return &variant_; }
  const PROPVARIANT& get() const { return variant_; }

 private:
  PROPVARIANT variant_;
};

}  // namespace qolm::media::mediafoundation

#endif  // QOLM_MEDIA_MEDIAFOUNDATION_COM_H_
