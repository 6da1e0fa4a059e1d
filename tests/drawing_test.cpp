// Lines, ring masks, frames and shapes: exact pixels, the literal walk as a reference on random
// lines, symmetry of the masks, single coverage of frames and shapes, traced failures.
#include <gtest/gtest.h>
#include <quelt/drawing/frame.h>
#include <quelt/drawing/render.h>
#include <quelt/processing/process.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/blend.h>
#include <quelt/surface/context.h>

#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "support.h"

namespace {

using words = std::vector<uint32_t>;

struct Surf {
  sf_surface s{};
  Surf(int32_t w, int32_t h, int32_t bpp = 4, uint32_t fill = 0) {
    EXPECT_EQ(sf_create(&s, w, h, bpp), 1);
    if (bpp == 4) set(words(size_t(w) * h, fill));
  }
  ~Surf() { sf_release(&s); }
  words get() const {
    words v(size_t(s.width) * s.height);
    std::memcpy(v.data(), s.pixels, v.size() * 4);
    return v;
  }
  void set(const words& v) { std::memcpy(s.pixels, v.data(), v.size() * 4); }
  uint32_t at(int x, int y) const { return get()[size_t(y) * s.width + x]; }
};

uint32_t over(uint32_t p, uint32_t w, uint32_t rgb) {
  uint32_t out = (((p >> 24) * (255 - w)) >> 8) + w;
  for (int sh = 16; sh >= 0; sh -= 8)
    out = out << 8 | ((((p >> sh) & 0xFF) * (255 - w) + ((rgb >> sh) & 0xFF) * w) >> 8);
  return out;
}

// The line walk as defined, with truncation, for lines at coordinates 0 or above.
void line_reference(words& px, int w, int h, double x0, double y0, double x1, double y1, uint32_t rgb) {
  auto plot = [&](double x, double y, double wt) {
    if (x >= 0 && x < w && y >= 0 && y < h) px[size_t(y) * w + size_t(x)] = over(px[size_t(y) * w + size_t(x)], uint32_t(wt), rgb & 0xFFFFFF);
  };
  if (x0 > x1) std::swap(x0, x1), std::swap(y0, y1);
  if (std::fabs((y1 - y0) / (x1 - x0)) < 1) {
    for (double x = x0, y = y0, g = (y1 - y0) / (x1 - x0);; y += g) {
      const double f = y - std::trunc(y);
      plot(std::trunc(x), std::trunc(y), std::trunc((1 - f) * 255));
      plot(std::trunc(x), std::trunc(y + 1), std::trunc(f * 255));
      if (x1 < (x += 1)) break;
    }
  } else {
    if (y0 > y1) std::swap(x0, x1), std::swap(y0, y1);
    for (double x = x0, y = y0, m = (x1 - x0) / (y1 - y0);; x += m) {
      const double f = x - std::trunc(x);
      plot(std::trunc(x), std::trunc(y), std::trunc((1 - f) * 255));
      plot(std::trunc(x + 1), std::trunc(y), std::trunc(f * 255));
      if (y1 < (y += 1)) break;
    }
  }
}

TEST(Line, ExactPlots) {
  struct plot { int x, y; uint32_t w; };
  auto runs = [](int from, int to, auto make) {
    std::vector<plot> v;
    for (int k = from; k <= to; ++k) for (plot p : make(k)) v.push_back(p);
    return v;
  };
  const struct { float x0, y0, x1, y1; std::vector<plot> plots; } cases[] = {
      {10, 5.25f, 20, 5.25f, runs(10, 20, [](int k) { return std::vector<plot>{{k, 5, 191}, {k, 6, 63}}; })},
      {0, 0, 4, 4, runs(0, 4, [](int k) { return std::vector<plot>{{k, k, 255}}; })},  // slope 1 walks along y
      {3, 1, 3, 4, runs(1, 4, [](int k) { return std::vector<plot>{{3, k, 255}}; })},
      {2.5f, 7, 2.5f, 7, {{2, 7, 127}, {3, 7, 127}}},
      {2, 7, 2, 7, {{2, 7, 255}}},
      {0, 0, 2.9f, 0, runs(0, 2, [](int k) { return std::vector<plot>{{k, 0, 255}}; })},
      {0, 0, 3, 0, runs(0, 3, [](int k) { return std::vector<plot>{{k, 0, 255}}; })},
      // Between −1 and 0: the step or pixel lies off the surface, nothing is drawn twice.
      {-0.75f, 3.25f, 5.25f, 3.25f, runs(0, 5, [](int k) { return std::vector<plot>{{k, 3, 191}, {k, 4, 63}}; })},
      {1, -0.25f, 6, -0.25f, runs(1, 6, [](int k) { return std::vector<plot>{{k, 0, 191}}; })},
      {-0.25f, 1, -0.25f, 4, runs(1, 4, [](int k) { return std::vector<plot>{{0, k, 191}}; })},
      {2.5f, -0.5f, 2.5f, 3, runs(0, 2, [](int k) { return std::vector<plot>{{2, k, 127}, {3, k, 127}}; })},
      {0, -1.5f, 8, -1.1f, {}},  // rows −2 and −1 only
      // Far away: jumped to the surface and cut where it leaves it.
      {-1e7f, 5.5f, 1e7f, 5.5f, runs(0, 23, [](int k) { return std::vector<plot>{{k, 5, 127}, {k, 6, 127}}; })},
      {5.5f, 1e9f, 5.5f, -1e9f, runs(0, 15, [](int k) { return std::vector<plot>{{5, k, 127}, {6, k, 127}}; })},
      // Not drawn at all.
      {NAN, 1, 2, 3, {}}, {0, 0, INFINITY, 0, {}}, {0, 0, 3e15f, 1, {}},
  };
  for (const auto& c : cases) {
    Surf a(24, 16);
    words want = a.get();
    for (const plot& p : c.plots) want[size_t(p.y) * 24 + p.x] = over(0, p.w, 0xFFFFFF);
    for (int reversed = 0; reversed < 2; ++reversed) {
      a.set(words(24 * 16, 0));
      EXPECT_EQ(reversed ? sf_line(&a.s, c.x1, c.y1, c.x0, c.y0, 0xFFFFFF) : sf_line(&a.s, c.x0, c.y0, c.x1, c.y1, 0xFFFFFF), 1);
      EXPECT_EQ(a.get(), want) << c.x0 << "," << c.y0 << " " << c.x1 << "," << c.y1 << " reversed " << reversed;
    }
  }
}

TEST(Line, WeightZeroStillBlendsAndColourTopByteIsIgnored) {
  Surf a(8, 8, 4, 0x80402010), b(8, 8);
  sf_line(&a.s, 3, 1, 3, 4, 0);
  EXPECT_EQ(a.at(4, 2), 0x7F3F1F0Fu);  // the weight-0 neighbour of a whole-number x
  EXPECT_EQ(a.at(3, 2), 0xFF000000u);
  sf_line(&b.s, 1, 1, 6, 3, 0x00FF0000);
  const words first = b.get();
  b.set(words(64, 0));
  sf_line(&b.s, 1, 1, 6, 3, 0xFFFF0000);
  EXPECT_EQ(b.get(), first);
}

TEST(Line, MatchesTheWalkOnRandomLinesAndIgnoresTheClip) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> cx(0, 48), cy(0, 38);
  Surf a(40, 30, 4, 0x40302010);
  sf_rect clip{0, 0, 2, 2};
  ASSERT_EQ(sf_push(&a.s, &clip), 1);
  words want = a.get();
  for (int i = 0; i < 400; ++i) {
    const float x0 = cx(rng), y0 = cy(rng), x1 = i % 5 ? cx(rng) : x0, y1 = cy(rng);
    const uint32_t color = rng();
    line_reference(want, 40, 30, x0, y0, x1, y1, color);
    sf_line(&a.s, x0, y0, x1, y1, color);
  }
  EXPECT_EQ(a.get(), want);
  sf_pop(&a.s);
}

TEST(Line, ReversedTwinGivesTheSamePixels) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> c(-6, 36);
  for (int i = 0; i < 300; ++i) {
    const float x0 = c(rng), y0 = c(rng), x1 = i % 7 ? c(rng) : x0, y1 = i % 11 ? c(rng) : y0;
    Surf a(30, 30), b(30, 30);
    sf_line(&a.s, x0, y0, x1, y1, 0x123456);
    sf_line(&b.s, x1, y1, x0, y0, 0x123456);
    ASSERT_EQ(a.get(), b.get()) << x0 << "," << y0 << " " << x1 << "," << y1;
  }
}

// One mask byte before smoothing, as the mask is defined.
uint8_t ring_byte(float d, float radius, float inner) {
  if (d < inner || d > radius) return 0;
  float e;
  if (d <= inner + 1.0) e = inner - d;
  else if (d >= radius - 1.0) e = d - radius;
  else return 255;
  return uint8_t(uint32_t(double(float(1.0 - (e - 0.005))) * 255.0));
}

TEST(Ring, BandsSizesAndSmoothing) {
  const struct { float d, radius, inner; uint8_t byte; } bands[] = {
      {10, 10, -2, 0}, {9.5f, 10, -2, 127}, {9, 10, -2, 255}, {0, 10, -2, 255}, {6.9f, 10, 7, 0},
      {7.25f, 10, 7, 64}, {8.5f, 10, 7, 255}, {9.75f, 10, 7, 64}, {10.1f, 10, 7, 0},
  };
  for (const auto& b : bands) EXPECT_EQ(ring_byte(b.d, b.radius, b.inner), b.byte) << b.d << " " << b.inner;

  const struct { float radius, thickness; int size; } rings[] = {
      {10, 0, 22}, {10, -4, 22}, {10, 3, 22}, {0, 0, 2}, {2.5f, 0, 7}, {7.3f, 1.5f, 16}, {12, 2, 26}, {-0.75f, 0, 0},
  };
  for (const auto& r : rings) {
    sf_surface m;
    ASSERT_EQ(sf_render_ring(&m, r.radius, r.thickness), 1);
    ASSERT_EQ(m.width, r.size);
    ASSERT_EQ(m.height, r.size);
    ASSERT_EQ(m.bytes_per_pixel, 1);
    Surf want(r.size, r.size, 1);
    const float inner = r.thickness > 0 ? r.radius - r.thickness : -2.0f;
    for (int y = 0; y < r.size; ++y)
      for (int x = 0; x < r.size; ++x)
        want.s.pixels[y * r.size + x] = ring_byte(float(std::sqrt(double((x - r.size / 2) * (x - r.size / 2) + (y - r.size / 2) * (y - r.size / 2)))),
                                                       r.radius, inner);
    if (r.size) {
      sf_smooth(&want.s);
      sf_strip(&want.s);
      EXPECT_EQ(std::memcmp(m.pixels, want.s.pixels, size_t(r.size) * r.size), 0) << r.radius;
      EXPECT_EQ(std::memcmp(m.strip, want.s.strip, size_t(r.size) * r.size), 0) << r.radius;
    }
    sf_release(&m);
  }
}

TEST(Ring, WholeRadiusMasksAreSymmetric) {
  for (int radius = 0; radius <= 24; ++radius)
    for (float thickness : {0.0f, 1.0f, 2.5f, 5.0f}) {
      sf_surface m;
      ASSERT_EQ(sf_render_ring(&m, float(radius), thickness), 1);
      const int n = m.width;
      auto at = [&](int x, int y) { return m.pixels[y * n + x]; };
      for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
          ASSERT_EQ(at(x, y), at(n - 1 - x, y)) << radius << " " << thickness;
          ASSERT_EQ(at(x, y), at(x, n - 1 - y)) << radius << " " << thickness;
        }
      sf_release(&m);
    }
}

TEST(Ring, FailuresAreTraced) {
  const std::string create = "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n"
                             "render.cpp:N:\t\tsf_render_ring: \nrender.cpp:N:\tsf_render_ring.\n";
  for (float radius : {10.0f, NAN, -3.0f, 1e9f}) {
    sf_surface m;
    std::memset(&m, 0xAB, sizeof m);
    qtest::Stdout out;
    if (radius == 10.0f) qtest::fail_after(0);
    EXPECT_EQ(sf_render_ring(&m, radius, 0), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(qtest::trace_shape(out.text()), create) << radius;
    EXPECT_EQ(m.pixels, nullptr);
  }
  // A skip table that can't be made leaves a usable mask without one.
  sf_surface m;
  qtest::Stdout out;
  qtest::fail_after(1);
  EXPECT_EQ(sf_render_ring(&m, 4, 0), 1);
  qtest::fail_after(-1);
  EXPECT_EQ(qtest::trace_shape(out.text()), "strip.cpp:N:\t\tsf_strip: malloc\nstrip.cpp:N:\tsf_strip.\n");
  EXPECT_EQ(m.strip, nullptr);
  EXPECT_NE(m.pixels, nullptr);
  sf_release(&m);
}

TEST(Frame, EachBorderPixelOnceInItsColour) {
  const uint32_t tl = 0x80FF0000, br = 0x800000FF, bg = 0x20406080;
  const struct { sf_rect r; int32_t thickness; } cases[] = {
      {{0, 0, 4, 4}, 1}, {{0, 0, 6, 6}, 2}, {{1, 2, 9, 5}, 3}, {{-3, -2, 7, 6}, 4}, {{2, 2, 7, 9}, 0},
      {{2, 2, 7, 9}, -5}, {{0, 0, 10, 8}, INT32_MAX}, {{1, 1, 8, 6}, 9}, {{2, 3, 2, 7}, 2}, {{5, 5, 1, 1}, 2},
      {{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}, 3}, {{INT32_MIN, -5, INT32_MAX, INT32_MAX}, INT32_MAX},
      {{-40, INT32_MIN, 12, 5}, INT32_MAX},
  };
  for (const auto& c : cases) {
    Surf a(10, 8, 4, bg);
    words want = a.get();
    const sf_rect& r = c.r;
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 10; ++x) {
        if (x < r.left || x >= r.right || y < r.top || y >= r.bottom) continue;
        const int64_t ring = std::min({int64_t(x) - r.left, int64_t(y) - r.top, int64_t(r.right) - 1 - x, int64_t(r.bottom) - 1 - y});
        if (ring >= c.thickness) continue;
        const bool second = x == r.right - 1 - ring || y == r.bottom - 1 - ring;  // right column, bottom row
        const uint32_t col = second ? br : tl;
        want[y * 10 + x] = over(bg, col >> 24, col);
      }
    sf_frame(&a.s, &r, tl, br, c.thickness);
    EXPECT_EQ(a.get(), want) << r.left << "," << r.top << "," << r.right << "," << r.bottom << " t " << c.thickness;
    EXPECT_EQ(a.s.color, br);
  }
}

TEST(Shape, CoversEachPixelOfTheRectangleOnce) {
  // Full coverage 200 everywhere: a pixel blended twice, or blended and filled, reads otherwise.
  const uint32_t color = 0xFF204080;
  for (int W = 1; W <= 7; ++W)
    for (int H = 1; H <= 7; ++H)
      for (const sf_rect r : {sf_rect{2, 3, 2 + W, 3 + H}, sf_rect{1, 2, 14, 9}, sf_rect{-4, -3, 9, 11}}) {
        Surf shape(W, H, 1), a(12, 10);
        std::memset(shape.s.pixels, 200, size_t(W) * H);
        sf_strip(&shape.s);
        a.s.color = color;
        sf_shape(&a.s, &shape.s, &r);
        const int fl = r.left + W / 2, ft = r.top + H / 2, fr = r.right - (W - W / 2), fb = r.bottom - (H - H / 2);
        for (int y = 0; y < 10; ++y)
          for (int x = 0; x < 12; ++x) {
            uint32_t want = 0;
            if (x >= fl && x < fr && y >= ft && y < fb) want = over(0, (200 * 255) >> 8, color);
            else if (x >= r.left && x < r.right && y >= r.top && y < r.bottom) want = over(0, 200, color);
            ASSERT_EQ(a.at(x, y), want) << W << "x" << H << " at " << x << "," << y << " rect " << r.left << "," << r.top;
          }
        EXPECT_EQ(a.s.color, color);
      }
}

// The nine parts as separate blends, one per repeated row and column, the far halves placed by
// their own size.
void shape_reference(sf_surface* s, sf_surface* sh, const sf_rect& r) {
  const int W = sh->width, H = sh->height, hw = W / 2, hh = H / 2, fw = W - hw, fh = H - hh;
  auto part = [&](int l, int t, int rr, int b, int x, int y) { const sf_rect src{l, t, rr, b}; sf_blend(s, sh, &src, x, y, nullptr); };
  part(0, 0, hw, hh, r.left, r.top);
  part(0, hh, hw, H, r.left, r.bottom - fh);
  part(hw, 0, W, hh, r.right - fw, r.top);
  part(hw, hh, W, H, r.right - fw, r.bottom - fh);
  for (int i = 0; i < r.bottom - r.top - H; ++i) part(0, hh, hw, hh + 1, r.left, r.top + hh + i);
  for (int i = 0; i < r.bottom - r.top - H; ++i) part(hw, hh, W, hh + 1, r.right - fw, r.top + hh + i);
  for (int i = 0; i < r.right - r.left - W; ++i) part(hw, 0, hw + 1, hh, r.left + hw + i, r.top);
  for (int i = 0; i < r.right - r.left - W; ++i) part(hw, hh, hw + 1, H, r.left + hw + i, r.bottom - fh);
  const uint32_t c = s->color, p = sh->pixels[(hh * W + hw) * sh->bytes_per_pixel];
  s->color = (((p * (c >> 24)) >> 8) << 24) | (c & 0xFFFFFF);
  const sf_rect inside{r.left + hw, r.top + hh, r.right - fw, r.bottom - fh};
  sf_fill(s, &inside);
  s->color = c;
}

TEST(Shape, MatchesThePartsBlendedOneByOne) {
  std::mt19937 rng(5);
  const uint32_t colors[] = {0xFF204080, 0x80204080, 0x00FFFFFF, 0xFFFFFFFF, 0xFF000000, 0x01FF00FF};
  for (int k = 0; k < 300; ++k) {
    const int W = 2 + rng() % 8, H = 2 + rng() % 8, bpp = k % 7 ? 1 : 4;
    Surf sh(W, H, bpp);
    for (int i = 0; i < W * H * bpp; ++i) sh.s.pixels[i] = uint8_t(rng() % 3 == 0 ? 0 : rng() % 3 == 0 ? 255 : rng());
    if (k % 2) sf_strip(&sh.s);
    const int x = int(rng() % 30) - 8, y = int(rng() % 24) - 8;
    const sf_rect r{x, y, x + W + int(rng() % 20), y + H + int(rng() % 16)};
    Surf a(24, 20, 4, 0x80808080 ^ rng()), b(24, 20);
    b.set(a.get());
    sf_rect clip{3, 2, 20, 17};
    if (k % 3 == 0) sf_push(&a.s, &clip), sf_push(&b.s, &clip);
    a.s.color = b.s.color = colors[k % 6];
    sf_shape(&a.s, &sh.s, &r);
    shape_reference(&b.s, &sh.s, r);
    ASSERT_EQ(a.get(), b.get()) << k;
    if (k % 3 == 0) sf_pop(&a.s), sf_pop(&b.s);
  }
}

TEST(Shape, InsideColourAnchorsAndDegenerateInput) {
  sf_surface ring, disc;
  ASSERT_EQ(sf_render_ring(&ring, 4, 2), 1);
  ASSERT_EQ(sf_render_ring(&disc, 4, 0), 1);
  disc.pixels[5 * 10 + 5] = 128;
  Surf a(40, 30), b(40, 30), e(0, 0, 1);
  a.s.color = b.s.color = 0xFF102030;
  const sf_rect r{5, 5, 35, 25}, huge{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
  sf_shape(&a.s, &disc, &r);
  sf_shape(&b.s, &ring, &r);
  EXPECT_EQ(a.at(20, 15), over(0, 0x7F, 0x102030));  // alpha scaled by the centre's 128
  EXPECT_EQ(b.at(20, 15), 0u);                       // a ring leaves the inside open
  EXPECT_EQ(a.s.color, 0xFF102030u);

  // Anchors move the first corner alone: by hw = 5 to the left.
  Surf c(40, 30);
  c.s.color = 0xFF102030;
  c.s.anchor_x = 1.0f;
  sf_shape(&c.s, &ring, &r);
  EXPECT_EQ(c.s.anchor_x, 0.0f);
  words want = b.get();
  for (int y = 5; y < 10; ++y)
    for (int x = 0; x < 5; ++x) want[y * 40 + x] = want[y * 40 + x + 5], want[y * 40 + x + 5] = 0;
  EXPECT_EQ(c.get(), want);

  Surf f(40, 30);
  f.s.color = 0xFF102030;
  sf_shape(&f.s, &disc, &huge);  // only the inside reaches the surface
  EXPECT_EQ(f.get(), words(40 * 30, over(0, 0x7F, 0x102030)));
  sf_shape(&f.s, &e.s, &r);  // a shape without pixels draws nothing
  EXPECT_EQ(f.get(), words(40 * 30, over(0, 0x7F, 0x102030)));
  sf_release(&ring);
  sf_release(&disc);
}

}  // namespace
