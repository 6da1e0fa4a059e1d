// The skip-table builders: the scalar one, the reference, and on x86 the SSE2 one, which every
// x86-64 processor runs and which writes the same bytes 16 pixels at a time for 1- and 4-byte
// pixels. The encoding itself lives in strip_p.h.
#include <quelt/base/cpu_p.h>
#include <quelt/processing/strip_p.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace quelt::strip {
namespace {

// One pass per row. Bpp is the pixel size when known at compile time, 0 to use the record's.
template <int Bpp>
void build(const sf_surface* s) {
  const size_t bpp = Bpp ? Bpp : static_cast<size_t>(s->bytes_per_pixel);
  for (int32_t y = 0; y < s->height; ++y) {
    const size_t row = static_cast<size_t>(y) * static_cast<size_t>(s->width);
    uint8_t* k = s->strip + row;
    int32_t run = 0;
    for (int32_t x = 0; x < s->width; ++x) {
      const uint8_t* p = s->pixels + (row + static_cast<size_t>(x)) * bpp;
      uint8_t any = 0;
      for (size_t i = 0; i < bpp; ++i) any |= p[i];
      if (any == 0) {
        ++run;
      } else if (run) {
        write_run(k + x, run);
        run = 0;
      }
    }
    if (run) write_run(k + s->width, run);
  }
}

#if defined(__SSE2__)
// A row from its right end: the byte of an empty pixel is one more than its right neighbour's
// (modulo 256), that of a pixel that isn't empty is 0, and past the row's end counts as 0.
// Blocks of 16 pixels take the byte v that follows them; inside a block, a suffix maximum of
// (255 − i) over the pixels that aren't empty finds for every pixel i the next such pixel e,
// and its byte is e − i, or 16 + v − i when the block has none from i on.
template <int Bpp>
void row_wide(const uint8_t* p, uint8_t* k, int32_t w) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i iota = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  const __m128i rev = _mm_sub_epi8(_mm_set1_epi8(-1), iota);
  uint32_t v = 0;
  int32_t x = w;
  while (x >= 16) {
    x -= 16;
    __m128i empty;  // 0xFF for an empty pixel
    if constexpr (Bpp == 1) {
      empty = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + x)), zero);
    } else {
      const __m128i* q = reinterpret_cast<const __m128i*>(p + static_cast<size_t>(x) * 4);
      const __m128i e0 = _mm_cmpeq_epi32(_mm_loadu_si128(q), zero), e1 = _mm_cmpeq_epi32(_mm_loadu_si128(q + 1), zero);
      const __m128i e2 = _mm_cmpeq_epi32(_mm_loadu_si128(q + 2), zero), e3 = _mm_cmpeq_epi32(_mm_loadu_si128(q + 3), zero);
      empty = _mm_packs_epi16(_mm_packs_epi32(e0, e1), _mm_packs_epi32(e2, e3));
    }
    const uint32_t full = ~static_cast<uint32_t>(_mm_movemask_epi8(empty)) & 0xFFFF;  // pixels that aren't empty
    __m128i u = _mm_andnot_si128(empty, rev);
    u = _mm_max_epu8(u, _mm_srli_si128(u, 1));
    u = _mm_max_epu8(u, _mm_srli_si128(u, 2));
    u = _mm_max_epu8(u, _mm_srli_si128(u, 4));
    u = _mm_max_epu8(u, _mm_srli_si128(u, 8));
    const __m128i none = _mm_cmpeq_epi8(u, zero);
    const __m128i end = _mm_or_si128(_mm_and_si128(none, _mm_set1_epi8(static_cast<char>(16 + v))),
                                     _mm_andnot_si128(none, _mm_xor_si128(u, _mm_set1_epi8(-1))));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(k + x), _mm_sub_epi8(end, iota));
    v = full ? static_cast<uint32_t>(__builtin_ctz(full)) : (v + 16) & 0xFF;
  }
  while (x > 0) {
    --x;
    const uint8_t* q = p + static_cast<size_t>(x) * Bpp;
    uint8_t any = q[0];
    if constexpr (Bpp == 4) any |= q[1] | q[2] | q[3];
    v = any ? 0 : (v + 1) & 0xFF;
    k[x] = static_cast<uint8_t>(v);
  }
}

template <int Bpp>
void build_rows_wide(const sf_surface* s) {
  const size_t w = static_cast<size_t>(s->width);
  for (int32_t y = 0; y < s->height; ++y)
    row_wide<Bpp>(s->pixels + static_cast<size_t>(y) * w * Bpp, s->strip + static_cast<size_t>(y) * w, s->width);
}
#endif

void scalar(const sf_surface* s) {
  std::memset(s->strip, 0, static_cast<size_t>(s->width) * static_cast<size_t>(s->height));
  switch (s->bytes_per_pixel) {
    case 1: build<1>(s); break;
    case 3: build<3>(s); break;
    case 4: build<4>(s); break;
    default: build<0>(s); break;
  }
}

void wide(const sf_surface* s) {
#if defined(__SSE2__)
  if (s->bytes_per_pixel == 1) return build_rows_wide<1>(s);
  if (s->bytes_per_pixel == 4) return build_rows_wide<4>(s);
#endif
  scalar(s);
}

}  // namespace

extern const strip_fn build_scalar = scalar;
extern const strip_fn build_sse2 = wide;

}  // namespace quelt::strip
