// The kernels and fill for SSE2, the level that every x86-64 processor runs: 4 pixels a step.
#if defined(__x86_64__) || defined(__i386__)

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quelt::blend {
namespace {

struct sse2 {
  using V = __m128i;
  static constexpr size_t N = 4;
  static constexpr bool masked = false;

  static V load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static void store(void* p, V v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
  static V set32(uint32_t x) { return _mm_set1_epi32(static_cast<int>(x)); }
  static V and_(V a, V b) { return _mm_and_si128(a, b); }
  static V or_(V a, V b) { return _mm_or_si128(a, b); }
  static V xor_(V a, V b) { return _mm_xor_si128(a, b); }
  static V add16(V a, V b) { return _mm_add_epi16(a, b); }
  static V mullo16(V a, V b) { return _mm_mullo_epi16(a, b); }
  static V mulhi16(V a, V b) { return _mm_mulhi_epu16(a, b); }
  template <int K>
  static V srl16(V a) {
    return _mm_srli_epi16(a, K);
  }
  static V or_and(V a, V b, V m) { return _mm_or_si128(a, _mm_and_si128(b, m)); }
  // The pixels of v whose bit is set in m (4 bits), the others of old.
  static V select(uint32_t m, V v, V old) {
    const V bits = _mm_setr_epi32(1, 2, 4, 8);
    const V take = _mm_cmpeq_epi32(_mm_and_si128(_mm_set1_epi32(static_cast<int>(m)), bits), bits);
    return _mm_or_si128(_mm_and_si128(take, v), _mm_andnot_si128(take, old));
  }

  static V alpha_weight(V s) {
    const V a = _mm_srli_epi32(s, 24);
    return _mm_or_si128(a, _mm_slli_epi32(a, 16));
  }
  static V mask_weight(const uint8_t* m) {
    uint32_t x;
    std::memcpy(&x, m, 4);
    const V b = _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(x)), _mm_setzero_si128());
    return _mm_unpacklo_epi16(b, b);
  }
  // Without a byte shuffle the 3-byte pixels are gathered by the integer unit.
  static void lcd(const uint8_t* s, V& we, V& wo) {
    we = _mm_setr_epi32(s[2] | s[0] << 16, s[5] | s[3] << 16, s[8] | s[6] << 16, s[11] | s[9] << 16);
    wo = _mm_setr_epi32(s[1], s[4], s[7], s[10]);
  }

  static int32_t next_nonzero(const uint8_t* k, int32_t i, int32_t w) {
    const V zero = _mm_setzero_si128();
    for (; i + 16 <= w; i += 16) {
      const unsigned zeros = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(load(k + i), zero)));
      if (zeros != 0xFFFF) return i + __builtin_ctz(~zeros);
    }
    while (i < w && k[i] == 0) ++i;
    return i;
  }

  static void copy(uint8_t* d, const uint8_t* s, size_t bytes) { std::memcpy(d, s, bytes); }

};

}  // namespace
}  // namespace quelt::blend

#include <quelt/surface/blend_wide_p.h>

namespace quelt::blend {
extern const blend_ops sse2_ops = make_ops<sse2>();
}

#endif
