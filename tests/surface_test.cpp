// Surfaces, rectangles and clipping, the blend kernels and their strip walk, fill, the clip stack.
#include "no_pixels.h"
#include "support.h"

// Found by argument-dependent lookup: sf_rect lives in the global namespace.
static bool operator==(const sf_rect& a, const sf_rect& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

namespace {

using qtest::Surf, qtest::Words, qtest::fail_lines;

// Every traced refusal of the surface calls: the call, the allocation made to fail, the trace;
// a refused call leaves the record zeroed (a surface) or as it was (a clip stack).
TEST(Surface, RefusalsAreTraced) {
  const std::string create = fail_lines("surface.cpp", "sf_create", "malloc"), push = fail_lines("context.cpp", "sf_push"),
                    grow = fail_lines("vector.cpp", "vect_size", "malloc") + fail_lines("vector.cpp", "vect_alloc") + fail_lines("vector.cpp", "vect_push") + push;
  sf_surface made;
  Surf full(10, 10, 4), empty(10, 10, 4), fresh(3, 3, 1);
  sf_rect r{0, 0, 5, 5};
  for (int i = 0; i < 8; ++i) ASSERT_EQ(sf_push(&full, &r), 1);
  const sf_rect* top = full.clip;
  const auto make = [&](int w, int h, int bpp) {
    return [&made, w, h, bpp] { return std::memset(&made, 0xAB, sizeof made), sf_create(&made, w, h, bpp) + made.width + made.bytes_per_pixel + !!made.pixels; };
  };
  const struct { const char* name; std::function<int32_t()> call; long fail; std::string trace; } rows[] = {
      {"block", make(4, 4, 4), 0, create}, {"negative side", make(-4, 4, 4), -1, create},
      {"2^34 bytes", make(65536, 65536, 4), -1, create}, {"2^31 bytes", make(1 << 20, 1 << 11, 1), -1, create},
      {"ninth push", [&] { return sf_push(&full, &r); }, 0, grow},  // needs a bigger block
      {"stack record", [&] { return sf_push(&empty, &r); }, 0, fail_lines("vector.cpp", "vect_create") + push},
      {"first block", [&] { return sf_push(&empty, &r); }, 1, grow},
      {"strip", [&] { return sf_strip(&fresh); }, 0, fail_lines("strip.cpp", "sf_strip", "malloc")},
  };
  for (const auto& row : rows) EXPECT_EQ(qtest::traced([&] { EXPECT_EQ(row.call(), 0) << row.name; }, row.fail), row.trace) << row.name;
  EXPECT_TRUE(full.clip == top && full.clip_stack->size == 8 && !empty.clip && !empty.clip_stack && !fresh.strip);
}

TEST(Rect, ValidOverlapClip) {
  struct { sf_rect a, b; int overlap, a_valid; } cases[] = {
      {{0, 0, 10, 10}, {10, 0, 20, 10}, 0, 1}, {{0, 0, 10, 10}, {9, 9, 20, 20}, 1, 1}, {{5, 5, 5, 5}, {0, 0, 10, 10}, 1, 1},
      {{0, 0, 0, 0}, {0, 0, 10, 10}, 0, 1},    {{10, 5, 10, 5}, {0, 0, 10, 10}, 0, 1}, {{4, 0, 3, 10}, {0, 0, 10, 10}, 0, 0},
      {{-5, -5, 1, 1}, {0, 0, 10, 10}, 1, 1},  {{0, 0, 10, 10}, {0, 10, 10, 20}, 0, 1},  // touching below: apart
  };
  for (auto& c : cases)
    EXPECT_TRUE(sf_rect_overlap(&c.a, &c.b) == c.overlap && sf_rect_overlap(&c.b, &c.a) == c.overlap && sf_rect_valid(&c.a) == c.a_valid)
        << "row " << &c - cases;
  // Clipped to a limit: one wholly outside comes back inverted, an invalid one untouched.
  const sf_rect limit{0, 0, 10, 10};
  for (auto [r, ok, want] : {std::tuple{sf_rect{20, 20, 30, 30}, 0, sf_rect{20, 20, 10, 10}},
                             {sf_rect{-5, 2, 4, 20}, 1, sf_rect{0, 2, 4, 10}}, {sf_rect{4, 0, 3, 10}, 0, sf_rect{4, 0, 3, 10}}})
    EXPECT_TRUE(sf_rect_clip(&limit, &r) == ok && r == want) << ok;
  // Placing a source rectangle at (x, y) on a target with a clip narrows both sides alike.
  const sf_rect dst{0, 0, 100, 100}, src{0, 0, 10, 10};
  struct { sf_rect clip, src_rect; int x, y, ok; sf_rect want_dst, want_src; } placed[] = {
      {dst, src, -3, -4, 1, {0, 0, 7, 6}, {3, 4, 10, 10}}, {dst, src, 95, 96, 1, {95, 96, 100, 100}, {0, 0, 5, 4}},
      {dst, {-2, 0, 5, 5}, 20, 20, 1, {20, 20, 25, 25}, {0, 0, 5, 5}},
      {{10, 10, 20, 20}, src, 25, 12, 0, {}, {}}, {{10, 10, 20, 20}, src, 5, 15, 1, {10, 15, 15, 20}, {5, 0, 10, 5}},
      {{-50, -50, 500, 500}, src, 98, -8, 1, {98, 0, 100, 2}, {0, 8, 2, 10}},
      {dst, src, INT32_MAX - 3, 0, 0, {}, {}}, {dst, src, INT32_MIN + 2, 0, 0, {}, {}},  // the placed edge must not wrap around
      {dst, {20, 20, 30, 30}, 0, 0, 0, {}, {}},
  };
  for (auto c : placed) {
    const sf_rect sentinel{7, 7, 7, 7};  // a refusal writes nothing
    sf_clip_result r{sentinel, sentinel};
    EXPECT_TRUE(sf_clip(&r, &dst, &c.clip, &src, &c.src_rect, c.x, c.y) == c.ok && r.dst == (c.ok ? c.want_dst : sentinel) &&
                r.src == (c.ok ? c.want_src : sentinel)) << c.x << "," << c.y;
  }
}

// Each kernel, the fill (a source of 0 bytes) and colour case by the over rule, on the middle one of three pixels.
TEST(Blend, KernelAndFillCases) {
  struct { int src_bpp; uint32_t color, source, target, want; } cases[] = {
      {4, 0xFFFFFFFF, 0xFF102030, 0x12345678, 0xFF0F1F2F}, {4, 0xFFFFFFFF, 0x00102030, 0x11223344, 0x10213243},
      {4, 0x80FFFFFF, 0xFF102030, 0x00000000, 0x7F070F17}, {4, 0xFF808080, 0xFF102030, 0x00000000, 0xFE070F17},
      {4, 0x00FFFFFF, 0xFF102030, 0x11223344, 0x11223344}, {1, 0xFF102030, 255, 0x89ABCDEF, 0xFF0F1F2F},
      {1, 0xFF102030, 128, 0xFF000000, 0xFE081018},        {1, 0x80102030, 255, 0x00000000, 0x7F070F17},
      {3, 0xFFFFFFFF, 0x000080FF, 0x00000000, 0xFFFD7E00},  // coverage bytes R 255, G 128, B 0
      {3, 0xFFFFFFFF, 0x00000000, 0x00445566, 0xFF435465},
      {0, 0x80FF0000, 0, 0x00000000, 0x807F0000}, {0, 0x80FFFFFF, 0, 0xFFFFFFFF, 0xFEFEFEFE},
      {0, 0xFF123456, 0, 0x89ABCDEF, 0xFF123456}, {0, 0x00FFFFFF, 0, 0x89ABCDEF, 0x89ABCDEF},
  };
  for (auto c : cases) {
    Surf dst(3, 1, 4), src(1, 1, c.src_bpp ? c.src_bpp : 1);
    dst.paint(c.target), src.set(0, 0, c.source), dst.color = c.color;
    const sf_rect middle{1, 0, 2, 1};
    ASSERT_EQ(c.src_bpp ? sf_blend(&dst, &src, nullptr, 1, 0, nullptr) : sf_fill(&dst, &middle), c.src_bpp || c.color >> 24);
    EXPECT_EQ((Words{dst.px(0, 0), dst.px(1, 0), dst.px(2, 0)}), (Words{c.target, c.want, c.target})) << std::hex << c.color << " " << c.source;
  }
}

TEST(Blend, ChoiceAnchorsAndRefusals) {
  Surf dst(40, 40, 4), src(11, 4, 4), grey(2, 2, 1), odd(2, 2, 2);
  src.paint(0xFFFFFFFF);
  dst.color = 0xFFFFFFFF, dst.anchor_x = 0.5f, dst.anchor_y = 1.0f;
  EXPECT_TRUE(sf_blend(&dst, &src, nullptr, 20, 20, nullptr) == 1 && dst.anchor_x == 0.0f);  // the 11 × 4 block from (15, 16)
  EXPECT_EQ((Words{dst.px(15, 16), dst.px(14, 16), dst.px(25, 19), dst.px(26, 19)}), (Words{0xFFFEFEFE, 0, 0xFFFEFEFE, 0}));
  ASSERT_EQ(sf_blend(&dst, &src, nullptr, 28, 20, nullptr), 1);  // anchors were spent
  EXPECT_EQ((Words{dst.px(28, 20), dst.px(28, 19)}), (Words{0xFFFEFEFE, 0}));
  // Anchors are spent also when nothing is drawn, and odd anchors don't break the position.
  dst.anchor_x = std::numeric_limits<float>::quiet_NaN(), dst.anchor_y = 1e30f;
  EXPECT_TRUE(sf_blend(&dst, &src, nullptr, 20, 20, nullptr) == 0 && dst.anchor_x == 0.0f && dst.anchor_y == 0.0f);
  EXPECT_EQ(sf_blend(&dst, &odd, nullptr, 0, 0, nullptr), 0);   // no kernel for 2 bytes
  EXPECT_EQ(sf_blend(&grey, &src, nullptr, 0, 0, nullptr), 0);  // automatic needs a 4-byte target
  EXPECT_EQ(sf_blend(&dst, &grey, nullptr, 0, 0, sf_blend_copy), 1);  // copy between formats: no-op
  // A colour kernel given a source or target of another pixel size reads and writes nothing.
  grey.paint(0xC8);
  for (sf_blend_kernel k : {sf_blend_4b4b, sf_blend_4b3b}) EXPECT_EQ(sf_blend(&dst, &grey, nullptr, 38, 38, k), 1);
  for (sf_blend_kernel k : {sf_blend_4b1b, sf_blend_4b3b}) EXPECT_EQ(sf_blend(&dst, &src, nullptr, 29, 36, k), 1);
  EXPECT_EQ(sf_blend(&grey, &grey, nullptr, 0, 0, sf_blend_4b1b), 1);
  EXPECT_EQ((Words{dst.px(0, 0), dst.px(39, 39), dst.px(29, 36)}), (Words{0, 0, 0}));
}

// Runs of every length, entered at any column by clipping, against a walk of every pixel: skipped
// pixels keep the target, processed ones take the over rule.
TEST(Blend, StripWalkStaysInStepWhenEnteredMidRun) {
  std::mt19937 rng(7);
  for (int width : {1, 7, 255, 256, 257, 300, 600}) {
    Surf mask(width, 3, 1);  // empty runs of up to 599 in the first row, up to 39 below
    for (int y = 0; y < 3; ++y)
      for (int x = 0; (x += static_cast<int>(rng() % (y == 0 ? 600 : 40))) < width; ++x)
        mask.pixels[y * width + x] = static_cast<uint8_t>(1 + rng() % 255);
    ASSERT_EQ(sf_strip(&mask), 1);
    for (int start : {0, 1, 3, width / 2, width - 1}) {
      if (start >= width) continue;
      Surf with(width, 3, 4), without(width, 3, 4);
      for (Surf* t : {&with, &without}) t->paint(0x80402010), t->color = 0xFF336699;
      sf_rect part{start, 0, width, 3};
      ASSERT_EQ(sf_blend(&with, &mask, &part, start, 0, nullptr), 1);
      uint8_t* strip = std::exchange(mask.strip, nullptr);  // without the table every pixel is processed
      ASSERT_EQ(sf_blend(&without, &mask, &part, start, 0, nullptr), 1);
      mask.strip = strip;
      // Skipped: an empty pixel unless the empty pixels left in its run (its table byte, checked
      // against that definition at every level) are a multiple of 256.
      for (int i = 0, x = 0; i < width * 3; x = ++i % width)
        ASSERT_EQ(with.px(x, i / width), x < start || mask.strip[i] ? 0x80402010u : without.px(x, i / width)) << width << " from " << start << " at " << i;
    }
  }
}

// A copy puts the source's words as they are, alpha included, inside the clip only; a surface
// copied onto itself reads each source pixel before it is overwritten, whichever way it moves.
TEST(Blend, CopyKeepsWordsHonoursClipAndSurvivesOverlap) {
  auto word = [](int x, int y) { return static_cast<uint32_t>(y * 9 + x + 1) * 2654435761u; };
  for (bool same : {false, true})
    for (auto [dx, dy] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {2, 3}, {-3, -2}}) {
      Surf s(9, 9, 4), other(9, 9, 4);
      for (int i = 0; i < 81; ++i)
        for (Surf* t : {&s, &other}) t->set(i % 9, i / 9, word(i % 9, i / 9));
      Surf& src = same ? s : other;
      sf_rect r{2, 2, 7, 7}, clip{1, 0, 9, 8};
      ASSERT_EQ(sf_strip(&src) + sf_push(&s, &clip), 2);
      ASSERT_EQ(sf_blend(&s, &src, &r, 2 + dx, 2 + dy, sf_blend_copy), 1);
      for (int i = 0, x = 0, y = 0; i < 81; x = ++i % 9, y = i / 9) {
        const bool copied = x >= 1 && y < 8 && x - dx >= 2 && x - dx < 7 && y - dy >= 2 && y - dy < 7;
        ASSERT_EQ(s.px(x, y), copied ? word(x - dx, y - dy) : word(x, y)) << (same ? "same " : "") << dx << "," << dy << " at " << x << "," << y;
      }
    }
}

// Empty but inside: nothing to do; on the edge: no overlap; beyond every side: the whole surface;
// 32-bit words only go to 4-byte surfaces.
TEST(Fill, RectsAndPixelSize) {
  for (auto [rect, bpp, result, want] : {std::tuple{sf_rect{2, 2, 2, 3}, 4, 1, 0x89ABCDEFu}, {sf_rect{0, 0, 0, 0}, 4, 0, 0x89ABCDEFu},
                                         {sf_rect{-9, -9, 99, 99}, 4, 1, 0xFF123456u}, {sf_rect{0, 0, 4, 4}, 1, 0, 0xEFu}}) {
    Surf s(4, 4, bpp);
    s.paint(0x89ABCDEF), s.color = 0xFF123456;
    EXPECT_TRUE(sf_fill(&s, &rect) == result && s.px(2, 2) == want && s.px(0, 0) == want) << result;
  }
}

TEST(ClipStack, PushNarrowsPopRestores) {
  Surf s(100, 100, 4);
  sf_rect a{0, 0, 10, 10}, b{5, 5, 20, 20}, apart{20, 20, 30, 30}, touching{10, 0, 20, 10};
  ASSERT_EQ(sf_push(&s, &a) + sf_push(&s, &b), 2);
  EXPECT_TRUE(b == (sf_rect{5, 5, 10, 10}) && *s.clip == b);
  s.color = 0xFF123456;  // a fill keeps inside the clip
  EXPECT_TRUE(sf_fill(&s, nullptr) && s.px(4, 5) == 0 && s.px(5, 5) == s.color && s.px(9, 9) == s.color && s.px(9, 10) == 0);
  EXPECT_TRUE(sf_push(&s, &apart) + sf_push(&s, &touching) == 0 && *s.clip == b);
  EXPECT_TRUE(sf_pop(&s) == 1 && *s.clip == a);
  EXPECT_TRUE(sf_pop(&s) == 1 && !s.clip && !s.clip_stack && sf_pop(&s) == 0);
  // A first rectangle wholly outside the surface is accepted; then nothing draws.
  sf_rect outside{200, 200, 300, 300};
  Surf src(4, 4, 4);
  EXPECT_TRUE(sf_push(&s, &outside) && sf_fill(&s, nullptr) + sf_blend(&s, &src, nullptr, 0, 0, nullptr) == 0 && sf_pop(&s));
  // Deep stacks: the clip follows the stack's block as it grows.
  for (int level = 0; level < 17; ++level) {
    sf_rect r{level, level, 100 - level, 100};
    ASSERT_TRUE(sf_push(&s, &r) && s.clip == reinterpret_cast<sf_rect*>(s.clip_stack->data) + level);
  }
  for (int level = 16; level > 0; --level)
    EXPECT_TRUE(sf_pop(&s) && *s.clip == (sf_rect{level - 1, level - 1, 101 - level, 100}) && s.clip == reinterpret_cast<sf_rect*>(s.clip_stack->data) + level - 1);
}

}  // namespace

TEST(Surface, EveryOperationRefusesASizeWithoutPixels) {
  sf_surface bare{100000, 100000, 4, nullptr, nullptr, 0, nullptr, nullptr, 0, 0};
  qtest::expect_refused_without_pixels(&bare, "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
}
