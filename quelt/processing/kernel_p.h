// The filter loop of sf_kernel and the interior loop of each instruction-set level, with the
// choice among them. The scalar interior is the reference that every wide level matches byte for
// byte: each wide level works out several output bytes at once, but every byte keeps its own sum
// in double, in the order of the weights, and its own division by the sum.
#pragma once

#include <quelt/base/cpu_p.h>

#include <cstddef>
#include <cstdint>

namespace quelt::kernel {

// One filtering run: the copy it reads, the surface it writes, the weights and their origin.
struct job {
  const uint8_t* src;
  uint8_t* dst;
  int32_t w, h, bpp;
  const float* weights;
  int32_t kw, kh;
  int32_t ox, oy;  // −(kw / 2), −(kh / 2): source offset of weight (0, 0)
  double sum;      // S, in the order of the weights
};

// Every byte of the surface: edge pixels (weights reaching past the surface) one by one with the
// correction, the interior through `interior`.
void filter(const job& j, interior_fn interior);

namespace {

// The byte of a filtered value: 255 above 255; else the magnitude (negative results are mirrored)
// truncated to 16 bits, whose low byte is kept; NaN and magnitudes of 32768 or more, which a
// 16-bit integer can't hold, give its "indefinite" value −32768, whose low byte is 0.
inline uint8_t to_byte(double v) {
  if (v > 255.0) return 255;
  const double m = v < 0.0 ? 0.0 - v : v;
  return m < 32768.0 ? static_cast<uint8_t>(static_cast<int32_t>(m)) : 0;
}

// Output bytes [i, count) of an interior run one at a time, `first` being the source byte under
// weight (0, 0) for byte 0. The tails of the wide levels and the whole of the scalar one.
inline void interior_bytes(const job& j, const uint8_t* first, size_t stride, uint8_t* out, size_t i, size_t count) {
  const size_t bpp = static_cast<size_t>(j.bpp);
  for (; i < count; ++i) {
    double a = 0.0;
    const float* wt = j.weights;
    for (int32_t ky = 0; ky < j.kh; ++ky) {
      const uint8_t* row = first + static_cast<size_t>(ky) * stride + i;
      for (int32_t kx = 0; kx < j.kw; ++kx, ++wt) {
        const double p = static_cast<double>(*wt) * row[static_cast<size_t>(kx) * bpp];
        a += p;  // the product is exact in double, so fusing it with the sum changes nothing
      }
    }
    out[i] = to_byte(a / j.sum);
  }
}

}  // namespace
}  // namespace quelt::kernel
