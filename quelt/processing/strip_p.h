// The skip table's encoding, written and read here alone. Byte i of a row is, for an empty pixel
// (all bytes 0), the number of empty pixels from it to the end of its run, itself included,
// modulo 256; for any other pixel it is 0. sf_strip's builders write it (write_run and the wide
// builder); the blend walks read it through walk_row and its block and stretch forms, which
// process exactly the pixels that this reading gives:
//
//   c = 0; while c < w: c += k[c]; if c >= w: stop; process pixel c; c += 1
//
// A byte is only read at a place reached by a step: the pixel reached by a jump is processed
// without a look at its own byte.
#pragma once

#include <cstddef>
#include <cstdint>

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
