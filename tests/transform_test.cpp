// Mirroring, copying, growing, conversion and the neighbourhood queries of whole surfaces.
#include <gtest/gtest.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/context.h>
#include <quelt/surface/transform.h>

#include <climits>
#include <cstring>
#include <random>
#include <vector>

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
  Bytes bytes() const {
    return pixels ? Bytes(pixels, pixels + size_t(width) * height * bytes_per_pixel) : Bytes{};
  }
};

Bytes random_bytes(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  Bytes b(n);
  for (auto& v : b) v = uint8_t(gen());
  return b;
}

TEST(Flip, MirrorsAndKeepsTheMiddleOfASeparateTarget) {
  Surf v(1, 3, 1, {1, 2, 3});
  sf_flip_vertical(&v, &v);
  EXPECT_EQ(v.bytes(), (Bytes{3, 2, 1}));
  Surf h(3, 1, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  sf_flip_horizontal(&h, &h);
  EXPECT_EQ(h.bytes(), (Bytes{7, 8, 9, 4, 5, 6, 1, 2, 3}));
  // Into another surface the odd middle column keeps what the target held.
  Surf src(3, 2, 1, {1, 2, 3, 4, 5, 6}), dst(3, 2, 1, Bytes(6, 9));
  sf_flip_horizontal(&src, &dst);
  EXPECT_EQ(dst.bytes(), (Bytes{3, 9, 1, 6, 9, 4}));
  Surf tall(2, 3, 1, {1, 2, 3, 4, 5, 6}), other(2, 3, 1, Bytes(6, 9));
  sf_flip_vertical(&tall, &other);
  EXPECT_EQ(other.bytes(), (Bytes{5, 6, 9, 9, 1, 2}));
  EXPECT_EQ(tall.bytes(), (Bytes{1, 2, 3, 4, 5, 6}));
  // A source of another shape is never read past its end: nothing happens.
  Surf small(2, 1, 1, {1, 2});
  sf_flip_horizontal(&small, &dst);
  sf_flip_vertical(&small, &dst);
  EXPECT_EQ(dst.bytes(), (Bytes{3, 9, 1, 6, 9, 4}));
}

TEST(Flip, TwiceInPlaceRestoresEveryPixelAtEachSize) {
  for (int32_t bpp : {1, 2, 3, 4, 5})
    for (auto [w, h] : {std::pair{1, 1}, {1, 4}, {4, 1}, {5, 4}, {600, 3}}) {
      const Bytes before = random_bytes(size_t(w) * h * bpp, unsigned(w * 100 + h * 10 + bpp));
      Surf s(w, h, bpp, before);
      sf_flip_horizontal(&s, &s);
      if (w > 1) EXPECT_NE(s.bytes(), before);
      // Pixel (0, 0) now holds what was at (w − 1, 0).
      EXPECT_EQ(0, std::memcmp(s.pixels, before.data() + size_t(w - 1) * bpp, bpp));
      sf_flip_horizontal(&s, &s);
      sf_flip_vertical(&s, &s);
      sf_flip_vertical(&s, &s);
      EXPECT_EQ(s.bytes(), before) << w << "x" << h << "x" << bpp;
    }
}

TEST(Duplicate, CopiesPixelsOnly) {
  Surf src(3, 2, 4, random_bytes(24, 1));
  src.color = 0xFF00FF00u;
  src.anchor_x = 0.5f;
  ASSERT_EQ(sf_strip(&src), 1);
  sf_rect r{0, 0, 1, 1};
  ASSERT_EQ(sf_push(&src, &r), 1);
  Surf dst;
  ASSERT_EQ(sf_duplicate(&dst, &src), 1);
  EXPECT_EQ(dst.bytes(), src.bytes());
  EXPECT_NE(dst.pixels, src.pixels);
  EXPECT_EQ(dst.strip, nullptr);
  EXPECT_EQ(dst.color, 0u);
  EXPECT_EQ(dst.clip, nullptr);
  EXPECT_EQ(dst.anchor_x, 0.0f);
  sf_pop(&src);
  Surf empty(0, 5, 4), copy;
  EXPECT_EQ(sf_duplicate(&copy, &empty), 1);
  EXPECT_EQ(copy.height, 5);
  EXPECT_EQ(copy.pixels, nullptr);
  // A record with a size but a detached buffer has nothing to copy.
  sf_surface detached{4, 4, 4, nullptr, nullptr, 0, nullptr, nullptr, 0, 0};
  EXPECT_EQ(sf_duplicate(&copy, &detached), 0);
  EXPECT_EQ(copy.width, 0);
}

TEST(Enlarge, PlacesOldPixelsAndCrops) {
  Surf s(2, 2, 1, {1, 2, 3, 4});
  ASSERT_EQ(sf_enlarge(&s, 1, 2, 3, 4), 1);
  ASSERT_EQ(s.width, 6);
  ASSERT_EQ(s.height, 8);
  Bytes want(48, 0);
  want[2 * 6 + 1] = 1, want[2 * 6 + 2] = 2, want[3 * 6 + 1] = 3, want[3 * 6 + 2] = 4;
  EXPECT_EQ(s.bytes(), want);
  Surf row(3, 1, 3, {1, 1, 1, 2, 2, 2, 3, 3, 3});
  ASSERT_EQ(sf_enlarge(&row, -1, 0, 0, 0), 1);
  EXPECT_EQ(row.bytes(), (Bytes{2, 2, 2, 3, 3, 3}));
  ASSERT_EQ(sf_enlarge(&row, 0, 0, -2, 0), 1);  // cropped to nothing: a surface of width 0
  EXPECT_EQ(row.width, 0);
  EXPECT_EQ(row.pixels, nullptr);
}

TEST(Enlarge, LosesNothingAndRefusesWhatItCannotKeep) {
  // A skip table that is out of date doesn't hide pixels from the copy.
  Surf s(3, 1, 1, {0, 0, 0});
  s.color = 0xFFFFFFFFu;
  ASSERT_EQ(sf_strip(&s), 1);
  s.pixels[1] = 7;
  ASSERT_EQ(sf_enlarge(&s, 0, 0, 1, 0), 1);
  EXPECT_EQ(s.bytes(), (Bytes{0, 7, 0, 0}));
  EXPECT_EQ(s.strip, nullptr);
  EXPECT_EQ(s.color, 0u);
  // While a clip is pushed the record keeps its stack and its pixels.
  sf_rect r{0, 0, 1, 1};
  ASSERT_EQ(sf_push(&s, &r), 1);
  uint8_t* before = s.pixels;
  EXPECT_EQ(sf_enlarge(&s, 1, 1, 1, 1), 0);
  EXPECT_EQ(s.pixels, before);
  sf_pop(&s);
  // Sides that can't exist fail like an allocation, with the surface unchanged.
  for (auto [l, rt] : {std::pair{-5, 0}, {INT32_MAX, 1}}) {
    qtest::Stdout out;
    EXPECT_EQ(sf_enlarge(&s, l, 0, rt, 0), 0);
    EXPECT_EQ(qtest::trace_shape(out.text()),
              "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n"
              "transform.cpp:N:\t\tsf_enlarge: \ntransform.cpp:N:\tsf_enlarge.\n");
    EXPECT_EQ(s.pixels, before);
    EXPECT_EQ(s.width, 4);
  }
}

TEST(Transform, FailedAllocationsAreTraced) {
  Surf s(2, 2, 4, random_bytes(16, 2));
  const Bytes before = s.bytes();
  const std::string create = "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n";
  auto expect_trace = [&](const char* name, auto call) {
    qtest::Stdout out;
    qtest::fail_after(0);
    EXPECT_EQ(call(), 0) << name;
    qtest::fail_after(-1);
    EXPECT_EQ(qtest::trace_shape(out.text()), create + "transform.cpp:N:\t\t" + name + ": \ntransform.cpp:N:\t" +
                                                  name + ".\n");
  };
  Surf d;
  d.width = 99;  // a failed make leaves an all-zero record
  expect_trace("sf_duplicate", [&] { return sf_duplicate(&d, &s); });
  EXPECT_EQ(d.width, 0);
  expect_trace("sf_convert", [&] { return sf_convert(&d, &s, 1, nullptr); });
  EXPECT_EQ(d.width, 0);
  expect_trace("sf_enlarge", [&] { return sf_enlarge(&s, 1, 1, 1, 1); });
  EXPECT_EQ(s.width, 2);
  EXPECT_EQ(s.bytes(), before);
}

TEST(Near, ListsNeighboursOnTheSurfaceInOrder) {
  Surf s(3, 3, 1);
  struct Case {
    int32_t x, y;
    std::vector<std::pair<int32_t, int32_t>> want;
  };
  const Case cases[] = {
      {0, 0, {{0, 1}, {1, 1}, {1, 0}}},
      {1, 1, {{1, 0}, {0, 0}, {0, 1}, {0, 2}, {1, 2}, {2, 2}, {2, 1}, {2, 0}}},
      {-1, 0, {{0, 1}, {0, 0}}},
      {2, 2, {{2, 1}, {1, 1}, {1, 2}}},
      {3, 3, {{2, 2}}},
      {INT32_MIN, 0, {}},
      {INT32_MAX, INT32_MAX, {}},
  };
  for (const Case& c : cases) {
    sf_point p[8];
    const int32_t n = sf_near(&s, p, c.x, c.y);
    std::vector<std::pair<int32_t, int32_t>> got;
    for (int32_t i = 0; i < n; ++i) got.push_back({p[i].x, p[i].y});
    EXPECT_EQ(got, c.want) << c.x << "," << c.y;
  }
}

TEST(Contrast, MeasuresOneChannelOfTheNeighbours) {
  // Channel 1 of the neighbours runs from 3 to 200; the centre (90) and channel 0 take no part.
  Bytes px(18, 50);
  for (int i = 0; i < 9; ++i) px[i * 2 + 1] = uint8_t(i == 0 ? 3 : i == 8 ? 200 : 10 * i);
  px[4 * 2 + 1] = 90;
  px[4 * 2] = 0;
  Surf s(3, 3, 2, px);
  EXPECT_EQ(sf_contrast(&s, 1, 1, 1), 197);
  EXPECT_EQ(sf_contrast(&s, 1, 1, 0), 0);     // uniform neighbours: 0, whatever the centre holds
  EXPECT_EQ(sf_contrast(&s, 0, 0, 1), 90 - 10);  // (0, 1) is 30, (1, 1) 90, (1, 0) 10
  Surf one(1, 1, 4);
  EXPECT_EQ(sf_contrast(&one, 0, 0, 0), -255);
  EXPECT_EQ(sf_contrast(&s, 1, 1, 2), -255);  // no such channel
  EXPECT_EQ(sf_contrast(&s, 1, 1, -1), -255);
}

TEST(Convert, CallsOncePerPixelRowByRowAtBothSizes) {
  Surf src(3, 2, 4, random_bytes(24, 3));
  static std::vector<std::pair<const uint8_t*, const uint8_t*>> calls;
  calls.clear();
  Surf dst;
  ASSERT_EQ(sf_convert(&dst, &src, 1,
                       [](uint8_t* d, const uint8_t* s) -> int32_t {
                         calls.push_back({d, s});
                         *d = uint8_t(s[0] ^ s[3]);
                         return 7;
                       }),
            1);
  ASSERT_EQ(calls.size(), 6u);
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(calls[i].first, dst.pixels + i);
    EXPECT_EQ(calls[i].second, src.pixels + 4 * i);
    EXPECT_EQ(dst.pixels[i], src.pixels[4 * i] ^ src.pixels[4 * i + 3]);
  }
  EXPECT_EQ(dst.bytes_per_pixel, 1);
  Surf zero;
  ASSERT_EQ(sf_convert(&zero, &src, 3, nullptr), 1);  // no callback: the zero surface
  EXPECT_EQ(zero.bytes(), Bytes(18, 0));
}

}  // namespace
