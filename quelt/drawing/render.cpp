#include <quelt/drawing/render.h>

#include <quelt/base/trace.h>
#include <quelt/processing/process.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/blend_p.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace {

// Write target for the pixels of a line that fall off the surface: the pair of a step is always
// blended, on the surface or here. Nothing reads it with a purpose.
uint32_t safe_px_addr;

// Beyond these magnitudes a float coordinate has no fraction left and a walk would not end in
// reasonable time; lines reaching there are not drawn.
constexpr double coordinate_limit = 1125899906842624.0;  // 2^50
// A line may start this many steps before the surface and still be walked there step by step;
// farther away, it jumps to the surface's edge.
constexpr double lead_limit = 1048576.0;  // 2^20

struct line_target {
  uint8_t* pixels;
  int64_t width, height;
  uint32_t r, g, b;
};

// The over rule with the line's colour and weight w on pixel (px, py), or on the scratch word
// when the pixel lies off the surface.
inline void plot(const line_target& t, int64_t px, int64_t py, uint32_t w) {
  uint8_t* d = px >= 0 && px < t.width && py >= 0 && py < t.height ? t.pixels + (py * t.width + px) * 4
                                                                     : reinterpret_cast<uint8_t*>(&safe_px_addr);
  quelt::blend::over(d, w, t.r, t.g, t.b);
}

// The walk along the major axis a (x for a shallow line, y for a steep one) from a to a_end in
// steps of 1.0, the minor coordinate b moving by `slope` per step. Each step blends a pair of
// pixels across b: index floor(b) with weight (1 − f) × 255 and the next one with f × 255,
// f being the fraction of b.
template <bool Steep>
void walk(const line_target& t, double a, double b, double a_end, double slope) {
  const double major_size = static_cast<double>(Steep ? t.height : t.width);
  const double minor_size = static_cast<double>(Steep ? t.width : t.height);
  if (a < 0.0) {
    const double k = std::ceil(-a);  // steps until a reaches 0
    if (k > lead_limit) {
      if (a + k > a_end) return;  // the line ends before it reaches the surface
      a += k;
      b += k * slope;
    }
  }
  for (;;) {
    // Once b has left the surface and keeps going away, nothing more can land.
    if ((slope >= 0.0 && b >= minor_size) || (slope <= 0.0 && b < -1.0)) break;
    if (a >= 0.0) {
      if (a >= major_size) break;  // past the far edge, and a only grows
      const int64_t ia = static_cast<int64_t>(a);
      const double fb = std::floor(b);
      const double f = b - fb;
      const int64_t ib = static_cast<int64_t>(fb);
      // Above 0 the neighbour is where b + 1 truncates to; below, where b + 1 rounds down to,
      // which keeps the pair two distinct pixels with weights in 0..255.
      const int64_t ib2 = b >= 0.0 ? static_cast<int64_t>(b + 1.0) : ib + 1;
      const uint32_t w1 = static_cast<uint32_t>((1.0 - f) * 255.0);
      const uint32_t w2 = static_cast<uint32_t>(f * 255.0);
      if constexpr (Steep) {
        plot(t, ib, ia, w1);
        plot(t, ib2, ia, w2);
      } else {
        plot(t, ia, ib, w1);
        plot(t, ia, ib2, w2);
      }
    }
    a += 1.0;
    if (a_end < a) break;
    b += slope;
  }
}

}  // namespace

extern "C" {

int32_t sf_line(sf_surface* surface, float x0, float y0, float x1, float y1, uint32_t color) {
  color &= 0xFFFFFFu;
  double ax = x0, ay = y0, bx = x1, by = y1;
  for (double v : {ax, ay, bx, by})
    if (!(std::fabs(v) <= coordinate_limit)) return 1;
  if (!surface->pixels || surface->width <= 0 || surface->height <= 0 || surface->bytes_per_pixel != 4) return 1;
  const line_target t{surface->pixels, surface->width, surface->height, (color >> 16) & 0xFF, (color >> 8) & 0xFF,
                      color & 0xFF};
  if (ax > bx) {
    std::swap(ax, bx);
    std::swap(ay, by);
  }
  const double dx = bx - ax, dy = by - ay;
  // Below 1 in magnitude the line is shallow; a slope of ±1, a vertical line (infinite) and a
  // point (not a number) walk along y.
  if (std::fabs(dy / dx) < 1.0) {
    walk<false>(t, ax, ay, bx, dy / dx);
  } else {
    if (ay > by) {
      std::swap(ax, bx);
      std::swap(ay, by);
    }
    walk<true>(t, ay, ax, by, (bx - ax) / (by - ay));
  }
  return 1;
}

int32_t sf_render_ring(sf_surface* surface, float radius, float thickness) {
  // A size that is not a number, negative or too large is handed on as −1, which sf_create
  // refuses like any buffer it cannot make.
  const double s = std::trunc(2.0 * static_cast<double>(radius) + 2.0);
  const int32_t size = s >= 0.0 && s <= 2147483647.0 ? static_cast<int32_t>(s) : -1;
  if (!sf_create(surface, size, size, 1)) return QUELT_FAILED("");
  // A thickness of 0 or less puts the hole below every distance: a disc.
  const float inner = thickness > 0.0f ? static_cast<float>(static_cast<double>(radius) - thickness) : -2.0f;
  const double r = radius, in = inner;
  // Coverage of a pixel at squared distance dist2 from the centre.
  const auto coverage = [r, in](int64_t dist2) -> uint8_t {
    const double d = static_cast<float>(std::sqrt(static_cast<double>(dist2)));
    if (d < in || d > r) return 0;
    float e;
    if (d <= in + 1.0)
      e = static_cast<float>(in - d);  // inner band
    else if (d >= r - 1.0)
      e = static_cast<float>(d - r);  // outer band
    else
      return 255;
    // e lies in −1..0, so v × 255 lies in 256..511: its low 8 bits make the ramp from 0 at the
    // boundary to 255 one pixel inside.
    const float v = static_cast<float>(1.0 - (static_cast<double>(e) - 0.005));
    return static_cast<uint8_t>(static_cast<uint32_t>(static_cast<double>(v) * 255.0));
  };
  // The centre is (c, c). The quarter from the centre to the bottom right is worked out (half of
  // it, the other half mirrored across the diagonal) and mirrored to the left and upwards; only
  // the first column and row of an even size have no mirror image and are worked out on their own.
  const int64_t n = size, c = n / 2, far = n - 1 - c;
  uint8_t* const px = surface->pixels;
  for (int64_t ky = 0; ky <= far && n > 0; ++ky) {
    uint8_t* row = px + (c + ky) * n;
    // Left of the diagonal, (kx, ky) has the value of (ky, kx), in a row already done.
    for (int64_t kx = 0; kx <= far; ++kx)
      row[c + kx] = kx < ky ? px[(c + kx) * n + c + ky] : coverage(kx * kx + ky * ky);
    for (int64_t kx = 1; kx <= c; ++kx) row[c - kx] = kx <= far ? row[c + kx] : coverage(kx * kx + ky * ky);
  }
  for (int64_t ky = 1; ky <= c; ++ky) {
    uint8_t* row = px + (c - ky) * n;
    if (ky <= far)
      std::memcpy(row, px + (c + ky) * n, static_cast<size_t>(n));
    else
      for (int64_t x = 0; x < n; ++x) row[x] = coverage((x - c) * (x - c) + ky * ky);
  }
  sf_smooth(surface);
  sf_strip(surface);
  return 1;
}

}  // extern "C"
