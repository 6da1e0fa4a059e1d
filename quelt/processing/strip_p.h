// The skip table's encoding, written and read here alone. Byte i of a row is, for an empty pixel
// (all bytes 0), the number of empty pixels from it to the end of its run, itself included,
// modulo 256; for any other pixel it is 0. The builders of sf_strip below write it; the blend
// walks read it through walk_row and its block and stretch forms, which process exactly the
// pixels that this reading gives:
//
//   c = 0; while c < w: c += k[c]; if c >= w: stop; process pixel c; c += 1
//
// A byte is only read at a place reached by a step: the pixel reached by a jump is processed
// without a look at its own byte.
#pragma once

#include <quelt/surface/surface.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace quelt::strip {
// Internal linkage: the copies compiled for different instruction sets never stand in for each
// other.
namespace {

// Writes the run of `length` empty pixels that ends before `end`: L, L − 1, ..., 1, modulo 256.
inline void write_run(uint8_t* end, int32_t length) {
  uint8_t* p = end - length;
  for (; length > 0; --length) *p++ = static_cast<uint8_t>(length);
}

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

inline void build_scalar_rows(const sf_surface* s) {
  std::memset(s->strip, 0, static_cast<size_t>(s->width) * static_cast<size_t>(s->height));
  switch (s->bytes_per_pixel) {
    case 1: build<1>(s); break;
    case 3: build<3>(s); break;
    case 4: build<4>(s); break;
    default: build<0>(s); break;
  }
}

inline void build_wide_rows(const sf_surface* s) {
#if defined(__SSE2__)
  if (s->bytes_per_pixel == 1) return build_rows_wide<1>(s);
  if (s->bytes_per_pixel == 4) return build_rows_wide<4>(s);
#endif
  build_scalar_rows(s);
}

// Calls px(c) for every column c of a row of w pixels that the walk processes.
template <class Px>
inline void walk_row(const uint8_t* k, int32_t w, Px px) {
  for (int32_t c = 0; c < w; ++c) {
    c += k[c];
    if (c >= w) break;
    px(c);
  }
}

// Calls stretch(c, e) for every stretch [c, e) of processed pixels of a row: the pixel that the
// walk lands on and those after it whose byte is 0. `next_nonzero(k, i, w)` gives the first index
// from i on below w whose byte isn't 0, else w.
template <class NextNonzero, class Stretch>
inline void walk_row_stretches(const uint8_t* k, int32_t w, NextNonzero next_nonzero, Stretch stretch) {
  int32_t c = 0;
  while (c < w) {
    c += k[c];
    if (c >= w) break;
    const int32_t e = next_nonzero(k, c + 1, w);
    stretch(c, e);
    c = e;
  }
}

#if defined(__SSE2__)
// Looks at the n <= 16 bytes from c on (w bytes in the row): sets the bits of those that aren't 0
// in nz and tells whether each of them is followed by itself minus one, as in the runs that the
// builders write (1 is followed by 0). For such bytes the walk processes exactly the pixels whose
// byte is 0: a jump from inside a run lands on the run's next 0, which comes where the remaining
// count is a multiple of 256, or on the pixel after the run.
inline bool runs_block(const uint8_t* k, int32_t c, int32_t w, int32_t n, uint32_t& nz) {
  if (n == 16 && c + 17 <= w) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(k + c));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(k + c + 1));
    nz = ~static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, _mm_setzero_si128()))) & 0xFFFF;
    const uint32_t step =
        static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_sub_epi8(a, _mm_set1_epi8(1)), b)));
    return (nz & ~step) == 0;
  }
  nz = 0;
  bool runs = true;
  for (int32_t i = 0; i < n; ++i) {
    if (!k[c + i]) continue;
    nz |= 1u << i;
    if (c + i + 1 < w && static_cast<uint8_t>(k[c + i] - 1) != k[c + i + 1]) runs = false;
  }
  return runs;
}
#endif

// The walk of a row in blocks of up to 16 pixels: calls block(c, n, m) with the block's first
// column c, its size n and the bits m of the pixels in it that the walk processes. The walk's
// jumps are taken as it takes them. When the block's bytes are runs (`runs(k, c, w, n, nz)`, as
// runs_block), those are the pixel at c and the pixels whose byte is 0, and a jump from the block
// past its end lands where a jump from the next block's first byte lands; else the block is read
// step by step.
template <class Runs, class Block>
inline void walk_row_blocks(const uint8_t* k, int32_t w, Runs runs, Block block) {
  int32_t c = 0;
  bool landed = false;  // c was reached by a jump: processed without a look at its byte
  while (c < w) {
    if (!landed && k[c]) {
      c += k[c];
      if (c >= w) return;
    }
    // The pixel at c is processed now: it was landed on, or its byte is 0.
    landed = false;
    const int32_t n = w - c < 16 ? w - c : 16;
    uint32_t nz, m;
    int32_t p;
    if (runs(k, c, w, n, nz)) {
      m = (~nz | 1u) & ((1u << n) - 1);
      p = n;
    } else {
      m = 1;
      p = 1;
      while (p < n) {
        const uint32_t rest = nz >> p;
        const int32_t zeros = rest ? __builtin_ctz(rest) : n - p;
        m |= ((1u << zeros) - 1) << p;
        p += zeros;
        if (p >= n) break;
        p += k[c + p];
        if (p >= n) {
          landed = true;
          break;
        }
        m |= 1u << p;
        ++p;
      }
    }
    block(c, n, m);
    c += p;
  }
}

}  // namespace
}  // namespace quelt::strip
