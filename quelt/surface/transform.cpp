#include <quelt/surface/transform.h>

#include <cstddef>
#include <cstring>

extern "C" {

void sf_flip_vertical(sf_surface* src, sf_surface* dst) {
  if (!src->pixels || !dst->pixels || dst->width <= 0 || dst->height <= 0 || dst->bytes_per_pixel <= 0) return;
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

}  // extern "C"
