// Point filters and smoothing: exact numbers, and the threshold passes written out on random
// surfaces of every pixel size. Smoothing at every width is checked level by level elsewhere.
#include "support.h"

namespace {

using qtest::Surf, qtest::Bytes;

// The passes as defined: the lowest remaining level to 0, the highest to 255, until none is left
// (of an odd count, the middle one goes to 0, as 7 levels of 8 show).
TEST(Threshold, MatchesThePassesOnEveryPixelSize) {
  for (int bpp : {1, 3, 4, 5})
    for (int levels : {256, 8}) {
      Bytes want = qtest::noise(size_t(13) * 7 * bpp, levels + bpp, levels);
      Surf s(13, 7, bpp, want);
      for (int c = 0; c < std::min(bpp, 3); ++c)
        for (int lo = 0, hi = 0; lo <= hi;) {
          lo = 255, hi = 0;
          for (size_t i = c; i < want.size(); i += bpp)
            if (want[i] % 255) lo = std::min<int>(lo, want[i]), hi = std::max<int>(hi, want[i]);
          for (auto i = size_t(c); lo <= hi && i < want.size(); i += bpp) want[i] = want[i] == lo ? 0 : want[i] == hi ? 255 : want[i];
        }
      sf_threshold(&s);
      EXPECT_EQ(s.bytes(), want) << bpp;
    }
}

TEST(Grayscale, ModesRefusalsAndFailure) {
  const Bytes gray = {20, 20, 20, 99, 254, 254, 254, 7};
  Surf a(2, 1, 4, {10, 20, 31, 99, 255, 255, 254, 7}), b(2, 1, 4, {10, 20, 31, 99, 3, 0, 0, 0});
  EXPECT_TRUE(sf_grayscale(&a, 0) == 1 && a.bytes() == gray);
  b.color = 0xFF123456;
  ASSERT_TRUE(sf_strip(&b) == 1 && sf_grayscale(&b, 1) == 1);
  EXPECT_EQ(std::make_tuple(b.bytes_per_pixel, b.width, b.height, b.color, b.strip), std::make_tuple(1, 2, 1, 0u, nullptr));
  EXPECT_EQ(b.bytes(), (Bytes{20, 1}));
  // Refused without a change and without a word: a 1-byte surface, unknown modes, a pushed clip.
  sf_rect r{0, 0, 1, 1};
  ASSERT_EQ(sf_push(&a, &r), 1);
  EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(sf_grayscale(&b, 0) + sf_grayscale(&a, 2) + sf_grayscale(&a, -1) + sf_grayscale(&a, 1), 0); }), "");
  sf_pop(&a);
  // The new block fails: traced, the pixels kept.
  EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(sf_grayscale(&a, 1), 0); }, 0),
            qtest::fail_lines("surface.cpp", "sf_create", "malloc") + qtest::fail_lines("process.cpp", "sf_grayscale"));
  EXPECT_EQ(a.bytes(), gray);
}

TEST(PointFilters, NegativeAdjustAndSmooth) {
  Bytes in(87 * 3), want(in.size());  // every level; not a whole number of 16-byte chunks
  for (size_t i = 0; i < in.size(); ++i) in[i] = uint8_t(i), want[i] = uint8_t(~i);
  Surf n(87, 1, 3, in), id(87, 1, 3, in);
  EXPECT_TRUE(sf_negative(&n) == 1 && n.bytes() == want);
  const struct { float gamma, gain, offset; uint8_t in, out; } cases[] = {
      {2, 1, 0, 128, 180},  {2, 1, 0, 64, 127},   {1, 2, 0, 128, 255}, {1, 1, 0.25f, 128, 191},
      {1, 1, -0.5f, 10, 0}, {2, 1, -0.5f, 10, 0}, {0, 1, 0, 200, 0},   {0, 1, 0, 255, 255},
  };
  for (const auto& c : cases) {
    Surf a(1, 1, 4, {c.in, c.in, c.in, c.in});
    EXPECT_TRUE(sf_adjust(&a, c.gamma, c.gain, c.offset) == 1 && a.bytes() == (Bytes{c.out, c.out, c.out, c.in}))
        << c.gamma << " " << c.gain << " " << c.offset << ": " << int(a.pixels[0]);
  }
  sf_adjust(&id, 1, 1, 0);  // rounding r to a float keeps every level
  EXPECT_EQ(id.bytes(), in);
  Surf empty(0, 5, 1);  // smoothing of pixels is compared level by level with its definition elsewhere
  EXPECT_EQ(sf_smooth(&empty), 0);
}

}  // namespace
