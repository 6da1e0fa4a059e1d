#include <quelt/surface/transform.h>

#include <quelt/base/trace.h>
#include <quelt/surface/blend.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

// A surface that claims a size but has no buffer behind it: nothing can be read from it.
inline bool lacks_pixels(const sf_surface& s) {
  return s.width > 0 && s.height > 0 && s.bytes_per_pixel > 0 && !s.pixels;
}

inline bool same_shape(const sf_surface& a, const sf_surface& b) {
  return a.width == b.width && a.height == b.height && a.bytes_per_pixel == b.bytes_per_pixel;
}

// Both surfaces hold pixels of one shape, so that a flip neither reads nor writes past a buffer.
inline bool flippable(const sf_surface* src, const sf_surface* dst) {
  return src->pixels && dst->pixels && dst->width > 0 && dst->height > 0 && dst->bytes_per_pixel > 0 &&
         same_shape(*src, *dst);
}

// Swaps pixels x and width − 1 − x of one row for the left half. Reading both source pixels
// before writing either makes the in-place case (s == d) a plain swap. Bpp is the pixel size when
// known at compile time, 0 to take `bpp`.
template <int Bpp>
void flip_row(const uint8_t* s, uint8_t* d, int32_t width, size_t bpp) {
  const size_t n = Bpp ? Bpp : bpp;
  for (int32_t x = 0, mirror = width - 1; x < mirror; ++x, --mirror) {
    const size_t a = static_cast<size_t>(x) * n, b = static_cast<size_t>(mirror) * n;
    for (size_t i = 0; i < n; ++i) {
      const uint8_t t = s[a + i];
      d[a + i] = s[b + i];
      d[b + i] = t;
    }
  }
}

// The eight neighbours, anticlockwise on the screen starting from the one above.
constexpr int32_t kNear[8][2] = {{0, -1}, {-1, -1}, {-1, 0}, {-1, 1}, {0, 1}, {1, 1}, {1, 0}, {1, -1}};

// A side length as sf_create takes it; one that 32 bits can't hold becomes −1, which sf_create
// refuses like any buffer that can't be had.
inline int32_t side(int64_t length) {
  return length < 0 || length > std::numeric_limits<int32_t>::max() ? -1 : static_cast<int32_t>(length);
}

}  // namespace

extern "C" {

void sf_flip_vertical(sf_surface* src, sf_surface* dst) {
  if (!flippable(src, dst)) return;
  const size_t stride = static_cast<size_t>(dst->width) * static_cast<size_t>(dst->bytes_per_pixel);
  // Row by row through a small buffer: the same bytes as a pixel-by-pixel swap via a temporary.
  unsigned char temp[1024];
  for (int32_t y = 0; y < dst->height / 2; ++y) {
    const size_t top = static_cast<size_t>(y) * stride;
    const size_t bottom = static_cast<size_t>(dst->height - 1 - y) * stride;
    for (size_t at = 0; at < stride; at += sizeof temp) {
      const size_t n = stride - at < sizeof temp ? stride - at : sizeof temp;
      std::memcpy(temp, src->pixels + top + at, n);
      std::memmove(dst->pixels + top + at, src->pixels + bottom + at, n);
      std::memcpy(dst->pixels + bottom + at, temp, n);
    }
  }
}

void sf_flip_horizontal(sf_surface* src, sf_surface* dst) {
  if (!flippable(src, dst)) return;
  const size_t bpp = static_cast<size_t>(dst->bytes_per_pixel);
  const size_t stride = static_cast<size_t>(dst->width) * bpp;
  for (int32_t y = 0; y < dst->height; ++y) {
    const uint8_t* s = src->pixels + static_cast<size_t>(y) * stride;
    uint8_t* d = dst->pixels + static_cast<size_t>(y) * stride;
    switch (bpp) {
      case 1: flip_row<1>(s, d, dst->width, bpp); break;
      case 3: flip_row<3>(s, d, dst->width, bpp); break;
      case 4: flip_row<4>(s, d, dst->width, bpp); break;
      default: flip_row<0>(s, d, dst->width, bpp); break;
    }
  }
}

int32_t sf_duplicate(sf_surface* dst, const sf_surface* src) {
  const sf_surface from = *src;  // dst may be src: read it before sf_create clears it
  if (lacks_pixels(from)) {
    std::memset(dst, 0, sizeof *dst);
    return 0;
  }
  if (!sf_create(dst, from.width, from.height, from.bytes_per_pixel)) return QUELT_FAILED("");
  // sf_create made a buffer only for three positive sides whose product fits 31 bits.
  if (dst->pixels)
    std::memcpy(dst->pixels, from.pixels,
                static_cast<size_t>(from.width) * static_cast<size_t>(from.height) *
                    static_cast<size_t>(from.bytes_per_pixel));
  return 1;
}

int32_t sf_enlarge(sf_surface* surface, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  // The new record carries no clip stack: refusing keeps the caller's stack from leaking.
  if (surface->clip_stack || surface->clip || lacks_pixels(*surface)) return 0;
  sf_surface grown;
  if (!sf_create(&grown, side(int64_t{surface->width} + left + right), side(int64_t{surface->height} + top + bottom),
                 surface->bytes_per_pixel)) {
    return QUELT_FAILED("");
  }
  // The old surface lands at (left, top) as a copy through its skip table; clipping against the
  // new bounds does the cropping.
  sf_blend(&grown, surface, nullptr, left, top, sf_blend_copy);
  sf_release(surface);
  *surface = grown;
  return 1;
}

int32_t sf_near(const sf_surface* surface, sf_point* points, int32_t x, int32_t y) {
  int32_t count = 0;
  for (const auto& step : kNear) {
    // Wide arithmetic: a centre at the edge of the 32-bit range must not wrap onto the surface.
    const int64_t cx = int64_t{x} + step[0], cy = int64_t{y} + step[1];
    if (cx >= 0 && cx < surface->width && cy >= 0 && cy < surface->height)
      points[count++] = sf_point{static_cast<int32_t>(cx), static_cast<int32_t>(cy)};
  }
  return count;
}

int32_t sf_contrast(const sf_surface* surface, int32_t x, int32_t y, int32_t channel) {
  if (channel < 0 || channel >= surface->bytes_per_pixel || !surface->pixels) return -255;
  sf_point points[8];
  const int32_t count = sf_near(surface, points, x, y);
  if (count == 0) return -255;
  int32_t low = 255, high = 0;
  for (int32_t i = 0; i < count; ++i) {
    const size_t at = static_cast<size_t>(points[i].y) * static_cast<size_t>(surface->width) + points[i].x;
    const int32_t v = surface->pixels[at * static_cast<size_t>(surface->bytes_per_pixel) + channel];
    if (v < low) low = v;
    if (v > high) high = v;
  }
  return high - low;
}

int32_t sf_convert(sf_surface* dst, const sf_surface* src, int32_t bytes_per_pixel, sf_convert_pixel convert) {
  const sf_surface from = *src;  // dst may be src: read it before sf_create clears it
  if (lacks_pixels(from)) {
    std::memset(dst, 0, sizeof *dst);
    return 0;
  }
  if (!sf_create(dst, from.width, from.height, bytes_per_pixel)) return QUELT_FAILED("");
  if (!convert || !dst->pixels || !from.pixels || from.bytes_per_pixel <= 0) return 1;
  const size_t dbpp = static_cast<size_t>(bytes_per_pixel), sbpp = static_cast<size_t>(from.bytes_per_pixel);
  const size_t count = static_cast<size_t>(from.width) * static_cast<size_t>(from.height);
  // Rows follow each other without a gap, so row-by-row order is one run over all pixels.
  uint8_t* d = dst->pixels;
  const uint8_t* s = from.pixels;
  for (size_t i = 0; i < count; ++i, d += dbpp, s += sbpp) convert(d, s);
  return 1;
}

}  // extern "C"
