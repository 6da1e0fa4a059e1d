// Convolution with edge correction, Gaussian weights, and the exact straight-alpha blend of one
// pixel over another.
#include <gtest/gtest.h>
#include <quelt/processing/kernel.h>
#include <quelt/processing/pixel.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "kernel_reference.h"
#include "support.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Surf : sf_surface {
  Surf() : sf_surface{} {}
  Surf(int32_t w, int32_t h, int32_t bpp, const Bytes& px = {}) : sf_surface{} {
    EXPECT_EQ(sf_create(this, w, h, bpp), 1);
    if (!px.empty()) std::memcpy(pixels, px.data(), px.size());
  }
  ~Surf() { sf_release(this); }
  Bytes bytes() const { return pixels ? Bytes(pixels, pixels + size_t(width) * height * bytes_per_pixel) : Bytes{}; }
  std::vector<float> floats() const {
    std::vector<float> f(size_t(width) * height);
    if (pixels) std::memcpy(f.data(), pixels, f.size() * 4);
    return f;
  }
};

TEST(Gaussian, WeightsFollowFromTheSizeAlone) {
  struct Case {
    int32_t size, width, height;
    std::vector<float> want;  // leading elements
  };
  const Case cases[] = {
      {1, 1, 1, {1.0736473f}},
      {3, 3, 1, {0.19051267f, 0.60759628f, 0.19051267f}},
      {4, 4, 1, {0.017204829f, 0.22208266f, 0.52095807f, 0.22208266f}},  // even: peak right of the middle
      {-3, 3, 3, {0.0f, 0.0f, 0.0f, 0.19051267f, 0.60759628f, 0.19051267f}},
  };
  for (const Case& c : cases) {
    Surf k;
    ASSERT_EQ(sf_kernel_gaussian(&k, c.size), 1);
    EXPECT_EQ(k.width, c.width);
    EXPECT_EQ(k.height, c.height);
    EXPECT_EQ(k.bytes_per_pixel, 4);
    const std::vector<float> f = k.floats();
    for (size_t i = 0; i < c.want.size(); ++i)
      if (c.want[i] != 0.0f) EXPECT_FLOAT_EQ(f[i], c.want[i]) << c.size << " at " << i;
  }
  // σ = 10 exactly at size 100: the peak is g = 1 / (10 √(2π)) and nothing is larger.
  Surf k;
  ASSERT_EQ(sf_kernel_gaussian(&k, 100), 1);
  const std::vector<float> f = k.floats();
  EXPECT_EQ(f[50], static_cast<float>(1 / (2.5066282746310002L * 10)));
  EXPECT_EQ(*std::max_element(f.begin(), f.end()), f[50]);
  EXPECT_EQ(f[49], f[51]);
  // The square keeps g, not g², at its centre, and its corners are g × e^(−2/d).
  Surf sq;
  ASSERT_EQ(sf_kernel_gaussian(&sq, -3), 1);
  const std::vector<float> s = sq.floats();
  EXPECT_FLOAT_EQ(s[4], 0.60759628f);
  const double sigma = std::sqrt(3.0) * std::exp(0.03 - 1), d = 2 * sigma * sigma;
  EXPECT_FLOAT_EQ(s[0], float(0.60759628 * std::exp(-2 / d)));
  EXPECT_EQ(s[0], s[8]);
  // Not normalised: the sums fall a little short of 1.
  for (auto [n, sum] : {std::pair{3, 0.9886}, {9, 0.9999}}) {
    Surf r;
    ASSERT_EQ(sf_kernel_gaussian(&r, n), 1);
    const std::vector<float> w = r.floats();
    EXPECT_NEAR(std::accumulate(w.begin(), w.end(), 0.0), sum, 5e-5);
  }
  Surf zero;
  ASSERT_EQ(sf_kernel_gaussian(&zero, 0), 1);
  EXPECT_EQ(zero.width, 0);
  EXPECT_EQ(zero.height, 1);
  EXPECT_EQ(zero.bytes_per_pixel, 4);
  EXPECT_EQ(zero.pixels, nullptr);
}

TEST(Kernel, CorrectsEdgesAndMirrorsNegatives) {
  struct Case {
    std::vector<float> weights;
    int32_t kw, kh, sw, sh;
    Bytes in, want;
  };
  const float inf = std::numeric_limits<float>::infinity();
  const Case cases[] = {
      {{1}, 1, 1, 3, 1, {7, 0, 255}, {7, 0, 255}},
      {{-1}, 1, 1, 3, 1, {7, 0, 255}, {7, 0, 255}},  // A and S both negative
      {{0.5f, 0.5f}, 2, 1, 3, 1, {10, 20, 40}, {10, 15, 30}},  // origin at element 1; 5 corrected to 10
      {{0.5f, 0.5f}, 1, 2, 1, 3, {10, 20, 40}, {10, 15, 30}},  // the same along a column
      {{-1, 3, -1}, 3, 1, 3, 1, {100, 10, 100}, {145, 170, 145}},  // −170 mirrored
      {{-1, 3, -1}, 3, 1, 3, 1, {200, 10, 200}, {255, 114, 255}},  // −370 wraps to 114
      {{1, 1, 1}, 3, 1, 4, 1, {0, 5, 0, 0}, {255, 1, 1, 0}},  // B = 1 at the ends: ∞, or 0 × ∞
      {{-1, 0, 1}, 3, 1, 5, 1, {5, 10, 5, 12, 9}, {255, 0, 255, 255, 0}},  // S = 0
      {{0.25f, inf, 0.25f}, 3, 1, 3, 1, {4, 0, 8}, {0, 0, 0}},  // ∞ / ∞ and ∞ × 0: not numbers
      {{1}, 0, 1, 2, 1, {9, 9}, {0, 0}},  // no weights at all
      {{1}, 1, -1, 2, 1, {9, 9}, {0, 0}},
  };
  for (const Case& c : cases) {
    Surf s(c.sw, c.sh, 1, c.in);
    EXPECT_EQ(sf_kernel(&s, c.weights.data(), c.kw, c.kh), 1);
    EXPECT_EQ(s.bytes(), c.want) << "weights " << c.weights[0] << ", kw " << c.kw;
  }
}

TEST(Kernel, MatchesThePlainLoopByteForByte) {
  // Sizes that give no interior, one chunk and several; weights of every sign and a few that
  // aren't finite or cancel; kernels larger than the surface and without weights.
  std::mt19937 gen(42);
  auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen); };
  const float odd[] = {0.0f, -0.0f, std::numeric_limits<float>::infinity(), -1e30f, 1e-30f,
                       std::numeric_limits<float>::quiet_NaN()};
  for (int round = 0; round < 300; ++round) {
    const int32_t bpp = std::vector<int32_t>{1, 2, 3, 4, 7}[pick(0, 4)];
    const int32_t w = pick(0, 9) == 0 ? pick(250, 700) : pick(1, 24), h = pick(1, 12);
    const int32_t kw = pick(-1, 7), kh = pick(-1, 5);
    std::vector<float> weights(size_t(std::max(kw, 0) * std::max(kh, 0)) + 1);
    // Large weights that cancel make every sum depend on the order of its terms.
    const int mode = pick(0, 5);
    for (auto& v : weights)
      v = mode == 0 && pick(0, 4) == 0 ? odd[pick(0, 5)]
          : mode == 1 && pick(0, 1) ? std::ldexp(float(pick(-3, 3)), 60)
                                    : std::uniform_real_distribution<float>(-1, 2)(gen);
    Bytes in(size_t(w) * h * bpp);
    for (auto& b : in) b = uint8_t(gen());
    Surf s(w, h, bpp, in);
    ASSERT_EQ(sf_kernel(&s, weights.data(), kw, kh), 1);
    ASSERT_EQ(s.bytes(), qtest::kernel_reference(in.data(), w, h, bpp, weights.data(), kw, kh))
        << w << "x" << h << "x" << bpp << " kernel " << kw << "x" << kh;
  }
}

TEST(Kernel, RefusesAndTracesCleanly) {
  Surf empty(0, 3, 4);
  const float one = 1;
  EXPECT_EQ(sf_kernel(&empty, &one, 1, 1), 1);
  Surf s(2, 2, 4, Bytes(16, 9));
  {
    qtest::Stdout out;
    EXPECT_EQ(sf_kernel(&s, nullptr, 3, 3), 0);
    sf_surface detached{4, 4, 4, nullptr, nullptr, 0, nullptr, nullptr, 0, 0};
    EXPECT_EQ(sf_kernel(&detached, &one, 1, 1), 0);
    EXPECT_EQ(out.text(), "");
  }
  const std::string create = "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n";
  qtest::Stdout out;
  qtest::fail_after(0);
  EXPECT_EQ(sf_kernel(&s, &one, 1, 1), 0);
  EXPECT_EQ(qtest::trace_shape(out.text()),
            create + "transform.cpp:N:\t\tsf_duplicate: \ntransform.cpp:N:\tsf_duplicate.\n"
                     "kernel.cpp:N:\t\tsf_kernel: \nkernel.cpp:N:\tsf_kernel.\n");
  EXPECT_EQ(s.bytes(), Bytes(16, 9));
  sf_surface k{};
  k.width = 77;
  qtest::Stdout out2;
  qtest::fail_after(0);
  EXPECT_EQ(sf_kernel_gaussian(&k, -5), 0);
  EXPECT_EQ(qtest::trace_shape(out2.text()),
            create + "kernel.cpp:N:\t\tsf_kernel_gaussian: \nkernel.cpp:N:\tsf_kernel_gaussian.\n");
  EXPECT_EQ(k.width, 77);  // not written
  qtest::Stdout out3;
  EXPECT_EQ(sf_kernel_gaussian(&k, INT32_MIN), 0);  // 2^31 − 1 squared can't be allocated
  EXPECT_EQ(k.width, 77);
}

TEST(Outline, EveryAlphaPairAgreesWithExactArithmetic) {
  uint32_t out = 0;
  const uint8_t fg[4] = {0, 0, 255, 128}, bg[4] = {255, 0, 0, 128}, opaque[4] = {255, 0, 0, 255};
  sf_pixel_alphablend_outline(&out, fg, bg);
  EXPECT_EQ(out, 0xBFAA0055u);
  sf_pixel_alphablend_outline(&out, fg, opaque);
  EXPECT_EQ(out, 0xFF80007Fu);
  // The weight is fa + (255 − ba)(255 − fa) fa / (255 A), truncated: compared in integers.
  std::mt19937 gen(7);
  for (uint32_t fa = 0; fa < 256; ++fa)
    for (uint32_t ba = 0; ba < 256; ++ba) {
      const uint8_t f[4] = {uint8_t(gen()), uint8_t(gen()), uint8_t(gen()), uint8_t(fa)};
      const uint8_t b[4] = {uint8_t(gen()), uint8_t(gen()), uint8_t(gen()), uint8_t(ba)};
      const uint64_t a = fa + (255 - fa) * ba / 255, d = 255 * (a ? a : 1);
      const uint64_t w = (fa * d + (255 - ba) * (255 - fa) * fa) / d;
      uint32_t want = uint32_t(a) << 24;
      for (int i = 0; i < 3; ++i) want |= uint32_t((b[i] * (255 - w) + f[i] * w) / 255) << (8 * i);
      sf_pixel_alphablend_outline(&out, f, b);
      ASSERT_EQ(out, want) << "fa " << fa << " ba " << ba;
    }
}

}  // namespace
