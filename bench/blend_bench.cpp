// The blend kernels and the fill beside pixman doing the comparable work, memcpy/memset of the
// same bytes (the physical limit) and the scalar kernels, on a 1920 x 1080 frame and on 64 x 64
// tiles that stay in the first-level cache. After the runs it prints the speed ratios (the
// median when --benchmark_repetitions is given; repetitions run interleaved in random order):
//   x pixman   pixman's time / quelt's time      x memcpy / x memset  likewise
//   x scalar   the scalar kernel's time / quelt's time, and each wide level's likewise
//
// Comparable pixman operations (pixman takes premultiplied pixels; the bytes are random for
// both, which keeps pixman off its all-transparent and all-opaque shortcuts):
//   4b4b white   OVER a8r8g8b8 onto a8r8g8b8
//   4b4b tint    OVER a8r8g8b8 through a solid mask of the colour's alpha
//   4b1b         OVER a solid colour through an a8 mask (dense coverage, or glyph-like text)
//   4b3b         OVER a solid colour through an a8r8g8b8 component-alpha mask
//   copy         SRC a8r8g8b8 onto a8r8g8b8
//   fill opaque  pixman_fill; fill translucent: OVER a solid colour
// The skip table of the glyph-like mask (sf_strip) is timed against the scalar builder only.
// The memcpy of a kernel copies as many bytes as the kernel writes, from a buffer of that size.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <pixman.h>
#include <quelt/base/cpu_p.h>
#include <quelt/processing/strip.h>
#include <quelt/surface/blend.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using ops = quelt::blend_ops;

struct Surface {
  sf_surface s{};
  Surface(int32_t w, int32_t h, int32_t bpp) {
    if (!sf_create(&s, w, h, bpp)) std::abort();
  }
  ~Surface() { sf_release(&s); }
  uint32_t* words() const { return reinterpret_cast<uint32_t*>(s.pixels); }
};

// Text-like coverage: rows of glyph cells with stems and bars, anti-aliased edges, empty space
// between glyphs and between lines; about a fifth of the pixels are covered.
void glyph_like(Surface& m, std::mt19937& rng) {
  const int32_t w = m.s.width, h = m.s.height;
  for (int32_t y = 0; y < h; ++y) {
    const int32_t line_y = y % 24;
    for (int32_t x = 0; x < w; ++x) {
      const int32_t cell = x / 10, cx = x % 10;
      uint32_t v = 0;
      if (line_y >= 4 && line_y < 20 && cx < 8) {
        const uint32_t shape = (static_cast<uint32_t>(cell) * 2654435761u + static_cast<uint32_t>(y / 24) * 40503u) >> 7;
        const int32_t stem = 1 + shape % 4;
        if (cx == stem || cx == stem + 1 || (shape & 8 && (cx == 6))) v = 255;
        if (cx == stem - 1 || cx == stem + 2) v = 40 + rng() % 120;
        if ((line_y == 11 || line_y == 19) && (shape & 16)) v = 255;
      }
      m.s.pixels[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(v);
    }
  }
}

// The surfaces of one size, and pixman images over the same pixels.
struct Scene {
  int32_t w, h;
  Surface dst, src, dense, sparse, lcd, ca;  // ca: the 3-byte coverage as a8r8g8b8 for pixman
  std::vector<uint8_t> copy_from;            // memcpy's source, as large as the target
  pixman_image_t *p_dst, *p_src, *p_dense, *p_sparse, *p_ca;
  sf_rect all;

  Scene(int32_t w_, int32_t h_)
      : w(w_), h(h_), dst(w, h, 4), src(w, h, 4), dense(w, h, 1), sparse(w, h, 1), lcd(w, h, 3), ca(w, h, 4),
        copy_from(static_cast<size_t>(w) * h * 4), all{0, 0, w, h} {
    std::mt19937 rng(7);
    auto noise = [&](Surface& s) {
      const size_t n = static_cast<size_t>(s.s.width) * s.s.height * s.s.bytes_per_pixel;
      for (size_t i = 0; i < n; ++i) s.s.pixels[i] = static_cast<uint8_t>(rng() >> 5);
    };
    noise(dst);
    noise(src);
    noise(dense);
    noise(lcd);
    glyph_like(sparse, rng);
    if (!sf_strip(&sparse.s)) std::abort();
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
      const uint8_t* p = lcd.s.pixels + i * 3;
      ca.words()[i] = 0xFF000000u | p[0] << 16 | p[1] << 8 | p[2];
    }
    for (auto& b : copy_from) b = static_cast<uint8_t>(rng());
    p_dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, w, h, dst.words(), w * 4);
    p_src = pixman_image_create_bits(PIXMAN_a8r8g8b8, w, h, src.words(), w * 4);
    p_dense = pixman_image_create_bits(PIXMAN_a8, w, h, reinterpret_cast<uint32_t*>(dense.s.pixels), w);
    p_sparse = pixman_image_create_bits(PIXMAN_a8, w, h, reinterpret_cast<uint32_t*>(sparse.s.pixels), w);
    p_ca = pixman_image_create_bits(PIXMAN_a8r8g8b8, w, h, ca.words(), w * 4);
    pixman_image_set_component_alpha(p_ca, 1);
  }
  ~Scene() {
    for (pixman_image_t* i : {p_dst, p_src, p_dense, p_sparse, p_ca}) pixman_image_unref(i);
  }
  size_t bytes() const { return static_cast<size_t>(w) * h * 4; }
};

Scene& scene(int size) {
  static std::unique_ptr<Scene> big, tile;
  auto& s = size ? big : tile;
  if (!s) s = size ? std::make_unique<Scene>(1920, 1080) : std::make_unique<Scene>(64, 64);
  return *s;
}
const char* size_name(int size) { return size ? "1920x1080" : "64x64"; }

// A solid pixman colour from a straight 0xAARRGGBB word, premultiplied as pixman expects.
pixman_image_t* solid(uint32_t c) {
  const uint32_t a = c >> 24;
  auto ch = [&](int shift) { return static_cast<uint16_t>(((c >> shift) & 0xFF) * a * 257 / 255); };
  const pixman_color_t pc{ch(16), ch(8), ch(0), static_cast<uint16_t>(a * 257)};
  return pixman_image_create_solid_fill(&pc);
}

void composite(pixman_op_t op, pixman_image_t* src, pixman_image_t* mask, const Scene& s) {
  pixman_image_composite32(op, src, mask, s.p_dst, 0, 0, 0, 0, 0, 0, s.w, s.h);
}

// One benchmark: what it times, with which surfaces.
using Body = std::function<void(Scene&)>;

void add(const std::string& name, int size, Body body) {
  benchmark::RegisterBenchmark((name + "/" + size_name(size)).c_str(), [size, body](benchmark::State& state) {
    Scene& s = scene(size);
    for (auto _ : state) {
      body(s);
      benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(s.bytes()));
  })->MinTime(0.2);
}

// The quelt implementations of one case: the exported kernel (best level), then each level.
void add_levels(const std::string& name, int size, uint32_t color,
                const std::function<void(const ops*, Scene&)>& run) {
  add(name + "/quelt", size, [=](Scene& s) {
    s.dst.s.color = color;
    run(nullptr, s);
  });
  for (int l = 0; l < quelt::cpu_level_count; ++l) {
    const quelt::level_fns* level = quelt::level_for(static_cast<quelt::cpu_level>(l));
    if (!level) continue;
    const ops* t = &level->blend;
    add(name + "/" + quelt::cpu_level_name(static_cast<quelt::cpu_level>(l)), size, [=](Scene& s) {
      s.dst.s.color = color;
      run(t, s);
    });
  }
}

// Runs a blend kernel: the exported one for a null table, else the table's.
void blend(const ops* t, sf_blend_kernel ops::*pick, sf_blend_kernel exported, Scene& s, Surface& src) {
  (t ? t->*pick : exported)(&s.dst.s, s.all, &src.s, s.all);
}

void register_all() {
  static pixman_image_t* tint_mask = solid(0xC0FFFFFF);
  static pixman_image_t* opaque = solid(0xFF336699);
  static pixman_image_t* translucent = solid(0x80336699);
  for (int size : {1, 0}) {
    auto memcpy_dst = [](Scene& s) { std::memcpy(s.dst.s.pixels, s.copy_from.data(), s.bytes()); };

    add_levels("4b4b white", size, 0xFFFFFFFF,
               [](const ops* t, Scene& s) { blend(t, &ops::blend_4b4b, sf_blend_4b4b, s, s.src); });
    add("4b4b white/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, s.p_src, nullptr, s); });
    add("4b4b white/memcpy", size, memcpy_dst);

    add_levels("4b4b tint", size, 0xC0FF8040,
               [](const ops* t, Scene& s) { blend(t, &ops::blend_4b4b, sf_blend_4b4b, s, s.src); });
    add("4b4b tint/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, s.p_src, tint_mask, s); });
    add("4b4b tint/memcpy", size, memcpy_dst);

    add_levels("4b1b dense", size, 0xFF336699,
               [](const ops* t, Scene& s) { blend(t, &ops::blend_4b1b, sf_blend_4b1b, s, s.dense); });
    add("4b1b dense/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, opaque, s.p_dense, s); });
    add("4b1b dense/memcpy", size, memcpy_dst);

    add_levels("4b1b glyphs", size, 0xFF336699,
               [](const ops* t, Scene& s) { blend(t, &ops::blend_4b1b, sf_blend_4b1b, s, s.sparse); });
    add("4b1b glyphs/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, opaque, s.p_sparse, s); });
    add("4b1b glyphs/memcpy", size, memcpy_dst);

    add_levels("4b3b", size, 0xFF336699,
               [](const ops* t, Scene& s) { blend(t, &ops::blend_4b3b, sf_blend_4b3b, s, s.lcd); });
    add("4b3b/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, opaque, s.p_ca, s); });
    add("4b3b/memcpy", size, memcpy_dst);

    add_levels("copy", size, 0, [](const ops* t, Scene& s) { blend(t, &ops::blend_copy, sf_blend_copy, s, s.src); });
    add("copy/pixman", size, [](Scene& s) { composite(PIXMAN_OP_SRC, s.p_src, nullptr, s); });
    add("copy/memcpy", size, memcpy_dst);

    add_levels("fill opaque", size, 0xFF336699, [](const ops* t, Scene& s) {
      if (t)
        t->fill(&s.dst.s, s.all);
      else
        sf_fill(&s.dst.s, nullptr);
    });
    add("fill opaque/pixman", size, [](Scene& s) {
      pixman_fill(s.dst.words(), s.w, 32, 0, 0, s.w, s.h, 0xFF336699);
    });
    add("fill opaque/memset", size, [](Scene& s) { std::memset(s.dst.s.pixels, 0x5A, s.bytes()); });

    // The skip table of the glyph-like mask: the wide builder against the scalar one.
    add("strip glyphs/quelt", size, [](Scene& s) { sf_strip(&s.sparse.s); });
    add("strip glyphs/scalar", size, [](Scene& s) { quelt::strip::build_scalar(&s.sparse.s); });

    add_levels("fill translucent", size, 0x80336699, [](const ops* t, Scene& s) {
      if (t)
        t->fill(&s.dst.s, s.all);
      else
        sf_fill(&s.dst.s, nullptr);
    });
    add("fill translucent/pixman", size, [](Scene& s) { composite(PIXMAN_OP_OVER, translucent, nullptr, s); });
    add("fill translucent/memcpy", size, memcpy_dst);
  }
}

void print_ratios(const qbench::Recorder& rec) {
  struct Row {
    const char* name;
    const char* limit;  // memcpy or memset
    double pixman_target, limit_target;
  };
  const Row rows[] = {{"4b4b white", "memcpy", 1.5, 0.6}, {"4b4b tint", "memcpy", 1.5, 0.6},
                      {"4b1b dense", "memcpy", 1.5, 0.6}, {"4b1b glyphs", "memcpy", 0, 0},
                      {"4b3b", "memcpy", 1.5, 0.6},       {"copy", "memcpy", 0, 0.6},
                      {"fill opaque", "memset", 0, 0.9},   {"fill translucent", "memcpy", 1.5, 0},
                      {"strip glyphs", "memcpy", 0, 0}};
  auto at = [&](const std::string& k) { return rec.cpu(k); };
  std::printf("\nSpeed ratios (other's time / quelt's time; > 1 means quelt is faster); best level: %s\n",
              quelt::cpu_level_name(quelt::cpu_best_level()));
  for (int size : {1, 0}) {
    for (const Row& r : rows) {
      const std::string base = std::string(r.name) + "/", sz = std::string("/") + size_name(size);
      const double q = at(base + "quelt" + sz);
      if (q <= 0) continue;
      std::printf("%-17s %-9s", r.name, size_name(size));
      auto ratio = [&](const char* label, double other, double target) {
        if (other <= 0) return;
        std::printf("  x %s %5.2f", label, other / q);
        if (target > 0 && size == 1) std::printf(other / q >= target ? " (>= %.1f ok)" : " (< %.1f)", target);
        if (target > 0 && size == 0 && std::strcmp(label, "pixman") == 0)
          std::printf(other / q >= target ? " (>= %.1f ok)" : " (< %.1f)", target);
      };
      ratio("pixman", at(base + "pixman" + sz), r.pixman_target);
      ratio(r.limit, at(base + r.limit + sz), r.limit_target);
      for (int l = 0; l < quelt::cpu_level_count; ++l) {
        const char* ln = quelt::cpu_level_name(static_cast<quelt::cpu_level>(l));
        ratio(ln, at(base + ln + sz), 0);
      }
      std::printf("\n");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  qbench::Recorder rec;
  if (!qbench::run(argc, argv, rec, [] {
        register_all();
        return true;
      }))
    return 1;
  print_ratios(rec);
  return 0;
}
