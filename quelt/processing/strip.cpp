#include <quelt/processing/strip.h>

#include <quelt/base/trace.h>

#include <cstdlib>
#include <cstring>

namespace {

// Writes the open run that ends before `end`: L, L − 1, ..., 1, each modulo 256.
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

}  // namespace

extern "C" {

int32_t sf_strip(sf_surface* surface) {
  const size_t count = surface->width > 0 && surface->height > 0
                           ? static_cast<size_t>(surface->width) * static_cast<size_t>(surface->height)
                           : 0;
  if (!surface->strip) {
    // One byte more than needed, so that a surface without pixels still gets a block.
    surface->strip = static_cast<uint8_t*>(std::malloc(count + 1));
    if (!surface->strip) {
      QUELT_FAIL("malloc");
      QUELT_EXIT();
      return 0;
    }
  }
  std::memset(surface->strip, 0, count);
  if (count == 0 || !surface->pixels) return 1;
  switch (surface->bytes_per_pixel) {
    case 1: build<1>(surface); break;
    case 3: build<3>(surface); break;
    case 4: build<4>(surface); break;
    default: build<0>(surface); break;
  }
  return 1;
}

}  // extern "C"
