// SPDX-License-Identifier: MIT
#include "windows/test_transform/video_transform.h"

#include <algorithm>
#include <cstring>

namespace qolm::test {
namespace {

constexpr BYTE kFill = 0x5a;

size_t RoundUp(size_t value, size_t step) { return (value + step - 1) / step * step; }

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

BYTE Clamp(int value) { return static_cast<BYTE>(std::clamp(value, 0, 255)); }

// Limited-range BT.601.
void StorePixel(int luma, int cb, int cr, BYTE* bgrx) {
  const int c = 298 * (luma - 16);
  const int d = cb - 128;
  const int e = cr - 128;
  bgrx[0] = Clamp((c + 516 * d + 128) >> 8);
  bgrx[1] = Clamp((c - 100 * d - 208 * e + 128) >> 8);
  bgrx[2] = Clamp((c + 409 * e + 128) >> 8);
  bgrx[3] = kFill;
}

// One frame as Wine's decoders hand it over.
struct Source {
  const BYTE* bytes;
  size_t length;
  size_t width;
  size_t height;
};

bool ConvertBgra(const Source& source, std::vector<BYTE>& picture) {
  const size_t row_bytes = source.width * 4;
  if (source.length < row_bytes * source.height) return false;
  for (size_t y = 0; y < source.height; ++y) {  // bottom-up
    BYTE* const row = picture.data() + (source.height - 1 - y) * row_bytes;
    std::memcpy(row, source.bytes + y * row_bytes, row_bytes);
    for (size_t x = 0; x < source.width; ++x) row[4 * x + 3] = kFill;
  }
  return true;
}

bool ConvertPlanar(const Source& source, bool interleaved_chroma, std::vector<BYTE>& picture) {
  const size_t luma_stride = RoundUp(source.width, 4);
  const size_t luma_rows = RoundUp(source.height, 2);
  const size_t chroma_stride =
      interleaved_chroma ? luma_stride : RoundUp(RoundUp(source.width, 2) / 2, 4);
  const size_t chroma_bytes = chroma_stride * luma_rows / 2;
  const size_t chroma_planes = interleaved_chroma ? 1 : 2;
  if (source.length < luma_stride * luma_rows + chroma_planes * chroma_bytes) return false;
  const BYTE* const first_chroma = source.bytes + luma_stride * luma_rows;
  for (size_t y = 0; y < source.height; ++y) {
    const BYTE* const luma = source.bytes + y * luma_stride;
    const BYTE* const cb = first_chroma + y / 2 * chroma_stride;
    for (size_t x = 0; x < source.width; ++x) {
      const size_t at = interleaved_chroma ? x / 2 * 2 : x / 2;
      const int cr = interleaved_chroma ? cb[at + 1] : cb[at + chroma_bytes];
      StorePixel(luma[x], cb[at], cr, picture.data() + (y * source.width + x) * 4);
    }
  }
  return true;
}

}  // namespace

std::vector<GUID> VideoTransform::Inputs() {
  return {MFVideoFormat_I420, MFVideoFormat_IYUV, MFVideoFormat_NV12, MFVideoFormat_ARGB32};
}

bool VideoTransform::BottomUp() const {
  return EndsWith(rows_, "bottom-up") || rows_ == "unstated" || rows_ == "wrong-stride" ||
         rows_ == "short";
}

HRESULT VideoTransform::AcceptInput(IMFMediaType& type) {
  rows_ = EnvironmentValue("QOLM_TEST_ROWS");
  const std::vector<GUID> inputs = Inputs();
  GUID subtype{};
  type.GetGUID(MF_MT_SUBTYPE, &subtype);
  if (rows_ == "refuse" || std::find(inputs.begin(), inputs.end(), subtype) == inputs.end()) {
    return MF_E_INVALIDMEDIATYPE;
  }
  subtype_ = subtype;
  UINT64 size = 0;
  const HRESULT result = type.GetUINT64(MF_MT_FRAME_SIZE, &size);
  width_ = static_cast<UINT32>(size >> 32);
  height_ = static_cast<UINT32>(size);
  return result;
}

HRESULT VideoTransform::MakeOutputType(IMFMediaType** type) {
  ComPtr<IMFMediaType> made;
  const HRESULT result = MFCreateMediaType(&made);
  if (FAILED(result)) return result;
  made->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
  made->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_RGB32);
  for (const GUID& copied : {MF_MT_FRAME_SIZE, MF_MT_FRAME_RATE}) {
    UINT64 value = 0;
    if (SUCCEEDED(input()->GetUINT64(copied, &value))) made->SetUINT64(copied, value);
  }
  made->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
  made->SetUINT32(MF_MT_ALL_SAMPLES_INDEPENDENT, TRUE);
  if (rows_ != "unstated") {
    const auto tight = static_cast<INT32>(width_ * 4);
    const INT32 stride = rows_ == "wrong-stride" ? tight * 1000 : tight;
    made->SetUINT32(MF_MT_DEFAULT_STRIDE, static_cast<UINT32>(BottomUp() ? -stride : stride));
  }
  *type = made.Detach();
  return S_OK;
}

HRESULT VideoTransform::Convert(const BYTE* bytes, DWORD length,
                                ComPtr<IMFMediaBuffer>& converted) {
  const Source source{bytes, length, width_, height_};
  std::vector<BYTE> picture(size_t{width_} * height_ * 4);
  const bool complete = subtype_ == MFVideoFormat_ARGB32
                            ? ConvertBgra(source, picture)
                            : ConvertPlanar(source, subtype_ == MFVideoFormat_NV12, picture);
  if (!complete) return MF_E_BUFFERTOOSMALL;
  return rows_.starts_with("pitched") ? FillPitched(picture, converted)
                                      : FillLinear(picture, converted);
}

HRESULT VideoTransform::FillPitched(const std::vector<BYTE>& picture,
                                    ComPtr<IMFMediaBuffer>& buffer) const {
  HRESULT result = MFCreate2DMediaBuffer(width_, height_, MFVideoFormat_RGB32.Data1,
                                         BottomUp() ? TRUE : FALSE, &buffer);
  if (FAILED(result)) return result;
  ComPtr<IMF2DBuffer> pitched;
  result = buffer.As(&pitched);
  BYTE* top = nullptr;
  LONG pitch = 0;
  if (SUCCEEDED(result)) result = pitched->Lock2D(&top, &pitch);
  if (FAILED(result)) return result;
  const size_t row_bytes = size_t{width_} * 4;
  for (size_t y = 0; y < height_; ++y) {
    std::memcpy(top + static_cast<ptrdiff_t>(y) * pitch, picture.data() + y * row_bytes, row_bytes);
  }
  pitched->Unlock2D();
  return S_OK;
}

HRESULT VideoTransform::FillLinear(const std::vector<BYTE>& picture,
                                   ComPtr<IMFMediaBuffer>& buffer) const {
  const size_t row_bytes = size_t{width_} * 4;
  const size_t stride = rows_.starts_with("padded") ? row_bytes + 64 : row_bytes;
  const size_t stored_rows = rows_.starts_with("blocks") ? RoundUp(height_, 16) : height_;
  std::vector<BYTE> stored(stride * stored_rows, kFill);
  for (size_t y = 0; y < height_; ++y) {
    const size_t row = BottomUp() ? stored_rows - 1 - y : y;
    std::memcpy(stored.data() + row * stride, picture.data() + y * row_bytes, row_bytes);
  }
  if (rows_ == "short") stored.resize(stored.size() / 2);
  HRESULT result = MFCreateMemoryBuffer(static_cast<DWORD>(stored.size()), &buffer);
  BYTE* bytes = nullptr;
  if (SUCCEEDED(result)) result = buffer->Lock(&bytes, nullptr, nullptr);
  if (FAILED(result)) return result;
  std::memcpy(bytes, stored.data(), stored.size());
  buffer->Unlock();
  return buffer->SetCurrentLength(static_cast<DWORD>(stored.size()));
}

}  // namespace qolm::test
