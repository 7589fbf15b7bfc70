// SPDX-License-Identifier: MIT
//
// Throughput of the byte and coefficient coders on level planes like those of a
// 1080p frame: sparse (a predicted frame) and dense (a key frame).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "entropy/coefficient_stream.h"
#include "entropy/coefficient_tokens.h"
#include "entropy/context_rans.h"
#include "entropy/rans.h"

namespace qolm::entropy {
namespace {

constexpr size_t kBlocks = 240 * 135;

// Levels whose spread falls along the zigzag order; `energy` is the spread of the
// first one, and a quarter of the blocks is empty. With 0 the others hold their
// first level alone, as calm chroma does.
std::vector<int16_t> Levels(double energy) {
  std::mt19937 random(1);
  std::vector<int16_t> levels(64 * kBlocks, 0);
  for (size_t b = 0; b < kBlocks; ++b) {
    if (random() % 4 == 0) continue;
    if (energy == 0) {
      levels[64 * b] = static_cast<int16_t>(random() % 2 == 0 ? 1 : -2);
      continue;
    }
    for (size_t p = 0; p < 64; ++p) {
      const double spread = energy / (1.0 + static_cast<double>(p) * 0.5);
      const double uniform = (static_cast<double>(random() % 65535) + 0.5) / 65535.0;
      const double magnitude = -spread * std::log(uniform);
      const auto level = static_cast<int16_t>(std::min(magnitude, 2047.0));
      levels[64 * b + p] = (random() & 1) != 0 ? level : static_cast<int16_t>(-level);
    }
  }
  return levels;
}

double Energy(const benchmark::State& state) { return static_cast<double>(state.range(0)); }

void CountBytesOf(benchmark::State& state, size_t symbols) {
  state.counters["symbols"] = static_cast<double>(symbols);
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(symbols));
}

void TokenEncode(benchmark::State& state) {
  const std::vector<int16_t> levels = Levels(Energy(state));
  for (auto _ : state) benchmark::DoNotOptimize(EncodeCoefficientTokens(levels));
  CountBytesOf(state, EncodeCoefficientTokens(levels).size());
}

void TokenDecode(benchmark::State& state) {
  std::vector<int16_t> levels = Levels(Energy(state));
  const std::vector<uint8_t> tokens = EncodeCoefficientTokens(levels);
  for (auto _ : state) benchmark::DoNotOptimize(DecodeCoefficientTokens(tokens, levels));
  CountBytesOf(state, tokens.size());
}

void PlainEncode(benchmark::State& state) {
  const std::vector<uint8_t> tokens = EncodeCoefficientTokens(Levels(Energy(state)));
  for (auto _ : state) benchmark::DoNotOptimize(RansEncodeBytes(tokens));
  CountBytesOf(state, tokens.size());
}

void PlainDecode(benchmark::State& state) {
  std::vector<uint8_t> tokens = EncodeCoefficientTokens(Levels(Energy(state)));
  const std::vector<uint8_t> stream = RansEncodeBytes(tokens);
  for (auto _ : state) benchmark::DoNotOptimize(RansDecodeBytes(stream, tokens));
  CountBytesOf(state, tokens.size());
}

void ContextEncode(benchmark::State& state) {
  const std::vector<uint8_t> tokens = EncodeCoefficientTokens(Levels(Energy(state)));
  for (auto _ : state) benchmark::DoNotOptimize(ContextRansEncode(tokens));
  CountBytesOf(state, tokens.size());
}

void ContextDecode(benchmark::State& state) {
  std::vector<uint8_t> tokens = EncodeCoefficientTokens(Levels(Energy(state)));
  const std::vector<uint8_t> stream = ContextRansEncode(tokens);
  for (auto _ : state) benchmark::DoNotOptimize(ContextRansDecode(stream, tokens));
  CountBytesOf(state, tokens.size());
  state.counters["mode"] = stream[4];
}

BENCHMARK(TokenEncode)->Arg(2)->Arg(12);
BENCHMARK(TokenDecode)->Arg(2)->Arg(12);
BENCHMARK(PlainEncode)->Arg(2)->Arg(12);
BENCHMARK(PlainDecode)->Arg(2)->Arg(12);
BENCHMARK(ContextEncode)->Arg(2)->Arg(12);
BENCHMARK(ContextDecode)->Arg(0)->Arg(2)->Arg(12);

}  // namespace
}  // namespace qolm::entropy
