#include <quelt/drawing/frame.h>

#include <quelt/base/bytes_p.h>
#include <quelt/processing/strip_p.h>
#include <quelt/surface/blend.h>

#include <algorithm>
#include <cstdint>

namespace {

// Rectangle edges are worked out in 64 bits and brought back into the 32-bit range. Clamping
// keeps the order of two edges or makes them equal, so a rectangle never grows by it, and the
// part that meets a surface is unchanged.
using quelt::clamp32;

void fill(sf_surface* s, int64_t l, int64_t t, int64_t r, int64_t b) {
  const sf_rect rect{clamp32(l), clamp32(t), clamp32(r), clamp32(b)};
  sf_fill(s, &rect);
}

// One part of a shape, the source rectangle {sl, st, sr, sb} placed at (x, y). A part that lies
// wholly off the surface would be clipped away by sf_blend: it is left out before its position
// could leave the 32-bit range.
void part(sf_surface* s, sf_surface* shape, int32_t sl, int32_t st, int32_t sr, int32_t sb, int64_t x, int64_t y) {
  if (x >= s->width || y >= s->height || x + (sr - sl) <= 0 || y + (sb - st) <= 0) return;
  const sf_rect src{sl, st, sr, sb};
  sf_blend(s, shape, &src, static_cast<int32_t>(x), static_cast<int32_t>(y), nullptr);
}

// The indices i of 0..count − 1 for which start + i lies in 0..size − 1: the steps of an edge that
// can reach the surface.
struct span {
  int64_t first, end;
};
span visible(int64_t start, int64_t count, int64_t size) {
  return {std::max<int64_t>(0, -start), std::min<int64_t>(count, size - start)};
}

// The top or bottom edge of a 1-byte shape: source column hw, rows r0 .. r1 − 1, repeated over
// `count` columns from x0, source row r landing on destination row y0 + r − r0. Blending a
// column of the shape once per destination column gives each destination row one weight all
// along it, so each row is drawn as one span by sf_fill with that weight as alpha, clipped the
// same way. A weight of 255 comes out of the blend as the colour less one step per channel,
// which the span stores as such; a weight of 0 that the skip table doesn't skip still lowers
// the target, which a fill can't do, so then it returns false having drawn nothing.
bool edge_spans(sf_surface* s, const sf_surface* shape, int32_t hw, int32_t r0, int32_t r1, int64_t x0, int64_t count,
                int64_t y0) {
  if (s->bytes_per_pixel != 4 || shape->bytes_per_pixel != 1) return false;
  const uint32_t c = s->color, a = c >> 24;
  const auto drawn = [&](int32_t r) {  // the blend walk of a column processes this source pixel
    bool walked = !shape->strip;
    if (shape->strip)
      quelt::strip::walk_row(shape->strip + static_cast<size_t>(r) * static_cast<size_t>(shape->width) + hw, 1,
                             [&](int32_t) { walked = true; });
    return walked;
  };
  const auto weight = [&](int32_t r) {
    const uint32_t v = shape->pixels[static_cast<size_t>(r) * static_cast<size_t>(shape->width) + hw];
    return a == 255 ? v : (v * a) >> 8;
  };
  if (a == 0 || count <= 0) return true;  // the kernel draws nothing at all
  for (int32_t r = r0; r < r1; ++r)
    if (drawn(r) && weight(r) == 0) return false;
  const uint32_t full = 0xFF000000u | (((((c >> 16) & 0xFF) * 255) >> 8) << 16) |
                        (((((c >> 8) & 0xFF) * 255) >> 8) << 8) | (((c & 0xFF) * 255) >> 8);
  for (int32_t r = r0; r < r1; ++r) {
    if (!drawn(r)) continue;
    const uint32_t w = weight(r);
    s->color = w == 255 ? full : (w << 24 | (c & 0xFFFFFFu));
    const int64_t y = y0 + (r - r0);
    fill(s, x0, y, x0 + count, y + 1);
  }
  s->color = c;
  return true;
}

}  // namespace

extern "C" {

void sf_frame(sf_surface* surface, const sf_rect* rect, uint32_t top_left_color, uint32_t bottom_right_color,
              int32_t thickness) {
  if (!surface->pixels) return;
  const int64_t L = rect->left, T = rect->top, R = rect->right, B = rect->bottom;
  // Every inset of the thickness runs its four passes, also past the middle of the rectangle or
  // on an empty or inverted one: a pass whose rectangle is inverted fills nothing. Each edge
  // walks only the insets whose line crosses the surface, as the others fill nothing either.
  const int64_t n = std::max(thickness, 0);
  const int64_t w = surface->width, h = surface->height;
  const span left = visible(L, n, w), top = visible(T, n, h);
  const span right = visible(w - R, n, w), bottom = visible(h - B, n, h);
  surface->color = top_left_color;
  for (int64_t i = left.first; i < left.end; ++i) fill(surface, L + i, T + i + 1, L + i + 1, B - i - 1);
  for (int64_t i = top.first; i < top.end; ++i) fill(surface, L + i, T + i, R - i - 1, T + i + 1);
  surface->color = bottom_right_color;
  for (int64_t i = right.first; i < right.end; ++i) fill(surface, R - i - 1, T + i, R - i, B - i);
  for (int64_t i = bottom.first; i < bottom.end; ++i) fill(surface, L + i, B - i - 1, R - i - 1, B - i);
}

void sf_shape(sf_surface* surface, sf_surface* shape, const sf_rect* rect) {
  const int32_t W = shape->width, H = shape->height;
  if (!surface->pixels || !shape->pixels || W <= 0 || H <= 0 || shape->bytes_per_pixel <= 0) return;
  // Near halves hw, hh; far halves fw, fh, one larger than the near ones when the size is odd.
  const int32_t hw = W / 2, hh = H / 2, fw = W - hw, fh = H - hh;
  const int64_t L = rect->left, T = rect->top, R = rect->right, B = rect->bottom;
  const int64_t n = (B - T) - H, m = (R - L) - W;  // rows and columns for the edges to span

  // The first corner always goes through sf_blend, which applies and spends the anchors.
  const sf_rect top_left{0, 0, hw, hh};
  sf_blend(surface, shape, &top_left, rect->left, rect->top, nullptr);
  part(surface, shape, 0, hh, hw, H, L, B - fh);     // bottom left
  part(surface, shape, hw, 0, W, hh, R - fw, T);     // top right
  part(surface, shape, hw, hh, W, H, R - fw, B - fh);  // bottom right

  const span rows = visible(T + hh, n, surface->height);
  for (int64_t i = rows.first; i < rows.end; ++i) part(surface, shape, 0, hh, hw, hh + 1, L, T + hh + i);  // left
  for (int64_t i = rows.first; i < rows.end; ++i) part(surface, shape, hw, hh, W, hh + 1, R - fw, T + hh + i);  // right
  const span cols = visible(L + hw, m, surface->width);
  if (!edge_spans(surface, shape, hw, 0, hh, L + hw, m, T))
    for (int64_t i = cols.first; i < cols.end; ++i) part(surface, shape, hw, 0, hw + 1, hh, L + hw + i, T);  // top
  if (!edge_spans(surface, shape, hw, hh, H, L + hw, m, B - fh))
    for (int64_t i = cols.first; i < cols.end; ++i) part(surface, shape, hw, hh, hw + 1, H, L + hw + i, B - fh);  // bottom

  // The inside in the surface's colour, its alpha scaled by the coverage at the shape's centre:
  // a disc fills it, a ring (empty at its centre) leaves it open.
  const uint32_t c = surface->color;
  const uint32_t p = shape->pixels[(static_cast<size_t>(hh) * static_cast<size_t>(W) + static_cast<size_t>(hw)) *
                                   static_cast<size_t>(shape->bytes_per_pixel)];
  surface->color = (((p * (c >> 24)) >> 8) << 24) | (c & 0xFFFFFFu);
  fill(surface, L + hw, T + hh, R - fw, B - fh);
  surface->color = c;
}

}  // extern "C"
