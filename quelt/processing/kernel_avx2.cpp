// sf_kernel's interior for AVX2: 16 output bytes a block, four doubles per register.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <cstring>

#include <quelt/processing/kernel_wide_p.h>

namespace quelt::kernel {
namespace {

struct avx2 {
  using D = __m256d;
  static constexpr int U = 4;
  static constexpr size_t B = 16;

  static D zero() { return _mm256_setzero_pd(); }
  static D set1(double x) { return _mm256_set1_pd(x); }
  static D madd(D a, D w, D x) { return _mm256_fmadd_pd(w, x, a); }
  static void widen(const uint8_t* p, D* x) {
    for (int u = 0; u < U; ++u) {
      int32_t four;
      std::memcpy(&four, p + 4 * u, 4);
      x[u] = _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
    }
  }
  // to_byte on each lane, without branches, as at the SSE2 level.
  static __m128i truncated(D a, D sum) {
    const D top = _mm256_set1_pd(255.0), limit = _mm256_set1_pd(32768.0);
    const D magnitude = _mm256_castsi256_pd(_mm256_set1_epi64x(0x7FFFFFFFFFFFFFFF));
    const D v = _mm256_div_pd(a, sum);
    const D m = _mm256_and_pd(v, magnitude);
    const D keep = _mm256_and_pd(_mm256_cmp_pd(m, limit, _CMP_LT_OQ), _mm256_cmp_pd(v, top, _CMP_LE_OQ));
    const D picked = _mm256_or_pd(_mm256_and_pd(m, keep), _mm256_and_pd(top, _mm256_cmp_pd(v, top, _CMP_GT_OQ)));
    return _mm_and_si128(_mm256_cvttpd_epi32(picked), _mm_set1_epi32(0xFF));
  }
  static void finish(uint8_t* out, const D* a, double s) {
    const D sum = _mm256_set1_pd(s);
    const __m128i w0 = _mm_packs_epi32(truncated(a[0], sum), truncated(a[1], sum));  // 0..255: no saturation
    const __m128i w1 = _mm_packs_epi32(truncated(a[2], sum), truncated(a[3], sum));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(w0, w1));
  }
};

}  // namespace

extern const interior_fn interior_avx2 = interior_wide<avx2>;

}  // namespace quelt::kernel
#endif
