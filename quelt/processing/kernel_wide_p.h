// The interior loop of sf_kernel for a wide level, written once over a policy `S` that each
// level's translation unit defines before it includes this file:
//
//   D, U, B       the vector of doubles, the number of accumulators a block keeps, and the
//                 output bytes of a block (U vectors of doubles)
//   zero(), set1(x), madd(a, w, x) = a + w × x
//   widen(p, x)   the B bytes at p as U vectors of doubles
//   finish(out, a, sum)  each accumulator divided by sum, made a byte as to_byte does, stored
//
// A block's accumulators hold B output bytes next to each other, each one alone in its lane:
// its products are added in the order of the weights starting from 0, as the scalar loop adds
// them, and it is divided by the sum in double. A product of a float weight and a byte needs at
// most 24 + 8 significant bits and is exact in double, so a fused multiply-add rounds exactly
// once, where the separate addition does: the bytes are those of the scalar loop. Everything
// here has internal linkage: code compiled for one level never stands in for another's.
#pragma once

#include <quelt/processing/kernel_p.h>

namespace quelt::kernel {
namespace {

template <class S>
void interior_wide(const job& j, int32_t y, int32_t x0, int32_t x1) {
  using D = typename S::D;
  const size_t bpp = static_cast<size_t>(j.bpp);
  const size_t stride = static_cast<size_t>(j.w) * bpp;
  const size_t count = static_cast<size_t>(x1 - x0) * bpp;
  // The source byte under weight (0, 0) for the first output byte, and that byte's place.
  const uint8_t* first = j.src + static_cast<size_t>(y + j.oy) * stride + static_cast<size_t>(x0 + j.ox) * bpp;
  uint8_t* out = j.dst + static_cast<size_t>(y) * stride + static_cast<size_t>(x0) * bpp;
  size_t i = 0;
  for (; i + S::B <= count; i += S::B) {
    D a[S::U], x[S::U];
    for (int u = 0; u < S::U; ++u) a[u] = S::zero();
    const float* wt = j.weights;
    const uint8_t* row = first + i;
    for (int32_t ky = 0; ky < j.kh; ++ky, row += stride) {
      const uint8_t* p = row;
      for (int32_t kx = 0; kx < j.kw; ++kx, ++wt, p += bpp) {
        const D w = S::set1(static_cast<double>(*wt));
        S::widen(p, x);
        for (int u = 0; u < S::U; ++u) a[u] = S::madd(a[u], w, x[u]);
      }
    }
    S::finish(out + i, a, j.sum);
  }
  interior_bytes(j, first, stride, out, i, count);
}

}  // namespace
}  // namespace quelt::kernel
