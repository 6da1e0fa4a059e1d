// The scalar kernels and fill: one pixel at a time, in the walk order that defines every result.
// They serve processors without a wider level and are the reference of the wider ones.
#include <quelt/processing/strip_p.h>
#include <quelt/surface/blend_p.h>

#include <cstdint>
#include <cstring>

namespace quelt::blend {
namespace {

// The shared walk of every kernel: rows top to bottom, pixels left to right, over the source's
// skip table when it has one. `Px` processes one pixel: (dst byte*, src byte*). A pixel size of
// 0 stands for that of the record.
template <int DstBpp, int SrcBpp, class Px>
inline void walk(sf_surface* dst, const sf_rect& dr, const sf_surface* src, const sf_rect& sr, Px px) {
  const size_t db = DstBpp ? DstBpp : static_cast<size_t>(dst->bytes_per_pixel);
  const size_t sb = SrcBpp ? SrcBpp : static_cast<size_t>(src->bytes_per_pixel);
  const int32_t w = dr.right - dr.left;
  const int32_t h = dr.bottom - dr.top;
  for (int32_t r = 0; r < h; ++r) {
    uint8_t* d = dst->pixels + (static_cast<size_t>(dr.top + r) * static_cast<size_t>(dst->width) + dr.left) * db;
    const uint8_t* s = src->pixels + (static_cast<size_t>(sr.top + r) * static_cast<size_t>(src->width) + sr.left) * sb;
    const auto at = [&](int32_t c) { px(d + static_cast<size_t>(c) * db, s + static_cast<size_t>(c) * sb); };
    if (src->strip)
      strip::walk_row(src->strip + static_cast<size_t>(sr.top + r) * static_cast<size_t>(src->width) + sr.left, w, at);
    else
      for (int32_t c = 0; c < w; ++c) at(c);
  }
}

template <int Bpp>
void copy_walk(sf_surface* dst, const sf_rect& dr, const sf_surface* src, const sf_rect& sr) {
  const size_t bpp = Bpp ? Bpp : static_cast<size_t>(dst->bytes_per_pixel);
  walk<Bpp, Bpp>(dst, dr, src, sr, [bpp](uint8_t* d, const uint8_t* s) { std::memcpy(d, s, bpp); });
}

void blend_4b4b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  const uint32_t color = dst->color;
  const rgba c(color);
  if (c.a == 0) return;
  if (color == 0xFFFFFFFFu) {
    walk<4, 4>(dst, dst_rect, src, src_rect, [](uint8_t* d, const uint8_t* s) { over(d, s[3], s[2], s[1], s[0]); });
  } else if ((color & 0xFFFFFFu) == 0xFFFFFFu) {
    walk<4, 4>(dst, dst_rect, src, src_rect,
               [a = c.a](uint8_t* d, const uint8_t* s) { over(d, (s[3] * a) >> 8, s[2], s[1], s[0]); });
  } else {
    walk<4, 4>(dst, dst_rect, src, src_rect, [c](uint8_t* d, const uint8_t* s) {
      over(d, (s[3] * c.a) >> 8, (s[2] * c.r) >> 8, (s[1] * c.g) >> 8, (s[0] * c.b) >> 8);
    });
  }
}

void blend_4b1b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  const rgba c(dst->color);
  if (c.a == 0) return;
  if (c.a == 255) {
    walk<4, 1>(dst, dst_rect, src, src_rect, [c](uint8_t* d, const uint8_t* s) { over(d, s[0], c.r, c.g, c.b); });
  } else {
    walk<4, 1>(dst, dst_rect, src, src_rect,
               [c](uint8_t* d, const uint8_t* s) { over(d, (s[0] * c.a) >> 8, c.r, c.g, c.b); });
  }
}

void blend_4b3b(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  const rgba c(dst->color);
  if (c.a == 0) return;
  // Byte 0 of the source weighs red, byte 2 blue: the reverse of the target's order.
  walk<4, 3>(dst, dst_rect, src, src_rect,
             [c](uint8_t* d, const uint8_t* s) { over_lcd(d, s, c.a, c.r, c.g, c.b); });
}

void blend_copy(sf_surface* dst, sf_rect dst_rect, sf_surface* src, sf_rect src_rect) {
  if (dst->bytes_per_pixel != src->bytes_per_pixel) return;
  switch (dst->bytes_per_pixel) {
    case 1: copy_walk<1>(dst, dst_rect, src, src_rect); break;
    case 2: copy_walk<2>(dst, dst_rect, src, src_rect); break;
    case 3: copy_walk<3>(dst, dst_rect, src, src_rect); break;
    case 4: copy_walk<4>(dst, dst_rect, src, src_rect); break;
    default:  // larger pixels; there are none below 1 byte
      if (dst->bytes_per_pixel > 4) copy_walk<0>(dst, dst_rect, src, src_rect);
      break;
  }
}

void fill(sf_surface* surface, sf_rect r) {
  const uint32_t color = surface->color;
  const rgba c(color);
  const int32_t w = r.right - r.left;
  const size_t stride = static_cast<size_t>(surface->width) * 4;
  for (int32_t y = r.top; y < r.bottom; ++y) {
    uint8_t* row = surface->pixels + static_cast<size_t>(y) * stride + static_cast<size_t>(r.left) * 4;
    if (c.a == 255) {
      for (int32_t i = 0; i < w; ++i) std::memcpy(row + static_cast<size_t>(i) * 4, &color, 4);
    } else {
      for (int32_t i = 0; i < w; ++i) over(row + static_cast<size_t>(i) * 4, c.a, c.r, c.g, c.b);
    }
  }
}

}  // namespace

extern const blend_ops scalar_ops = {blend_4b4b, blend_4b1b, blend_4b3b, blend_copy, fill};

}  // namespace quelt::blend
