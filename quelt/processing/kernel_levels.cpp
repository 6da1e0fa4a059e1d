#include <quelt/processing/kernel_p.h>

namespace quelt::kernel {
namespace {

// A pixel whose weights may reach past the surface: in-bounds products add up in A, weights
// outside add up in B, both in the order of the weights, and B corrects the result.
void edge_pixel(const job& j, int32_t x, int32_t y) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  const size_t at = (static_cast<size_t>(y) * static_cast<size_t>(j.w) + static_cast<size_t>(x)) * bpp;
  for (size_t c = 0; c < bpp; ++c) {
    double a = 0.0, b = 0.0;
    for (int64_t ky = 0; ky < j.kh; ++ky) {
      const int64_t sy = int64_t{y} + j.oy + ky;
      const bool row_in = sy >= 0 && sy < j.h;
      const float* wr = j.weights + ky * j.kw;
      for (int64_t kx = 0; kx < j.kw; ++kx) {
        const double wt = wr[kx];
        const int64_t sx = int64_t{x} + j.ox + kx;
        if (row_in && sx >= 0 && sx < j.w) {
          const double p = wt * j.src[(static_cast<size_t>(sy) * static_cast<size_t>(j.w) + static_cast<size_t>(sx)) * bpp + c];
          a += p;
        } else {
          b += wt;
        }
      }
    }
    j.dst[at + c] = to_byte((a / j.sum) * (b / (1.0 - b) + 1.0));
  }
}

// B is 0 in the interior, so the correction factor is exactly 1 and the value is A / S.
void interior_plain(const job& j, int32_t y, int32_t x0, int32_t x1) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  const size_t stride = static_cast<size_t>(j.w) * bpp;
  const uint8_t* first = j.src + static_cast<size_t>(y + j.oy) * stride + static_cast<size_t>(x0 + j.ox) * bpp;
  uint8_t* out = j.dst + static_cast<size_t>(y) * stride + static_cast<size_t>(x0) * bpp;
  interior_bytes(j, first, stride, out, 0, static_cast<size_t>(x1 - x0) * bpp);
}

}  // namespace

extern const interior_fn interior_scalar = interior_plain;

void filter(const job& j, interior_fn interior) {
  // The interior: pixels whose weights all lie on the surface. Empty when the kernel has no
  // weights or is larger than the surface.
  int64_t x0 = j.kw / 2, x1 = int64_t{j.w} - (j.kw - 1 - j.kw / 2);
  int64_t y0 = j.kh / 2, y1 = int64_t{j.h} - (j.kh - 1 - j.kh / 2);
  if (j.kw < 1 || j.kh < 1 || x1 <= x0 || y1 <= y0) x0 = x1 = y0 = y1 = 0;
  for (int32_t y = 0; y < j.h; ++y) {
    if (y < y0 || y >= y1) {
      for (int32_t x = 0; x < j.w; ++x) edge_pixel(j, x, y);
      continue;
    }
    for (int32_t x = 0; x < x0; ++x) edge_pixel(j, x, y);
    interior(j, y, static_cast<int32_t>(x0), static_cast<int32_t>(x1));
    for (int32_t x = static_cast<int32_t>(x1); x < j.w; ++x) edge_pixel(j, x, y);
  }
}

}  // namespace quelt::kernel
