// SPDX-License-Identifier: MIT
//
// AVX2 variants of the video kernels. Compiled for AVX2 without FMA: the sums
// must round after every product, as the scalar definition does.
#include <immintrin.h>

#include <utility>

#include "video/kernels/dct_basis.h"
#include "video/kernels/x86/video_kernels_x86.h"

namespace qolm::video::x86 {
namespace {

__m256 LoadBytesAsFloats(const uint8_t* bytes) {
  const __m128i packed = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(packed));
}

// product = left * right over the first `terms` columns of `left` and rows of
// `right`. Each lane holds one column and adds in the scalar order; the eight rows are
// summed concurrently to hide the latency of the additions.
template <size_t... kRow>
void MultiplyMatrices(const float* left, const float* right, int terms, float* product,
                      std::index_sequence<kRow...> /*rows*/) {
  __m256 sums[8];
  const __m256 first = _mm256_load_ps(right);
  ((sums[kRow] = _mm256_mul_ps(_mm256_broadcast_ss(left + 8 * kRow), first)), ...);
  // When this loop is unrolled, GCC loads all factors first and spills registers.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 1
#endif
  for (int k = 1; k < terms; ++k) {
    const __m256 row = _mm256_load_ps(right + 8 * k);
    ((sums[kRow] =
          _mm256_add_ps(sums[kRow], _mm256_mul_ps(_mm256_broadcast_ss(left + 8 * kRow + k), row))),
     ...);
  }
  (_mm256_store_ps(product + 8 * kRow, sums[kRow]), ...);
}

void MultiplyMatrices(const float* left, const float* right, int terms, float* product) {
  MultiplyMatrices(left, right, terms, product, std::make_index_sequence<8>());
}

void ForwardDct(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                ptrdiff_t prediction_stride, float* coefficients) {
  const DctBasis& basis = GetDctBasis();
  alignas(32) float residual[64];
  for (int r = 0; r < 8; ++r) {
    // Differences of bytes are exact in float, so subtracting floats is too.
    _mm256_store_ps(residual + 8 * r,
                    _mm256_sub_ps(LoadBytesAsFloats(source + r * source_stride),
                                  LoadBytesAsFloats(prediction + r * prediction_stride)));
  }
  alignas(32) float product[64];
  MultiplyMatrices(basis.rows[0], residual, 8, product);
  MultiplyMatrices(product, basis.columns[0], 8, coefficients);
}

__m128i LoadTwoRows(const uint8_t* top, const uint8_t* bottom) {
  const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(top));
  const __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bottom));
  return _mm_unpacklo_epi64(low, high);
}

ResidualEnergy MeasureResidual(const uint8_t* source, ptrdiff_t source_stride,
                               const uint8_t* prediction, ptrdiff_t prediction_stride) {
  __m256i sums = _mm256_setzero_si256();  // of four differences each
  __m256i squares = _mm256_setzero_si256();
  for (int r = 0; r < 8; r += 2) {
    const __m128i original = LoadTwoRows(source, source + source_stride);
    const __m128i predicted = LoadTwoRows(prediction, prediction + prediction_stride);
    const __m256i difference =
        _mm256_sub_epi16(_mm256_cvtepu8_epi16(original), _mm256_cvtepu8_epi16(predicted));
    sums = _mm256_add_epi16(sums, difference);
    squares = _mm256_add_epi32(squares, _mm256_madd_epi16(difference, difference));
    source += 2 * source_stride;
    prediction += 2 * prediction_stride;
  }
  // Horizontal addition: two sums and two sums of squares per half, then one of each.
  const __m256i pairs = _mm256_hadd_epi32(_mm256_madd_epi16(sums, _mm256_set1_epi16(1)), squares);
  const __m128i quarters =
      _mm_add_epi32(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1));
  const __m128i halves = _mm_hadd_epi32(quarters, quarters);
  return {_mm_cvtsi128_si32(halves), static_cast<uint32_t>(_mm_extract_epi32(halves, 1))};
}

bool MayHaveNonzeroLevels(const float* coefficients, const SkipThresholds& limits) {
  const __m256 sign_bit = _mm256_set1_ps(-0.0F);
  __m256 large = _mm256_setzero_ps();
  __m256 gains = _mm256_setzero_ps();
  for (size_t i = 0; i < 64; i += 8) {
    const __m256 magnitude = _mm256_andnot_ps(sign_bit, _mm256_load_ps(coefficients + i));
    const __m256 limit = _mm256_load_ps(limits.large + i);
    large = _mm256_or_ps(large, _mm256_cmp_ps(magnitude, limit, _CMP_GT_OQ));
    const __m256 product = _mm256_mul_ps(_mm256_load_ps(limits.gain_slope + i), magnitude);
    const __m256 gain = _mm256_sub_ps(product, _mm256_load_ps(limits.gain_offset + i));
    gains = _mm256_add_ps(gains, _mm256_max_ps(gain, _mm256_setzero_ps()));
  }
  if (_mm256_movemask_ps(large) != 0) return true;
  const __m128 quarters =
      _mm_add_ps(_mm256_castps256_ps128(gains), _mm256_extractf128_ps(gains, 1));
  const __m128 halves = _mm_add_ps(quarters, _mm_movehl_ps(quarters, quarters));
  const __m128 sum = _mm_add_ss(halves, _mm_movehdup_ps(halves));
  return _mm_cvtss_f32(sum) > limits.gain;
}

__m256i QuantiseRow(const float* coefficients, const float* steps, __m256 round_up) {
  const __m256 sign_bit = _mm256_set1_ps(-0.0F);
  const __m256 quotient = _mm256_div_ps(_mm256_load_ps(coefficients), _mm256_load_ps(steps));
  const __m256 magnitude = _mm256_andnot_ps(sign_bit, quotient);
  const __m256 whole = _mm256_round_ps(magnitude, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m256 up = _mm256_cmp_ps(_mm256_sub_ps(magnitude, whole), round_up, _CMP_GE_OQ);
  const __m256 rounded = _mm256_add_ps(whole, _mm256_and_ps(up, _mm256_set1_ps(1.0F)));
  __m256 value = _mm256_or_ps(rounded, _mm256_and_ps(quotient, sign_bit));
  value = _mm256_max_ps(value, _mm256_set1_ps(static_cast<float>(kMinLevel)));
  value = _mm256_min_ps(value, _mm256_set1_ps(static_cast<float>(kMaxLevel)));
  return _mm256_cvttps_epi32(value);
}

uint64_t Quantise(const float* coefficients, const float* steps, float round_up, int16_t* levels) {
  const __m256 threshold = _mm256_set1_ps(round_up);
  uint64_t nonzero = 0;
  for (int i = 0; i < 64; i += 16) {
    const __m256i low = QuantiseRow(coefficients + i, steps + i, threshold);
    const __m256i high = QuantiseRow(coefficients + i + 8, steps + i + 8, threshold);
    const __m256i words = _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(levels + i), words);
    const __m256i zero = _mm256_cmpeq_epi16(words, _mm256_setzero_si256());
    const __m128i bytes =
        _mm_packs_epi16(_mm256_castsi256_si128(zero), _mm256_extracti128_si256(zero, 1));
    const uint32_t zero_bits = static_cast<uint32_t>(_mm_movemask_epi8(bytes));
    nonzero |= static_cast<uint64_t>(~zero_bits & 0xFFFFU) << i;
  }
  return nonzero;
}

void InverseDctAdd(const float* coefficients, int rows, int columns, const uint8_t* prediction,
                   ptrdiff_t prediction_stride, uint8_t* destination,
                   ptrdiff_t destination_stride) {
  const DctBasis& basis = GetDctBasis();
  const __m256 half = _mm256_set1_ps(0.5F);
  const __m256 zero = _mm256_setzero_ps();
  const __m256 maximum = _mm256_set1_ps(255.0F);
  // Skipping zero rows and columns is exact: adding zeros does not change the sums.
  alignas(32) float product[64];
  alignas(32) float residual[64];
  MultiplyMatrices(basis.columns[0], coefficients, rows, product);
  MultiplyMatrices(product, basis.rows[0], columns, residual);
  for (int x = 0; x < 8; ++x) {
    const __m256 predicted = LoadBytesAsFloats(prediction + x * prediction_stride);
    __m256 value = _mm256_add_ps(_mm256_add_ps(predicted, _mm256_load_ps(residual + 8 * x)), half);
    value = _mm256_min_ps(_mm256_max_ps(value, zero), maximum);
    const __m256i whole = _mm256_cvttps_epi32(value);
    const __m128i words =
        _mm_packs_epi32(_mm256_castsi256_si128(whole), _mm256_extracti128_si256(whole, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(destination + x * destination_stride),
                     _mm_packus_epi16(words, words));
  }
}

uint32_t SumLanes(__m128i sums) {
  return static_cast<uint32_t>(_mm_cvtsi128_si32(sums)) +
         static_cast<uint32_t>(_mm_extract_epi16(sums, 4));
}

uint32_t Sad8x8(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  __m128i sums = _mm_setzero_si128();
  for (int r = 0; r < 8; r += 2) {
    sums = _mm_add_epi64(sums, _mm_sad_epu8(LoadTwoRows(a + r * a_stride, a + (r + 1) * a_stride),
                                            LoadTwoRows(b + r * b_stride, b + (r + 1) * b_stride)));
  }
  return SumLanes(sums);
}

uint32_t Sad16x16(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  __m128i sums = _mm_setzero_si128();
  for (int r = 0; r < 16; ++r) {
    sums = _mm_add_epi64(
        sums, _mm_sad_epu8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + r * a_stride)),
                           _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + r * b_stride))));
  }
  // Each half holds at most 8 * 16 * 255, which fits 16 bits.
  return SumLanes(sums);
}

// One instruction compares 4 bytes of a row of `a` with 8 positions in `b`.
uint32_t Sad8x8Across(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                      uint16_t* costs) {
  // The lower lane compares bytes 0..3 of `a` from byte 0 of `b` on, the upper lane bytes
  // 4..7 from byte 4 on.
  constexpr int kHalves = 0b101'000;
  __m256i sums = _mm256_setzero_si256();
  for (int r = 0; r < 8; ++r) {
    const __m256i wide = _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + r * b_stride)));
    const __m256i block = _mm256_broadcastq_epi64(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + r * a_stride)));
    sums = _mm256_add_epi16(sums, _mm256_mpsadbw_epu8(wide, block, kHalves));
  }
  const __m128i all =
      _mm_add_epi16(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(costs), all);
  return static_cast<uint32_t>(_mm_extract_epi16(_mm_minpos_epu16(all), 0));
}

__m256i FourRows(__m128i upper, __m128i lower) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(upper), lower, 1);
}

uint32_t Sad8x8Down(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    size_t count, uint16_t* costs) {
  const __m256i top =
      FourRows(LoadTwoRows(a, a + a_stride), LoadTwoRows(a + 2 * a_stride, a + 3 * a_stride));
  a += 4 * a_stride;
  const __m256i bottom =
      FourRows(LoadTwoRows(a, a + a_stride), LoadTwoRows(a + 2 * a_stride, a + 3 * a_stride));
  uint32_t least = UINT16_MAX;
  for (size_t i = 0; i < count; ++i, b += b_stride) {
    const uint8_t* const lower = b + 4 * b_stride;
    const __m256i upper_rows =
        FourRows(LoadTwoRows(b, b + b_stride), LoadTwoRows(b + 2 * b_stride, b + 3 * b_stride));
    const __m256i lower_rows = FourRows(LoadTwoRows(lower, lower + b_stride),
                                        LoadTwoRows(lower + 2 * b_stride, lower + 3 * b_stride));
    const __m256i sums =
        _mm256_add_epi64(_mm256_sad_epu8(upper_rows, top), _mm256_sad_epu8(lower_rows, bottom));
    const uint32_t cost =
        SumLanes(_mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1)));
    costs[i] = static_cast<uint16_t>(cost);
    least = cost < least ? cost : least;
  }
  return least;
}

uint32_t SadOfMean16x16(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* a,
                        ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  const auto load = [](const uint8_t* row) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(row));
  };
  __m128i sums = _mm_setzero_si128();
  for (int r = 0; r < 16; ++r) {
    const __m128i mean = _mm_avg_epu8(load(a + r * a_stride), load(b + r * b_stride));
    sums = _mm_add_epi64(sums, _mm_sad_epu8(load(source + r * source_stride), mean));
  }
  return SumLanes(sums);
}

__m256i LoadPixels(const uint8_t* rgba) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rgba));
}

// The two even bytes (R, B) and the two odd bytes (G, A) of each pixel as words.
__m256i EvenBytes(__m256i pixels) { return _mm256_and_si256(pixels, _mm256_set1_epi32(0xFF00FF)); }
__m256i OddBytes(__m256i pixels) { return _mm256_srli_epi16(pixels, 8); }

// The weights of the lower and upper word of each pair.
__m256i WordPair(int low, int high) {
  return _mm256_set1_epi32(static_cast<int>((static_cast<uint32_t>(high) << 16) |
                                            (static_cast<uint32_t>(low) & 0xFFFFU)));
}

__m256i Luma8(const uint8_t* rgba) {
  const __m256i pixels = LoadPixels(rgba);
  __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(EvenBytes(pixels), WordPair(66, 25)),
                                 _mm256_madd_epi16(OddBytes(pixels), WordPair(129, 0)));
  sum = _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(128)), 8);
  return _mm256_add_epi32(sum, _mm256_set1_epi32(16));
}

void RgbaToLumaRow(const uint8_t* rgba, size_t width, uint8_t* luma) {
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    const uint8_t* pixels = rgba + 4 * x;
    const __m256i low = _mm256_packus_epi32(Luma8(pixels), Luma8(pixels + 32));
    const __m256i high = _mm256_packus_epi32(Luma8(pixels + 64), Luma8(pixels + 96));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), order);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(luma + x), bytes);
  }
  ScalarVideoKernels().rgba_to_luma_row(rgba + 4 * x, width - x, luma + x);
}

// One chroma value of each of 8 pixels, without the offset of 128.
__m256i Chroma8(__m256i even, __m256i odd, __m256i even_weights, __m256i odd_weights) {
  const __m256i sum =
      _mm256_add_epi32(_mm256_madd_epi16(even, even_weights), _mm256_madd_epi16(odd, odd_weights));
  return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(128)), 8);
}

// 8 chroma samples as 32-bit values from the column sums of 16 pixels.
__m256i MeanOfPairs(__m256i first, __m256i second) {
  const __m256i pairs = _mm256_permute4x64_epi64(_mm256_hadd_epi32(first, second), 0xD8);
  return _mm256_srai_epi32(_mm256_add_epi32(pairs, _mm256_set1_epi32(4 * 128)), 2);
}

void StoreAsBytes(__m256i values, uint8_t* bytes) {
  const __m128i words =
      _mm_packs_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes), _mm_packus_epi16(words, words));
}

void RgbaToChromaRow(const uint8_t* top, const uint8_t* bottom, size_t width, uint8_t* cb,
                     uint8_t* cr) {
  const __m256i cb_even = WordPair(-38, 112);
  const __m256i cb_odd = WordPair(-74, 0);
  const __m256i cr_even = WordPair(112, -18);
  const __m256i cr_odd = WordPair(-94, 0);
  size_t x = 0;
  for (; x + 16 <= width; x += 16) {
    __m256i cb_columns[2];
    __m256i cr_columns[2];
    for (size_t half = 0; half < 2; ++half) {
      const __m256i upper = LoadPixels(top + 4 * (x + 8 * half));
      const __m256i lower = LoadPixels(bottom + 4 * (x + 8 * half));
      cb_columns[half] =
          _mm256_add_epi32(Chroma8(EvenBytes(upper), OddBytes(upper), cb_even, cb_odd),
                           Chroma8(EvenBytes(lower), OddBytes(lower), cb_even, cb_odd));
      cr_columns[half] =
          _mm256_add_epi32(Chroma8(EvenBytes(upper), OddBytes(upper), cr_even, cr_odd),
                           Chroma8(EvenBytes(lower), OddBytes(lower), cr_even, cr_odd));
    }
    StoreAsBytes(MeanOfPairs(cb_columns[0], cb_columns[1]), cb + x / 2);
    StoreAsBytes(MeanOfPairs(cr_columns[0], cr_columns[1]), cr + x / 2);
  }
  if (x < width) {
    ScalarVideoKernels().rgba_to_chroma_row(top + 4 * x, bottom + 4 * x, width - x, cb + x / 2,
                                            cr + x / 2);
  }
}

// 16 pairs of words in an order that ShiftAndPack reverses.
struct WordPairs {
  __m256i low;
  __m256i high;
};

WordPairs Interleave(__m256i a, __m256i b) {
  return {_mm256_unpacklo_epi16(a, b), _mm256_unpackhi_epi16(a, b)};
}

__m256i ShiftAndPack(__m256i low, __m256i high) {
  return _mm256_packs_epi32(_mm256_srai_epi32(low, 8), _mm256_srai_epi32(high, 8));
}

__m256i ClampToByte(__m256i words) {
  return _mm256_min_epi16(_mm256_max_epi16(words, _mm256_setzero_si256()), _mm256_set1_epi16(255));
}

__m256i DuplicateChroma(const uint8_t* samples) {
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(samples));
  return _mm256_sub_epi16(_mm256_cvtepu8_epi16(_mm_unpacklo_epi8(bytes, bytes)),
                          _mm256_set1_epi16(128));
}

void YuvToPackedRow(const uint8_t* luma, const uint8_t* cb, const uint8_t* cr, size_t width,
                    bool bgra, uint8_t* packed) {
  const __m256i rounding = _mm256_set1_epi32(128);
  size_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i luma_bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(luma + x));
    const __m256i c = _mm256_sub_epi16(_mm256_cvtepu8_epi16(luma_bytes), _mm256_set1_epi16(16));
    const __m256i d = DuplicateChroma(cb + x / 2);
    const __m256i e = DuplicateChroma(cr + x / 2);
    const WordPairs ce = Interleave(c, e);
    const WordPairs cd = Interleave(c, d);
    const WordPairs e1 = Interleave(e, _mm256_set1_epi16(1));

    const __m256i red_weights = WordPair(298, 409);
    const __m256i red = ClampToByte(
        ShiftAndPack(_mm256_add_epi32(_mm256_madd_epi16(ce.low, red_weights), rounding),
                     _mm256_add_epi32(_mm256_madd_epi16(ce.high, red_weights), rounding)));
    const __m256i green_weights = WordPair(298, -100);
    const __m256i green_rest = WordPair(-208, 128);
    const __m256i green =
        ClampToByte(ShiftAndPack(_mm256_add_epi32(_mm256_madd_epi16(cd.low, green_weights),
                                                  _mm256_madd_epi16(e1.low, green_rest)),
                                 _mm256_add_epi32(_mm256_madd_epi16(cd.high, green_weights),
                                                  _mm256_madd_epi16(e1.high, green_rest))));
    const __m256i blue_weights = WordPair(298, 516);
    const __m256i blue = ClampToByte(
        ShiftAndPack(_mm256_add_epi32(_mm256_madd_epi16(cd.low, blue_weights), rounding),
                     _mm256_add_epi32(_mm256_madd_epi16(cd.high, blue_weights), rounding)));

    const __m256i first = _mm256_or_si256(bgra ? blue : red, _mm256_slli_epi16(green, 8));
    const __m256i second = _mm256_or_si256(bgra ? red : blue, _mm256_set1_epi16(-256));
    const __m256i low = _mm256_unpacklo_epi16(first, second);
    const __m256i high = _mm256_unpackhi_epi16(first, second);
    __m256i* const out = reinterpret_cast<__m256i*>(packed + 4 * x);
    _mm256_storeu_si256(out, _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(low, high, 0x31));
  }
  ScalarVideoKernels().yuv_to_packed_row(luma + x, cb + x / 2, cr + x / 2, width - x, bgra,
                                         packed + 4 * x);
}

__m256i AbsoluteDifference(__m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}

__m256i LoadBytes(const uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

void StoreBytes(uint8_t* bytes, __m256i values) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), values);
}

// A byte mask, all ones where `bytes` <= `limits`.
__m256i AtMost(__m256i bytes, __m256i limits) {
  return _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, limits), bytes);
}

// The change of p0, and with opposite sign of q0, where `smooth` is set. At least one of
// the two is zero.
struct Correction {
  __m256i up;    // added to p0 when q0 is greater
  __m256i down;  // subtracted from p0 when q0 is smaller
};

Correction CorrectionOf(__m256i p0, __m256i q0, __m256i jump, __m256i smooth,
                        __m256i max_correction) {
  const __m256i half = _mm256_and_si256(_mm256_srli_epi16(jump, 1), _mm256_set1_epi8(0x7F));
  const __m256i size = _mm256_and_si256(_mm256_min_epu8(half, max_correction), smooth);
  const __m256i rises = AtMost(p0, q0);
  return {_mm256_and_si256(size, rises), _mm256_andnot_si256(rises, size)};
}

uint32_t SumOfLanes(__m256i sums) {
  const __m128i four =
      _mm_add_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
  const __m128i two = _mm_add_epi32(four, _mm_shuffle_epi32(four, 0b01'00'11'10));
  const __m128i one = _mm_add_epi32(two, _mm_shuffle_epi32(two, 0b10'11'00'01));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(one));
}

DifferenceSums MeasureDifference(const uint8_t* a, const uint8_t* b, size_t count) {
  const __m256i even = _mm256_set1_epi16(0xFF);
  const __m256i unchanged = _mm256_set1_epi16(kChangedSampleDifference - 1);
  const __m256i zero = _mm256_setzero_si256();
  __m256i changed = zero;
  __m256i magnitudes = zero;
  __m256i squares = zero;
  size_t i = 0;
  // A whole vector includes one sample after the last that counts.
  for (; i + 16 < count; i += 16) {
    const __m256i words =
        _mm256_and_si256(AbsoluteDifference(LoadBytes(a + 2 * i), LoadBytes(b + 2 * i)), even);
    const __m256i mask = _mm256_cmpgt_epi16(words, unchanged);
    // Each mask word is -1, whose square is 1.
    changed = _mm256_add_epi32(changed, _mm256_madd_epi16(mask, mask));
    magnitudes = _mm256_add_epi32(magnitudes, _mm256_sad_epu8(words, zero));
    squares = _mm256_add_epi32(squares, _mm256_madd_epi16(words, words));
  }
  const DifferenceSums rest =
      ScalarVideoKernels().measure_difference(a + 2 * i, b + 2 * i, count - i);
  return {SumOfLanes(changed) + rest.changed, SumOfLanes(magnitudes) + rest.magnitudes,
          SumOfLanes(squares) + rest.squares};
}

// The change of a sample depends on the difference only: a quarter of 3 or 4, rounded, is
// 1.
void DenoiseLuma(const uint8_t* current, const uint8_t* previous, size_t count, uint8_t* filtered) {
  const __m256i moves =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 2, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  const __m256i last_entry = _mm256_set1_epi8(15);
  size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i c = LoadBytes(current + i);
    const __m256i p = LoadBytes(previous + i);
    const __m256i move =
        _mm256_shuffle_epi8(moves, _mm256_min_epu8(AbsoluteDifference(c, p), last_entry));
    const __m256i rises = AtMost(c, p);
    const __m256i up = _mm256_and_si256(move, rises);
    const __m256i down = _mm256_andnot_si256(rises, move);
    StoreBytes(filtered + i, _mm256_sub_epi8(_mm256_add_epi8(c, up), down));
  }
  ScalarVideoKernels().denoise_luma(current + i, previous + i, count - i, filtered + i);
}

char AsByte(int value) { return static_cast<char>(value); }

void DeblockHorizontalEdge(DeblockLimits limits, const uint8_t* p1, uint8_t* p0, uint8_t* q0,
                           const uint8_t* q1, size_t width) {
  const __m256i across = _mm256_set1_epi8(AsByte(limits.across - 1));
  const __m256i beside = _mm256_set1_epi8(AsByte(limits.beside - 1));
  const __m256i max_correction = _mm256_set1_epi8(AsByte(limits.correction));
  size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    const __m256i p = LoadBytes(p0 + x);
    const __m256i q = LoadBytes(q0 + x);
    const __m256i jump = AbsoluteDifference(p, q);
    const __m256i smooth = _mm256_and_si256(
        AtMost(jump, across),
        _mm256_and_si256(AtMost(AbsoluteDifference(LoadBytes(p1 + x), p), beside),
                         AtMost(AbsoluteDifference(LoadBytes(q1 + x), q), beside)));
    const Correction change = CorrectionOf(p, q, jump, smooth, max_correction);
    StoreBytes(p0 + x, _mm256_sub_epi8(_mm256_add_epi8(p, change.up), change.down));
    StoreBytes(q0 + x, _mm256_add_epi8(_mm256_sub_epi8(q, change.up), change.down));
  }
  ScalarVideoKernels().deblock_horizontal_edge(limits, p1 + x, p0 + x, q0 + x, q1 + x, width - x);
}

// Four edges at a time, each in a group of 8 bytes: p1, p0, q0 and q1 are the bytes 2 to
// 5. A second load, shifted by one byte, aligns each byte with its right neighbour.
void DeblockVerticalEdges(DeblockLimits limits, uint8_t* row, size_t width) {
  const char across = AsByte(limits.across - 1);
  const char beside = AsByte(limits.beside - 1);
  const char any = AsByte(255);
  const __m256i limit = _mm256_broadcastq_epi64(
      _mm_setr_epi8(any, any, beside, across, beside, any, any, any, 0, 0, 0, 0, 0, 0, 0, 0));
  const __m256i max_correction = _mm256_set1_epi64x(static_cast<int64_t>(limits.correction) << 24);
  size_t x = 8;
  for (; x + 29 <= width; x += 32) {
    uint8_t* const bytes = row + x - 4;
    const __m256i here = LoadBytes(bytes);
    const __m256i right = LoadBytes(bytes + 1);
    const __m256i steps = AbsoluteDifference(here, right);
    const __m256i smooth = _mm256_cmpeq_epi64(AtMost(steps, limit), _mm256_set1_epi64x(-1));
    // The change of p0 is in byte 3; byte 4 gets that of q0.
    const Correction change = CorrectionOf(here, right, steps, smooth, max_correction);
    const __m256i up = _mm256_sub_epi8(change.up, _mm256_slli_epi64(change.up, 8));
    const __m256i down = _mm256_sub_epi8(change.down, _mm256_slli_epi64(change.down, 8));
    StoreBytes(bytes, _mm256_sub_epi8(_mm256_add_epi8(here, up), down));
  }
  ScalarVideoKernels().deblock_vertical_edges(limits, row + x - 8, width - (x - 8));
}

}  // namespace

void UseAvx2VideoKernels(VideoKernels& kernels) {
  kernels.forward_dct = ForwardDct;
  kernels.residual_energy = MeasureResidual;
  kernels.may_have_nonzero_levels = MayHaveNonzeroLevels;
  kernels.quantise = Quantise;
  kernels.inverse_dct_add = InverseDctAdd;
  kernels.sad_8x8 = Sad8x8;
  kernels.sad_16x16 = Sad16x16;
  kernels.sad_8x8_across = Sad8x8Across;
  kernels.sad_8x8_down = Sad8x8Down;
  kernels.sad_of_mean_16x16 = SadOfMean16x16;
  kernels.rgba_to_luma_row = RgbaToLumaRow;
  kernels.rgba_to_chroma_row = RgbaToChromaRow;
  kernels.yuv_to_packed_row = YuvToPackedRow;
  kernels.measure_difference = MeasureDifference;
  kernels.denoise_luma = DenoiseLuma;
  kernels.deblock_vertical_edges = DeblockVerticalEdges;
  kernels.deblock_horizontal_edge = DeblockHorizontalEdge;
}

}  // namespace qolm::video::x86
