#include <quelt/processing/process.h>

#include <quelt/base/trace.h>

#include "process_p.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// Sixteen bytes handled as one value; the compiler maps the operations to the vector unit
// (SSE2 on x86-64) or to plain code where there is none.
typedef uint8_t bytes16 __attribute__((vector_size(16)));

inline bytes16 load16(const uint8_t* p) {
  bytes16 v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline void store16(uint8_t* p, bytes16 v) { std::memcpy(p, &v, sizeof v); }

// Number of pixels of a surface that has a buffer, 0 for anything without one.
size_t pixel_count(const sf_surface* s) {
  if (s->width <= 0 || s->height <= 0 || !s->pixels || s->bytes_per_pixel <= 0) return 0;
  return static_cast<size_t>(s->width) * static_cast<size_t>(s->height);
}

// Colour channels of a pixel: bytes 0 .. min(bytes_per_pixel, 3) − 1.
int channels(const sf_surface* s) { return s->bytes_per_pixel < 3 ? s->bytes_per_pixel : 3; }

// Runs `f(byte&, channel)` on every colour byte of every pixel.
template <class F>
void each_channel_byte(const sf_surface* s, F f) {
  const size_t n = pixel_count(s);
  const size_t bpp = static_cast<size_t>(s->bytes_per_pixel);
  const int ch = channels(s);
  uint8_t* p = s->pixels;
  for (size_t i = 0; i < n; ++i, p += bpp)
    for (int c = 0; c < ch; ++c) f(p[c], c);
}

}  // namespace

extern "C" {

int32_t sf_threshold(sf_surface* surface) {
  // The passes that take the lowest and the highest remaining level to 0 and 255 until none is
  // left come to this: of the k distinct levels 1..254 of a channel, the lowest ceil(k / 2) go
  // to 0 and the rest to 255. One scan finds the levels, one rewrite applies the table.
  const int ch = channels(surface);
  if (ch <= 0 || pixel_count(surface) == 0) return 1;
  bool seen[3][256] = {};
  each_channel_byte(surface, [&](uint8_t& b, int c) { seen[c][b] = true; });
  uint8_t table[3][256];
  bool changes = false;
  for (int c = 0; c < ch; ++c) {
    int k = 0;
    for (int v = 1; v <= 254; ++v) k += seen[c][v];
    int rank = 0;
    for (int v = 0; v < 256; ++v) {
      table[c][v] = static_cast<uint8_t>(v);
      if (v >= 1 && v <= 254 && seen[c][v]) table[c][v] = rank++ < (k + 1) / 2 ? 0 : 255;
    }
    changes |= k > 0;
  }
  if (changes) each_channel_byte(surface, [&](uint8_t& b, int c) { b = table[c][b]; });
  return 1;
}

int32_t sf_grayscale(sf_surface* surface, int32_t mode) {
  if (surface->bytes_per_pixel != 4 || (mode != 0 && mode != 1)) return 0;
  const size_t n = pixel_count(surface);
  const uint8_t* p = surface->pixels;
  if (mode == 0) {
    for (size_t i = 0; i < n; ++i) {
      uint8_t* q = surface->pixels + i * 4;
      q[0] = q[1] = q[2] = static_cast<uint8_t>((q[0] + q[1] + q[2]) / 3);
    }
    return 1;
  }
  // The record is replaced whole: a pushed clip would lose its stack.
  if (surface->clip_stack) return 0;
  sf_surface grey;
  if (!sf_create(&grey, surface->width, surface->height, 1)) return QUELT_FAILED("");
  for (size_t i = 0; i < n; ++i, p += 4) grey.pixels[i] = static_cast<uint8_t>((p[0] + p[1] + p[2]) / 3);
  sf_release(surface);
  *surface = grey;
  return 1;
}

int32_t sf_negative(sf_surface* surface) {
  const size_t count = pixel_count(surface) * static_cast<size_t>(surface->bytes_per_pixel);
  uint8_t* p = surface->pixels;
  size_t i = 0;
  for (; i + 16 <= count; i += 16) store16(p + i, ~load16(p + i));
  for (; i < count; ++i) p[i] = static_cast<uint8_t>(~p[i]);
  return 1;
}

int32_t sf_adjust(sf_surface* surface, float gamma, float gain, float offset) {
  // Every byte value maps through the same curve: work it out once for the 256 values.
  const float e = static_cast<float>(1.0 / static_cast<double>(gamma));
  uint8_t table[256];
  for (int v = 0; v < 256; ++v) {
    const double base = (v / 255.0) * static_cast<double>(gain) + static_cast<double>(offset);
    const float r = static_cast<float>(std::pow(base, static_cast<double>(e)));
    if (r > 1.0f)
      table[v] = 255;
    else if (r < 0.0f || std::isnan(r))
      table[v] = 0;
    else
      table[v] = static_cast<uint8_t>(static_cast<double>(r) * 255.0);
  }
  each_channel_byte(surface, [&](uint8_t& b, int) { b = table[b]; });
  return 1;
}

int32_t sf_smooth(sf_surface* surface) {
  if (surface->width <= 0 || surface->height <= 0 || !surface->pixels || surface->bytes_per_pixel <= 0) return 0;
  quelt::level_active().smooth(surface);
  return 1;
}

}  // extern "C"
