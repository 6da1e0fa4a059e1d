// The kernels and fill for AVX2: 8 pixels a step, byte shuffles for the weights.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quelt::blend {
namespace {

constexpr char Z = static_cast<char>(0x80);  // a shuffle index that gives 0

struct avx2 {
  using V = __m256i;
  static constexpr size_t N = 8;
  static constexpr bool masked = false;

  static V load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
  static void store(void* p, V v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
  static V set32(uint32_t x) { return _mm256_set1_epi32(static_cast<int>(x)); }
  static V and_(V a, V b) { return _mm256_and_si256(a, b); }
  static V or_(V a, V b) { return _mm256_or_si256(a, b); }
  static V xor_(V a, V b) { return _mm256_xor_si256(a, b); }
  static V add16(V a, V b) { return _mm256_add_epi16(a, b); }
  static V mullo16(V a, V b) { return _mm256_mullo_epi16(a, b); }
  static V mulhi16(V a, V b) { return _mm256_mulhi_epu16(a, b); }
  template <int K>
  static V srl16(V a) {
    return _mm256_srli_epi16(a, K);
  }
  static V or_and(V a, V b, V m) { return _mm256_or_si256(a, _mm256_and_si256(b, m)); }
  // The pixels of v whose bit is set in m (8 bits), the others of old.
  static V select(uint32_t m, V v, V old) {
    const V bits = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
    const V take = _mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(static_cast<int>(m)), bits), bits);
    return _mm256_blendv_epi8(old, v, take);
  }

  static V alpha_weight(V s) {
    const V ctl = _mm256_setr_epi8(3, Z, 3, Z, 7, Z, 7, Z, 11, Z, 11, Z, 15, Z, 15, Z,  //
                                   3, Z, 3, Z, 7, Z, 7, Z, 11, Z, 11, Z, 15, Z, 15, Z);
    return _mm256_shuffle_epi8(s, ctl);
  }
  static V mask_weight(const uint8_t* m) {
    long long x;
    std::memcpy(&x, m, 8);
    const V ctl = _mm256_setr_epi8(0, Z, 0, Z, 1, Z, 1, Z, 2, Z, 2, Z, 3, Z, 3, Z,  //
                                   4, Z, 4, Z, 5, Z, 5, Z, 6, Z, 6, Z, 7, Z, 7, Z);
    return _mm256_shuffle_epi8(_mm256_set1_epi64x(x), ctl);
  }
  // 24 bytes as two overlapping halves, bytes 0-15 and 8-23, so that nothing past them is read.
  static void lcd(const uint8_t* s, V& we, V& wo) {
    const V v = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s))),
                                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 8)), 1);
    const V ce = _mm256_setr_epi8(2, Z, 0, Z, 5, Z, 3, Z, 8, Z, 6, Z, 11, Z, 9, Z,  //
                                  6, Z, 4, Z, 9, Z, 7, Z, 12, Z, 10, Z, 15, Z, 13, Z);
    const V co = _mm256_setr_epi8(1, Z, Z, Z, 4, Z, Z, Z, 7, Z, Z, Z, 10, Z, Z, Z,  //
                                  5, Z, Z, Z, 8, Z, Z, Z, 11, Z, Z, Z, 14, Z, Z, Z);
    we = _mm256_shuffle_epi8(v, ce);
    wo = _mm256_shuffle_epi8(v, co);
  }

  static int32_t next_nonzero(const uint8_t* k, int32_t i, int32_t w) {
    const V zero = _mm256_setzero_si256();
    for (; i + 32 <= w; i += 32) {
      const unsigned zeros = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(load(k + i), zero)));
      if (zeros != 0xFFFFFFFFu) return i + __builtin_ctz(~zeros);
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
extern const blend_ops avx2_ops = make_ops<avx2>();
}

#endif
