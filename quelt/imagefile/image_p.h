// Helpers shared by the BMP and PNG readers.
#pragma once

#include <quelt/surface/surface.h>

#include <cstddef>
#include <cstdint>

namespace quelt::image {

// Widens rows of 3-byte B, G, R pixels, `in_row` bytes apart from the start of the buffer, into
// the surface's 4-byte pixels with the given alpha, in place. From the last pixel back to the
// first: a target pixel never lies before its source, and all three source bytes are taken
// before the target is written, since the two overlap at the start of the buffer.
inline void expand_24_to_32(sf_surface* surface, size_t in_row, uint8_t alpha) {
  if (!surface->pixels || surface->bytes_per_pixel != 4 || surface->width < 1 || surface->height < 1) return;
  const size_t width = static_cast<size_t>(surface->width);
  const size_t out_row = 4 * width;
  for (size_t y = static_cast<size_t>(surface->height); y-- > 0;) {
    const uint8_t* in = surface->pixels + y * in_row;
    uint8_t* out = surface->pixels + y * out_row;
    for (size_t x = width; x-- > 0;) {
      const uint8_t b = in[3 * x], g = in[3 * x + 1], r = in[3 * x + 2];
      out[4 * x] = b;
      out[4 * x + 1] = g;
      out[4 * x + 2] = r;
      out[4 * x + 3] = alpha;
    }
  }
}

}  // namespace quelt::image
