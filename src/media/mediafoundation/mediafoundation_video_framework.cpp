// SPDX-License-Identifier: MIT
#include "media/mediafoundation/mediafoundation_video_framework.h"

#include <span>
#include <utility>

#include "media/mediafoundation/com.h"
#include "media/mediafoundation/error_message.h"
#include "media/row_layout.h"

namespace qolm::media::mediafoundation {
namespace {

constexpr DWORD kVideo = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);

class MediaFoundationVideoBuffer : public VideoBuffer {
 public:
  MediaFoundationVideoBuffer(ComPtr<IMFMediaBuffer> buffer, const RowLayout& layout)
      : buffer_(std::move(buffer)), layout_(layout) {}

  std::optional<PitchedRows> Lock2D() override {
    BYTE* scanline0 = nullptr;
    LONG pitch = 0;
    if (SUCCEEDED(buffer_->QueryInterface(IID_PPV_ARGS(&pitched_))) &&
        SUCCEEDED(pitched_->Lock2D(&scanline0, &pitch))) {
      DWORD contiguous_length = 0;
      if (SUCCEEDED(pitched_->GetContiguousLength(&contiguous_length))) {
        const auto rows = layout_.InPitchedMemory(scanline0, pitch, contiguous_length);
        if (rows) return rows;
        refused_ = true;
      }
      pitched_->Unlock2D();
      if (refused_) return std::nullopt;
    }
    pitched_.Reset();
    return layout_.IsPlain() ? std::nullopt : LockLinearRows();
  }

  void Unlock2D() override {
    if (pitched_ != nullptr) {
      pitched_->Unlock2D();
    } else {
      buffer_->Unlock();
    }
  }

  // Only plain rows can be interpreted.
  std::optional<Bytes> Lock() override {
    if (refused_ || !layout_.IsPlain()) return std::nullopt;
    const auto bytes = LockLinear(*buffer_.Get());
    if (!bytes) return std::nullopt;
    return Bytes{bytes->data, bytes->current_length};
  }
  void Unlock() override { buffer_->Unlock(); }

 private:
  std::optional<PitchedRows> LockLinearRows() {
    const auto bytes = LockLinear(*buffer_.Get());
    if (!bytes) return std::nullopt;
    const auto rows = layout_.InLinearBytes(bytes->data, bytes->current_length);
    if (!rows) buffer_->Unlock();
    return rows;
  }

  ComPtr<IMFMediaBuffer> buffer_;
  ComPtr<IMF2DBuffer> pitched_;  // null for a linear buffer
  RowLayout layout_;
  bool refused_ = false;
};

class MediaFoundationVideoSample : public VideoSample {
 public:
  MediaFoundationVideoSample(ComPtr<IMFSample> sample, const RowLayout& layout)
      : sample_(std::move(sample)), layout_(layout) {}

  std::unique_ptr<VideoBuffer> ConvertToContiguousBuffer() override {
    ComPtr<IMFMediaBuffer> buffer = ContiguousBuffer(*sample_.Get());
    if (buffer == nullptr) return nullptr;
    return std::make_unique<MediaFoundationVideoBuffer>(std::move(buffer), layout_);
  }

 private:
  ComPtr<IMFSample> sample_;
  RowLayout layout_;
};

// Two 32-bit values in one attribute, the first in the high half.
std::optional<std::pair<uint32_t, uint32_t>> PairAttribute(IMFAttributes& attributes,
                                                           const GUID& key) {
  UINT64 value = 0;
  if (FAILED(attributes.GetUINT64(key, &value))) return std::nullopt;
  return std::pair{static_cast<uint32_t>(value >> 32), static_cast<uint32_t>(value)};
}

std::optional<VideoReader::FrameSize> FrameSizeOf(IMFMediaType& type) {
  const auto size = PairAttribute(type, MF_MT_FRAME_SIZE);
  if (!size) return std::nullopt;
  return VideoReader::FrameSize{size->first, size->second};
}

std::optional<int32_t> DefaultStrideOf(IMFMediaType& type) {
  const auto stride = Uint32Attribute(type, MF_MT_DEFAULT_STRIDE);
  if (!stride) return std::nullopt;
  return static_cast<int32_t>(*stride);
}

std::optional<PictureArea> ShownAreaOf(IMFMediaType& type) {
  MFVideoArea area{};
  UINT32 size = 0;
  if (FAILED(type.GetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE, reinterpret_cast<UINT8*>(&area),
                          sizeof(area), &size)) ||
      size != sizeof(area) || area.OffsetX.value < 0 || area.OffsetY.value < 0 ||
      area.Area.cx < 0 || area.Area.cy < 0) {
    return std::nullopt;
  }
  return PictureArea{static_cast<uint32_t>(area.OffsetX.value),
                     static_cast<uint32_t>(area.OffsetY.value),
                     {static_cast<uint32_t>(area.Area.cx), static_cast<uint32_t>(area.Area.cy)}};
}

// A type that does not state its stride has the one of a bitmap of its format,
// which for RGB is bottom-up.
int64_t RowOrderStride(IMFMediaType& type, uint32_t width) {
  const int32_t stated = DefaultStrideOf(type).value_or(0);
  if (stated != 0) return stated;
  LONG implied = 0;
  if (FAILED(MFGetStrideForBitmapInfoHeader(MFVideoFormat_RGB32.Data1, width, &implied))) return 0;
  return implied;
}

class MediaFoundationVideoReader : public VideoReader {
 public:
  explicit MediaFoundationVideoReader(ComPtr<IMFSourceReader> reader)
      : reader_(std::move(reader)) {}

  bool SetStreamSelection(Streams streams, bool selected) override {
    const DWORD index =
        streams == Streams::kAll ? static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS) : kVideo;
    return Note(reader_->SetStreamSelection(index, selected ? TRUE : FALSE));
  }

  bool SetOutputRgb32() override {
    ComPtr<IMFMediaType> type;
    if (!Note(MFCreateMediaType(&type)) ||
        !Note(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video)) ||
        !Note(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_RGB32)) ||
        !Note(reader_->SetCurrentMediaType(kVideo, nullptr, type.Get()))) {
      return false;
    }
    last_failure_ = S_OK;
    picture_ = CurrentFrameSize().value_or(FrameSize{});
    layout_ = CurrentLayout();
    return true;
  }

  std::optional<FrameRate> NativeFrameRate() override {
    ComPtr<IMFMediaType> type;
    if (FAILED(reader_->GetNativeMediaType(kVideo, 0, &type))) return std::nullopt;
    const auto rate = PairAttribute(*type.Get(), MF_MT_FRAME_RATE);
    if (!rate) return std::nullopt;
    return FrameRate{rate->first, rate->second};
  }

  std::optional<FrameSize> CurrentFrameSize() override {
    const ComPtr<IMFMediaType> type = CurrentType();
    return type == nullptr ? std::nullopt : FrameSizeOf(*type.Get());
  }

  std::optional<int32_t> CurrentDefaultStride() override {
    const ComPtr<IMFMediaType> type = CurrentType();
    return type == nullptr ? std::nullopt : DefaultStrideOf(*type.Get());
  }

  std::optional<int64_t> PresentationDuration() override {
    ScopedVariant duration;
    if (FAILED(reader_->GetPresentationAttribute(static_cast<DWORD>(MF_SOURCE_READER_MEDIASOURCE),
                                                 MF_PD_DURATION, duration.Receive())) ||
        duration.get().vt != VT_UI8) {
      return std::nullopt;
    }
    return static_cast<int64_t>(duration.get().uhVal.QuadPart);
  }

  ReadResult ReadSample() override {
    ReadAnswer answer = ReadSampleOf(*reader_.Get(), kVideo);
    ReadResult result;
    result.succeeded = Note(answer.result);
    result.end_of_stream = answer.end_of_stream;
    if (answer.type_changed) layout_ = CurrentLayout();
    if (answer.sample == nullptr) return result;
    if (!layout_) {  // pictures of another size
      result.succeeded = false;
      return result;
    }
    result.timestamp = answer.timestamp;
    result.sample =
        std::make_unique<MediaFoundationVideoSample>(std::move(answer.sample), *layout_);
    return result;
  }

  std::string failure_reason() const override { return ErrorMessage(last_failure_); }

 private:
  bool Note(HRESULT result) {
    if (FAILED(result)) last_failure_ = result;
    return SUCCEEDED(result);
  }

  ComPtr<IMFMediaType> CurrentType() const {
    ComPtr<IMFMediaType> type;
    if (FAILED(reader_->GetCurrentMediaType(kVideo, &type))) return nullptr;
    return type;
  }

  std::optional<RowLayout> CurrentLayout() const {
    const ComPtr<IMFMediaType> type = CurrentType();
    if (type == nullptr) return std::nullopt;
    FrameFormat format;
    format.size = FrameSizeOf(*type.Get()).value_or(FrameSize{});
    format.shown = ShownAreaOf(*type.Get());
    format.stride = RowOrderStride(*type.Get(), format.size.width);
    return RowLayout::Make(format, picture_);
  }

  ComPtr<IMFSourceReader> reader_;
  HRESULT last_failure_ = S_OK;
  FrameSize picture_;                // at negotiation
  std::optional<RowLayout> layout_;  // of that picture in the current samples
};

}  // namespace

ReaderOptions OptionsOf(const VideoFramework::ReaderAttributes& attributes) {
  return {
      {{MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, attributes.enable_hardware_transforms ? 1u : 0u},
       {MF_SOURCE_READER_ENABLE_VIDEO_PROCESSING, attributes.enable_video_processing ? 1u : 0u}}};
}

std::unique_ptr<VideoReader> AdaptVideoReader(ComPtr<IMFSourceReader> reader) {
  return std::make_unique<MediaFoundationVideoReader>(std::move(reader));
}

std::unique_ptr<VideoReader> MediaFoundationVideoFramework::Open(
    const std::filesystem::path& path, const std::optional<ReaderAttributes>& attributes) {
  ReaderOptions options{};
  if (attributes) options = OptionsOf(*attributes);
  ComPtr<IMFSourceReader> reader;
  const HRESULT result = MakeSourceReader(
      path, attributes ? std::span<const ReaderOption>(options) : std::span<const ReaderOption>(),
      reader);
  failure_reason_ = ErrorMessage(result);
  if (FAILED(result)) return nullptr;
  return AdaptVideoReader(std::move(reader));
}

}  // namespace qolm::media::mediafoundation
