// SPDX-License-Identifier: MIT
//
// Decoded sound to 16-bit PCM of the rate and channel count in QOLM_TEST_SOUND,
// "48000x2"; unset, 32000x1. "refuse" accepts no input.
//
// A rate other than the source's is a label only: sample frames are neither
// dropped nor made up. Mono is the first channel.
#ifndef QOLM_TESTS_WINDOWS_TEST_TRANSFORM_AUDIO_TRANSFORM_H_
#define QOLM_TESTS_WINDOWS_TEST_TRANSFORM_AUDIO_TRANSFORM_H_

#include <vector>

#include "windows/test_transform/transform.h"

namespace qolm::test {

class AudioTransform : public Transform {
 public:
  // Subtypes that are accepted.
  static std::vector<GUID> Inputs();

 protected:
  HRESULT AcceptInput(IMFMediaType& type) override;
  HRESULT MakeOutputType(IMFMediaType** type) override;
  HRESULT Convert(const BYTE* bytes, DWORD length, ComPtr<IMFMediaBuffer>& converted) override;

 private:
  bool floating_ = false;
  UINT32 input_channels_ = 0;
  UINT32 channels_ = 1;
  UINT32 rate_ = 32000;  // Hz
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_WINDOWS_TEST_TRANSFORM_AUDIO_TRANSFORM_H_
