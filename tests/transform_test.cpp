// Whole-surface transforms, convolution and Gaussian weights, and the exact outline blend.
#include "support.h"

namespace {

using qtest::fail_lines, qtest::noise, qtest::Surf, qtest::Bytes;
const std::string kCreate = fail_lines("surface.cpp", "sf_create", "malloc");
const sf_surface kDetached{4, 4, 4, nullptr, nullptr, 0, nullptr, nullptr, 0, 0};  // a size, no buffer
float weight(const Surf& s, int i) { return reinterpret_cast<const float*>(s.pixels)[i]; }

TEST(Flip, MirrorsInPlaceAndIntoAnotherSurface) {
  // Into another surface the odd middle row keeps what the target held; one of another shape (one
  // side alike) or pixel size is neither read nor written.
  Surf src(2, 3, 1, {1, 2, 3, 4, 5, 6}), dst(2, 3, 1, Bytes(6, 9)), wide(3, 3, 1, Bytes(9, 9)), tall(2, 4, 1, Bytes(8, 9)), grey(2, 3, 2, Bytes(12, 9));
  sf_flip_vertical(&src, &dst);
  for (Surf* other : {&wide, &tall, &grey})
    for (auto flip : {sf_flip_vertical, sf_flip_horizontal}) flip(&src, other), flip(other, &src);
  EXPECT_TRUE(dst.bytes() == (Bytes{5, 6, 9, 9, 1, 2}) && wide.bytes() == Bytes(9, 9) && tall.bytes() == Bytes(8, 9) &&
              grey.bytes() == Bytes(12, 9) && src.bytes() == (Bytes{1, 2, 3, 4, 5, 6}));
  for (int32_t bpp : {1, 2, 3, 4, 5}) {  // every row loop: each size of its own, and the general one
    const Bytes before = noise(size_t(7) * 5 * bpp, unsigned(bpp));
    Surf s(7, 5, bpp, before);
    sf_flip_vertical(&s, &s), sf_flip_horizontal(&s, &s);
    EXPECT_EQ(0, std::memcmp(s.pixels, &before[size_t(34) * bpp], bpp));  // (0, 0) holds (6, 4), bytes in order
    EXPECT_EQ(0, std::memcmp(s.pixels + 8 * bpp, &before[size_t(26) * bpp], bpp));  // (1, 1) holds (5, 3)
    sf_flip_horizontal(&s, &s), sf_flip_vertical(&s, &s);
    EXPECT_EQ(s.bytes(), before) << bpp;
  }
}

TEST(Duplicate, CopiesAndConvertsPixelsOnly) {
  Surf src(3, 2, 4, noise(24, 1)), dst, empty(0, 5, 4), copy, conv, zero;
  src.color = 0xFF00FF00u;
  ASSERT_TRUE(sf_strip(&src) && sf_duplicate(&dst, &src));
  EXPECT_TRUE(dst.bytes() == src.bytes() && dst.pixels != src.pixels && !dst.strip && dst.color == 0);
  EXPECT_TRUE(sf_duplicate(&copy, &empty) == 1 && copy.height == 5 && !copy.pixels);
  EXPECT_TRUE(sf_duplicate(&copy, &kDetached) == 0 && copy.width == 0);
  // Convert calls once per pixel, row by row, with both pixel sizes.
  static std::vector<std::pair<const uint8_t*, const uint8_t*>> calls;
  auto record = [](uint8_t* d, const uint8_t* s) -> int32_t { return calls.push_back({d, s}), *d = uint8_t(s[0] ^ s[3]); };
  ASSERT_EQ(sf_convert(&conv, &src, 1, record), 1);
  ASSERT_EQ(calls.size(), 6u);
  for (size_t i = 0; i < 6; ++i)
    EXPECT_TRUE(calls[i].first == conv.pixels + i && calls[i].second == src.pixels + 4 * i && conv.pixels[i] == (src.pixels[4 * i] ^ src.pixels[4 * i + 3]));
  EXPECT_TRUE(sf_convert(&zero, &src, 3, nullptr) == 1 && zero.bytes() == Bytes(18, 0));  // no callback: the zero surface
  copy.width = 7;  // a source without pixels leaves a zero record
  EXPECT_TRUE(sf_convert(&copy, &kDetached, 1, record) == 0 && copy.width == 0 && calls.size() == 6);
}

TEST(Enlarge, PlacesCropsAndCopiesThroughTheSkipTable) {
  Surf s(2, 2, 1, {1, 2, 3, 4}), row(3, 1, 3, {1, 1, 1, 2, 2, 2, 3, 3, 3}), t(3, 1, 1);
  ASSERT_EQ(sf_enlarge(&s, 1, 2, 3, 4), 1);
  Bytes want(48, 0);
  want[13] = 1, want[14] = 2, want[19] = 3, want[20] = 4;
  EXPECT_TRUE(s.width == 6 && s.height == 8 && s.bytes() == want);
  EXPECT_TRUE(sf_enlarge(&row, -1, 0, 0, 0) == 1 && row.bytes() == (Bytes{2, 2, 2, 3, 3, 3}));
  // The copy walks the skip table, also one out of date; the record starts afresh.
  t.pixels[2] = 9;
  ASSERT_EQ(sf_strip(&t), 1);
  t.pixels[0] = 5, t.pixels[1] = 7, t.color = 1;
  ASSERT_EQ(sf_enlarge(&t, 0, 0, 1, 0), 1);
  EXPECT_TRUE(t.bytes() == (Bytes{0, 0, 9, 0}) && !t.strip && t.color == 0);
  // Refused while a clip is pushed (its stack would be lost), and for sides that can't exist.
  sf_rect r{0, 0, 1, 1};
  ASSERT_EQ(sf_push(&t, &r), 1);
  EXPECT_EQ(sf_enlarge(&t, 1, 1, 1, 1), 0);
  sf_pop(&t);
  t.clip = &r;  // a clip in force without a stack
  EXPECT_TRUE(sf_enlarge(&t, 1, 1, 1, 1) == 0 && t.bytes() == (Bytes{0, 0, 9, 0}));
  t.clip = nullptr;
}

// The allocation after `fail` ones fails, or sides that can't exist: the exact trace, nothing
// changed, and a failed make leaves a zero record.
TEST(Transform, RefusalsAreTraced) {
  Surf s(2, 2, 4, noise(16, 2)), d;
  const float one = 1;
  const struct { std::string trace; std::function<int32_t()> call; int32_t width; long fail = 0; } cases[] = {
      {fail_lines("transform.cpp", "sf_duplicate"), [&] { return sf_duplicate(&d, &s); }, 0},
      {fail_lines("transform.cpp", "sf_convert"), [&] { return sf_convert(&d, &s, 1, nullptr); }, 0},
      {fail_lines("transform.cpp", "sf_enlarge"), [&] { return sf_enlarge(&s, 1, 1, 1, 1); }, 99},
      {fail_lines("transform.cpp", "sf_duplicate") + fail_lines("kernel.cpp", "sf_kernel"), [&] { return sf_kernel(&s, &one, 1, 1); }, 99},
      {fail_lines("kernel.cpp", "sf_kernel_gaussian"), [&] { return sf_kernel_gaussian(&d, -5); }, 99},
      {fail_lines("transform.cpp", "sf_enlarge"), [&] { return sf_enlarge(&s, -5, 0, 0, 0); }, 99, -1},
      {fail_lines("transform.cpp", "sf_enlarge"), [&] { return sf_enlarge(&s, INT32_MAX, 0, 1, 0); }, 99, -1},
  };
  for (const auto& c : cases) {
    d.width = 99;
    EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(c.call(), 0); }, c.fail), kCreate + c.trace);
    EXPECT_EQ(d.width, c.width) << c.trace;
  }
  EXPECT_TRUE(s.width == 2 && s.bytes() == noise(16, 2));
}

TEST(Near, ListsNeighboursOnTheSurfaceInOrderAndMeasuresContrast) {
  Surf s(3, 3, 2), one(1, 1, 4);
  const std::pair<sf_point, std::vector<std::pair<int32_t, int32_t>>> cases[] = {
      {{0, 0}, {{0, 1}, {1, 1}, {1, 0}}}, {{1, 1}, {{1, 0}, {0, 0}, {0, 1}, {0, 2}, {1, 2}, {2, 2}, {2, 1}, {2, 0}}},
      {{-1, 0}, {{0, 1}, {0, 0}}}, {{3, 3}, {{2, 2}}}, {{INT32_MIN, 0}, {}},
  };
  for (const auto& [at, want] : cases) {
    sf_point p[8];
    std::vector<std::pair<int32_t, int32_t>> got(size_t(sf_near(&s, p, at.x, at.y)));
    for (size_t i = 0; i < got.size(); ++i) got[i] = {p[i].x, p[i].y};
    EXPECT_EQ(got, want) << at.x << "," << at.y;
  }
  // Channel 1 of the neighbours of (1, 1) runs from 3 to 200; the centre takes no part.
  const uint8_t ch1[9] = {3, 10, 20, 30, 99, 50, 60, 70, 200};
  for (int i = 0; i < 9; ++i) s.pixels[i * 2] = i == 4 ? 0 : 50, s.pixels[i * 2 + 1] = ch1[i];
  EXPECT_TRUE(sf_contrast(&s, 1, 1, 1) == 197 && sf_contrast(&s, 0, 0, 1) == 99 - 10 && sf_contrast(&s, 2, 2, 1) == 99 - 50);
  // Uniform neighbours, whatever the centre holds; no neighbours; no such byte.
  EXPECT_TRUE(sf_contrast(&s, 1, 1, 0) == 0 && sf_contrast(&one, 0, 0, 0) == -255 && sf_contrast(&s, 1, 1, 2) == -255 && sf_contrast(&s, 1, 1, -1) == -255);
}

TEST(Gaussian, WeightsFollowFromTheSizeAlone) {
  const std::pair<int32_t, std::vector<float>> rows[] = {{1, {1.0736473f}}, {3, {0.19051267f, 0.60759628f, 0.19051267f}},
      {4, {0.017204829f, 0.22208266f, 0.52095807f, 0.22208266f}}};  // even: peak right of the middle
  for (const auto& [n, want] : rows) {
    Surf k;
    ASSERT_EQ(sf_kernel_gaussian(&k, n), 1);
    EXPECT_TRUE(k.width == n && k.height == 1 && k.bytes_per_pixel == 4);
    for (int i = 0; i < n; ++i) EXPECT_FLOAT_EQ(weight(k, i), want[i]) << n;
  }
  Surf k, sq, zero;
  ASSERT_TRUE(sf_kernel_gaussian(&k, 100) && sf_kernel_gaussian(&sq, -3) && sf_kernel_gaussian(&zero, 0));
  EXPECT_EQ(weight(k, 50), float(1 / (2.5066282746310002L * 10)));  // σ = 10: the peak is 1 / (10 √(2π))
  // Square: g, not g², at the centre; corners g e^(−2/d).
  const double sigma = std::sqrt(3.0) * std::exp(0.03 - 1);
  EXPECT_FLOAT_EQ(weight(sq, 4), 0.60759628f);
  EXPECT_FLOAT_EQ(weight(sq, 0), float(0.60759628 * std::exp(-1 / (sigma * sigma))));
  EXPECT_TRUE(sq.width == 3 && sq.height == 3 && zero.width == 0 && zero.height == 1 && zero.bytes_per_pixel == 4 && !zero.pixels);
}

// The edge correction, negative sums and wrapping are compared with the plain loop on random
// weights in the SIMD suite; here: no weights (zero pixels), no pixels (success), no weight array.
TEST(Kernel, NoWeightsNoPixelsAndRefusals) {
  const float one = 1;
  Surf s(2, 1, 1, {9, 9}), t(2, 1, 1, {9, 9}), none(0, 4, 1);
  EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(sf_kernel(&s, nullptr, 3, 3), 0); }), "");
  EXPECT_TRUE(s.bytes() == (Bytes{9, 9}) && sf_kernel(&none, &one, 3, 3) == 1);
  EXPECT_TRUE(sf_kernel(&s, &one, 0, 1) && sf_kernel(&t, &one, -1, 2) && s.bytes() == Bytes(2, 0) && t.bytes() == Bytes(2, 0));
}

TEST(Outline, EveryAlphaPairAgreesWithExactArithmetic) {
  uint32_t out = 0;
  // The weight fa + (255 − ba)(255 − fa) fa / (255 A), truncated, in integers.
  std::mt19937 gen(7);
  for (uint32_t fa = 0; fa < 256; ++fa)
    for (uint32_t ba = 0; ba < 256; ++ba) {
      const uint8_t f[4] = {uint8_t(gen()), uint8_t(gen()), uint8_t(gen()), uint8_t(fa)}, b[4] = {uint8_t(gen()), uint8_t(gen()), uint8_t(gen()), uint8_t(ba)};
      const uint64_t a = fa + (255 - fa) * ba / 255, d = 255 * (a ? a : 1), w = (fa * d + (255 - ba) * (255 - fa) * fa) / d;
      uint32_t want = uint32_t(a) << 24;
      for (int i = 0; i < 3; ++i) want |= uint32_t((b[i] * (255 - w) + f[i] * w) / 255) << (8 * i);
      sf_pixel_alphablend_outline(&out, f, b);
      ASSERT_EQ(out, want) << "fa " << fa << " ba " << ba;
    }
}

}  // namespace
