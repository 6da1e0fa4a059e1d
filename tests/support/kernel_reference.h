// sf_kernel written out plainly, channel by channel, with the bounds decision on every weight:
// the reference that the library's faster loop nest must match byte for byte.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

namespace qtest {

inline std::vector<uint8_t> kernel_reference(const uint8_t* px, int32_t w, int32_t h, int32_t bpp, const float* k,
                                             int32_t kw, int32_t kh) {
  std::vector<uint8_t> out(px, px + size_t(w) * h * bpp);
  double sum = 0;
  for (int32_t i = 0; kw > 0 && kh > 0 && i < kw * kh; ++i) sum += k[i];
  for (size_t i = 0; i < out.size(); ++i) {  // byte i: channel c of pixel (x, y)
    const int32_t c = int32_t(i % bpp), x = int32_t(i / bpp % w), y = int32_t(i / bpp / w);
    double a = 0, b = 0;  // weighted pixels inside, weights outside
    for (int32_t ky = 0; ky < kh; ++ky)
      for (int32_t kx = 0; kx < kw; ++kx) {
        const int32_t sx = x - kw / 2 + kx, sy = y - kh / 2 + ky;
        if (sx >= 0 && sx < w && sy >= 0 && sy < h) a = a + double(k[ky * kw + kx]) * px[(size_t(sy) * w + sx) * bpp + c];
        else b = b + k[ky * kw + kx];
      }
    const double v = std::abs((a / sum) * (b / (1 - b) + 1));  // NaN and sizes beyond 16 bits give 0
    out[i] = (a / sum) * (b / (1 - b) + 1) > 255 ? 255 : v < 32768 ? uint8_t(int16_t(v)) : 0;
  }
  return out;
}

}  // namespace qtest
