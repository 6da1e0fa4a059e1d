#include <quelt/processing/kernel.h>

#include <quelt/base/trace.h>
#include <quelt/processing/kernel_p.h>
#include <quelt/surface/transform.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

// √(2π) as the double that the Gaussian's scale divides by, and the divisor of the spread.
constexpr double kSqrtTwoPi = 2.5066282746310002;
constexpr float kSizeDivisor = 100.0f;

}  // namespace

extern "C" {

int32_t sf_kernel_gaussian(sf_surface* kernel, int32_t size) {
  using wide = long double;
  const bool square = size < 0;
  const int64_t n64 = square ? -int64_t{size} : size;
  const int32_t n = n64 > std::numeric_limits<int32_t>::max() ? std::numeric_limits<int32_t>::max()
                                                              : static_cast<int32_t>(n64);
  sf_surface k;
  if (!sf_create(&k, n, square ? n : 1, 4)) return QUELT_FAILED("");
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
  if (!sf_duplicate(&copy, surface)) return QUELT_FAILED("");
  if (copy.pixels) {
    quelt::kernel::job j{copy.pixels, surface->pixels, copy.width, copy.height, copy.bytes_per_pixel, weights,
          has_weights ? width : 0, has_weights ? height : 0, -(width / 2), -(height / 2), 0.0};
    for (int64_t i = 0, n = int64_t{j.kw} * j.kh; i < n; ++i) j.sum += j.weights[i];
    quelt::kernel::filter(j, quelt::level_active().kernel_interior);
  }
  sf_release(&copy);
  return 1;
}

}  // extern "C"
