// The over rule on one pixel, written once: the scalar kernels and fill, the tails of every wide
// level and sf_line's plots all go through it, so they give the same bytes. And the one-shot
// anchors of a target, which sf_blend and the text drawing spend.
#pragma once

#include <quelt/base/cpu_p.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace quelt::blend {
// Internal linkage: the copies compiled for different instruction sets never stand in for each
// other.
namespace {

// One 4-byte target pixel, B, G, R, A in memory, under weight w with source channels r, g, b:
// new channel = (old × (255 − w) + source × w) >> 8, new alpha = ((old × (255 − w)) >> 8) + w.
inline void over(uint8_t* d, uint32_t w, uint32_t r, uint32_t g, uint32_t b) {
  const uint32_t iw = 255 - w;
  d[0] = static_cast<uint8_t>((d[0] * iw + b * w) >> 8);
  d[1] = static_cast<uint8_t>((d[1] * iw + g * w) >> 8);
  d[2] = static_cast<uint8_t>((d[2] * iw + r * w) >> 8);
  d[3] = static_cast<uint8_t>(((d[3] * iw) >> 8) + w);
}

// The per-channel form of the 3-byte coverage kernel: each colour channel by its own weight,
// the three weights being (s × a) >> 8 of source bytes s0 (red), s1 (green), s2 (blue); alpha
// becomes 255.
inline void over_lcd(uint8_t* d, const uint8_t* s, uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  const uint32_t wr = (s[0] * a) >> 8, wg = (s[1] * a) >> 8, wb = (s[2] * a) >> 8;
  d[0] = static_cast<uint8_t>((d[0] * (255 - wb) + b * wb) >> 8);
  d[1] = static_cast<uint8_t>((d[1] * (255 - wg) + g * wg) >> 8);
  d[2] = static_cast<uint8_t>((d[2] * (255 - wr) + r * wr) >> 8);
  d[3] = 255;
}

// The four channels of a colour word 0xAARRGGBB.
struct rgba {
  uint32_t a, r, g, b;
  explicit rgba(uint32_t c) : a(c >> 24), r((c >> 16) & 0xFF), g((c >> 8) & 0xFF), b(c & 0xFF) {}
};

// Spends the anchors of `s` on something of width × height pixels: the shifts to subtract from
// its position, floor(width × anchor_x) and floor(height × anchor_y) in double, within ±2^62, a
// NaN product giving 0. Both anchors are 0.0 afterwards.
struct anchor_shift {
  int64_t x, y;
};
inline anchor_shift take_anchors(sf_surface* s, double width, double height) {
  // Anchors of 0, as in most calls (text places its glyphs itself), shift nothing.
  if (s->anchor_x == 0.0f && s->anchor_y == 0.0f) return {0, 0};
  const auto shift = [](float anchor, double extent) -> int64_t {
    const double v = std::floor(static_cast<double>(anchor) * extent);
    return std::isnan(v) ? 0 : static_cast<int64_t>(std::clamp(v, -0x1p62, 0x1p62));
  };
  const anchor_shift a{shift(s->anchor_x, width), shift(s->anchor_y, height)};
  s->anchor_x = 0.0f;
  s->anchor_y = 0.0f;
  return a;
}

}  // namespace
}  // namespace quelt::blend
