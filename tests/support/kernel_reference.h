// sf_kernel written out plainly, pixel by pixel and channel by channel, with the bounds decision
// on every weight: the reference that the library's faster loop nest must match byte for byte.
#pragma once

#include <cstdint>
#include <vector>

namespace qtest {

inline std::vector<uint8_t> kernel_reference(const uint8_t* pixels, int32_t w, int32_t h, int32_t bpp,
                                             const float* weights, int32_t kw, int32_t kh) {
  std::vector<uint8_t> out(pixels, pixels + size_t(w) * h * bpp);
  double sum = 0;
  for (int32_t i = 0; i < kw * kh && kw > 0 && kh > 0; ++i) sum += weights[i];
  for (int32_t c = 0; c < bpp; ++c)
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) {
        double a = 0, b = 0;
        for (int32_t ky = 0; ky < kh; ++ky)
          for (int32_t kx = 0; kx < kw; ++kx) {
            const double wt = weights[ky * kw + kx];
            const int32_t sx = x - kw / 2 + kx, sy = y - kh / 2 + ky;
            if (sx >= 0 && sx < w && sy >= 0 && sy < h) {
              const double p = wt * pixels[(size_t(sy) * w + sx) * bpp + c];
              a = a + p;
            } else {
              b = b + wt;
            }
          }
        double v = (a / sum) * (b / (1 - b) + 1);
        uint8_t byte;
        if (v > 255) {
          byte = 255;
        } else {
          if (v < 0) v = 0 - v;
          const int16_t t = v == v && v < 32768 ? int16_t(v) : int16_t(-32768);
          byte = uint8_t(t & 0xFF);
        }
        out[(size_t(y) * w + x) * bpp + c] = byte;
      }
  return out;
}

}  // namespace qtest
