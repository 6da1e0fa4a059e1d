// sf_kernel's interior for AVX-512: 32 output bytes a block, eight doubles per register.
#if defined(__x86_64__) || defined(__i386__)

// GCC 12 reports the deliberately undefined source operand inside some AVX-512 intrinsics.
#if defined(__GNUC__) && !defined(__clang__)
#  pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <quelt/processing/kernel_wide_p.h>

namespace quelt::kernel {
namespace {

struct avx512 {
  using D = __m512d;
  static constexpr int U = 4;
  static constexpr size_t B = 32;

  static D zero() { return _mm512_setzero_pd(); }
  static D set1(double x) { return _mm512_set1_pd(x); }
  static D madd(D a, D w, D x) { return _mm512_fmadd_pd(w, x, a); }
  static void widen(const uint8_t* p, D* x) {
    for (int u = 0; u < U; ++u)
      x[u] = _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8 * u))));
  }
  // to_byte on each lane: 255 where v > 255, else |v| where it is below 32768, else 0 (NaN
  // fails every ordered comparison). The int32 keeps the magnitude; its low byte is the result.
  static __m256i truncated(D a, D sum) {
    const D top = _mm512_set1_pd(255.0);
    const D v = _mm512_div_pd(a, sum);
    const D m = _mm512_abs_pd(v);
    const __mmask8 keep = _mm512_cmp_pd_mask(m, _mm512_set1_pd(32768.0), _CMP_LT_OQ) & _mm512_cmp_pd_mask(v, top, _CMP_LE_OQ);
    const __mmask8 high = _mm512_cmp_pd_mask(v, top, _CMP_GT_OQ);
    return _mm512_cvttpd_epi32(_mm512_mask_mov_pd(_mm512_maskz_mov_pd(keep, m), high, top));
  }
  static void finish(uint8_t* out, const D* a, double s) {
    const D sum = _mm512_set1_pd(s);
    for (int h = 0; h < 2; ++h) {
      const __m512i q = _mm512_inserti64x4(_mm512_castsi256_si512(truncated(a[2 * h], sum)), truncated(a[2 * h + 1], sum), 1);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * h), _mm512_cvtepi32_epi8(q));  // the low bytes
    }
  }
};

}  // namespace

extern const interior_fn interior_avx512 = interior_wide<avx512>;

}  // namespace quelt::kernel
#endif
