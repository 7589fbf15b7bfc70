// SPDX-License-Identifier: MIT
//
// The video kernels, each vector level beside the scalar one, and the coders
// that they serve on a synthetic moving scene of 1280x720.
//
// Names that end in /0 are scalar, those in /2 AVX2. Coders run at the level
// that the processor offers.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "base/simd_level.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"
#include "video/kernels/video_kernels.h"
#include "video/picture/colour_conversion.h"
#include "video/transform/level_selection.h"
#include "video/transform/quant_table.h"

namespace qolm::video {
namespace {

constexpr uint32_t kWidth = 1280;
constexpr uint32_t kHeight = 720;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

std::vector<uint8_t> Noise(size_t count) {
  std::mt19937 random(1);
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// Smooth texture that pans, boxes that cross it, and faint noise that differs
// from frame to frame, as a camera's does.
VideoFrame SceneFrame(uint32_t number) {
  VideoFrame frame;
  frame.width = kWidth;
  frame.height = kHeight;
  frame.pixels.resize(4 * kPixels);
  std::mt19937 random(number);
  const auto triangle = [](uint32_t value, uint32_t period) {
    const uint32_t phase = value % period;
    return (phase < period / 2 ? phase : period - phase) * 510 / period;
  };
  for (uint32_t y = 0; y < kHeight; ++y) {
    for (uint32_t x = 0; x < kWidth; ++x) {
      const uint32_t sx = x + 3 * number;
      const uint32_t sy = y + number;
      const bool in_box = (x + 7 * number) % 300 < 60 && y % 200 < 50;
      uint8_t* const pixel = frame.pixels.data() + 4 * (size_t{y} * kWidth + x);
      const uint32_t grain = static_cast<uint32_t>(random()) % 5;
      const uint32_t base =
          (triangle(sx * 3 + sy, 217) + triangle(sy * 5 + sx * sy / 400, 173)) / 2;
      pixel[0] = static_cast<uint8_t>(in_box ? 220 : (base * 3 / 4 + grain));
      pixel[1] = static_cast<uint8_t>((triangle(sx + sy * 2, 331) + base) / 3 + grain);
      pixel[2] = static_cast<uint8_t>(in_box ? 40 : (255 - base) * 3 / 4 + grain);
      pixel[3] = 255;
    }
  }
  return frame;
}

YuvPlanes ScenePlanes(uint32_t number) {
  YuvPlanes planes;
  ConvertFrameToYuv(SceneFrame(number), planes);
  return planes;
}

const VideoKernels& Kernels(const benchmark::State& state) {
  return VideoKernelsFor(static_cast<SimdLevel>(state.range(0)));
}

// One run per level that has its own table.
void EachLevel(benchmark::internal::Benchmark* bench) {
  bench->Arg(static_cast<int>(SimdLevel::kScalar));
  if (DetectedSimdLevel() >= SimdLevel::kAvx2) bench->Arg(static_cast<int>(SimdLevel::kAvx2));
}

void EachLevelAndExtent(benchmark::internal::Benchmark* bench) {
  for (const int64_t extent : {1, 3, 8}) {
    bench->Args({static_cast<int>(SimdLevel::kScalar), extent});
    if (DetectedSimdLevel() >= SimdLevel::kAvx2) {
      bench->Args({static_cast<int>(SimdLevel::kAvx2), extent});
    }
  }
}

void CountBytes(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

struct TransformInputs {
  alignas(32) float coefficients[64];
  alignas(32) int16_t levels[64];
  QuantTable table = BuildInterQuantTable(45, false);
  std::vector<uint8_t> source = Noise(64 * 64);
  std::vector<uint8_t> prediction = Noise(64 * 64 + 7);
};

void ForwardDct(benchmark::State& state) {
  TransformInputs inputs;
  for (auto _ : state) {
    Kernels(state).forward_dct(inputs.source.data(), 64, inputs.prediction.data() + 7, 64,
                               inputs.coefficients);
    benchmark::DoNotOptimize(inputs.coefficients);
  }
}

void MeasureResidual(benchmark::State& state) {
  TransformInputs inputs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Kernels(state).residual_energy(inputs.source.data(), 64, inputs.prediction.data() + 7, 64));
  }
}

// Of a block that stores nothing, which is looked at to its end.
void MayHaveNonzeroLevels(benchmark::State& state) {
  TransformInputs inputs;
  const SkipThresholds limits =
      MakeSkipThresholds(MakeLevelSelection(inputs.table, true), inputs.table);
  for (int i = 0; i < 64; ++i) inputs.coefficients[i] = 1.0F;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kernels(state).may_have_nonzero_levels(inputs.coefficients, limits));
  }
}

void Quantise(benchmark::State& state) {
  TransformInputs inputs;
  Kernels(state).forward_dct(inputs.source.data(), 64, inputs.prediction.data() + 7, 64,
                             inputs.coefficients);
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kernels(state).quantise(inputs.coefficients, inputs.table.step.data(),
                                                     0.5F, inputs.levels));
  }
}

// The second argument is the extent of the coefficients in both directions.
void InverseDctAdd(benchmark::State& state) {
  TransformInputs inputs;
  const auto extent = static_cast<int>(state.range(1));
  for (int i = 0; i < 64; ++i) {
    inputs.coefficients[i] = i / 8 < extent && i % 8 < extent ? static_cast<float>(40 - i) : 0.0F;
  }
  std::vector<uint8_t> out(64 * 64);
  for (auto _ : state) {
    Kernels(state).inverse_dct_add(inputs.coefficients, extent, extent, inputs.prediction.data(),
                                   64, out.data(), 64);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
}

void Sad8x8(benchmark::State& state) {
  TransformInputs inputs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Kernels(state).sad_8x8(inputs.source.data(), 64, inputs.prediction.data() + 7, 64));
  }
}

void Sad16x16(benchmark::State& state) {
  TransformInputs inputs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Kernels(state).sad_16x16(inputs.source.data(), 64, inputs.prediction.data() + 7, 64));
  }
}

// Eight places in one call.
void Sad8x8Across(benchmark::State& state) {
  TransformInputs inputs;
  std::array<uint16_t, 8> costs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kernels(state).sad_8x8_across(
        inputs.source.data(), 64, inputs.prediction.data() + 7, 64, costs.data()));
    benchmark::DoNotOptimize(costs.data());
  }
}

void Sad8x8Down(benchmark::State& state) {
  TransformInputs inputs;
  std::array<uint16_t, 8> costs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kernels(state).sad_8x8_down(
        inputs.source.data(), 64, inputs.prediction.data() + 7, 64, costs.size(), costs.data()));
    benchmark::DoNotOptimize(costs.data());
  }
}

constexpr DeblockLimits kLimits{26, 12, 7};

void DeblockVerticalEdges(benchmark::State& state) {
  std::vector<uint8_t> row = Noise(kWidth);
  for (auto _ : state) {
    Kernels(state).deblock_vertical_edges(kLimits, row.data(), kWidth);
    benchmark::ClobberMemory();
  }
  CountBytes(state, row.size());
}

void DeblockHorizontalEdge(benchmark::State& state) {
  std::vector<uint8_t> rows = Noise(4 * kWidth);
  uint8_t* const p1 = rows.data();
  for (auto _ : state) {
    Kernels(state).deblock_horizontal_edge(kLimits, p1, p1 + kWidth, p1 + 2 * kWidth,
                                           p1 + 3 * kWidth, kWidth);
    benchmark::ClobberMemory();
  }
  CountBytes(state, rows.size());
}

void DenoiseLuma(benchmark::State& state) {
  const std::vector<uint8_t> rows = Noise(2 * kWidth);
  std::vector<uint8_t> filtered(kWidth);
  for (auto _ : state) {
    Kernels(state).denoise_luma(rows.data(), rows.data() + kWidth, kWidth, filtered.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, kWidth);
}

void MeasureDifference(benchmark::State& state) {
  const std::vector<uint8_t> rows = Noise(2 * kWidth);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Kernels(state).measure_difference(rows.data(), rows.data() + kWidth, kWidth / 2));
  }
  CountBytes(state, kWidth);
}

void SadOfMean16x16(benchmark::State& state) {
  TransformInputs inputs;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Kernels(state).sad_of_mean_16x16(inputs.source.data(), 64,
                                                              inputs.prediction.data() + 7, 64,
                                                              inputs.prediction.data() + 16, 64));
  }
}

void RgbaToLumaRow(benchmark::State& state) {
  const std::vector<uint8_t> row = Noise(4 * kWidth);
  std::vector<uint8_t> luma(kWidth);
  for (auto _ : state) {
    Kernels(state).rgba_to_luma_row(row.data(), kWidth, luma.data());
    benchmark::DoNotOptimize(luma.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, row.size());
}

void RgbaToChromaRow(benchmark::State& state) {
  const std::vector<uint8_t> rows = Noise(8 * kWidth);
  std::vector<uint8_t> cb(kWidth / 2);
  std::vector<uint8_t> cr(kWidth / 2);
  for (auto _ : state) {
    Kernels(state).rgba_to_chroma_row(rows.data(), rows.data() + 4 * kWidth, kWidth, cb.data(),
                                      cr.data());
    benchmark::DoNotOptimize(cb.data());
    benchmark::DoNotOptimize(cr.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, rows.size());
}

void YuvToPackedRow(benchmark::State& state) {
  const std::vector<uint8_t> samples = Noise(2 * kWidth);
  std::vector<uint8_t> packed(4 * kWidth);
  for (auto _ : state) {
    Kernels(state).yuv_to_packed_row(samples.data(), samples.data() + kWidth,
                                     samples.data() + kWidth + kWidth / 2, kWidth, false,
                                     packed.data());
    benchmark::DoNotOptimize(packed.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, packed.size());
}

BENCHMARK(ForwardDct)->Apply(EachLevel);
BENCHMARK(MeasureResidual)->Apply(EachLevel);
BENCHMARK(MayHaveNonzeroLevels)->Apply(EachLevel);
BENCHMARK(Quantise)->Apply(EachLevel);
BENCHMARK(InverseDctAdd)->Apply(EachLevelAndExtent);
BENCHMARK(Sad8x8)->Apply(EachLevel);
BENCHMARK(Sad16x16)->Apply(EachLevel);
BENCHMARK(Sad8x8Across)->Apply(EachLevel);
BENCHMARK(Sad8x8Down)->Apply(EachLevel);
BENCHMARK(SadOfMean16x16)->Apply(EachLevel);
BENCHMARK(DeblockVerticalEdges)->Apply(EachLevel);
BENCHMARK(DeblockHorizontalEdge)->Apply(EachLevel);
BENCHMARK(DenoiseLuma)->Apply(EachLevel);
BENCHMARK(MeasureDifference)->Apply(EachLevel);
BENCHMARK(RgbaToLumaRow)->Apply(EachLevel);
BENCHMARK(RgbaToChromaRow)->Apply(EachLevel);
BENCHMARK(YuvToPackedRow)->Apply(EachLevel);

// What moving a picture's RGBA bytes takes by itself.
void CopyRgba(benchmark::State& state) {
  const std::vector<uint8_t> from = Noise(4 * kPixels);
  std::vector<uint8_t> to(4 * kPixels);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, from.size());
}

void FrameToYuv(benchmark::State& state) {
  ForceSimdLevel(static_cast<SimdLevel>(state.range(0)));
  const VideoFrame frame = SceneFrame(0);
  YuvPlanes planes;
  for (auto _ : state) {
    ConvertFrameToYuv(frame, planes);
    benchmark::DoNotOptimize(planes.y.data());
  }
  CountBytes(state, frame.pixels.size());
  ForceSimdLevel(DetectedSimdLevel());
}

void YuvToPacked(benchmark::State& state) {
  ForceSimdLevel(static_cast<SimdLevel>(state.range(0)));
  const YuvPlanes planes = ScenePlanes(0);
  std::vector<uint8_t> pixels;
  for (auto _ : state) {
    ConvertYuvToPacked(planes, PixelOrder::kRgba, pixels);
    benchmark::DoNotOptimize(pixels.data());
  }
  CountBytes(state, pixels.size());
  ForceSimdLevel(DetectedSimdLevel());
}

void EncodeKey(benchmark::State& state) {
  const YuvPlanes source = ScenePlanes(0);
  YuvPlanes reference;
  std::vector<uint8_t> payload;
  for (auto _ : state) payload = EncodeKeyFrame(source, {}, reference);
  state.counters["bytes"] = static_cast<double>(payload.size());
}

void DecodeKey(benchmark::State& state) {
  YuvPlanes reference;
  const std::vector<uint8_t> payload = EncodeKeyFrame(ScenePlanes(0), {}, reference);
  YuvPlanes current;
  for (auto _ : state) {
    if (!DecodeKeyFrame(payload, true, true, current)) state.SkipWithError("not decoded");
  }
}

void EncodeInter(benchmark::State& state) {
  YuvPlanes reference;
  EncodeKeyFrame(ScenePlanes(0), {}, reference);
  const YuvPlanes source = ScenePlanes(1);
  std::vector<uint8_t> payload;
  for (auto _ : state) {
    state.PauseTiming();
    YuvPlanes before = reference;
    state.ResumeTiming();
    payload = EncodeInterFrame(source, {}, before);
    benchmark::DoNotOptimize(before.y.data());
  }
  state.counters["bytes"] = static_cast<double>(payload.size());
}

void DecodeInter(benchmark::State& state) {
  YuvPlanes before;
  EncodeKeyFrame(ScenePlanes(0), {}, before);
  YuvPlanes reference = before;
  const std::vector<uint8_t> payload = EncodeInterFrame(ScenePlanes(1), {}, reference);
  YuvPlanes picture;
  for (auto _ : state) {
    if (!DecodeInterFrame(payload, true, true, before, picture)) state.SkipWithError("not decoded");
  }
}

// A frame between two anchors.
struct BidirectionalScene {
  BidirectionalScene() {
    EncodeKeyFrame(ScenePlanes(0), {}, past);
    future = past;
    EncodeInterFrame(ScenePlanes(2), {}, future);
  }
  YuvPlanes source = ScenePlanes(1);
  YuvPlanes past;
  YuvPlanes future;
};

void EncodeBidirectional(benchmark::State& state) {
  const BidirectionalScene scene;
  std::vector<uint8_t> payload;
  for (auto _ : state) {
    payload = EncodeBidirectionalFrame(scene.source, {}, scene.past, scene.future);
  }
  state.counters["bytes"] = static_cast<double>(payload.size());
}

void DecodeBidirectional(benchmark::State& state) {
  const BidirectionalScene scene;
  const std::vector<uint8_t> payload =
      EncodeBidirectionalFrame(scene.source, {}, scene.past, scene.future);
  YuvPlanes picture;
  for (auto _ : state) {
    if (!DecodeBidirectionalFrame(payload, true, true, scene.past, scene.future, picture)) {
      state.SkipWithError("not decoded");
    }
  }
}

// Frame times on the wall: the coders work on several threads.
BENCHMARK(CopyRgba)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FrameToYuv)->Apply(EachLevel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(YuvToPacked)->Apply(EachLevel)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(EncodeKey)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DecodeKey)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(EncodeInter)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DecodeInter)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(EncodeBidirectional)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DecodeBidirectional)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace qolm::video
