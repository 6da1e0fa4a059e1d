#include <quelt/processing/kernel.h>

#include <quelt/base/trace.h>
#include <quelt/surface/transform.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

#if defined(__SSE2__)
// Eight values at once, two per register: the products of each value are added in the order of
// the weights, starting from 0, exactly as one value alone would add them, and multiplication and
// addition stay two operations (no fused multiply-add), so every byte is that of the plain loop.
inline __m128d widen(__m128i v32) { return _mm_cvtepi32_pd(v32); }

void interior_block8(const Job& j, const uint8_t* first, size_t stride, uint8_t* out) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  const __m128i zero = _mm_setzero_si128();
  __m128d a0 = _mm_setzero_pd(), a1 = a0, a2 = a0, a3 = a0;
  const float* wt = j.weights;
  for (int32_t ky = 0; ky < j.kh; ++ky) {
    const uint8_t* row = first + static_cast<size_t>(ky) * stride;
    for (int32_t kx = 0; kx < j.kw; ++kx, ++wt) {
      const __m128d w = _mm_set1_pd(static_cast<double>(*wt));
      const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + static_cast<size_t>(kx) * bpp));
      const __m128i h = _mm_unpacklo_epi8(b, zero);
      const __m128i lo = _mm_unpacklo_epi16(h, zero), hi = _mm_unpackhi_epi16(h, zero);
      a0 = _mm_add_pd(a0, _mm_mul_pd(w, widen(lo)));
      a1 = _mm_add_pd(a1, _mm_mul_pd(w, widen(_mm_srli_si128(lo, 8))));
      a2 = _mm_add_pd(a2, _mm_mul_pd(w, widen(hi)));
      a3 = _mm_add_pd(a3, _mm_mul_pd(w, widen(_mm_srli_si128(hi, 8))));
    }
  }
  // to_byte on each lane, without branches: 255 where v > 255, else |v| where it is below
  // 32768, else 0. The two cases never overlap, so OR-ing their bit patterns picks the live one;
  // every comparison is false for NaN, which thus gives 0.
  const __m128d sum = _mm_set1_pd(j.sum), top = _mm_set1_pd(255.0), limit = _mm_set1_pd(32768.0);
  const __m128d magnitude = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
  auto truncated = [&](__m128d a) {
    const __m128d v = _mm_div_pd(a, sum);
    const __m128d m = _mm_and_pd(v, magnitude);
    const __m128d keep = _mm_and_pd(_mm_cmplt_pd(m, limit), _mm_cmple_pd(v, top));
    return _mm_cvttpd_epi32(_mm_or_pd(_mm_and_pd(m, keep), _mm_and_pd(top, _mm_cmpgt_pd(v, top))));
  };
  const __m128i low = _mm_set1_epi32(0xFF);
  const __m128i q0 = _mm_and_si128(_mm_unpacklo_epi64(truncated(a0), truncated(a1)), low);
  const __m128i q1 = _mm_and_si128(_mm_unpacklo_epi64(truncated(a2), truncated(a3)), low);
  const __m128i words = _mm_packs_epi32(q0, q1);  // 0..255: no saturation happens
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
}
#endif

// Pixels [x0, x1) of row y, whose weights all fall inside the surface. B is 0 there, so the
// correction factor is exactly 1 and the value is A / S.
void interior_span(const Job& j, int32_t y, int32_t x0, int32_t x1) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  const size_t stride = static_cast<size_t>(j.w) * bpp;
  const size_t count = static_cast<size_t>(x1 - x0) * bpp;
  // The source byte under weight (0, 0) for the first value, and the first value's target.
  const uint8_t* first = j.src + static_cast<size_t>(y + j.oy) * stride + static_cast<size_t>(x0 + j.ox) * bpp;
  uint8_t* out = j.dst + static_cast<size_t>(y) * stride + static_cast<size_t>(x0) * bpp;
  size_t i = 0;
#if defined(__SSE2__)
  for (; i + 8 <= count; i += 8) interior_block8(j, first + i, stride, out + i);
#endif
  for (; i < count; ++i) {
    double a = 0.0;
    const float* wt = j.weights;
    for (int32_t ky = 0; ky < j.kh; ++ky) {
      const uint8_t* row = first + static_cast<size_t>(ky) * stride + i;
      for (int32_t kx = 0; kx < j.kw; ++kx, ++wt) {
        const double p = static_cast<double>(*wt) * row[static_cast<size_t>(kx) * bpp];
        a += p;  // a separate statement: a fused multiply-add would round differently
      }
    }
    out[i] = to_byte(a / j.sum);
  }
}

void filter(const Job& j) {
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
