// The kernels and the fill of a wide level, written once over a vector policy `S` that each
// level's translation unit defines before it includes this file:
//
//   V, N              the vector type and the number of 4-byte pixels that it holds
//   load, store, set32, and_, or_, xor_, add16, mullo16, mulhi16, srl16<k>, or_and(a, b, m)
//   alpha_weight(s)   each pixel's alpha byte in both of its 16-bit halves
//   mask_weight(m)    N coverage bytes, each in both 16-bit halves of its pixel
//   lcd(s, we, wo)    from N 3-byte pixels: we = (s2, s0), wo = (s1, 0) in the 16-bit halves
//   next_nonzero(k, i, w)  the first index from i on below w whose byte isn't 0, else w
//   copy(d, s, bytes)
//   masked            true when partial vectors load and store under a mask; then N is 16 and
//                     load_part, store_part, mask_weight_part, lcd_part (n < N pixels),
//                     store_bits (the pixels of a bit mask) and strip_block exist; else
//                     select(m, v, old) picks pixels by the bits of m, and tails go pixel by pixel
//
// Every pixel goes through the same arithmetic as the scalar reference, so the results are the
// same bytes. Everything here has internal linkage: the code compiled for one level must never
// stand in for another level's at link time.
#pragma once

#include <quelt/processing/strip_p.h>
#include <quelt/surface/blend_p.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quelt::blend {
namespace {

// Pixels are worked on as two sets of 16-bit lanes: the even bytes (blue, red) shifted down to
// the low byte of each lane, and the odd bytes (green, alpha). A product of two bytes fits a
// lane, and so does the sum of the over rule: old × (255 − w) + source × w <= 255 × 255.
//
// The alpha line of the over rule, ((old × (255 − w)) >> 8) + w, equals
// (old × (255 − w) + 256 × w) >> 8, because 256 × w adds whole units above the shift; its sum is
// at most 255 × 255 + 255, still inside a lane. So alpha takes the colour lines' form with the
// source value 256, and all four bytes of a pixel are one multiply-add.
template <class S>
struct wide {
  using V = typename S::V;

  // new = (old × (255 − w) + source × w) >> 8 on every byte. w holds each pixel's weight in
  // both 16-bit halves; se holds the source's blue and red, so its green and 256 for alpha.
  static V over(V d, V w, V se, V so) {
    const V iw = S::xor_(w, S::set32(0x00FF00FF));
    const V re = S::template srl16<8>(
        S::add16(S::mullo16(S::and_(d, S::set32(0x00FF00FF)), iw), S::mullo16(se, w)));
    const V ro = S::add16(S::mullo16(S::template srl16<8>(d), iw), S::mullo16(so, w));
    return S::or_and(re, ro, S::set32(0xFF00FF00));
  }

  // The same with a weight per colour channel: we for blue and red, wo for green and alpha.
  static V over2(V d, V we, V wo, V se, V so) {
    const V ff = S::set32(0x00FF00FF);
    const V re = S::template srl16<8>(
        S::add16(S::mullo16(S::and_(d, ff), S::xor_(we, ff)), S::mullo16(se, we)));
    const V ro = S::add16(S::mullo16(S::template srl16<8>(d), S::xor_(wo, ff)), S::mullo16(so, wo));
    return S::or_and(re, ro, S::set32(0xFF00FF00));
  }

  // Even and odd lanes of a 4-byte source: (blue, red) and (green, 256).
  static V even(V s) { return S::and_(s, S::set32(0x00FF00FF)); }
  static V odd_256(V s) { return S::or_and(S::set32(0x01000000), S::template srl16<8>(s), S::set32(0x0000FFFF)); }
  // Both 16-bit halves of every pixel hold x.
  static V halves(uint32_t x) { return S::set32(x | (x << 16)); }
};

// The cases of the kernels. Each gives `Bpp` (source bytes per pixel), `src`/`src_part` (what
// the vector step needs from N or from n < N source pixels), `step` (N target pixels) and `one`
// (one pixel, for levels without masks).

// 4-byte source, colour 0xFFFFFFFF: the source's alpha is the weight.
template <class S>
struct k_white {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 4;
  static V src(const uint8_t* s) { return S::load(s); }
  static V src_part(const uint8_t* s, size_t n) { return S::load_part(s, n); }
  V step(V d, V s) const { return W::over(d, S::alpha_weight(s), W::even(s), W::odd_256(s)); }
  void one(uint8_t* d, const uint8_t* s) const { over(d, s[3], s[2], s[1], s[0]); }
};

// 4-byte source, white colour with alpha a < 255: weight (sA × a) >> 8.
template <class S>
struct k_tint {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 4;
  uint32_t a;
  V a8 = W::halves(a << 8);  // (x × (a << 8)) >> 16 = (x × a) >> 8
  static V src(const uint8_t* s) { return S::load(s); }
  static V src_part(const uint8_t* s, size_t n) { return S::load_part(s, n); }
  V step(V d, V s) const { return W::over(d, S::mulhi16(S::alpha_weight(s), a8), W::even(s), W::odd_256(s)); }
  void one(uint8_t* d, const uint8_t* s) const { over(d, (s[3] * a) >> 8, s[2], s[1], s[0]); }
};

// 4-byte source, any other colour: weight (sA × a) >> 8, channels (s × c) >> 8.
template <class S>
struct k_color {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 4;
  rgba c;
  V a8 = W::halves(c.a << 8);
  V br8 = S::set32((c.r << 24) | (c.b << 8));
  V g8 = S::set32(c.g << 8);
  static V src(const uint8_t* s) { return S::load(s); }
  static V src_part(const uint8_t* s, size_t n) { return S::load_part(s, n); }
  V step(V d, V s) const {
    const V se = S::mulhi16(W::even(s), br8);
    const V so = S::or_(S::mulhi16(S::template srl16<8>(s), g8), S::set32(0x01000000));
    return W::over(d, S::mulhi16(S::alpha_weight(s), a8), se, so);
  }
  void one(uint8_t* d, const uint8_t* s) const {
    over(d, (s[3] * c.a) >> 8, (s[2] * c.r) >> 8, (s[1] * c.g) >> 8, (s[0] * c.b) >> 8);
  }
};

// 1-byte coverage, colour alpha 255: the coverage is the weight.
template <class S>
struct k_mask {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 1;
  rgba c;
  V se = S::set32((c.r << 16) | c.b);
  V so = S::set32(0x01000000 | c.g);
  static V src(const uint8_t* s) { return S::mask_weight(s); }
  static V src_part(const uint8_t* s, size_t n) { return S::mask_weight_part(s, n); }
  V step(V d, V w) const { return W::over(d, w, se, so); }
  void one(uint8_t* d, const uint8_t* s) const { over(d, s[0], c.r, c.g, c.b); }
};

// 1-byte coverage, colour alpha a < 255: weight (s × a) >> 8.
template <class S>
struct k_mask_alpha {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 1;
  rgba c;
  V se = S::set32((c.r << 16) | c.b);
  V so = S::set32(0x01000000 | c.g);
  V a8 = W::halves(c.a << 8);
  static V src(const uint8_t* s) { return S::mask_weight(s); }
  static V src_part(const uint8_t* s, size_t n) { return S::mask_weight_part(s, n); }
  V step(V d, V w) const { return W::over(d, S::mulhi16(w, a8), se, so); }
  void one(uint8_t* d, const uint8_t* s) const { over(d, (s[0] * c.a) >> 8, c.r, c.g, c.b); }
};

// 3-byte coverage: a weight per channel, (s × a) >> 8, alpha set to 255. The alpha lane gets
// weight 255 and source 256, so the rule itself gives (old × 0 + 256 × 255) >> 8 = 255.
template <class S>
struct k_lcd {
  using W = wide<S>;
  using V = typename S::V;
  static constexpr int Bpp = 3;
  struct pair {
    V we, wo;
  };
  rgba c;
  V se = S::set32((c.r << 16) | c.b);
  V so = S::set32(0x01000000 | c.g);
  V a8 = W::halves(c.a << 8);
  static pair src(const uint8_t* s) {
    pair p;
    S::lcd(s, p.we, p.wo);
    return p;
  }
  static pair src_part(const uint8_t* s, size_t n) {
    pair p;
    S::lcd_part(s, n, p.we, p.wo);
    return p;
  }
  V step(V d, const pair& w) const {
    const V wo = S::or_(S::mulhi16(w.wo, a8), S::set32(0x00FF0000));
    return W::over2(d, S::mulhi16(w.we, a8), wo, se, so);
  }
  void one(uint8_t* d, const uint8_t* s) const { over_lcd(d, s, c.a, c.r, c.g, c.b); }
};

// n contiguous pixels of one case: whole vectors, then the tail under a mask or one by one.
template <class S, class K>
struct blend_span {
  K k;
  void operator()(uint8_t* d, const uint8_t* s, size_t n) const {
    size_t i = 0;
    // On long stretches the target's vectors are aligned first, so that no load or store of the
    // loop straddles two cache lines.
    if (n >= 4 * S::N && reinterpret_cast<uintptr_t>(d) % 4 == 0) {
      const size_t head = ((0 - reinterpret_cast<uintptr_t>(d)) % (S::N * 4)) / 4;
      if constexpr (S::masked) {
        if (head) S::store_part(d, k.step(S::load_part(d, head), K::src_part(s, head)), head);
        i = head;
      } else {
        for (; i < head; ++i) k.one(d + i * 4, s + i * K::Bpp);
      }
    }
    for (; i + S::N <= n; i += S::N) {
      uint8_t* p = d + i * 4;
      S::store(p, k.step(S::load(p), K::src(s + i * K::Bpp)));
    }
    if (i == n) return;
    if constexpr (S::masked) {
      uint8_t* p = d + i * 4;
      S::store_part(p, k.step(S::load_part(p, n - i), K::src_part(s + i * K::Bpp, n - i)), n - i);
    } else {
      for (; i < n; ++i) k.one(d + i * 4, s + i * K::Bpp);
    }
  }
};

// Up to 16 pixels of one case, of which those whose bit is set in `m` are processed and the
// others keep their bytes. `n` pixels, all inside the rectangles, may be read.
template <class S, class K>
__attribute__((always_inline)) inline void blend_block(const K& k, uint8_t* d, const uint8_t* s, size_t n, uint32_t m) {
  if constexpr (S::masked) {
    static_assert(S::N == 16);
    // Whole blocks load without a mask, which is cheaper.
    if (n == S::N)
      S::store_bits(d, k.step(S::load(d), K::src(s)), m);
    else
      S::store_bits(d, k.step(S::load_part(d, n), K::src_part(s, n)), m);
  } else {
    constexpr uint32_t all = (1u << S::N) - 1;
    for (size_t i = 0; i < n; i += S::N) {
      const uint32_t mi = (m >> i) & all;
      if (!mi) continue;
      uint8_t* p = d + i * 4;
      if (i + S::N <= n) {
        const typename S::V old = S::load(p), v = k.step(old, K::src(s + i * K::Bpp));
        S::store(p, mi == all ? v : S::select(mi, v, old));
      } else {
        for (size_t j = i; j < n; ++j)
          if (m >> j & 1) k.one(d + j * 4, s + j * K::Bpp);
      }
    }
  }
}

// One row over a skip table, in blocks of 16 pixels: the pixels that the walk processes inside a
// block are blended in one masked step.
// Whether the n <= 16 strip bytes from c on are runs (strip::runs_block), in the level's own
// instructions where it has them.
template <class S>
bool strip_block(const uint8_t* t, int32_t c, int32_t w, int32_t n, uint32_t& nz) {
  if constexpr (S::masked)
    return S::strip_block(t, c, w, n, nz);
  else
    return strip::runs_block(t, c, w, n, nz);
}

template <class S, class K>
void blend_strip_row(const K& k, uint8_t* d, const uint8_t* s, const uint8_t* strip, int32_t w) {
  strip::walk_row_blocks(strip, w, strip_block<S>, [&](int32_t c, int32_t n, uint32_t m) {
    blend_block<S>(k, d + static_cast<size_t>(c) * 4, s + static_cast<size_t>(c) * K::Bpp, static_cast<size_t>(n), m);
  });
}

// A row of at most 16 pixels over a skip table, as glyph rows mostly are. When its bytes are runs
// (strip_block), the walk processes exactly the pixels whose byte is 0: a jump from the first
// byte lands on the first of them, or past the row. They go in one masked step, or none at all.
template <class S, class K>
void blend_short_row(const K& k, uint8_t* d, const uint8_t* s, const uint8_t* strip, int32_t w) {
  uint32_t nz;
  if (!strip_block<S>(strip, 0, w, w, nz)) return blend_strip_row<S>(k, d, s, strip, w);
  const uint32_t m = ~nz & ((1u << w) - 1);
  if (m) blend_block<S>(k, d, s, static_cast<size_t>(w), m);
}

// A copy over a skip table goes a stretch at a time: the pixel the walk lands on and those after
// it whose strip byte is 0.
template <class S, int Bpp>
struct copy_span {
  void operator()(uint8_t* d, const uint8_t* s, size_t n) const { S::copy(d, s, n * Bpp); }
};

template <class S, int Bpp>
void copy_strip_row(uint8_t* d, const uint8_t* s, const uint8_t* strip, int32_t w) {
  strip::walk_row_stretches(strip, w, S::next_nonzero, [&](int32_t c, int32_t e) {
    S::copy(d + static_cast<size_t>(c) * Bpp, s + static_cast<size_t>(c) * Bpp, static_cast<size_t>(e - c) * Bpp);
  });
}

// The reference walk over whole rows. Without a skip table a row is one stretch, and rows that
// follow each other in both surfaces are one; with a table, `row` walks each row.
template <int DstBpp, int SrcBpp, class Span, class Row>
void walk(sf_surface* dst, const sf_rect& dr, const sf_surface* src, const sf_rect& sr, const Span& span,
          const Row& row) {
  const int32_t w = dr.right - dr.left, h = dr.bottom - dr.top;
  if (w <= 0 || h <= 0) return;
  const size_t dw = static_cast<size_t>(dst->width), sw = static_cast<size_t>(src->width);
  uint8_t* d = dst->pixels + (static_cast<size_t>(dr.top) * dw + static_cast<size_t>(dr.left)) * DstBpp;
  const uint8_t* s = src->pixels + (static_cast<size_t>(sr.top) * sw + static_cast<size_t>(sr.left)) * SrcBpp;
  if (!src->strip) {
    if (dw == static_cast<size_t>(w) && sw == static_cast<size_t>(w)) {
      span(d, s, static_cast<size_t>(w) * static_cast<size_t>(h));
      return;
    }
    for (int32_t r = 0; r < h; ++r, d += dw * DstBpp, s += sw * SrcBpp) span(d, s, static_cast<size_t>(w));
    return;
  }
  const uint8_t* k = src->strip + static_cast<size_t>(sr.top) * sw + static_cast<size_t>(sr.left);
  for (int32_t r = 0; r < h; ++r, d += dw * DstBpp, s += sw * SrcBpp, k += sw) row(d, s, k, w);
}

template <class S, class K>
void run(sf_surface* dst, const sf_rect& dr, const sf_surface* src, const sf_rect& sr, const K& k) {
  walk<4, K::Bpp>(dst, dr, src, sr, blend_span<S, K>{k},
                  [&k](uint8_t* d, const uint8_t* s, const uint8_t* strip, int32_t w) {
                    if constexpr (S::masked)
                      if (w <= 16) return blend_short_row<S>(k, d, s, strip, w);
                    blend_strip_row<S>(k, d, s, strip, w);
                  });
}

template <class S, int Bpp>
void copy_walk(sf_surface* dst, const sf_rect& dr, const sf_surface* src, const sf_rect& sr) {
  walk<Bpp, Bpp>(dst, dr, src, sr, copy_span<S, Bpp>{}, copy_strip_row<S, Bpp>);
}

template <class S>
void blend_4b4b(sf_surface* dst, sf_rect dr, sf_surface* src, sf_rect sr) {
  const uint32_t color = dst->color;
  const rgba c(color);
  if (c.a == 0) return;
  if (color == 0xFFFFFFFFu)
    run<S>(dst, dr, src, sr, k_white<S>{});
  else if ((color & 0xFFFFFFu) == 0xFFFFFFu)
    run<S>(dst, dr, src, sr, k_tint<S>{c.a});
  else
    run<S>(dst, dr, src, sr, k_color<S>{c});
}

template <class S>
void blend_4b1b(sf_surface* dst, sf_rect dr, sf_surface* src, sf_rect sr) {
  const rgba c(dst->color);
  if (c.a == 0) return;
  if (c.a == 255)
    run<S>(dst, dr, src, sr, k_mask<S>{c});
  else
    run<S>(dst, dr, src, sr, k_mask_alpha<S>{c});
}

template <class S>
void blend_4b3b(sf_surface* dst, sf_rect dr, sf_surface* src, sf_rect sr) {
  const rgba c(dst->color);
  if (c.a == 0) return;
  run<S>(dst, dr, src, sr, k_lcd<S>{c});
}

template <class S>
void blend_copy(sf_surface* dst, sf_rect dr, sf_surface* src, sf_rect sr) {
  if (dst->bytes_per_pixel != src->bytes_per_pixel) return;
  switch (dst->bytes_per_pixel) {
    case 1: copy_walk<S, 1>(dst, dr, src, sr); break;
    case 2: copy_walk<S, 2>(dst, dr, src, sr); break;
    case 3: copy_walk<S, 3>(dst, dr, src, sr); break;
    case 4: copy_walk<S, 4>(dst, dr, src, sr); break;
    default: break;
  }
}

// Translucent fill: the over rule with w = a and the colour as source, whose products are the
// same for every pixel: new = (old × (255 − a) + c × a) >> 8, alpha with 256 × a. A case
// without a source, for blend_span.
template <class S>
struct k_fill {
  using V = typename S::V;
  static constexpr int Bpp = 0;
  rgba c;
  V ia = wide<S>::halves(255 - c.a);
  V ke = S::set32(((c.r * c.a) << 16) | (c.b * c.a));
  V ko = S::set32(((256 * c.a) << 16) | (c.g * c.a));
  static int src(const uint8_t*) { return 0; }
  static int src_part(const uint8_t*, size_t) { return 0; }
  V step(V d, int) const {
    const V re = S::template srl16<8>(S::add16(S::mullo16(S::and_(d, S::set32(0x00FF00FF)), ia), ke));
    const V ro = S::add16(S::mullo16(S::template srl16<8>(d), ia), ko);
    return S::or_and(re, ro, S::set32(0xFF00FF00));
  }
  void one(uint8_t* p, const uint8_t*) const { over(p, c.a, c.r, c.g, c.b); }
};

// Beyond the second-level cache an opaque fill goes through the processor's string store, which
// writes whole cache lines without reading them first; vector stores win below that.
constexpr size_t string_store_bytes = 1 << 20;

inline void string_store(uint8_t* d, size_t n, uint32_t color) {
#if defined(__x86_64__)
  if (reinterpret_cast<uintptr_t>(d) % 8) {
    std::memcpy(d, &color, 4);
    d += 4;
    --n;
  }
  const uint64_t pair = color | static_cast<uint64_t>(color) << 32;
  size_t count = n / 2;
  __asm__ volatile("rep stosq" : "+D"(d), "+c"(count) : "a"(pair) : "memory");
  if (n % 2) std::memcpy(d, &color, 4);
#else
  size_t count = n;
  __asm__ volatile("rep stosl" : "+D"(d), "+c"(count) : "a"(color) : "memory");
#endif
}

// Opaque fill stores the colour word; storing a pixel twice does no harm, so the first and the
// last vector may overlap the aligned ones between them.
template <class S>
void fill_opaque(uint8_t* d, size_t n, uint32_t color) {
  if (n * 4 >= string_store_bytes) return string_store(d, n, color);
  const typename S::V c = S::set32(color);
  if (n < S::N) {
    if constexpr (S::masked) {
      if (n) S::store_part(d, c, n);
    } else {
      for (size_t i = 0; i < n; ++i) std::memcpy(d + i * 4, &color, 4);
    }
    return;
  }
  S::store(d, c);
  size_t i = reinterpret_cast<uintptr_t>(d) % 4 ? S::N : ((0 - reinterpret_cast<uintptr_t>(d)) % (S::N * 4)) / 4;
  if (i == 0) i = S::N;
  for (; i + 2 * S::N <= n; i += 2 * S::N) {
    S::store(d + i * 4, c);
    S::store(d + i * 4 + S::N * 4, c);
  }
  for (; i + S::N <= n; i += S::N) S::store(d + i * 4, c);
  if (i < n) S::store(d + (n - S::N) * 4, c);
}

template <class S>
void fill(sf_surface* surface, sf_rect r) {
  const int32_t w = r.right - r.left, h = r.bottom - r.top;
  if (w <= 0 || h <= 0) return;
  const uint32_t color = surface->color;
  const rgba c(color);
  const size_t stride = static_cast<size_t>(surface->width) * 4;
  uint8_t* row = surface->pixels + static_cast<size_t>(r.top) * stride + static_cast<size_t>(r.left) * 4;
  // Whole rows of the surface follow each other: one stretch.
  size_t n = static_cast<size_t>(w), rows = static_cast<size_t>(h);
  if (n * 4 == stride) {
    n *= rows;
    rows = 1;
  }
  for (size_t y = 0; y < rows; ++y, row += stride) {
    if (c.a == 255)
      fill_opaque<S>(row, n, color);
    else
      blend_span<S, k_fill<S>>{k_fill<S>{c}}(row, nullptr, n);
  }
}

template <class S>
constexpr blend_ops make_ops() {
  return {blend_4b4b<S>, blend_4b1b<S>, blend_4b3b<S>, blend_copy<S>, fill<S>};
}

}  // namespace
}  // namespace quelt::blend
