// Surfaces, rectangles and clipping, the blend kernels and their strip walk, fill, the clip stack.
#include <gtest/gtest.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/blend.h>
#include <quelt/surface/context.h>
#include <quelt/surface/surface.h>

#include <cstring>
#include <random>
#include <vector>

#include "support.h"

// Found by argument-dependent lookup: sf_rect lives in the global namespace.
static bool operator==(const sf_rect& a, const sf_rect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
static std::ostream& operator<<(std::ostream& o, const sf_rect& r) {
  return o << "{" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << "}";
}

namespace {

struct Surface : sf_surface {
  Surface(int w, int h, int bpp) { EXPECT_EQ(sf_create(this, w, h, bpp), 1); }
  ~Surface() {
    while (clip_stack) sf_pop(this);
    sf_release(this);
  }
  uint32_t px(int x, int y) const {
    uint32_t v = 0;
    std::memcpy(&v, pixels + (static_cast<size_t>(y) * width + x) * bytes_per_pixel, bytes_per_pixel);
    return v;
  }
  void set(int x, int y, uint32_t v) {
    std::memcpy(pixels + (static_cast<size_t>(y) * width + x) * bytes_per_pixel, &v, bytes_per_pixel);
  }
  void paint(uint32_t v) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) set(x, y, v);
  }
  std::vector<uint8_t> bytes() const {
    return std::vector<uint8_t>(pixels, pixels + static_cast<size_t>(width) * height * bytes_per_pixel);
  }
};

TEST(Surface, CreateAndRelease) {
  Surface s(3, 2, 4);
  EXPECT_EQ(s.bytes(), std::vector<uint8_t>(24, 0));
  EXPECT_EQ(s.strip, nullptr);
  EXPECT_EQ(s.color, 0u);
  EXPECT_EQ(s.clip, nullptr);
  EXPECT_EQ(s.clip_stack, nullptr);
  EXPECT_EQ(s.anchor_x, 0.0f);
  ASSERT_EQ(sf_strip(&s), 1);
  sf_release(&s);  // frees the strip too; the record is reusable and releasable again
  sf_release(&s);
  ASSERT_EQ(sf_create(&s, 0, 5, 4), 1);
  EXPECT_EQ(s.pixels, nullptr);
  EXPECT_EQ(s.width, 0);
  EXPECT_EQ(s.height, 5);
  EXPECT_EQ(s.bytes_per_pixel, 4);
}

TEST(Surface, RefusedCreatesTraceAndZeroTheRecord) {
  const std::string trace = "surface.cpp:N:\t\tsf_create: malloc\nsurface.cpp:N:\tsf_create.\n";
  struct {
    int w, h, bpp;
    bool fail_alloc;
  } cases[] = {{4, 4, 4, true}, {-4, 4, 4, false}, {65536, 65536, 4, false}, {1 << 20, 1 << 11, 1, false}};
  for (auto c : cases) {
    sf_surface s;
    std::memset(&s, 0xAB, sizeof s);
    qtest::Stdout out;
    if (c.fail_alloc) qtest::fail_after(0);
    EXPECT_EQ(sf_create(&s, c.w, c.h, c.bpp), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(qtest::trace_shape(out.text()), trace);
    EXPECT_EQ(s.width, 0);
    EXPECT_EQ(s.bytes_per_pixel, 0);
    EXPECT_EQ(s.pixels, nullptr);
  }
}

TEST(Rect, ValidOverlapClip) {
  struct {
    sf_rect a, b;
    int overlap;
  } cases[] = {
      {{0, 0, 10, 10}, {10, 0, 20, 10}, 0}, {{0, 0, 10, 10}, {9, 9, 20, 20}, 1},
      {{5, 5, 5, 5}, {0, 0, 10, 10}, 1},    {{0, 0, 0, 0}, {0, 0, 10, 10}, 0},
      {{10, 5, 10, 5}, {0, 0, 10, 10}, 0},  {{4, 0, 3, 10}, {0, 0, 10, 10}, 0},
      {{-5, -5, 1, 1}, {0, 0, 10, 10}, 1},
  };
  for (auto c : cases) {
    EXPECT_EQ(sf_rect_overlap(&c.a, &c.b), c.overlap) << c.a << c.b;
    EXPECT_EQ(sf_rect_overlap(&c.b, &c.a), c.overlap) << c.b << c.a;
  }
  sf_rect r{3, 3, 3, 3}, bad{4, 0, 3, 10};
  EXPECT_EQ(sf_rect_valid(&r), 1);
  EXPECT_EQ(sf_rect_valid(&bad), 0);
  sf_rect limit{0, 0, 10, 10}, far{20, 20, 30, 30};
  EXPECT_EQ(sf_rect_clip(&limit, &far), 0);
  EXPECT_EQ(far, (sf_rect{20, 20, 10, 10}));
  sf_rect part{-5, 2, 4, 20};
  EXPECT_EQ(sf_rect_clip(&limit, &part), 1);
  EXPECT_EQ(part, (sf_rect{0, 2, 4, 10}));
  EXPECT_EQ(sf_rect_clip(&limit, &bad), 0);
  EXPECT_EQ(bad, (sf_rect{4, 0, 3, 10}));
}

TEST(Rect, ClipPlacesAndNarrows) {
  const sf_rect dst{0, 0, 100, 100}, src{0, 0, 10, 10};
  struct {
    sf_rect clip, src_rect;
    int x, y;
    int ok;
    sf_rect want_dst, want_src;
  } cases[] = {
      {dst, src, -3, -4, 1, {0, 0, 7, 6}, {3, 4, 10, 10}},
      {dst, src, 95, 96, 1, {95, 96, 100, 100}, {0, 0, 5, 4}},
      {dst, {-2, 0, 5, 5}, 20, 20, 1, {20, 20, 25, 25}, {0, 0, 5, 5}},
      {{10, 10, 20, 20}, src, 25, 12, 0, {}, {}},
      {{10, 10, 20, 20}, src, 5, 15, 1, {10, 15, 15, 20}, {5, 0, 10, 5}},
      {{-50, -50, 500, 500}, src, 98, -8, 1, {98, 0, 100, 2}, {0, 8, 2, 10}},
      {dst, src, INT32_MAX - 3, 0, 0, {}, {}},  // the placed edge must not wrap around
      {dst, src, INT32_MIN + 2, 0, 0, {}, {}},
      {dst, {20, 20, 30, 30}, 0, 0, 0, {}, {}},
  };
  for (auto c : cases) {
    const sf_rect sentinel{7, 7, 7, 7};
    sf_clip_result r{sentinel, sentinel};
    ASSERT_EQ(sf_clip(&r, &dst, &c.clip, &src, &c.src_rect, c.x, c.y), c.ok) << c.x << "," << c.y;
    EXPECT_EQ(r.dst, c.ok ? c.want_dst : sentinel);
    EXPECT_EQ(r.src, c.ok ? c.want_src : sentinel);
  }
}

// One case per kernel and colour case, with the numbers the over rule gives.
TEST(Blend, KernelCases) {
  struct {
    int src_bpp;
    uint32_t color, source, target, want;
  } cases[] = {
      {4, 0xFFFFFFFF, 0xFF102030, 0x12345678, 0xFF0F1F2F},
      {4, 0xFFFFFFFF, 0x00102030, 0x11223344, 0x10213243},
      {4, 0x80FFFFFF, 0xFF102030, 0x00000000, 0x7F070F17},
      {4, 0xFF808080, 0xFF102030, 0x00000000, 0xFE070F17},
      {4, 0x00FFFFFF, 0xFF102030, 0x11223344, 0x11223344},
      {1, 0xFF102030, 255, 0x89ABCDEF, 0xFF0F1F2F},
      {1, 0xFF102030, 128, 0xFF000000, 0xFE081018},
      {1, 0x80102030, 255, 0x00000000, 0x7F070F17},
      {3, 0xFFFFFFFF, 0x00007FFF, 0x00000000, 0xFFFD7E00},  // bytes 255, 128, 0
      {3, 0xFFFFFFFF, 0x00000000, 0x00445566, 0xFF435465},
  };
  for (auto c : cases) {
    Surface dst(3, 1, 4), src(1, 1, c.src_bpp);
    dst.paint(c.target);
    if (c.src_bpp == 3) {
      src.pixels[0] = 255, src.pixels[1] = 128, src.pixels[2] = 0;
      if (c.source == 0) std::memset(src.pixels, 0, 3);
    } else {
      src.set(0, 0, c.source);
    }
    dst.color = c.color;
    EXPECT_EQ(sf_blend(&dst, &src, nullptr, 1, 0, nullptr), 1);
    EXPECT_EQ(dst.px(1, 0), c.want) << std::hex << c.color << " " << c.source;
    EXPECT_EQ(dst.px(0, 0), c.target);
    EXPECT_EQ(dst.px(2, 0), c.target);
  }
}

TEST(Blend, ChoiceAnchorsAndRefusals) {
  Surface dst(40, 40, 4), src(11, 4, 4), grey(2, 2, 1), odd(2, 2, 2);
  src.paint(0xFFFFFFFF);
  EXPECT_EQ(sf_blend(&dst, &src, nullptr, 0, 0, nullptr), 1);  // colour 0: nothing drawn
  EXPECT_EQ(dst.bytes(), std::vector<uint8_t>(dst.bytes().size(), 0));
  dst.color = 0xFFFFFFFF;
  dst.anchor_x = 0.5f;
  dst.anchor_y = 1.0f;
  ASSERT_EQ(sf_blend(&dst, &src, nullptr, 20, 20, nullptr), 1);
  EXPECT_EQ(dst.anchor_x, 0.0f);
  EXPECT_EQ(dst.px(15, 16), 0xFFFEFEFE);
  EXPECT_EQ(dst.px(14, 16), 0u);
  EXPECT_EQ(dst.px(25, 19), 0xFFFEFEFE);
  EXPECT_EQ(dst.px(26, 19), 0u);
  ASSERT_EQ(sf_blend(&dst, &src, nullptr, 28, 20, nullptr), 1);  // anchors were spent
  EXPECT_EQ(dst.px(28, 20), 0xFFFEFEFE);
  EXPECT_EQ(dst.px(28, 19), 0u);
  // Anchors are spent also when nothing is drawn, and odd anchors don't break the position.
  dst.anchor_x = std::numeric_limits<float>::quiet_NaN();
  dst.anchor_y = 1e30f;
  EXPECT_EQ(sf_blend(&dst, &src, nullptr, 20, 20, nullptr), 0);
  EXPECT_EQ(dst.anchor_x, 0.0f);
  EXPECT_EQ(dst.anchor_y, 0.0f);
  EXPECT_EQ(sf_blend(&dst, &odd, nullptr, 0, 0, nullptr), 0);   // no kernel for 2 bytes
  EXPECT_EQ(sf_blend(&grey, &src, nullptr, 0, 0, nullptr), 0);  // automatic needs a 4-byte target
  EXPECT_EQ(sf_blend(&dst, &grey, nullptr, 0, 0, sf_blend_copy), 1);  // copy between formats: no-op
  EXPECT_EQ(dst.px(0, 0), 0u);
}

TEST(Blend, CopyKeepsAlphaAndHonoursClip) {
  Surface dst(4, 4, 4), src(4, 4, 4);
  for (int i = 0; i < 16; ++i) src.set(i % 4, i / 4, 0x01020304u * (i + 1));
  sf_rect clip{1, 1, 3, 3};
  ASSERT_EQ(sf_push(&dst, &clip), 1);
  ASSERT_EQ(sf_blend(&dst, &src, nullptr, 0, 0, sf_blend_copy), 1);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) {
      bool inside = x >= 1 && x < 3 && y >= 1 && y < 3;
      EXPECT_EQ(dst.px(x, y), inside ? src.px(x, y) : 0u) << x << "," << y;
    }
}

// Runs of every length, entered at every column by clipping, against a walk that looks at each
// pixel: skipped pixels keep the target, processed ones take the over rule, nothing else moves.
TEST(Blend, StripWalkStaysInStepWhenEnteredMidRun) {
  std::mt19937 rng(7);
  for (int width : {1, 7, 255, 256, 257, 300, 600}) {
    Surface mask(width, 3, 1);
    for (int y = 0; y < 3; ++y) {
      int x = 0;
      while (x < width) {
        int run = static_cast<int>(rng() % (y == 0 ? 600 : 40));
        x += run;
        if (x < width) mask.pixels[y * width + x++] = static_cast<uint8_t>(1 + rng() % 255);
      }
    }
    ASSERT_EQ(sf_strip(&mask), 1);
    for (int start : {0, 1, 3, width / 2, width - 1}) {
      if (start >= width) continue;
      Surface with(width, 3, 4), without(width, 3, 4);
      with.paint(0x80402010);
      without.paint(0x80402010);
      with.color = without.color = 0xFF336699;
      sf_rect part{start, 0, width, 3};
      ASSERT_EQ(sf_blend(&with, &mask, &part, start, 0, nullptr), 1);
      uint8_t* strip = mask.strip;
      mask.strip = nullptr;
      // Without the table every pixel is processed; the empty ones then change too.
      ASSERT_EQ(sf_blend(&without, &mask, &part, start, 0, nullptr), 1);
      mask.strip = strip;
      for (int y = 0; y < 3; ++y)
        for (int x = 0; x < width; ++x) {
          // An empty pixel is skipped unless the empty pixels left in its run, itself
          // included, are a multiple of 256: there the byte reads 0 and the walk stops once.
          int left = 0;
          while (x + left < width && mask.pixels[y * width + x + left] == 0) ++left;
          const bool skipped = left > 0 && left % 256 != 0;
          const uint32_t want = x < start || skipped ? 0x80402010u : without.px(x, y);
          ASSERT_EQ(with.px(x, y), want) << "width " << width << " start " << start << " at " << x << "," << y;
        }
    }
  }
}

TEST(Blend, SameSurfaceOverlapReadsTheSourceBeforeWriting) {
  // A copy to the right and down by one pixel, in every direction: the result equals the
  // blend from a separate copy of the source.
  for (auto [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {2, 3}, {-3, -2}}) {
    Surface s(9, 9, 4), copy(9, 9, 4), want(9, 9, 4);
    for (int i = 0; i < 81; ++i) s.set(i % 9, i / 9, 0xFF000000u | (i * 2654435761u >> 8));
    std::memcpy(copy.pixels, s.pixels, 9 * 9 * 4);
    std::memcpy(want.pixels, s.pixels, 9 * 9 * 4);
    ASSERT_EQ(sf_strip(&s), 1);
    ASSERT_EQ(sf_strip(&copy), 1);
    sf_rect r{2, 2, 7, 7};
    ASSERT_EQ(sf_blend(&want, &copy, &r, 2 + dx, 2 + dy, sf_blend_copy), 1);
    ASSERT_EQ(sf_blend(&s, &s, &r, 2 + dx, 2 + dy, sf_blend_copy), 1);
    EXPECT_EQ(s.bytes(), want.bytes()) << dx << "," << dy;
  }
}

TEST(Fill, Cases) {
  struct {
    uint32_t color, target;
    sf_rect rect;
    int result;
    uint32_t want;
  } cases[] = {
      {0x80FF0000, 0x00000000, {0, 0, 4, 4}, 1, 0x807F0000},
      {0x80FFFFFF, 0xFFFFFFFF, {0, 0, 4, 4}, 1, 0xFEFEFEFE},
      {0xFF123456, 0x89ABCDEF, {0, 0, 4, 4}, 1, 0xFF123456},
      {0x00FFFFFF, 0x89ABCDEF, {0, 0, 4, 4}, 0, 0x89ABCDEF},
      {0xFF123456, 0x89ABCDEF, {2, 2, 2, 3}, 1, 0x89ABCDEF},  // empty but inside: nothing to do
      {0xFF123456, 0x89ABCDEF, {0, 0, 0, 0}, 0, 0x89ABCDEF},  // on the edge: no overlap
      {0xFF123456, 0x89ABCDEF, {-9, -9, 99, 99}, 1, 0xFF123456},
  };
  for (auto c : cases) {
    Surface s(4, 4, 4);
    s.paint(c.target);
    s.color = c.color;
    EXPECT_EQ(sf_fill(&s, &c.rect), c.result);
    EXPECT_EQ(s.px(2, 2), c.want) << std::hex << c.color;
  }
  Surface s(4, 4, 4), grey(4, 4, 1);
  s.color = grey.color = 0xFF123456;
  sf_rect clip{1, 0, 3, 4};
  ASSERT_EQ(sf_push(&s, &clip), 1);
  ASSERT_EQ(sf_fill(&s, nullptr), 1);
  EXPECT_EQ(s.px(0, 0), 0u);
  EXPECT_EQ(s.px(1, 3), 0xFF123456u);
  EXPECT_EQ(s.px(3, 3), 0u);
  EXPECT_EQ(sf_fill(&grey, nullptr), 0);  // 32-bit words only go to 4-byte surfaces
}

TEST(ClipStack, PushNarrowsPopRestores) {
  Surface s(100, 100, 4);
  EXPECT_EQ(sf_pop(&s), 0);
  EXPECT_EQ(s.clip_stack, nullptr);
  sf_rect a{0, 0, 10, 10}, b{5, 5, 20, 20}, far{20, 20, 30, 30}, touching{10, 0, 20, 10};
  ASSERT_EQ(sf_push(&s, &a), 1);
  ASSERT_EQ(sf_push(&s, &b), 1);
  EXPECT_EQ(b, (sf_rect{5, 5, 10, 10}));
  EXPECT_EQ(*s.clip, (sf_rect{5, 5, 10, 10}));
  EXPECT_EQ(sf_push(&s, &far), 0);
  EXPECT_EQ(sf_push(&s, &touching), 0);
  EXPECT_EQ(*s.clip, (sf_rect{5, 5, 10, 10}));
  ASSERT_EQ(sf_pop(&s), 1);
  EXPECT_EQ(*s.clip, (sf_rect{0, 0, 10, 10}));
  ASSERT_EQ(sf_pop(&s), 1);
  EXPECT_EQ(s.clip, nullptr);
  EXPECT_EQ(s.clip_stack, nullptr);
  EXPECT_EQ(sf_pop(&s), 0);
  // A first rectangle wholly outside the surface is accepted; then nothing draws.
  sf_rect outside{200, 200, 300, 300};
  ASSERT_EQ(sf_push(&s, &outside), 1);
  s.color = 0xFFFFFFFF;
  Surface src(4, 4, 4);
  EXPECT_EQ(sf_fill(&s, nullptr), 0);
  EXPECT_EQ(sf_blend(&s, &src, nullptr, 0, 0, nullptr), 0);
}

TEST(ClipStack, DeepStacksFollowTheMovingBlock) {
  Surface s(100, 100, 4);
  for (int level = 0; level < 17; ++level) {
    sf_rect r{level, level, 100 - level, 100};
    ASSERT_EQ(sf_push(&s, &r), 1);
    EXPECT_EQ(s.clip, reinterpret_cast<sf_rect*>(s.clip_stack->data) + level);
    EXPECT_EQ(s.clip_stack->capacity, (level / 8 + 1) * 8);
  }
  for (int level = 16; level > 0; --level) {
    ASSERT_EQ(sf_pop(&s), 1);
    EXPECT_EQ(*s.clip, (sf_rect{level - 1, level - 1, 101 - level, 100}));
    EXPECT_EQ(s.clip, reinterpret_cast<sf_rect*>(s.clip_stack->data) + level - 1);
  }
}

TEST(ClipStack, FailedPushesTraceAndKeepTheStack) {
  Surface s(10, 10, 4);
  sf_rect r{0, 0, 5, 5};
  for (int i = 0; i < 8; ++i) ASSERT_EQ(sf_push(&s, &r), 1);
  const sf_rect* top = s.clip;
  {
    qtest::Stdout out;
    qtest::fail_after(0);  // the ninth push needs a bigger block
    EXPECT_EQ(sf_push(&s, &r), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(qtest::trace_shape(out.text()),
              "vector.cpp:N:\t\tvect_size: malloc\nvector.cpp:N:\tvect_size.\n"
              "vector.cpp:N:\t\tvect_alloc: \nvector.cpp:N:\tvect_alloc.\n"
              "vector.cpp:N:\t\tvect_push: \nvector.cpp:N:\tvect_push.\n"
              "context.cpp:N:\t\tsf_push: \ncontext.cpp:N:\tsf_push.\n");
  }
  EXPECT_EQ(s.clip, top);
  EXPECT_EQ(s.clip_stack->size, 8);
  while (s.clip_stack) sf_pop(&s);
  for (long n : {0L, 1L}) {  // the stack's record, then its first block
    qtest::Stdout out;
    qtest::fail_after(n);
    EXPECT_EQ(sf_push(&s, &r), 0);
    qtest::fail_after(-1);
    EXPECT_EQ(s.clip, nullptr);
    EXPECT_EQ(s.clip_stack, nullptr);
    EXPECT_NE(qtest::trace_shape(out.text()).find("context.cpp:N:\t\tsf_push: \ncontext.cpp:N:\tsf_push.\n"),
              std::string::npos);
  }
}

TEST(Strip, RunsCountDownModulo256) {
  Surface row(5, 1, 1);
  const uint8_t values[] = {0, 0, 7, 0, 9};
  std::memcpy(row.pixels, values, 5);
  ASSERT_EQ(sf_strip(&row), 1);
  EXPECT_EQ(std::vector<uint8_t>(row.strip, row.strip + 5), (std::vector<uint8_t>{2, 1, 0, 1, 0}));
  Surface blank(4, 2, 1);
  ASSERT_EQ(sf_strip(&blank), 1);
  EXPECT_EQ(std::vector<uint8_t>(blank.strip, blank.strip + 8), (std::vector<uint8_t>{4, 3, 2, 1, 4, 3, 2, 1}));
  for (int n : {256, 300}) {
    Surface run(n, 1, 4);
    ASSERT_EQ(sf_strip(&run), 1);
    for (int i = 0; i < n; ++i) ASSERT_EQ(run.strip[i], static_cast<uint8_t>(n - i)) << n << " at " << i;
  }
  Surface px(2, 1, 4);
  px.set(0, 0, 0x00000001);
  ASSERT_EQ(sf_strip(&px), 1);
  EXPECT_EQ(px.strip[0], 0);
  EXPECT_EQ(px.strip[1], 1);
  uint8_t* block = px.strip;
  px.set(0, 0, 0);
  ASSERT_EQ(sf_strip(&px), 1);  // rebuilt in the same block
  EXPECT_EQ(px.strip, block);
  EXPECT_EQ(px.strip[0], 2);
  qtest::Stdout out;
  Surface fresh(3, 3, 1);
  qtest::fail_after(0);
  EXPECT_EQ(sf_strip(&fresh), 0);
  qtest::fail_after(-1);
  EXPECT_EQ(fresh.strip, nullptr);
  EXPECT_EQ(qtest::trace_shape(out.text()), "strip.cpp:N:\t\tsf_strip: malloc\nstrip.cpp:N:\tsf_strip.\n");
}

}  // namespace
