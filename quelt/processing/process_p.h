// The two-tap smoothing of sf_smooth, written once for any width of the vector unit:
// process_scalar.cpp instantiates it byte by byte (the reference), process_sse2.cpp for 16
// bytes, process_avx2.cpp for 32, process_avx512.cpp for 64.
// The templates have internal linkage, so that copies compiled for different instruction sets
// never stand in for each other.
#pragma once

#include <quelt/base/cpu_p.h>
#include <quelt/surface/surface.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quelt::process {

namespace {

// N bytes handled as one value; the compiler maps the operations to the vector unit.
template <size_t N>
struct bytes_n;
template <>
struct bytes_n<16> {
  typedef uint8_t type __attribute__((vector_size(16)));
};
template <>
struct bytes_n<32> {
  typedef uint8_t type __attribute__((vector_size(32)));
};
template <>
struct bytes_n<64> {
  typedef uint8_t type __attribute__((vector_size(64)));
};

// The smoothing step on a run of `count` bytes of whole pixels of size b (Bpp when known at
// compile time), N bytes at a time (none when N is 0): a colour byte d[i] becomes (n[i] >> 1) + (d[i] >> 1), bytes past the third of
// a pixel stay. `n` may be `d` + one pixel: every chunk is read before it is written and the walk
// goes forwards, so each read sees the old value.
template <size_t N, int Bpp>
inline void add_halves(uint8_t* d, const uint8_t* n, size_t count, size_t b) {
  size_t i = 0;
  if constexpr (N > 0 && Bpp >= 1 && Bpp <= 4) {
    using V = typename bytes_n<N>::type;
    V colour;  // 0xFF on colour bytes, 0 on the alpha bytes of 4-byte pixels
    for (size_t k = 0; k < N; ++k) colour[k] = Bpp == 4 && k % 4 == 3 ? 0 : 0xFF;
    for (; i + N <= count; i += N) {
      V a, c;
      std::memcpy(&a, d + i, N);
      std::memcpy(&c, n + i, N);
      const V r = (((c >> 1) + (a >> 1)) & colour) | (a & ~colour);
      std::memcpy(d + i, &r, N);
    }
  }
  for (; i < count; ++i)
    if (b <= 3 || i % b < 3) d[i] = static_cast<uint8_t>((n[i] >> 1) + (d[i] >> 1));
}

// Halves the colour bytes of a run of whole pixels: the edge, where the neighbour counts as 0.
inline void halve(uint8_t* d, size_t count, size_t b) {
  for (size_t i = 0; i < count; ++i)
    if (b <= 3 || i % b < 3) d[i] = static_cast<uint8_t>(d[i] >> 1);
}

template <size_t N, int Bpp>
void smooth_rows(const sf_surface* s) {
  const size_t b = Bpp ? Bpp : static_cast<size_t>(s->bytes_per_pixel);
  const size_t w = static_cast<size_t>(s->width), h = static_cast<size_t>(s->height);
  const size_t stride = w * b;
  const auto row_pass = [&](uint8_t* row) {
    add_halves<N, Bpp>(row, row + b, (w - 1) * b, b);
    halve(row + (w - 1) * b, b, b);
  };
  // Both passes in one sweep: row y + 1 is smoothed along x before row y takes it as its lower
  // neighbour, which is what a full row pass followed by a full column pass gives.
  uint8_t* row = s->pixels;
  row_pass(row);
  for (size_t y = 0; y + 1 < h; ++y, row += stride) {
    row_pass(row + stride);
    add_halves<N, Bpp>(row, row + stride, stride, b);
  }
  halve(row, stride, b);
}

template <size_t N>
void smooth(const sf_surface* s) {
  switch (s->bytes_per_pixel) {
    case 1: smooth_rows<N, 1>(s); break;
    case 2: smooth_rows<N, 2>(s); break;
    case 3: smooth_rows<N, 3>(s); break;
    case 4: smooth_rows<N, 4>(s); break;
    default: smooth_rows<N, 0>(s); break;
  }
}

}  // namespace
}  // namespace quelt::process
