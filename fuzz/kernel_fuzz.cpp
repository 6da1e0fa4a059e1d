// Convolution against the plain loop on arbitrary weights (any bit pattern: NaN, infinities,
// huge values that cancel), and the surface transforms on arbitrary margins and positions.
// Layout: w, h, bpp, kw, kh, margins l t r b (signed), a position x y (signed), Gaussian size
// (signed), then kw × kh float weights, then the pixels, repeated as far as needed.
#include <quelt/processing/kernel.h>
#include <quelt/surface/transform.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "../tests/support/kernel_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 13) return 0;
  const int32_t w = data[0] % 40, h = data[1] % 20, bpp = 1 + data[2] % 5;
  const int32_t kw = data[3] % 11 - 1, kh = data[4] % 9 - 1;
  const int8_t* m = reinterpret_cast<const int8_t*>(data + 5);
  const int32_t x = m[4], y = m[5], gauss = m[6];
  data += 13;
  size -= 13;
  std::vector<float> weights(size_t(kw > 0 && kh > 0 ? kw * kh : 0) + 1);
  const size_t wbytes = std::min(size, (weights.size() - 1) * 4);
  std::memcpy(weights.data(), data, wbytes);
  data += wbytes;
  size -= wbytes;

  sf_surface s{};
  if (!sf_create(&s, w, h, bpp)) return 0;
  const size_t n = size_t(w) * h * bpp;
  for (size_t i = 0; i < n && size; ++i) s.pixels[i] = data[i % size];
  const std::vector<uint8_t> before(s.pixels, s.pixels + n);

  sf_kernel(&s, weights.data(), kw, kh);
  if (n && std::memcmp(s.pixels, qtest::kernel_reference(before.data(), w, h, bpp, weights.data(), kw, kh).data(), n))
    __builtin_trap();

  sf_point points[8];
  const int32_t count = sf_near(&s, points, x, y);
  for (int32_t i = 0; i < count; ++i)
    if (points[i].x < 0 || points[i].x >= w || points[i].y < 0 || points[i].y >= h) __builtin_trap();
  sf_contrast(&s, x, y, m[7] % 6);
  sf_flip_horizontal(&s, &s);
  sf_flip_vertical(&s, &s);
  sf_surface copy{};
  if (sf_duplicate(&copy, &s) && sf_enlarge(&copy, m[0], m[1], m[2], m[3])) {
    // The old pixel (0, 0) now sits at (l, t) when that is on the grown surface.
    if (m[0] >= 0 && m[1] >= 0 && m[0] < copy.width && m[1] < copy.height && w > 0 && h > 0 &&
        std::memcmp(copy.pixels + (size_t(m[1]) * copy.width + m[0]) * bpp, s.pixels, bpp))
      __builtin_trap();
  }
  sf_release(&copy);
  sf_surface k{};
  if (sf_kernel_gaussian(&k, gauss)) sf_release(&k);
  sf_release(&s);
  return 0;
}
