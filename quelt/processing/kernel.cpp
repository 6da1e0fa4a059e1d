#include <quelt/processing/kernel.h>

#include <quelt/base/trace.h>
#include <quelt/surface/transform.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

// √(2π) as the double that the Gaussian's scale divides by, and the divisor of the spread.
constexpr double kSqrtTwoPi = 2.5066282746310002;
constexpr float kSizeDivisor = 100.0f;

// One filtering run: the copy it reads, the surface it writes, the weights and their origin.
struct Job {
  const uint8_t* src;
  uint8_t* dst;
  int32_t w, h, bpp;
  const float* weights;
  int32_t kw, kh;
  int32_t ox, oy;  // −(kw / 2), −(kh / 2): source offset of weight (0, 0)
  double sum;      // S, in the order of the weights
};

// The byte of a filtered value: 255 above 255; else the magnitude (negative results are mirrored)
// truncated to 16 bits, whose low byte is kept; NaN and magnitudes of 32768 or more, which a
// 16-bit integer can't hold, give its "indefinite" value −32768, whose low byte is 0.
inline uint8_t to_byte(double v) {
  if (v > 255.0) return 255;
  const double m = v < 0.0 ? 0.0 - v : v;
  return m < 32768.0 ? static_cast<uint8_t>(static_cast<int32_t>(m)) : 0;
}

// A pixel whose weights may reach past the surface: in-bounds products add up in A, weights
// outside add up in B, both in the order of the weights, and B corrects the result.
void edge_pixel(const Job& j, int32_t x, int32_t y) {
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

// Values of one chunk of an interior row: 1024 doubles stay in the first-level cache.
constexpr size_t kChunk = 1024;

// Pixels [x0, x1) of row y, whose weights all fall inside the surface. B is 0 there, so the
// correction factor is exactly 1 and the value is A / S. The row is done in chunks, weight by
// weight over all values of the chunk: each value still adds its products in the order of the
// weights, starting from 0, so the bytes equal those of the pixel-by-pixel form; only the loop
// nest is turned so that the inner loop streams over contiguous bytes.
void interior_span(const Job& j, int32_t y, int32_t x0, int32_t x1) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  const size_t stride = static_cast<size_t>(j.w) * bpp;
  const int32_t per_chunk = static_cast<int32_t>(kChunk / bpp);
  double acc[kChunk];
  for (int32_t x = x0; x < x1; x += per_chunk) {
    const size_t m = static_cast<size_t>(x1 - x < per_chunk ? x1 - x : per_chunk) * bpp;
    for (size_t i = 0; i < m; ++i) acc[i] = 0.0;
    const uint8_t* first = j.src + static_cast<size_t>(y + j.oy) * stride + static_cast<size_t>(x + j.ox) * bpp;
    for (int32_t ky = 0; ky < j.kh; ++ky) {
      const uint8_t* row = first + static_cast<size_t>(ky) * stride;
      const float* wr = j.weights + static_cast<size_t>(ky) * static_cast<size_t>(j.kw);
      for (int32_t kx = 0; kx < j.kw; ++kx) {
        const double wt = wr[kx];
        const uint8_t* s = row + static_cast<size_t>(kx) * bpp;
        // Product and sum are separate statements: a fused multiply-add would round differently.
        for (size_t i = 0; i < m; ++i) {
          const double p = wt * s[i];
          acc[i] += p;
        }
      }
    }
    uint8_t* out = j.dst + static_cast<size_t>(y) * stride + static_cast<size_t>(x) * bpp;
    for (size_t i = 0; i < m; ++i) out[i] = to_byte(acc[i] / j.sum);
  }
}

void filter(const Job& j) {
  // The interior: pixels whose weights all lie on the surface. Empty when the kernel has no
  // weights, is larger than the surface, or its pixels are too wide for one chunk.
  int64_t x0 = j.kw / 2, x1 = int64_t{j.w} - (j.kw - 1 - j.kw / 2);
  int64_t y0 = j.kh / 2, y1 = int64_t{j.h} - (j.kh - 1 - j.kh / 2);
  if (j.kw < 1 || j.kh < 1 || static_cast<size_t>(j.bpp) > kChunk || x1 <= x0 || y1 <= y0) x0 = x1 = y0 = y1 = 0;
  for (int32_t y = 0; y < j.h; ++y) {
    if (y < y0 || y >= y1) {
      for (int32_t x = 0; x < j.w; ++x) edge_pixel(j, x, y);
      continue;
    }
    for (int32_t x = 0; x < x0; ++x) edge_pixel(j, x, y);
    interior_span(j, y, static_cast<int32_t>(x0), static_cast<int32_t>(x1));
    for (int32_t x = static_cast<int32_t>(x1); x < j.w; ++x) edge_pixel(j, x, y);
  }
}

}  // namespace

extern "C" {

int32_t sf_kernel_gaussian(sf_surface* kernel, int32_t size) {
  using wide = long double;
  const bool square = size < 0;
  const int64_t n64 = square ? -int64_t{size} : size;
  const int32_t n = n64 > std::numeric_limits<int32_t>::max() ? std::numeric_limits<int32_t>::max()
                                                              : static_cast<int32_t>(n64);
  sf_surface k;
  if (!sf_create(&k, n, square ? n : 1, 4)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  *kernel = k;
  // √n and the argument of exp are doubles; the rest is wide, rounded to float where stored.
  const double root = std::sqrt(static_cast<double>(n));
  const double arg = static_cast<double>(wide{static_cast<wide>(n) / kSizeDivisor} - 1);
  const float sigma = static_cast<float>(wide{root} * std::exp(arg));
  const float g = static_cast<float>(1 / (wide{kSqrtTwoPi} * sigma));
  const float d = static_cast<float>((wide{sigma} + sigma) * sigma);
  if (n == 0) return 1;
  float* out = reinterpret_cast<float*>(k.pixels);
  const int32_t half = n / 2;
  // −t² / d for index i; t² of an allowed size stays below 2^62 and is exact in the wide type.
  auto exponent = [&](int32_t i) {
    const wide t = i - half;
    return -t * t / d;
  };
  if (!square) {
    for (int32_t i = 0; i < n; ++i) out[i] = static_cast<float>(std::exp(static_cast<double>(exponent(i))) * wide{g});
    return 1;
  }
  for (int32_t y = 0; y < n; ++y) {
    const float e = static_cast<float>(exponent(y));
    float* row = out + static_cast<size_t>(y) * static_cast<size_t>(n);
    for (int32_t x = 0; x < n; ++x)
      row[x] = static_cast<float>(std::exp(static_cast<double>(exponent(x) + e)) * wide{g});
  }
  return 1;
}

int32_t sf_kernel(sf_surface* surface, const float* weights, int32_t width, int32_t height) {
  const bool has_weights = width > 0 && height > 0;
  if ((has_weights && !weights) ||
      (surface->width > 0 && surface->height > 0 && surface->bytes_per_pixel > 0 && !surface->pixels))
    return 0;
  sf_surface copy;
  if (!sf_duplicate(&copy, surface)) {
    QUELT_FAIL("");
    QUELT_EXIT();
    return 0;
  }
  if (copy.pixels) {
    Job j{copy.pixels, surface->pixels, copy.width, copy.height, copy.bytes_per_pixel, weights,
          has_weights ? width : 0, has_weights ? height : 0, -(width / 2), -(height / 2), 0.0};
    for (int64_t i = 0, n = int64_t{j.kw} * j.kh; i < n; ++i) j.sum += j.weights[i];
    filter(j);
  }
  sf_release(&copy);
  return 1;
}

}  // extern "C"
