// SPDX-License-Identifier: MIT
//
// A decoded picture of 1280x720 to pixels, beside a copy of that many bytes.
// Names that end in /0 are scalar, those in /2 AVX2.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "base/parallel_for.h"
#include "base/simd_level.h"
#include "media/ffmpeg/picture_converter.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;
constexpr size_t kBytes = size_t{kWidth} * kHeight * 4;

void ConvertPicture(benchmark::State& state, AVPixelFormat format) {
  const std::shared_ptr<AVFrame> frame = Frame(av_frame_alloc());
  frame->width = kWidth;
  frame->height = kHeight;
  frame->format = format;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {
    state.SkipWithError("no memory");
    return;
  }
  for (const AVBufferRef* const buffer : frame->buf) {
    if (buffer == nullptr) continue;
    for (size_t i = 0; i < buffer->size; ++i) buffer->data[i] = static_cast<uint8_t>(i * i >> 7);
  }
  const std::unique_ptr<Picture> picture = PictureConverter(kWidth, kHeight).Convert(frame);
  std::vector<uint8_t> rgba(kBytes);
  ForceWorkerCount(1);
  ForceSimdLevel(static_cast<SimdLevel>(state.range(0)));
  for (auto _ : state) {
    picture->yuv->WriteRgba(rgba.data());
    benchmark::ClobberMemory();
  }
  ForceSimdLevel(DetectedSimdLevel());
  ForceWorkerCount(0);
  state.SetBytesProcessed(state.iterations() * int64_t{kBytes});
}

void Convert420(benchmark::State& state) { ConvertPicture(state, AV_PIX_FMT_YUV420P); }
void Convert422(benchmark::State& state) { ConvertPicture(state, AV_PIX_FMT_YUV422P); }
void Convert444(benchmark::State& state) { ConvertPicture(state, AV_PIX_FMT_YUV444P); }

void CopyPicture(benchmark::State& state) {
  const std::vector<uint8_t> source(kBytes, 1);
  std::vector<uint8_t> copy(kBytes);
  for (auto _ : state) {
    std::memcpy(copy.data(), source.data(), kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kBytes});
}

BENCHMARK(Convert420)->Arg(0)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(Convert422)->Arg(0)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(Convert444)->Arg(0)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(CopyPicture)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace qolm::media::ffmpeg
