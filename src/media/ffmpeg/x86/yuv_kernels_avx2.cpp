// SPDX-License-Identifier: MIT
//
// AVX2 variants of the YUV kernels. Rows that end within a vector are finished
// by one that overlaps what is written already.
#include <immintrin.h>

#include "media/ffmpeg/x86/yuv_kernels_x86.h"

namespace qolm::media::ffmpeg::x86 {
namespace {

constexpr size_t kLanes = 16;

__m256i LoadBytesAsWords(const uint8_t* bytes) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

__m256i LoadWords(const uint16_t* words) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
}

void StoreWords(uint16_t* words, __m256i values) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), values);
}

__m256i TripleOf(__m256i a) { return _mm256_add_epi16(a, _mm256_add_epi16(a, a)); }

__m256i BetweenRows(const uint8_t* near, const uint8_t* far) {
  return _mm256_add_epi16(TripleOf(LoadBytesAsWords(near)), LoadBytesAsWords(far));
}

// The pixels of 16 chroma samples that have neighbours on both sides.
void WidenBlock(const uint8_t* near, const uint8_t* far, uint16_t* chroma) {
  const __m256i triple = TripleOf(BetweenRows(near, far));
  const __m256i left = _mm256_add_epi16(triple, BetweenRows(near - 1, far - 1));
  const __m256i right = _mm256_add_epi16(triple, BetweenRows(near + 1, far + 1));
  const __m256i low = _mm256_unpacklo_epi16(left, right);
  const __m256i high = _mm256_unpackhi_epi16(left, right);
  StoreWords(chroma, _mm256_permute2x128_si256(low, high, 0x20));
  StoreWords(chroma + kLanes, _mm256_permute2x128_si256(low, high, 0x31));
}

void WidenHalvedChroma(const uint8_t* near, const uint8_t* far, size_t width, uint16_t* chroma) {
  // Of the chroma samples with neighbours, those with two pixels.
  const size_t end = width / 2 - (width % 2 == 0 ? 1 : 0);
  if (width < 2 * kLanes + 4) {
    ScalarYuvKernels().widen_halved_chroma(near, far, width, chroma);
    return;
  }
  for (size_t i = 1; i + kLanes < end; i += kLanes) WidenBlock(near + i, far + i, chroma + 2 * i);
  const size_t i = end - kLanes;
  WidenBlock(near + i, far + i, chroma + 2 * i);

  // Two pixels at the left end, and one or two at the right, where the sample
  // beyond repeats the last.
  const auto between_rows = [&](size_t s) { return 3 * near[s] + far[s]; };
  const size_t last = (width - 1) / 2;
  chroma[0] = static_cast<uint16_t>(4 * between_rows(0));
  chroma[1] = static_cast<uint16_t>(3 * between_rows(0) + between_rows(1));
  chroma[2 * last] = static_cast<uint16_t>(3 * between_rows(last) + between_rows(last - 1));
  if (width % 2 == 0) chroma[width - 1] = static_cast<uint16_t>(4 * between_rows(last));
}

void WidenFullChroma(const uint8_t* samples, size_t width, uint16_t* chroma) {
  if (width < kLanes) {
    ScalarYuvKernels().widen_full_chroma(samples, width, chroma);
    return;
  }
  const auto widen = [&](size_t x) {
    StoreWords(chroma + x, _mm256_slli_epi16(LoadBytesAsWords(samples + x), 4));
  };
  for (size_t x = 0; x + kLanes < width; x += kLanes) widen(x);
  widen(width - kLanes);
}

// 16 sums with 5 bits of fraction to whole numbers, which packing clamps.
__m256i Rounded(__m256i sums) {
  return _mm256_srai_epi16(_mm256_add_epi16(sums, _mm256_set1_epi16(16)), 5);
}

void ConvertRow(const uint8_t* luma, const uint16_t* cb, const uint16_t* cr, size_t width,
                const YuvWeights& weights, uint8_t* rgba) {
  if (width < kLanes) {
    ScalarYuvKernels().convert_row(luma, cb, cr, width, weights, rgba);
    return;
  }
  const __m256i black = _mm256_set1_epi16(weights.black);
  const __m256i from_luma = _mm256_set1_epi16(weights.luma);
  const __m256i red_from_cr = _mm256_set1_epi16(weights.red_from_cr);
  const __m256i green_from_cb = _mm256_set1_epi16(weights.green_from_cb);
  const __m256i green_from_cr = _mm256_set1_epi16(weights.green_from_cr);
  const __m256i blue_from_cb = _mm256_set1_epi16(weights.blue_from_cb);
  const __m256i neutral = _mm256_set1_epi16(128 * 16);
  const __m256i opaque = _mm256_set1_epi16(255);

  const auto convert = [&](size_t x) {
    const __m256i difference = _mm256_sub_epi16(LoadBytesAsWords(luma + x), black);
    const __m256i light = _mm256_mulhrs_epi16(_mm256_slli_epi16(difference, 7), from_luma);
    const __m256i u = _mm256_slli_epi16(_mm256_sub_epi16(LoadWords(cb + x), neutral), 3);
    const __m256i v = _mm256_slli_epi16(_mm256_sub_epi16(LoadWords(cr + x), neutral), 3);
    const __m256i blue = Rounded(_mm256_add_epi16(light, _mm256_mulhrs_epi16(u, blue_from_cb)));
    const __m256i green =
        Rounded(_mm256_sub_epi16(_mm256_sub_epi16(light, _mm256_mulhrs_epi16(u, green_from_cb)),
                                 _mm256_mulhrs_epi16(v, green_from_cr)));
    const __m256i red = Rounded(_mm256_add_epi16(light, _mm256_mulhrs_epi16(v, red_from_cr)));

    const __m256i red_blue = _mm256_packus_epi16(red, blue);         // r0..7 b0..7 | r8..15 b8..15
    const __m256i green_alpha = _mm256_packus_epi16(green, opaque);  // g0..7 a0..7 | g8..15 a8..15
    const __m256i red_green = _mm256_unpacklo_epi8(red_blue, green_alpha);
    const __m256i blue_alpha = _mm256_unpackhi_epi8(red_blue, green_alpha);
    const __m256i low = _mm256_unpacklo_epi16(red_green, blue_alpha);   // pixels 0..3 | 8..11
    const __m256i high = _mm256_unpackhi_epi16(red_green, blue_alpha);  // pixels 4..7 | 12..15
    auto* const pixels = reinterpret_cast<__m256i*>(rgba + 4 * x);
    _mm256_storeu_si256(pixels, _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(pixels + 1, _mm256_permute2x128_si256(low, high, 0x31));
  };
  for (size_t x = 0; x + kLanes < width; x += kLanes) convert(x);
  convert(width - kLanes);
}

}  // namespace

const YuvKernels& Avx2YuvKernels() {
  static constexpr YuvKernels kAvx2 = {WidenHalvedChroma, WidenFullChroma, ConvertRow};
  return kAvx2;
}

}  // namespace qolm::media::ffmpeg::x86
