// Point filters and smoothing: exact numbers, literal references on random surfaces of every
// pixel size, and the traced failure of the grey conversion.
#include <gtest/gtest.h>
#include <quelt/processing/process.h>
#include <quelt/processing/strip.h>
#include <quelt/processing/process_p.h>
#include <quelt/surface/context.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support.h"

namespace {

using bytes = std::vector<uint8_t>;

struct Surf {
  sf_surface s{};
  Surf(int32_t w, int32_t h, int32_t bpp, const bytes& b = {}) {
    EXPECT_EQ(sf_create(&s, w, h, bpp), 1);
    std::copy(b.begin(), b.end(), s.pixels);
  }
  ~Surf() { sf_release(&s); }
  bytes get() const { return bytes(s.pixels, s.pixels + size_t(s.width) * s.height * s.bytes_per_pixel); }
};

bytes random_bytes(size_t n, uint32_t seed, int levels = 256) {
  std::mt19937 rng(seed);
  bytes b(n);
  for (auto& v : b) v = uint8_t(rng() % levels * (256 / levels));
  return b;
}

TEST(Threshold, SplitsDistinctLevelsByRank) {
  const struct { bytes in, out; } cases[] = {
      {{10, 20, 30}, {0, 0, 255}},
      {{10, 20, 30, 40}, {0, 0, 255, 255}},
      {{200, 200}, {0, 0}},
      {{0, 7, 255}, {0, 0, 255}},
      {{30, 10, 10, 10, 10, 20}, {255, 0, 0, 0, 0, 0}},  // counts play no part
  };
  for (const auto& c : cases) {
    Surf a(int32_t(c.in.size()), 1, 1, c.in);
    EXPECT_EQ(sf_threshold(&a.s), 1);
    EXPECT_EQ(a.get(), c.out);
  }
}

// The passes as the filter is defined: lowest remaining level to 0, highest to 255, repeat.
void threshold_passes(bytes& b, int bpp) {
  for (int c = 0; c < std::min(bpp, 3); ++c)
    for (;;) {
      int lo = 255, hi = 0;
      for (size_t i = c; i < b.size(); i += bpp)
        if (b[i] > 0 && b[i] < 255) lo = std::min<int>(lo, b[i]), hi = std::max<int>(hi, b[i]);
      if (lo > hi) break;
      for (size_t i = c; i < b.size(); i += bpp) b[i] = b[i] == lo ? 0 : b[i] == hi ? 255 : b[i];
    }
}

TEST(Threshold, MatchesThePassesOnEveryPixelSize) {
  for (int bpp : {1, 3, 4, 5})
    for (uint32_t seed : {1u, 2u}) {
      bytes in = random_bytes(size_t(13) * 7 * bpp, seed * 31 + bpp, seed == 1 ? 256 : 8), want = in;
      threshold_passes(want, bpp);
      Surf a(13, 7, bpp, in);
      sf_threshold(&a.s);
      EXPECT_EQ(a.get(), want) << bpp;
    }
}

TEST(Grayscale, InPlaceAndReplacing) {
  Surf a(2, 1, 4, {10, 20, 31, 99, 255, 255, 254, 7});
  EXPECT_EQ(sf_grayscale(&a.s, 0), 1);
  EXPECT_EQ(a.get(), (bytes{20, 20, 20, 99, 254, 254, 254, 7}));

  Surf b(2, 1, 4, {10, 20, 31, 99, 3, 0, 0, 0});
  b.s.color = 0xFF123456;
  b.s.anchor_x = 0.5f;
  ASSERT_EQ(sf_strip(&b.s), 1);
  EXPECT_EQ(sf_grayscale(&b.s, 1), 1);
  EXPECT_EQ(b.s.bytes_per_pixel, 1);
  EXPECT_EQ(b.s.width, 2);
  EXPECT_EQ(b.s.height, 1);
  EXPECT_EQ(b.s.color, 0u);
  EXPECT_EQ(b.s.strip, nullptr);
  EXPECT_EQ(b.s.anchor_x, 0.0f);
  EXPECT_EQ(b.get(), (bytes{20, 1}));
}

TEST(Grayscale, RefusesSilentlyWithoutChange) {
  Surf one(2, 1, 1, {1, 2}), four(1, 1, 4, {1, 2, 3, 4}), clipped(1, 1, 4, {1, 2, 3, 4});
  sf_rect r{0, 0, 1, 1};
  ASSERT_EQ(sf_push(&clipped.s, &r), 1);
  qtest::Stdout out;
  EXPECT_EQ(sf_grayscale(&one.s, 0), 0);
  EXPECT_EQ(sf_grayscale(&one.s, 1), 0);
  for (int32_t mode : {2, -1, 1000}) EXPECT_EQ(sf_grayscale(&four.s, mode), 0);
  EXPECT_EQ(sf_grayscale(&clipped.s, 1), 0);  // replacing the record would lose the clip stack
  EXPECT_EQ(out.text(), "");
  EXPECT_EQ(one.get(), (bytes{1, 2}));
  EXPECT_EQ(four.get(), (bytes{1, 2, 3, 4}));
  EXPECT_EQ(clipped.s.bytes_per_pixel, 4);
  sf_pop(&clipped.s);
}

TEST(Grayscale, FailedAllocationIsTracedAndChangesNothing) {
  Surf a(1, 1, 4, {3, 6, 9, 1});
  uint8_t* pixels = a.s.pixels;
  qtest::Stdout out;
  qtest::fail_after(0);
  EXPECT_EQ(sf_grayscale(&a.s, 1), 0);
  qtest::fail_after(-1);
  EXPECT_EQ(qtest::trace_shape(out.text()),
            "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n"
            "process.cpp:N:\t\tsf_grayscale: \nprocess.cpp:N:\tsf_grayscale.\n");
  EXPECT_EQ(a.s.pixels, pixels);
  EXPECT_EQ(a.get(), (bytes{3, 6, 9, 1}));
}

TEST(Negative, ComplementsEveryByte) {
  Surf a(1, 1, 4, {0x30, 0x20, 0x10, 0x80});
  EXPECT_EQ(sf_negative(&a.s), 1);
  EXPECT_EQ(a.get(), (bytes{0xCF, 0xDF, 0xEF, 0x7F}));
  bytes in = random_bytes(37 * 3, 5), want = in;  // not a multiple of the 16-byte chunks
  for (auto& v : want) v = uint8_t(255 - v);
  Surf b(37, 1, 3, in);
  sf_negative(&b.s);
  EXPECT_EQ(b.get(), want);
}

TEST(Adjust, GammaGainOffset) {
  const struct { float gamma, gain, offset; uint8_t in, out; } cases[] = {
      {2, 1, 0, 128, 180}, {2, 1, 0, 64, 127}, {1, 2, 0, 128, 255},  {1, 1, 0.25f, 128, 191},
      {1, 1, -0.5f, 10, 0}, {2, 1, -0.5f, 10, 0}, {0, 1, 0, 200, 0}, {0, 1, 0, 255, 255},
  };
  for (const auto& c : cases) {
    Surf a(1, 1, 4, {c.in, c.in, c.in, c.in});
    EXPECT_EQ(sf_adjust(&a.s, c.gamma, c.gain, c.offset), 1);
    EXPECT_EQ(a.get(), (bytes{c.out, c.out, c.out, c.in})) << c.gamma << " " << c.gain << " " << c.offset;
  }
  bytes all(256);
  for (int v = 0; v < 256; ++v) all[v] = uint8_t(v);
  Surf id(256, 1, 1, all);
  sf_adjust(&id.s, 1, 1, 0);  // the float rounding keeps every level
  EXPECT_EQ(id.get(), all);
}

// Row pass, then column pass, channel by channel, as the filter is defined.
void smooth_reference(bytes& b, int w, int h, int bpp) {
  auto at = [&](int x, int y, int c) -> uint8_t& { return b[(size_t(y) * w + x) * bpp + c]; };
  for (int c = 0; c < std::min(bpp, 3); ++c) {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) at(x, y, c) = uint8_t((x + 1 < w ? at(x + 1, y, c) >> 1 : 0) + (at(x, y, c) >> 1));
    for (int x = 0; x < w; ++x)
      for (int y = 0; y < h; ++y) at(x, y, c) = uint8_t((y + 1 < h ? at(x, y + 1, c) >> 1 : 0) + (at(x, y, c) >> 1));
  }
}

TEST(Smooth, ExactNumbersAndEmptySurfaces) {
  Surf a(2, 2, 1, {200, 200, 200, 200}), b(1, 1, 1, {200}), e(0, 5, 1), f(5, 0, 4);
  EXPECT_EQ(sf_smooth(&a.s), 1);
  EXPECT_EQ(a.get(), (bytes{200, 100, 100, 50}));
  EXPECT_EQ(sf_smooth(&b.s), 1);
  EXPECT_EQ(b.get(), bytes{50});
  EXPECT_EQ(sf_smooth(&e.s), 0);
  EXPECT_EQ(sf_smooth(&f.s), 0);
}

TEST(Smooth, MatchesTheReferenceOnEveryPixelSize) {
  const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {4, 4}, {17, 3}, {33, 5}, {64, 2}};
  for (int bpp : {1, 2, 3, 4, 5})
    for (const auto& sz : sizes) {
      bytes in = random_bytes(size_t(sz[0]) * sz[1] * bpp, sz[0] * 100 + bpp), want = in;
      smooth_reference(want, sz[0], sz[1], bpp);
      Surf a(sz[0], sz[1], bpp, in), b(sz[0], sz[1], bpp, in), c(sz[0], sz[1], bpp, in);
      EXPECT_EQ(sf_smooth(&a.s), 1);  // the widest loops this processor runs
      quelt::process::smooth<16>(&b.s);  // each vector width, compiled here for the base set
      quelt::process::smooth<32>(&c.s);
      EXPECT_EQ(a.get(), want) << sz[0] << "x" << sz[1] << " bpp " << bpp;
      EXPECT_EQ(b.get(), want) << sz[0] << "x" << sz[1] << " bpp " << bpp;
      EXPECT_EQ(c.get(), want) << sz[0] << "x" << sz[1] << " bpp " << bpp;
    }
}

}  // namespace
