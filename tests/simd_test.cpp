// Every instruction-set level of the blend kernels and the fill, on random surfaces, colours,
// rectangles and skip tables, must give the same bytes as the scalar kernels. Each level that
// this processor runs is taken from its own table, so all of them are checked on one machine.
#include <gtest/gtest.h>
#include <quelt/base/cpu_p.h>
#include <quelt/processing/strip.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using quelt::cpu_level;
using ops = quelt::blend_ops;

struct Surface {
  sf_surface s{};
  Surface(int32_t w, int32_t h, int32_t bpp) { EXPECT_EQ(sf_create(&s, w, h, bpp), 1); }
  ~Surface() { sf_release(&s); }
  Surface(const Surface&) = delete;
  size_t size() const { return static_cast<size_t>(s.width) * s.height * s.bytes_per_pixel; }
  std::vector<uint8_t> bytes() const { return {s.pixels, s.pixels + size()}; }
  void set(const std::vector<uint8_t>& b) { std::memcpy(s.pixels, b.data(), size()); }
};

// Pixel content: noise, the extremes 0 and 255 mixed with noise, or a sparse mask of short
// strokes on empty runs, some longer than 256 pixels (what glyphs and ring masks look like).
enum class content { noise, extremes, sparse };

void paint(Surface& t, content kind, std::mt19937& rng) {
  const size_t bpp = static_cast<size_t>(t.s.bytes_per_pixel), n = t.size() / bpp;
  for (size_t i = 0; i < n; ++i) {
    uint8_t* p = t.s.pixels + i * bpp;
    const bool empty = kind == content::sparse && rng() % 1000 < ((i / 300) % 2 ? 995u : 600u);
    for (size_t b = 0; b < bpp; ++b) {
      const uint32_t r = rng();
      p[b] = empty ? 0 : kind == content::noise ? r & 0xFF : (r % 3 == 0 ? 0 : r % 3 == 1 ? 255 : (r >> 8) & 0xFF);
    }
  }
}

const uint32_t colors[] = {0xFFFFFFFF, 0x80FFFFFF, 0x01FFFFFF, 0xFEFFFFFF, 0xFF102030, 0xFFFFFFFE,
                           0x7F80FF01, 0x00FFFFFF, 0x00123456, 0xFF000000, 0x40FF00FF};

struct Level {
  cpu_level level;
  const ops* table;
};

// The wide levels that this build has and this processor runs.
std::vector<Level> wide_levels() {
  std::vector<Level> out;
  for (int l = 1; l < quelt::cpu_level_count; ++l)
    if (const quelt::level_fns* t = quelt::level_for(static_cast<cpu_level>(l)))
      out.push_back({static_cast<cpu_level>(l), &t->blend});
  return out;
}

struct Kernel {
  const char* name;
  sf_blend_kernel ops::*pick;
  int32_t src_bpp;
};
const Kernel kernels[] = {{"4b4b", &ops::blend_4b4b, 4}, {"4b1b", &ops::blend_4b1b, 1}, {"4b3b", &ops::blend_4b3b, 3},
                          {"copy", &ops::blend_copy, 4}, {"copy1", &ops::blend_copy, 1}, {"copy2", &ops::blend_copy, 2},
                          {"copy3", &ops::blend_copy, 3}};

// One random blend: surfaces, rectangles, content, colour and skip table; `run` applies the
// kernel under test and the result is compared with the scalar kernel's.
template <class Run>
void random_blends(const Kernel& k, int rounds, uint32_t seed, Run run) {
  std::mt19937 rng(seed);
  for (int round = 0; round < rounds; ++round) {
    const bool wide = rng() % 5 == 0, flush = rng() % 4 == 0;
    const int32_t sw = 1 + rng() % (wide ? 700 : 90), sh = 1 + rng() % 5;
    const int32_t dw = flush ? sw : 1 + rng() % (wide ? 700 : 90), dh = 1 + rng() % 5;
    const int32_t dst_bpp = k.pick == &ops::blend_copy ? k.src_bpp : 4;
    Surface src(sw, sh, k.src_bpp), dst(dw, dh, dst_bpp);
    const auto kind = static_cast<content>(rng() % 3);
    paint(src, kind, rng);
    paint(dst, static_cast<content>(rng() % 2), rng);
    dst.s.color = rng() % 4 == 0 ? rng() : colors[rng() % std::size(colors)];
    const int strip = rng() % 3;  // none, built from the pixels, arbitrary bytes
    if (strip == 1) ASSERT_EQ(sf_strip(&src.s), 1);
    if (strip == 2) {
      ASSERT_EQ(sf_strip(&src.s), 1);
      for (size_t i = 0; i < static_cast<size_t>(sw) * sh; ++i) src.s.strip[i] = rng() % 4 ? 0 : rng() % 300;
    }
    // Rectangles of one size inside both; flush ones span whole rows of both surfaces.
    const int32_t w = flush ? sw : 1 + rng() % std::min(sw, dw), h = 1 + rng() % std::min(sh, dh);
    const int32_t sx = rng() % (sw - w + 1), sy = rng() % (sh - h + 1);
    const int32_t dx = rng() % (dw - w + 1), dy = rng() % (dh - h + 1);
    const sf_rect sr{sx, sy, sx + w, sy + h}, dr{dx, dy, dx + w, dy + h};

    const std::vector<uint8_t> before = dst.bytes();
    (quelt::blend::scalar_ops.*k.pick)(&dst.s, dr, &src.s, sr);
    const std::vector<uint8_t> want = dst.bytes();
    dst.set(before);
    run(&dst.s, dr, &src.s, sr);
    if (dst.bytes() != want) {
      ADD_FAILURE() << k.name << " round " << round << ": colour " << std::hex << dst.s.color << std::dec
                    << " content " << static_cast<int>(kind) << " strip " << strip << " src " << sw << "x" << sh
                    << " dst " << dw << "x" << dh << " rect " << w << "x" << h << " at src " << sx << "," << sy
                    << " dst " << dx << "," << dy;
      return;
    }
  }
}

TEST(Levels, EveryLevelBlendsLikeTheScalarKernels) {
  for (const Level& l : wide_levels()) {
    SCOPED_TRACE(quelt::cpu_level_name(l.level));
    for (const Kernel& k : kernels)
      random_blends(k, 1500, 17, [&](sf_surface* d, sf_rect dr, sf_surface* s, sf_rect sr) {
        (l.table->*k.pick)(d, dr, s, sr);
      });
  }
}

// The exported kernels run the best level, or the scalar one when the pixels share memory.
TEST(Levels, ExportedKernelsBlendLikeTheScalarKernels) {
  const sf_blend_kernel exported[] = {sf_blend_4b4b, sf_blend_4b1b, sf_blend_4b3b, sf_blend_copy,
                                      sf_blend_copy, sf_blend_copy, sf_blend_copy};
  for (size_t i = 0; i < std::size(kernels); ++i)
    random_blends(kernels[i], 300, 29, [&](sf_surface* d, sf_rect dr, sf_surface* s, sf_rect sr) {
      exported[i](d, dr, s, sr);
    });
}

TEST(Levels, OverlappingPixelsFollowTheWalkOrder) {
  std::mt19937 rng(5);
  for (const Kernel& k : {kernels[0], kernels[3]}) {
    for (int round = 0; round < 40; ++round) {
      Surface t(70, 6, 4);
      paint(t, content::noise, rng);
      t.s.color = round % 2 ? 0xFFFFFFFF : 0x80402010;
      const int32_t w = 20 + rng() % 40, x0 = rng() % (70 - w + 1), x1 = rng() % (70 - w + 1);
      const int32_t y0 = rng() % 3, y1 = rng() % 3;
      const sf_rect a{x0, y0, x0 + w, y0 + 3}, b{x1, y1, x1 + w, y1 + 3};
      const std::vector<uint8_t> before = t.bytes();
      (quelt::blend::scalar_ops.*k.pick)(&t.s, a, &t.s, b);
      const std::vector<uint8_t> want = t.bytes();
      t.set(before);
      (k.pick == &ops::blend_copy ? sf_blend_copy : sf_blend_4b4b)(&t.s, a, &t.s, b);
      ASSERT_EQ(t.bytes(), want) << k.name << " round " << round;
    }
  }
}

TEST(Levels, EveryLevelFillsLikeTheScalarFill) {
  std::vector<Level> levels = wide_levels();
  levels.push_back({cpu_level::scalar, nullptr});  // stands for the exported sf_fill
  for (const Level& l : levels) {
    SCOPED_TRACE(l.table ? quelt::cpu_level_name(l.level) : "sf_fill");
    std::mt19937 rng(41);
    for (int round = 0; round < 1500; ++round) {
      // Some fills of whole rows past a megabyte, which take another path than short ones.
      const bool large = round % 250 == 0;
      const int32_t sw = large ? 701 : 1 + rng() % (round % 5 ? 90 : 700), sh = large ? 401 : 1 + rng() % 5;
      Surface t(sw, sh, 4);
      paint(t, static_cast<content>(rng() % 2), rng);
      t.s.color = rng() % 3 == 0 ? rng() | 0x01000000 : colors[rng() % 7];
      if (large) t.s.color = (round % 500 ? 0xFF000000 : 0x80000000) | (rng() & 0xFFFFFF);
      const bool whole = large || rng() % 4 == 0;
      const int32_t x0 = whole ? 0 : rng() % sw, x1 = whole ? sw : x0 + rng() % (sw - x0 + 1);
      const int32_t y0 = rng() % (large ? 8 : sh), y1 = large ? sh : y0 + rng() % (sh - y0 + 1);
      const sf_rect r{x0, y0, x1, y1};
      const std::vector<uint8_t> before = t.bytes();
      quelt::blend::scalar_ops.fill(&t.s, r);
      const std::vector<uint8_t> want = t.bytes();
      t.set(before);
      if (l.table)
        l.table->fill(&t.s, r);
      else
        sf_fill(&t.s, &r);
      ASSERT_EQ(t.bytes(), want) << "round " << round << " colour " << std::hex << t.s.color << std::dec << " rect "
                                 << x0 << "," << y0 << "," << x1 << "," << y1 << " of " << sw << "x" << sh;
    }
  }
}

TEST(Levels, TablesExistUpToTheBestLevel) {
  const int best = static_cast<int>(quelt::cpu_best_level());
  for (int l = 0; l < quelt::cpu_level_count; ++l) {
    const quelt::level_fns* t = quelt::level_for(static_cast<cpu_level>(l));
#if defined(__x86_64__) || defined(__i386__)
    EXPECT_EQ(t != nullptr, l <= best) << quelt::cpu_level_name(static_cast<cpu_level>(l));
#else
    EXPECT_EQ(t != nullptr, l == 0);
#endif
  }
  EXPECT_EQ(&quelt::level_active(), quelt::level_for(static_cast<cpu_level>(best)));
  std::printf("best level on this processor: %s\n", quelt::cpu_level_name(static_cast<cpu_level>(best)));
}

// Every level's skip-table builder against the scalar one: sparse, extreme and noisy pixels,
// runs longer than 256 and widths around the 16-pixel blocks.
TEST(Levels, EveryStripBuilderWritesTheScalarTable) {
  std::mt19937 rng(3);
  for (int round = 0; round < 600; ++round) {
    const int32_t bpp = round % 3 == 0 ? 1 : round % 3 == 1 ? 4 : 3;
    const int32_t w = 1 + rng() % (round % 4 ? 70 : 900), h = 1 + rng() % 4;
    Surface t(w, h, bpp);
    paint(t, static_cast<content>(round % 3 == 2 ? rng() % 3 : 2), rng);
    if (round % 5 == 0)  // 4-byte pixels empty but for one byte
      for (size_t i = 0; i + 1 < t.size(); i += 1 + rng() % 40) t.s.pixels[i] = t.s.pixels[i] ? 0 : 1;
    ASSERT_EQ(sf_strip(&t.s), 1);
    const std::vector<uint8_t> got(t.s.strip, t.s.strip + static_cast<size_t>(w) * h);
    quelt::strip::build_scalar(&t.s);
    const std::vector<uint8_t> want(t.s.strip, t.s.strip + static_cast<size_t>(w) * h);
    ASSERT_EQ(got, want) << "sf_strip round " << round << ": " << w << "x" << h << "x" << bpp;
    for (const Level& l : wide_levels()) {
      quelt::level_for(l.level)->strip(&t.s);
      ASSERT_EQ(std::vector<uint8_t>(t.s.strip, t.s.strip + static_cast<size_t>(w) * h), want)
          << quelt::cpu_level_name(l.level) << " round " << round << ": " << w << "x" << h << "x" << bpp;
    }
  }
}

}  // namespace
