// The kernels and fill for AVX-512 (F, BW, VL): 16 pixels a step, and every tail and short
// stretch of a skip table in one masked step, whose loads never touch the bytes masked out.
#if defined(__x86_64__) || defined(__i386__)

// GCC 12 reports the deliberately undefined source operand inside some AVX-512 intrinsics.
#if defined(__GNUC__) && !defined(__clang__)
#  pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quelt::blend {
namespace {

constexpr char Z = static_cast<char>(0x80);  // a shuffle index that gives 0

// Shuffles are per 128-bit lane; these repeat one lane's pattern.
__m512i lanes(__m128i pattern) { return _mm512_broadcast_i32x4(pattern); }

struct avx512 {
  using V = __m512i;
  static constexpr size_t N = 16;
  static constexpr bool masked = true;

  static __mmask16 first(size_t n) { return static_cast<__mmask16>((1u << n) - 1); }  // n < 16
  static __mmask64 first_bytes(size_t n) { return n >= 64 ? ~0ull : (1ull << n) - 1; }

  static V load(const void* p) { return _mm512_loadu_si512(p); }
  static void store(void* p, V v) { _mm512_storeu_si512(p, v); }
  static V load_part(const void* p, size_t n) { return _mm512_maskz_loadu_epi32(first(n), p); }
  static void store_part(void* p, V v, size_t n) { _mm512_mask_storeu_epi32(p, first(n), v); }
  static void store_bits(void* p, V v, uint32_t m) { _mm512_mask_storeu_epi32(p, static_cast<__mmask16>(m), v); }
  static V set32(uint32_t x) { return _mm512_set1_epi32(static_cast<int>(x)); }
  static V and_(V a, V b) { return _mm512_and_si512(a, b); }
  static V or_(V a, V b) { return _mm512_or_si512(a, b); }
  static V xor_(V a, V b) { return _mm512_xor_si512(a, b); }
  static V add16(V a, V b) { return _mm512_add_epi16(a, b); }
  static V mullo16(V a, V b) { return _mm512_mullo_epi16(a, b); }
  static V mulhi16(V a, V b) { return _mm512_mulhi_epu16(a, b); }
  template <int K>
  static V srl16(V a) {
    return _mm512_srli_epi16(a, K);
  }
  // a | (b & m) in one instruction.
  static V or_and(V a, V b, V m) { return _mm512_ternarylogic_epi32(a, b, m, 0xF8); }

  static V alpha_weight(V s) {
    return _mm512_shuffle_epi8(s, lanes(_mm_setr_epi8(3, Z, 3, Z, 7, Z, 7, Z, 11, Z, 11, Z, 15, Z, 15, Z)));
  }
  // 16 coverage bytes in every lane; lane k takes bytes 4k to 4k + 3.
  static V spread(__m128i m) {
    const V ctl = _mm512_inserti64x4(
        _mm512_castsi256_si512(_mm256_setr_epi8(0, Z, 0, Z, 1, Z, 1, Z, 2, Z, 2, Z, 3, Z, 3, Z,  //
                                                4, Z, 4, Z, 5, Z, 5, Z, 6, Z, 6, Z, 7, Z, 7, Z)),
        _mm256_setr_epi8(8, Z, 8, Z, 9, Z, 9, Z, 10, Z, 10, Z, 11, Z, 11, Z,  //
                         12, Z, 12, Z, 13, Z, 13, Z, 14, Z, 14, Z, 15, Z, 15, Z),
        1);
    return _mm512_shuffle_epi8(lanes(m), ctl);
  }
  static V mask_weight(const uint8_t* m) { return spread(_mm_loadu_si128(reinterpret_cast<const __m128i*>(m))); }
  static V mask_weight_part(const uint8_t* m, size_t n) { return spread(_mm_maskz_loadu_epi8(first(n), m)); }

  // 48 bytes of 3-byte pixels: dwords 3k to 3k + 3 go to lane k, so that each lane starts with
  // its four pixels; then one shuffle per weight set.
  static void lcd_from(V v, V& we, V& wo) {
    v = _mm512_permutexvar_epi32(_mm512_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11, 12), v);
    we = _mm512_shuffle_epi8(v, lanes(_mm_setr_epi8(2, Z, 0, Z, 5, Z, 3, Z, 8, Z, 6, Z, 11, Z, 9, Z)));
    wo = _mm512_shuffle_epi8(v, lanes(_mm_setr_epi8(1, Z, Z, Z, 4, Z, Z, Z, 7, Z, Z, Z, 10, Z, Z, Z)));
  }
  // Exactly 48 bytes: 32 and 16, unmasked (a masked load costs more here).
  static void lcd(const uint8_t* s, V& we, V& wo) {
    const V v = _mm512_inserti32x4(_mm512_zextsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s))),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32)), 2);
    lcd_from(v, we, wo);
  }
  static void lcd_part(const uint8_t* s, size_t n, V& we, V& wo) {
    lcd_from(_mm512_maskz_loadu_epi8(first_bytes(3 * n), s), we, wo);
  }

  static int32_t next_nonzero(const uint8_t* k, int32_t i, int32_t w) {
    while (i < w) {
      const size_t left = static_cast<size_t>(w - i);
      const V v = left >= 64 ? load(k + i) : _mm512_maskz_loadu_epi8(first_bytes(left), k + i);
      const __mmask64 set = _mm512_test_epi8_mask(v, v);
      if (set) return i + static_cast<int32_t>(__builtin_ctzll(set));
      i += 64;
    }
    return w;
  }

  // See strip_block in blend_wide_p.h; masked loads read nothing past the row.
  static bool strip_block(const uint8_t* k, int32_t c, int32_t w, int32_t n, uint32_t& nz) {
    const int32_t next = w - c - 1 < n ? w - c - 1 : n;  // bytes that have a successor in the row
    const __m128i a = _mm_maskz_loadu_epi8(first(static_cast<size_t>(n)), k + c);
    const __m128i b = _mm_maskz_loadu_epi8(first(static_cast<size_t>(next)), k + c + 1);
    const uint32_t set = _mm_test_epi8_mask(a, a);
    const uint32_t step = _mm_cmpeq_epi8_mask(_mm_sub_epi8(a, _mm_set1_epi8(1)), b);
    nz = set;
    return (set & ~step & first(static_cast<size_t>(next))) == 0;
  }

  static void copy(uint8_t* d, const uint8_t* s, size_t bytes) {
    if (bytes <= 64) {
      const __mmask64 m = first_bytes(bytes);
      _mm512_mask_storeu_epi8(d, m, _mm512_maskz_loadu_epi8(m, s));
    } else {
      std::memcpy(d, s, bytes);
    }
  }

};

}  // namespace
}  // namespace quelt::blend

#include <quelt/surface/blend_wide_p.h>

namespace quelt::blend {
extern const blend_ops avx512_ops = make_ops<avx512>();
}

#endif
