// Every instruction-set level this processor runs (each from its own table) and the exported
// functions give the bytes of the plain definitions on random surfaces, colours, rectangles, skip
// tables and weights: blend kernels, fill, skip-table builder, smoothing and convolution.
#include <quelt/base/cpu_p.h>
#include <quelt/processing/kernel_p.h>

#include <limits>

#include "kernel_reference.h"
#include "support.h"

namespace {

using quelt::cpu_level, qtest::Surf, qtest::Bytes;
using ops = quelt::blend_ops;

// Noise; the extremes 0 and 255 among noise; short strokes on empty runs, some longer than 256
// pixels (like glyphs and rings); flat stretches, which a filter gives back exactly, rounding shown.
enum content { noise, extremes, sparse, flat };
void paint(Surf& t, int kind, std::mt19937& rng) {
  uint8_t level = uint8_t(rng()), *p = t.pixels;
  for (size_t i = 0, bpp = size_t(t.bytes_per_pixel); i < t.size(); i += bpp) {
    const bool empty = kind == sparse && rng() % 1000 < ((i / bpp / 300) % 2 ? 995u : 600u);
    if (kind == flat && rng() % 64 == 0) level = uint8_t(rng());
    for (size_t b = 0; b < bpp; ++b) {
      const uint32_t r = rng();
      p[i + b] = empty ? 0 : kind == noise ? r & 0xFF : kind == flat ? level : r % 3 == 0 ? 0 : r % 3 == 1 ? 255 : (r >> 8) & 0xFF;
    }
  }
}

const uint32_t colors[] = {0xFFFFFFFF, 0x80FFFFFF, 0x01FFFFFF, 0xFEFFFFFF, 0xFF102030, 0xFFFFFFFE,
                           0x7F80FF01, 0x00FFFFFF, 0x00123456, 0xFF000000, 0x40FF00FF};

// The levels built and run here, from `first` up, then the exported functions (a null table).
// Every level up to the best this processor runs has its table, and the best one is in use.
struct Level { const char* name; const quelt::level_fns* fns; };
std::vector<Level> levels(int first = 1) {
  std::vector<Level> out;
  const int best = int(quelt::cpu_best_level());
  EXPECT_EQ(&quelt::level_active(), quelt::level_for(cpu_level(best)));
  for (int l = first; l < quelt::cpu_level_count; ++l) {
    const quelt::level_fns* t = quelt::level_for(cpu_level(l));
    EXPECT_EQ(t != nullptr, l <= best) << quelt::cpu_level_name(cpu_level(l));
    if (t) out.push_back({quelt::cpu_level_name(cpu_level(l)), t});
  }
  return out.push_back({"exported", nullptr}), out;
}

// The bytes that `scalar` leaves on t; t is then as it was, for the level under test.
template <typename F> Bytes scalar_result(Surf& t, F scalar) {
  const Bytes before = t.bytes(), want = (scalar(), t.bytes());
  return t.set(before), want;
}

// The kernels, and the fill (no kernel) on the target's rectangle.
struct Kernel { const char* name; sf_blend_kernel ops::*pick; sf_blend_kernel exported; int32_t src_bpp; };
const Kernel kernels[] = {{"4b4b", &ops::blend_4b4b, sf_blend_4b4b, 4}, {"4b1b", &ops::blend_4b1b, sf_blend_4b1b, 1},
                          {"4b3b", &ops::blend_4b3b, sf_blend_4b3b, 3}, {"copy", &ops::blend_copy, sf_blend_copy, 4},
                          {"copy1", &ops::blend_copy, sf_blend_copy, 1}, {"copy2", &ops::blend_copy, sf_blend_copy, 2},
                          {"copy3", &ops::blend_copy, sf_blend_copy, 3}, {"fill", nullptr, nullptr, 1}};

TEST(Levels, EveryLevelBlendsAndFillsLikeTheScalarLoops) {
  for (const Level& l : levels())
    for (const Kernel& k : kernels) {
      std::mt19937 rng(17);
      for (int round = 0; round < 1500; ++round) {
        // Fills of whole rows past a megabyte take another path: its odd and even starts and lengths.
        const bool large = !k.pick && round % 250 == 0;
        const bool wide = rng() % 5 == 0, flush = large || rng() % 4 == 0;
        const int32_t sw = large ? 701 : 1 + rng() % (wide ? 700 : 90), sh = large ? 401 : 1 + rng() % 5;
        const int32_t dw = flush ? sw : 1 + rng() % (wide ? 700 : 90), dh = large ? 401 : 1 + rng() % 5;
        Surf src(sw, sh, k.src_bpp), dst(dw, dh, k.pick == &ops::blend_copy ? k.src_bpp : 4);
        paint(src, rng() % 3, rng), paint(dst, rng() % 2, rng);
        dst.color = rng() % 4 == 0 ? rng() : colors[rng() % std::size(colors)];
        if (!k.pick && (large || dst.color < 0x01000000))  // sf_fill refuses a colour of alpha 0
          dst.color = large ? (round % 500 ? 0xFF000000 : 0x80000000) | (dst.color & 0xFFFFFF) : dst.color | 0x01000000;
        const int strip = rng() % 3;  // none, built from the pixels, arbitrary bytes
        if (strip) ASSERT_EQ(sf_strip(&src), 1);
        for (size_t i = 0; strip == 2 && i < size_t(sw) * sh; ++i) src.strip[i] = rng() % 4 ? 0 : rng() % 300;
        // Rectangles of one size inside both; flush ones span whole rows of both surfaces.
        const int32_t w = flush ? sw : 1 + rng() % std::min(sw, dw), h = large ? sh - round / 500 : 1 + rng() % std::min(sh, dh);
        const int32_t sx = rng() % (sw - w + 1), sy = rng() % (sh - h + 1), dx = rng() % (dw - w + 1), dy = large ? dh - h : rng() % (dh - h + 1);
        // Now and then the exported kernels blend a surface onto itself: they keep the walk order.
        const int32_t ox = rng() % (dw - w + 1), oy = rng() % (dh - h + 1);
        const bool shared = !l.fns && round % 8 == 0 && k.pick && k.src_bpp == dst.bytes_per_pixel;
        Surf& from = shared ? dst : src;
        const sf_rect sr = shared ? sf_rect{ox, oy, ox + w, oy + h} : sf_rect{sx, sy, sx + w, sy + h}, dr{dx, dy, dx + w, dy + h};
        const auto& scalar = quelt::blend::scalar_ops;
        const Bytes want = scalar_result(dst, [&] { k.pick ? (scalar.*k.pick)(&dst, dr, &from, sr) : scalar.fill(&dst, dr); });
        if (!k.pick) l.fns ? l.fns->blend.fill(&dst, dr) : void(sf_fill(&dst, &dr));
        else (l.fns ? l.fns->blend.*k.pick : k.exported)(&dst, dr, &from, sr);
        ASSERT_EQ(dst.bytes(), want) << l.name << " " << k.name << " round " << round;  // the rest follows from the seed
      }
    }
}

// Skip tables hold per pixel the empty pixels from it to the end of its run in the row, modulo
// 256. Sparse, extreme and noisy pixels, long runs, widths around the 16-pixel blocks, pixels
// empty but for one byte.
TEST(Levels, EveryStripBuilderCountsTheRuns) {
  std::mt19937 rng(3);
  for (int round = 0; round < 600; ++round) {
    const int32_t bpp = round % 3 == 0 ? 1 : round % 3 == 1 ? 4 : 3, w = 1 + rng() % (round % 4 ? 70 : 900), h = 1 + rng() % 4;
    Surf t(w, h, bpp);
    paint(t, round % 3 == 2 ? rng() % 3 : sparse, rng);
    for (size_t i = 0; round % 5 == 0 && i + 1 < t.size(); i += 1 + rng() % 40) t.pixels[i] = t.pixels[i] ? 0 : 1;
    Bytes want(size_t(w) * h);
    for (int32_t i = w * h - 1, run = 0; i >= 0; --i) {
      run = std::all_of(t.at(i % w, i / w), t.at(i % w, i / w) + bpp, [](uint8_t b) { return b == 0; }) ? (i % w == w - 1 ? 0 : run) + 1 : 0;
      want[size_t(i)] = uint8_t(run);
    }
    ASSERT_EQ(sf_strip(&t), 1);
    uint8_t* const block = t.strip;
    for (const Level& l : levels(0)) {
      std::memset(t.strip, 0xA5, want.size());
      if (l.fns) l.fns->strip(&t);
      else ASSERT_EQ(sf_strip(&t), 1);
      ASSERT_EQ(Bytes(t.strip, t.strip + want.size()), want) << l.name << " round " << round << ": " << w << "x" << h << "x" << bpp;
    }
    ASSERT_EQ(t.strip, block);  // rebuilt in the block it has
  }
}

// Weights of every kind that changes the outcome: sums near 1, near 0 or negative (the magnitude
// passes 255 and 32768 and wraps), huge values that cancel, NaN and infinity, whole numbers.
std::vector<float> random_weights(int32_t n, std::mt19937& rng) {
  std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
  const int kind = rng() % 6;
  std::vector<float> w(static_cast<size_t>(n));
  for (float& x : w) x = kind == 0 ? std::fabs(unit(rng)) : kind == 5 ? float(rng() % 11) - 2.0f : unit(rng);
  if (kind == 2) w[rng() % n] *= 1e-6f;
  if (kind == 3) w[rng() % n] = 3e38f, w[rng() % n] = -3e38f;
  if (kind == 4) w[rng() % n] = rng() % 2 ? std::numeric_limits<float>::quiet_NaN() : INFINITY;
  return w;
}

// Convolution against the plain loop; smoothing: per colour channel (the fourth byte on untouched)
// each byte becomes half itself plus half its right neighbour, then the same down the columns.
// Widths around every vector size and its tails.
TEST(FilterLevels, EveryLevelFiltersAndSmoothsLikeThePlainLoops) {
  std::mt19937 rng(11);
  for (int round = 0; round < 600; ++round) {
    const int32_t w = 1 + rng() % (round % 6 ? 70 : 300), h = 1 + rng() % 12, bpp = 1 + rng() % 6, kw = 1 + rng() % 7, kh = 1 + rng() % 7;
    Surf s(w, h, bpp);
    paint(s, rng() % 4, rng);
    const Bytes src = s.bytes();
    const std::vector<float> weights = random_weights(kw * kh, rng);
    const Bytes filtered = qtest::kernel_reference(src.data(), w, h, bpp, weights.data(), kw, kh);
    Bytes smoothed = src;
    auto at = [&](int x, int y, int c) -> uint8_t& { return smoothed[(size_t(y) * w + x) * bpp + c]; };
    for (int c = 0; c < std::min(bpp, 3); ++c) {
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) at(x, y, c) = uint8_t((x + 1 < w ? at(x + 1, y, c) >> 1 : 0) + (at(x, y, c) >> 1));
      for (int x = 0; x < w; ++x)
        for (int y = 0; y < h; ++y) at(x, y, c) = uint8_t((y + 1 < h ? at(x, y + 1, c) >> 1 : 0) + (at(x, y, c) >> 1));
    }
    quelt::kernel::job j{src.data(), nullptr, w, h, bpp, weights.data(), kw, kh, -(kw / 2), -(kh / 2), 0.0};
    for (float x : weights) j.sum += x;
    for (const Level& l : levels(0)) {
      Bytes out(src.size(), 0xA5);
      if (l.fns) j.dst = out.data(), quelt::kernel::filter(j, l.fns->kernel_interior);
      else if (sf_kernel(&s, weights.data(), kw, kh)) out = s.bytes();
      ASSERT_EQ(out, filtered) << l.name << " round " << round << ": " << w << "x" << h << "x" << bpp << " kernel " << kw << "x" << kh;
      s.set(src);
      if (l.fns) l.fns->smooth(&s);
      else ASSERT_EQ(sf_smooth(&s), 1);
      ASSERT_EQ(s.bytes(), smoothed) << l.name << " smoothing round " << round << ": " << w << "x" << h << "x" << bpp;
      s.set(src);
    }
  }
}

}  // namespace
