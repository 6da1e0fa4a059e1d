// sf_kernel's interior for SSE2: 8 output bytes a block, two doubles per register.
#if defined(__x86_64__) || defined(__i386__)

#include <emmintrin.h>

#include <quelt/processing/kernel_wide_p.h>

namespace quelt::kernel {
namespace {

struct sse2 {
  using D = __m128d;
  static constexpr int U = 4;
  static constexpr size_t B = 8;

  static D zero() { return _mm_setzero_pd(); }
  static D set1(double x) { return _mm_set1_pd(x); }
  static D madd(D a, D w, D x) { return _mm_add_pd(a, _mm_mul_pd(w, x)); }
  static void widen(const uint8_t* p, D* x) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i h = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), zero);
    const __m128i lo = _mm_unpacklo_epi16(h, zero), hi = _mm_unpackhi_epi16(h, zero);
    x[0] = _mm_cvtepi32_pd(lo);
    x[1] = _mm_cvtepi32_pd(_mm_srli_si128(lo, 8));
    x[2] = _mm_cvtepi32_pd(hi);
    x[3] = _mm_cvtepi32_pd(_mm_srli_si128(hi, 8));
  }
  // to_byte on each lane, without branches: 255 where v > 255, else |v| where it is below
  // 32768, else 0. The two cases never overlap, so OR-ing their bit patterns picks the live one;
  // every comparison is false for NaN, which thus gives 0.
  static __m128i truncated(D a, D sum) {
    const D top = _mm_set1_pd(255.0), limit = _mm_set1_pd(32768.0);
    const D magnitude = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
    const D v = _mm_div_pd(a, sum);
    const D m = _mm_and_pd(v, magnitude);
    const D keep = _mm_and_pd(_mm_cmplt_pd(m, limit), _mm_cmple_pd(v, top));
    return _mm_cvttpd_epi32(_mm_or_pd(_mm_and_pd(m, keep), _mm_and_pd(top, _mm_cmpgt_pd(v, top))));
  }
  static void finish(uint8_t* out, const D* a, double s) {
    const D sum = _mm_set1_pd(s);
    const __m128i low = _mm_set1_epi32(0xFF);
    const __m128i q0 = _mm_and_si128(_mm_unpacklo_epi64(truncated(a[0], sum), truncated(a[1], sum)), low);
    const __m128i q1 = _mm_and_si128(_mm_unpacklo_epi64(truncated(a[2], sum), truncated(a[3], sum)), low);
    const __m128i words = _mm_packs_epi32(q0, q1);  // 0..255: no saturation happens
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
  }
};

}  // namespace

extern const interior_fn interior_sse2 = interior_wide<sse2>;

}  // namespace quelt::kernel
#endif
