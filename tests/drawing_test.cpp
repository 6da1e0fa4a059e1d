// Lines, ring masks, frames and shapes: exact pixels, the literal line walk on random lines,
// masks against their definition, single coverage of frames and shapes, traced failures.
#include <array>

#include "support.h"

namespace {

using qtest::Surf, qtest::Words;

uint32_t over(uint32_t p, uint32_t w, uint32_t rgb) {
  uint32_t out = (((p >> 24) * (255 - w)) >> 8) + w;
  for (int sh = 16; sh >= 0; sh -= 8) out = out << 8 | ((((p >> sh) & 0xFF) * (255 - w) + ((rgb >> sh) & 0xFF) * w) >> 8);
  return out;
}

TEST(Line, ExactPlotsBothWays) {
  // Each run {n, x, y, dx, dy, w} blends weight w on (x + k·dx, y + k·dy) for k = 0 .. n − 1.
  const struct { float x0, y0, x1, y1; std::vector<std::array<int, 6>> runs; } cases[] = {
      {10, 5.25f, 20, 5.25f, {{11, 10, 5, 1, 0, 191}, {11, 10, 6, 1, 0, 63}}},
      {0, 0, 4, 4, {{5, 0, 0, 1, 1, 255}}},  // slope 1 walks along y; weight 0 beside it
      {2.5f, 7, 2.5f, 7, {{1, 2, 7, 0, 0, 127}, {1, 3, 7, 0, 0, 127}}}, {0, 0, 2.9f, 0, {{3, 0, 0, 1, 0, 255}}},
      // Between −1 and 0 a step or pixel lies off the surface; nothing is drawn twice.
      {-0.75f, 3.25f, 5.25f, 3.25f, {{6, 0, 3, 1, 0, 191}, {6, 0, 4, 1, 0, 63}}},
      {1, -0.25f, 6, -0.25f, {{6, 1, 0, 1, 0, 191}}}, {0, -1.5f, 8, -1.1f, {}},
      {2.5f, -0.5f, 2.5f, 3, {{3, 2, 0, 0, 1, 127}, {3, 3, 0, 0, 1, 127}}},
      // Far away: jumped to the surface and cut where it leaves it; not drawn at all.
      {-1e7f, 5.5f, 1e7f, 5.5f, {{24, 0, 5, 1, 0, 127}, {24, 0, 6, 1, 0, 127}}},
      {-1e7f, 5.5f, 0, 5.5f, {{1, 0, 5, 1, 0, 127}, {1, 0, 6, 1, 0, 127}}}, {-1e7f, 5.5f, -5e6f, 5.5f, {}},  // ends at 0, before 0
      {5.5f, 1e9f, 5.5f, -1e9f, {{16, 5, 0, 0, 1, 127}, {16, 6, 0, 0, 1, 127}}},
      {NAN, 1, 2, 3, {}}, {0, 0, 3e15f, 1, {}},
  };
  for (const auto& c : cases) {
    Words want(24 * 16);
    for (const auto& [n, x, y, dx, dy, w] : c.runs)
      for (int k = 0; k < n; ++k) want[(y + k * dy) * 24 + x + k * dx] = over(0, uint32_t(w), 0xFFFFFF);
    for (bool reversed : {false, true}) {
      Surf a(24, 16, 4);
      EXPECT_EQ(reversed ? sf_line(&a, c.x1, c.y1, c.x0, c.y0, 0xFFFFFF) : sf_line(&a, c.x0, c.y0, c.x1, c.y1, 0xFFFFFF), 1);
      EXPECT_EQ(a.words(), want) << c.x0 << "," << c.y0 << " " << c.x1 << "," << c.y1 << " reversed " << reversed;
    }
  }
}

// The walk as defined, with truncation, for coordinates of 0 and above.
void line_reference(Words& px, int w, int h, double x0, double y0, double x1, double y1, uint32_t rgb) {
  auto plot = [&](double x, double y, double wt) {
    if (x < w && y < h) px[size_t(y) * w + size_t(x)] = over(px[size_t(y) * w + size_t(x)], uint32_t(wt), rgb & 0xFFFFFF);
  };
  const bool steep = !(std::fabs((y1 - y0) / (x1 - x0)) < 1);
  if (steep ? y0 > y1 : x0 > x1) std::swap(x0, x1), std::swap(y0, y1);
  if (steep) std::swap(x0, y0), std::swap(x1, y1);  // walk along "x" either way
  for (double a = x0, b = y0, g = (y1 - y0) / (x1 - x0);; b += g) {
    const double f = b - std::trunc(b), ia = std::trunc(a);
    steep ? plot(std::trunc(b), ia, std::trunc((1 - f) * 255)) : plot(ia, std::trunc(b), std::trunc((1 - f) * 255));
    steep ? plot(std::trunc(b + 1), ia, std::trunc(f * 255)) : plot(ia, std::trunc(b + 1), std::trunc(f * 255));
    if (x1 < (a += 1)) break;
  }
}

TEST(Line, RandomLinesMatchTheWalkIgnoreTheClipAndReverse) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> cx(0, 48), cy(0, 38);
  Surf a(40, 30, 4), b(40, 30, 4);
  a.paint(0x40302010), b.paint(0x40302010);
  sf_rect clip{0, 0, 2, 2};
  ASSERT_EQ(sf_push(&a, &clip), 1);
  Words want = a.words();
  for (int i = 0; i < 400; ++i) {
    float x0 = cx(rng), y0 = cy(rng), x1 = i % 5 ? cx(rng) : x0, y1 = cy(rng);
    if (i % 4 == 0) x0 = std::floor(x0), y0 = std::floor(y0);  // weight-0 neighbours still blend
    const uint32_t color = rng();
    line_reference(want, 40, 30, x0, y0, x1, y1, color);
    sf_line(&a, x0, y0, x1, y1, color);
    sf_line(&b, x1, y1, x0, y0, color | 0xFF000000);  // the top byte plays no part
  }
  EXPECT_EQ(a.words(), want);
  EXPECT_EQ(b.words(), want);
  Surf one(3, 1, 1);  // only 4-byte surfaces are drawn on: nothing is written past this one
  EXPECT_TRUE(sf_line(&one, 0, 0, 2, 0, 0xFFFFFF) == 1 && one.pixels[0] == 0);
}

// One mask byte before smoothing, as defined.
uint8_t ring_byte(float d, float radius, float inner) {
  if (d < inner || d > radius) return 0;
  if (d > inner + 1.0 && d < radius - 1.0) return 255;
  const float e = d <= inner + 1.0 ? inner - d : d - radius;
  return uint8_t(uint32_t(double(float(1.0 - (e - 0.005))) * 255.0));
}

TEST(Ring, SizesBandsSmoothingAndRefusals) {
  struct Ring { float radius, thickness; int size; };
  std::vector<Ring> rings = {{10, 0, 22}, {10, -4, 22}, {10, 3, 22}, {0, 0, 2}, {2.5f, 0, 7}, {7.3f, 1.5f, 16}, {-0.75f, 0, 0}};
  for (int radius = 1; radius <= 24; ++radius)
    for (float thickness : {0.0f, 1.0f, 2.5f, 5.0f}) rings.push_back({float(radius), thickness, 2 * radius + 2});
  for (const auto& r : rings) {
    SCOPED_TRACE(testing::Message() << "radius " << r.radius << ", thickness " << r.thickness);
    Surf m;
    ASSERT_EQ(sf_render_ring(&m, r.radius, r.thickness), 1);
    ASSERT_EQ(std::make_tuple(m.width, m.height, m.bytes_per_pixel), std::make_tuple(r.size, r.size, 1));
    Surf want(r.size, r.size, 1);
    const float inner = r.thickness > 0 ? r.radius - r.thickness : -2.0f;
    const int n = r.size, c = n / 2;
    for (int y = 0; y < n; ++y)
      for (int x = 0; x < n; ++x)
        want.pixels[y * n + x] = ring_byte(float(std::sqrt(double((x - c) * (x - c) + (y - c) * (y - c)))), r.radius, inner);
    sf_smooth(&want), sf_strip(&want);  // the mask, and with it its symmetry, and its skip table
    EXPECT_TRUE(m.bytes() == want.bytes() && (!n || std::memcmp(m.strip, want.strip, size_t(n) * n) == 0));
  }
  // Every traced refusal: no memory, no number, negative, too large; a usable mask without a skip table.
  const std::string ring = qtest::fail_lines("surface.cpp", "sf_create", "malloc") + qtest::fail_lines("render.cpp", "sf_render_ring");
  for (auto [radius, fail] : {std::pair{10.0f, 0L}, {NAN, -1L}, {-3.0f, -1L}, {1e9f, -1L}, {4.0f, 1L}}) {
    sf_surface m;
    std::memset(&m, 0xAB, sizeof m);  // a failure leaves a zero record
    const std::string want = fail == 1 ? qtest::fail_lines("strip.cpp", "sf_strip", "malloc") : ring;
    EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(sf_render_ring(&m, radius, 0), fail == 1); }, fail), want) << radius;
    EXPECT_TRUE(fail == 1 ? m.pixels && !m.strip : !m.pixels) << radius;
    if (fail == 1) sf_release(&m);
  }
}

TEST(Frame, EveryInsetRunsTheFourPassesOfTheTable) {
  const uint32_t tl = 0x80FF0000, br = 0x800000FF, bg = 0x20406080;
  const struct { sf_rect r; int32_t thickness; } cases[] = {
      {{0, 0, 4, 4}, 1},  {{0, 0, 6, 6}, 2},          {{1, 2, 9, 5}, 3},       {{-3, -2, 7, 6}, 4},
      {{2, 2, 7, 9}, 0},  {{0, 0, 10, 8}, INT32_MAX}, {{2, 3, 2, 7}, 2},       {{5, 5, 1, 1}, 2},
      {{0, 0, 3, 0}, 2},  {{0, 0, 4, 2}, 2},          {{1, 1, 4, 4}, 3},
      {{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}, 3}, {{INT32_MIN, -5, INT32_MAX, INT32_MAX}, INT32_MAX},
  };
  for (const auto& c : cases) {
    // Each pass fills its rectangle over what the earlier ones left; on a 10 × 8 surface only the
    // first and the last 40 insets can reach it.
    Surf a(10, 8, 4), b(10, 8, 4);
    a.paint(bg), b.paint(bg);
    const int64_t L = c.r.left, T = c.r.top, R = c.r.right, B = c.r.bottom, n = std::max(c.thickness, 0);
    auto fill = [&](uint32_t color, int64_t l, int64_t t, int64_t r, int64_t bt) {
      const sf_rect part{int32_t(l), int32_t(t), int32_t(r), int32_t(bt)};
      b.color = color, sf_fill(&b, &part);
    };
    for (int pass = 0; pass < 4; ++pass)
      for (int64_t i = 0; i < n; i = i == 40 && n > 80 ? n - 40 : i + 1)
        pass == 0 ? fill(tl, L + i, T + i + 1, L + i + 1, B - i - 1) : pass == 1 ? fill(tl, L + i, T + i, R - i - 1, T + i + 1)
        : pass == 2 ? fill(br, R - i - 1, T + i, R - i, B - i) : fill(br, L + i, B - i - 1, R - i - 1, B - i);
    sf_frame(&a, &c.r, tl, br, c.thickness);
    EXPECT_EQ(a.words(), b.words()) << L << "," << T << "," << R << "," << B << " t " << c.thickness;
    EXPECT_EQ(a.color, br);
  }
}

TEST(Shape, CoversEachPixelOnceAsTheNinePartsBlendedOneByOne) {
  // Shapes 1 to 9 wide and high, any coverage, with and without skip table, 1- and 4-byte, colours
  // and a clip: the pixels of the nine parts blended one row or column at a time, which cover each
  // pixel once, so that a pixel blended twice, left out, or blended and filled shows.
  std::mt19937 rng(5);
  const uint32_t colors[] = {0xFF204080, 0x80204080, 0x00FFFFFF, 0xFFFFFFFF, 0xFF000000, 0x01FF00FF};
  for (int k = 0; k < 500; ++k) {
    const int W = 1 + rng() % 9, H = 1 + rng() % 9, bpp = k % 7 ? 1 : 4, hw = W / 2, hh = H / 2, fw = W - hw, fh = H - hh;
    Surf sh(W, H, bpp);
    for (int i = 0; i < W * H * bpp; ++i) sh.pixels[i] = uint8_t(rng() % 3 == 0 ? 0 : rng() % 3 == 0 ? 255 : rng());
    if (k % 2) sf_strip(&sh);
    const int L = int(rng() % 30) - 8, T = int(rng() % 24) - 8;  // a quarter of them exactly the shape's size
    const int R = L + W + (k % 4 ? int(rng() % 20) : 0), B = T + H + (k % 4 ? int(rng() % 16) : 0);
    Surf a(24, 20, 4), b(24, 20, 4);
    a.paint(0x80808080 ^ rng());
    b.set(a.words());
    sf_rect clip{3, 2, 20, 17};
    if (k % 3 == 0) sf_push(&a, &clip), sf_push(&b, &clip);
    a.color = b.color = colors[k % 6];
    const sf_rect r{L, T, R, B};
    sf_shape(&a, &sh, &r);
    auto part = [&](int l, int t, int rr, int bb, int x, int y) { const sf_rect s{l, t, rr, bb}; sf_blend(&b, &sh, &s, x, y, nullptr); };
    part(0, 0, hw, hh, L, T), part(0, hh, hw, H, L, B - fh), part(hw, 0, W, hh, R - fw, T), part(hw, hh, W, H, R - fw, B - fh);
    for (int i = 0; i < B - T - H; ++i) part(0, hh, hw, hh + 1, L, T + hh + i), part(hw, hh, W, hh + 1, R - fw, T + hh + i);
    for (int i = 0; i < R - L - W; ++i) part(hw, 0, hw + 1, hh, L + hw + i, T), part(hw, hh, hw + 1, H, L + hw + i, B - fh);
    const uint32_t c = b.color, p = sh.pixels[(hh * W + hw) * bpp];
    b.color = (((p * (c >> 24)) >> 8) << 24) | (c & 0xFFFFFF);
    const sf_rect inside{L + hw, T + hh, R - fw, B - fh};
    sf_fill(&b, &inside);
    ASSERT_EQ(a.words(), b.words()) << k;
    EXPECT_EQ(a.color, colors[k % 6]);
  }
  // On a huge rectangle only the inside reaches the surface, its alpha scaled by the centre's 128.
  Surf disc;
  ASSERT_EQ(sf_render_ring(&disc, 4, 0), 1);
  disc.pixels[5 * 10 + 5] = 128;
  Surf d(40, 30, 4);
  d.color = 0xFF102030;
  const sf_rect huge{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
  sf_shape(&d, &disc, &huge);
  EXPECT_TRUE(d.words() == Words(40 * 30, over(0, 0x7F, 0x102030)) && d.color == 0xFF102030u);
}

}  // namespace
