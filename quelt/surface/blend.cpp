#include <quelt/surface/blend.h>

#include <quelt/base/bytes_p.h>
#include <quelt/surface/blend_p.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

using quelt::blend_ops;

// The byte range from the first to the last byte of a rectangle of a surface.
struct span {
  uintptr_t begin, end;
};
span bytes_of(const sf_surface* s, const sf_rect& r, int32_t w, int32_t h, size_t bpp) {
  const size_t sw = static_cast<size_t>(s->width);
  const uintptr_t base = reinterpret_cast<uintptr_t>(s->pixels);
  return {base + (static_cast<size_t>(r.top) * sw + static_cast<size_t>(r.left)) * bpp,
          base + ((static_cast<size_t>(r.top) + static_cast<size_t>(h) - 1) * sw + static_cast<size_t>(r.left) +
                  static_cast<size_t>(w)) * bpp};
}

// The kernels of the best level, unless the pixels read and written share memory: then the
// scalar kernels, whose pixel-by-pixel walk order gives such a call its meaning.
// The kernel reads `src_bpp` bytes per source pixel, whatever the record says.
const blend_ops& kernels_for(const sf_surface* dst, const sf_rect& dr, size_t dst_bpp, const sf_surface* src,
                       const sf_rect& sr, size_t src_bpp) {
  const int32_t w = dr.right - dr.left, h = dr.bottom - dr.top;
  if (w > 0 && h > 0) {
    const span a = bytes_of(dst, dr, w, h, dst_bpp), b = bytes_of(src, sr, w, h, src_bpp);
    if (a.begin < b.end && b.begin < a.end) return quelt::blend::scalar_ops;
  }
  return quelt::level_active().blend;
}

using quelt::clamp32;

// The colour kernels read and write pixels of the sizes in their names: a surface of another
// size is left alone rather than read or written past its rows.
bool sizes_fit(const sf_surface* dst, const sf_surface* src, int32_t src_bpp) {
  return dst->pixels && src->pixels && dst->bytes_per_pixel == 4 && src->bytes_per_pixel == src_bpp;
}

}  // namespace

extern "C" {

void sf_blend_4b4b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  if (!sizes_fit(dst, src, 4)) return;
  kernels_for(dst, dst_rect, 4, src, src_rect, 4).blend_4b4b(dst, dst_rect, src, src_rect);
}

void sf_blend_4b1b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  if (!sizes_fit(dst, src, 1)) return;
  kernels_for(dst, dst_rect, 4, src, src_rect, 1).blend_4b1b(dst, dst_rect, src, src_rect);
}

void sf_blend_4b3b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  if (!sizes_fit(dst, src, 3)) return;
  kernels_for(dst, dst_rect, 4, src, src_rect, 3).blend_4b3b(dst, dst_rect, src, src_rect);
}

void sf_blend_copy(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  if (!dst->pixels || !src->pixels || dst->bytes_per_pixel != src->bytes_per_pixel) return;
  if (dst->bytes_per_pixel < 1) return;  // no such pixel format
  const size_t bpp = static_cast<size_t>(dst->bytes_per_pixel);
  // The wide levels copy the pixel sizes of the formats that the library draws, 1 to 4 bytes.
  if (bpp > 4) return quelt::blend::scalar_ops.blend_copy(dst, dst_rect, src, src_rect);
  kernels_for(dst, dst_rect, bpp, src, src_rect, bpp).blend_copy(dst, dst_rect, src, src_rect);
}

int32_t sf_blend(sf_surface* dst, sf_surface* src, const sf_rect* src_rect, int32_t x, int32_t y,
                 sf_blend_kernel kernel) {
  // A surface without pixels (a window whose bitmap could not be made) takes and gives nothing.
  if (!dst->pixels || !src->pixels) return 0;
  const sf_rect full_dst{0, 0, dst->width, dst->height};
  const sf_rect* clip = dst->clip ? dst->clip : &full_dst;
  const sf_rect full_src{0, 0, src->width, src->height};
  const sf_rect* rect = src_rect ? src_rect : &full_src;

  // The anchors shift by a share of the rectangle as passed, then are spent.
  const quelt::blend::anchor_shift a = quelt::blend::take_anchors(
      dst, static_cast<double>(rect->right) - rect->left, static_cast<double>(rect->bottom) - rect->top);
  const int32_t xa = clamp32(int64_t{x} - a.x), ya = clamp32(int64_t{y} - a.y);

  sf_clip_result result;
  if (!sf_clip(&result, &full_dst, clip, &full_src, rect, xa, ya)) return 0;

  if (!kernel) {
    if (dst->bytes_per_pixel != 4) return 0;
    switch (src->bytes_per_pixel) {
      case 4: kernel = sf_blend_4b4b; break;
      case 1: kernel = sf_blend_4b1b; break;
      case 3: kernel = sf_blend_4b3b; break;
      default: return 0;
    }
  }

  // A surface blended onto itself with overlapping rectangles reads from a copy of the source
  // rectangle, so that no pixel is read after it has been written.
  if (dst == src && sf_rect_overlap(&result.dst, &result.src)) {
    const int32_t w = result.src.right - result.src.left, h = result.src.bottom - result.src.top;
    const size_t bpp = static_cast<size_t>(src->bytes_per_pixel);
    sf_surface copy{};
    copy.width = w;
    copy.height = h;
    copy.bytes_per_pixel = src->bytes_per_pixel;
    copy.color = src->color;
    copy.pixels = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(w) * h * bpp + 1));
    copy.strip = src->strip ? static_cast<uint8_t*>(std::malloc(static_cast<size_t>(w) * h + 1)) : nullptr;
    if (!copy.pixels || (src->strip && !copy.strip)) {
      std::free(copy.pixels);
      std::free(copy.strip);
      return 0;
    }
    for (int32_t r = 0; r < h; ++r) {
      const size_t at = static_cast<size_t>(result.src.top + r) * static_cast<size_t>(src->width) + result.src.left;
      std::memcpy(copy.pixels + static_cast<size_t>(r) * w * bpp, src->pixels + at * bpp, w * bpp);
      if (copy.strip) std::memcpy(copy.strip + static_cast<size_t>(r) * w, src->strip + at, w);
    }
    kernel(dst, result.dst, &copy, sf_rect{0, 0, w, h});
    std::free(copy.pixels);
    std::free(copy.strip);
    return 1;
  }

  kernel(dst, result.dst, src, result.src);
  return 1;
}

int32_t sf_fill(sf_surface* surface, const sf_rect* rect) {
  if (!surface->pixels) return 0;
  const sf_rect full{0, 0, surface->width, surface->height};
  sf_rect clip = surface->clip ? *surface->clip : full;
  if (!sf_rect_clip(&full, &clip)) return 0;
  sf_rect r = rect ? *rect : full;
  if (!sf_rect_clip(&clip, &r)) return 0;

  if ((surface->color >> 24) == 0) return 0;
  // Only 4-byte surfaces take 32-bit words: anything else would be written past its rows.
  if (surface->bytes_per_pixel != 4) return 0;

  quelt::level_active().blend.fill(surface, r);
  return 1;
}

}  // extern "C"
