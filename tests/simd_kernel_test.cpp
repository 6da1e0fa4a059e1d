// Convolution and smoothing at every instruction-set level that this processor runs: each must
// give the bytes of the plain loops on random surfaces, weights and sizes, the edges included.
#include <gtest/gtest.h>
#include <quelt/base/cpu_p.h>
#include <quelt/processing/kernel.h>
#include <quelt/processing/kernel_p.h>
#include <quelt/processing/process.h>
#include <quelt/processing/process_p.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "kernel_reference.h"

namespace {

using quelt::cpu_level;

std::vector<cpu_level> levels() {
  std::vector<cpu_level> out;
  for (int l = 0; l < quelt::cpu_level_count; ++l)
    if (quelt::level_for(static_cast<cpu_level>(l))) out.push_back(static_cast<cpu_level>(l));
  return out;
}

// Noise, noise with many 0 and 255, or flat stretches (where a filter gives back the stretch's
// value exactly, so that any rounding off the exact quotient shows as a lower byte).
std::vector<uint8_t> random_pixels(size_t n, std::mt19937& rng) {
  const int kind = rng() % 3;
  std::vector<uint8_t> p(n);
  uint8_t flat = rng() & 0xFF;
  for (uint8_t& b : p) {
    if (kind == 2 && rng() % 64 == 0) flat = rng() & 0xFF;
    b = kind == 2 ? flat : kind == 1 && rng() % 2 ? (rng() % 2 ? 255 : 0) : rng() & 0xFF;
  }
  return p;
}

// Weights of every kind that changes the outcome: even sums near 1, sums near 0 or negative (the
// magnitude then passes 255 and 32768 and wraps), huge values that cancel, NaN and infinity.
std::vector<float> random_weights(int32_t n, std::mt19937& rng) {
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  const int kind = rng() % 6;
  std::vector<float> w(static_cast<size_t>(n));
  for (float& x : w) x = kind == 0 ? std::fabs(unit(rng)) : unit(rng);
  if (kind == 2) w[rng() % n] *= 1e-6f;                  // a sum that may be tiny
  if (kind == 3) w[rng() % n] = 3e38f, w[rng() % n] = -3e38f;
  if (kind == 4) w[rng() % n] = rng() % 2 ? std::numeric_limits<float>::quiet_NaN() : INFINITY;
  if (kind == 5)
    for (float& x : w) x = static_cast<float>(rng() % 11) - 2.0f;  // whole sums: results often exactly whole
  return w;
}

TEST(KernelLevels, EveryLevelFiltersLikeThePlainLoop) {
  const std::vector<cpu_level> all = levels();
  std::mt19937 rng(11);
  for (int round = 0; round < 400; ++round) {
    const int32_t w = 1 + rng() % (round % 8 ? 60 : 300), h = 1 + rng() % 12, bpp = 1 + rng() % 5;
    const int32_t kw = 1 + rng() % 7, kh = 1 + rng() % 7;
    const std::vector<uint8_t> src = random_pixels(size_t(w) * h * bpp, rng);
    const std::vector<float> weights = random_weights(kw * kh, rng);
    const std::vector<uint8_t> want = qtest::kernel_reference(src.data(), w, h, bpp, weights.data(), kw, kh);
    quelt::kernel::job j{src.data(), nullptr, w, h, bpp, weights.data(), kw, kh, -(kw / 2), -(kh / 2), 0.0};
    for (float x : weights) j.sum += x;
    for (cpu_level l : all) {
      std::vector<uint8_t> out(src.size(), 0xA5);
      j.dst = out.data();
      quelt::kernel::filter(j, quelt::level_for(l)->kernel_interior);
      ASSERT_EQ(out, want) << quelt::cpu_level_name(l) << " round " << round << ": " << w << "x" << h << "x" << bpp
                           << " kernel " << kw << "x" << kh;
    }
    sf_surface s{};
    ASSERT_EQ(sf_create(&s, w, h, bpp), 1);
    std::copy(src.begin(), src.end(), s.pixels);
    ASSERT_EQ(sf_kernel(&s, weights.data(), kw, kh), 1);
    EXPECT_EQ(std::vector<uint8_t>(s.pixels, s.pixels + src.size()), want) << "sf_kernel round " << round;
    sf_release(&s);
  }
}

// Widths around every vector size and its tails, pixel sizes with and without an untouched
// fourth byte and beyond it.
TEST(SmoothLevels, EveryLevelSmoothsLikeTheByteLoop) {
  std::mt19937 rng(23);
  for (int round = 0; round < 600; ++round) {
    const int32_t w = 1 + rng() % (round % 5 ? 70 : 400), h = 1 + rng() % 6, bpp = 1 + rng() % 6;
    sf_surface ref{};
    ASSERT_EQ(sf_create(&ref, w, h, bpp), 1);
    const size_t n = size_t(w) * h * bpp;
    const std::vector<uint8_t> src = random_pixels(n, rng);
    std::copy(src.begin(), src.end(), ref.pixels);
    quelt::process::smooth_scalar(&ref);
    const std::vector<uint8_t> want(ref.pixels, ref.pixels + n);
    for (int l = 1; l <= quelt::cpu_level_count; ++l) {
      std::copy(src.begin(), src.end(), ref.pixels);
      if (l == quelt::cpu_level_count) {
        ASSERT_EQ(sf_smooth(&ref), 1);
      } else if (const quelt::level_fns* f = quelt::level_for(static_cast<cpu_level>(l))) {
        f->smooth(&ref);
      } else {
        continue;
      }
      ASSERT_EQ(std::vector<uint8_t>(ref.pixels, ref.pixels + n), want)
          << (l == quelt::cpu_level_count ? "sf_smooth" : quelt::cpu_level_name(static_cast<cpu_level>(l))) << " round "
          << round << ": " << w << "x" << h << "x" << bpp;
    }
    sf_release(&ref);
  }
}

}  // namespace
