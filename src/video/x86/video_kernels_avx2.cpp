// AVX2 variants of the video kernels. Compiled for AVX2 without FMA: the sums
// must round after every product, as the scalar definition does.
#include <immintrin.h>

#include "video/dct.h"
#include "video/quant_table.h"
#include "video/x86/video_kernels_x86.h"

namespace qolm::video::x86 {
namespace {

__m256 LoadBytesAsFloats(const uint8_t* bytes) {
  const __m128i packed = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(packed));
}

// Columns lie side by side in the lanes; every lane adds in the scalar order.
void ForwardDct(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                ptrdiff_t prediction_stride, float* coefficients) {
  const DctBasis& basis = GetDctBasis();
  __m256 residual[8];
  for (int r = 0; r < 8; ++r) {
    // Differences of bytes are exact in float, so subtracting floats is too.
    residual[r] = _mm256_sub_ps(LoadBytesAsFloats(source + r * source_stride),
                                LoadBytesAsFloats(prediction + r * prediction_stride));
  }
  alignas(32) float product[8];
  for (int u = 0; u < 8; ++u) {
    __m256 sum = _mm256_mul_ps(_mm256_broadcast_ss(&basis.rows[u][0]), residual[0]);
    for (int k = 1; k < 8; ++k) {
      sum = _mm256_add_ps(sum, _mm256_mul_ps(_mm256_broadcast_ss(&basis.rows[u][k]), residual[k]));
    }
    _mm256_store_ps(product, sum);
    sum = _mm256_mul_ps(_mm256_broadcast_ss(&product[0]), _mm256_load_ps(basis.columns[0]));
    for (int x = 1; x < 8; ++x) {
      sum = _mm256_add_ps(
          sum, _mm256_mul_ps(_mm256_broadcast_ss(&product[x]), _mm256_load_ps(basis.columns[x])));
    }
    _mm256_store_ps(coefficients + 8 * u, sum);
  }
}

__m256i QuantizeRow(const float* coefficients, const float* steps, __m256 round_up) {
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

uint64_t Quantize(const float* coefficients, const float* steps, float round_up, int16_t* levels) {
  const __m256 threshold = _mm256_set1_ps(round_up);
  uint64_t nonzero = 0;
  for (int i = 0; i < 64; i += 16) {
    const __m256i low = QuantizeRow(coefficients + i, steps + i, threshold);
    const __m256i high = QuantizeRow(coefficients + i + 8, steps + i + 8, threshold);
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
  const __m256 most = _mm256_set1_ps(255.0F);
  alignas(32) float product[8];
  for (int x = 0; x < 8; ++x) {
    // A zero row or column would only add zeros, which no later step can tell.
    __m256 sum =
        _mm256_mul_ps(_mm256_broadcast_ss(&basis.rows[0][x]), _mm256_load_ps(coefficients));
    for (int u = 1; u < rows; ++u) {
      sum = _mm256_add_ps(sum, _mm256_mul_ps(_mm256_broadcast_ss(&basis.rows[u][x]),
                                             _mm256_load_ps(coefficients + 8 * u)));
    }
    _mm256_store_ps(product, sum);
    sum = _mm256_mul_ps(_mm256_broadcast_ss(&product[0]), _mm256_load_ps(basis.rows[0]));
    for (int v = 1; v < columns; ++v) {
      sum = _mm256_add_ps(
          sum, _mm256_mul_ps(_mm256_broadcast_ss(&product[v]), _mm256_load_ps(basis.rows[v])));
    }
    const __m256 predicted = LoadBytesAsFloats(prediction + x * prediction_stride);
    __m256 value = _mm256_add_ps(_mm256_add_ps(predicted, sum), half);
    value = _mm256_min_ps(_mm256_max_ps(value, zero), most);
    const __m256i whole = _mm256_cvttps_epi32(value);
    const __m128i words =
        _mm_packs_epi32(_mm256_castsi256_si128(whole), _mm256_extracti128_si256(whole, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(destination + x * destination_stride),
                     _mm_packus_epi16(words, words));
  }
}

__m128i LoadTwoRows(const uint8_t* top, const uint8_t* bottom) {
  const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(top));
  const __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bottom));
  return _mm_unpacklo_epi64(low, high);
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

// `low` weighs the lower word of each pair, `high` the upper one.
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

// One chroma value of each of 8 pixels, less the offset of 128.
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

// 16 pairs of words in the order that ShiftAndPack puts back.
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

}  // namespace

void UseAvx2VideoKernels(VideoKernels& kernels) {
  kernels.forward_dct = ForwardDct;
  kernels.quantize = Quantize;
  kernels.inverse_dct_add = InverseDctAdd;
  kernels.sad_8x8 = Sad8x8;
  kernels.sad_16x16 = Sad16x16;
  kernels.sad_of_mean_16x16 = SadOfMean16x16;
  kernels.rgba_to_luma_row = RgbaToLumaRow;
  kernels.rgba_to_chroma_row = RgbaToChromaRow;
  kernels.yuv_to_packed_row = YuvToPackedRow;
}

}  // namespace qolm::video::x86
