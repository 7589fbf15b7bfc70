// SPDX-License-Identifier: MIT
//
// Decoded video to RGB32, with the rows in memory as QOLM_TEST_ROWS says:
//
//   top-down (also when unset)   the stride is stated, rows are tight
//   bottom-up                    a negative stride is stated
//   unstated                     bottom-up without a word
//   padded, padded-bottom-up     rows are further apart than stated
//   blocks, blocks-bottom-up     a whole number of 16 rows, the last ones not shown
//   wrong-stride                 bottom-up, tight; the stated stride is far too large
//   pitched, pitched-bottom-up   a 2-D buffer, rows padded
//   short                        bottom-up, but the first half of the bytes only
//   refuse                       no input is accepted
//
// The fourth byte of every pixel and all padding is 0x5a.
#ifndef QOLM_TESTS_WINDOWS_TEST_TRANSFORM_VIDEO_TRANSFORM_H_
#define QOLM_TESTS_WINDOWS_TEST_TRANSFORM_VIDEO_TRANSFORM_H_

#include <string>
#include <vector>

#include "windows/test_transform/transform.h"

namespace qolm::test {

class VideoTransform : public Transform {
 public:
  // Subtypes that are accepted.
  static std::vector<GUID> Inputs();

 protected:
  HRESULT AcceptInput(IMFMediaType& type) override;
  HRESULT MakeOutputType(IMFMediaType** type) override;
  HRESULT Convert(const BYTE* bytes, DWORD length, ComPtr<IMFMediaBuffer>& converted) override;

 private:
  bool BottomUp() const;
  HRESULT FillPitched(const std::vector<BYTE>& picture, ComPtr<IMFMediaBuffer>& buffer) const;
  HRESULT FillLinear(const std::vector<BYTE>& picture, ComPtr<IMFMediaBuffer>& buffer) const;

  std::string rows_;
  GUID subtype_{};
  UINT32 width_ = 0;
  UINT32 height_ = 0;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_WINDOWS_TEST_TRANSFORM_VIDEO_TRANSFORM_H_
