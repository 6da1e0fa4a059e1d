// Drawing on a 1920 × 1080 4-byte surface: smoothing, a disc mask of radius 64, 10,000 random
// anti-aliased lines and a 1000 × 600 rounded rectangle stretched from a mask, each beside the
// comparable work of cairo (or memcpy, the physical limit of a pass over the surface) in the same
// run. The ratios, quelt time / comparable time, are printed at the end.
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <cairo.h>
#include <quelt/quelt.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int W = 1920, H = 1080;

struct Target {
  sf_surface s{};
  Target() {
    sf_create(&s, W, H, 4);
    std::mt19937 rng(1);
    for (size_t i = 0; i < size_t(W) * H * 4; ++i) s.pixels[i] = uint8_t(rng());
  }
  ~Target() { sf_release(&s); }
};

struct Lines {
  std::vector<float> c;
  std::vector<uint32_t> color;
  Lines() {
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> x(0, W), y(0, H);
    for (int i = 0; i < 10000; ++i) {
      c.insert(c.end(), {x(rng), y(rng), x(rng), y(rng)});
      color.push_back(rng() & 0xFFFFFF);
    }
  }
};
const Lines& lines() {
  static const Lines l;
  return l;
}

void BM_quelt_smooth(benchmark::State& st) {
  Target t;
  for (auto _ : st) sf_smooth(&t.s);
}
void BM_memcpy_surface(benchmark::State& st) {
  Target t;
  std::vector<uint8_t> copy(size_t(W) * H * 4);
  for (auto _ : st) {
    std::memcpy(copy.data(), t.s.pixels, copy.size());
    benchmark::ClobberMemory();
  }
}

void BM_quelt_disc_mask_r64(benchmark::State& st) {
  for (auto _ : st) {
    sf_surface m;
    sf_render_ring(&m, 64, 0);
    sf_release(&m);
  }
}
void BM_cairo_disc_mask_r64(benchmark::State& st) {
  for (auto _ : st) {
    cairo_surface_t* m = cairo_image_surface_create(CAIRO_FORMAT_A8, 130, 130);
    cairo_t* cr = cairo_create(m);
    cairo_arc(cr, 65, 65, 64, 0, 2 * M_PI);
    cairo_fill(cr);
    cairo_destroy(cr);
    cairo_surface_flush(m);
    cairo_surface_destroy(m);
  }
}

void BM_quelt_lines_10k(benchmark::State& st) {
  Target t;
  const Lines& l = lines();
  for (auto _ : st)
    for (size_t i = 0; i < l.color.size(); ++i)
      sf_line(&t.s, l.c[i * 4], l.c[i * 4 + 1], l.c[i * 4 + 2], l.c[i * 4 + 3], l.color[i]);
}
void BM_cairo_lines_10k(benchmark::State& st) {
  Target t;
  cairo_surface_t* s = cairo_image_surface_create_for_data(t.s.pixels, CAIRO_FORMAT_ARGB32, W, H, W * 4);
  cairo_t* cr = cairo_create(s);
  cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
  cairo_set_line_width(cr, 1.0);
  const Lines& l = lines();
  for (auto _ : st) {
    for (size_t i = 0; i < l.color.size(); ++i) {
      const uint32_t c = l.color[i];
      cairo_set_source_rgb(cr, (c >> 16 & 0xFF) / 255.0, (c >> 8 & 0xFF) / 255.0, (c & 0xFF) / 255.0);
      cairo_move_to(cr, l.c[i * 4], l.c[i * 4 + 1]);
      cairo_line_to(cr, l.c[i * 4 + 2], l.c[i * 4 + 3]);
      cairo_stroke(cr);
    }
    cairo_surface_flush(s);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(s);
}

void BM_quelt_rounded_rect_1000x600(benchmark::State& st) {
  Target t;
  sf_surface mask;
  sf_render_ring(&mask, 64, 0);
  const sf_rect r{400, 200, 1400, 800};
  t.s.color = 0xFF3070C0;
  for (auto _ : st) sf_shape(&t.s, &mask, &r);
  sf_release(&mask);
}
void BM_cairo_rounded_rect_1000x600(benchmark::State& st) {
  Target t;
  cairo_surface_t* s = cairo_image_surface_create_for_data(t.s.pixels, CAIRO_FORMAT_ARGB32, W, H, W * 4);
  cairo_t* cr = cairo_create(s);
  // The disc's centre coverage (254) scales the inside's alpha to 253: cairo fills with the same.
  cairo_set_source_rgba(cr, 0x30 / 255.0, 0x70 / 255.0, 0xC0 / 255.0, 253 / 255.0);
  const double x = 400, y = 200, w = 1000, h = 600, r = 65;
  for (auto _ : st) {
    cairo_new_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
    cairo_fill(cr);
    cairo_surface_flush(s);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(s);
}

BENCHMARK(BM_quelt_smooth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_memcpy_surface)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_quelt_disc_mask_r64)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_cairo_disc_mask_r64)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_quelt_lines_10k)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_cairo_lines_10k)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_quelt_rounded_rect_1000x600)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_cairo_rounded_rect_1000x600)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  qbench::Recorder rec;
  if (!qbench::run(argc, argv, rec)) return 1;
  const char* pairs[][3] = {
      {"BM_quelt_smooth", "BM_memcpy_surface", "sf_smooth / memcpy of the surface"},
      {"BM_quelt_disc_mask_r64", "BM_cairo_disc_mask_r64", "sf_render_ring r64 / cairo A8 disc fill"},
      {"BM_quelt_lines_10k", "BM_cairo_lines_10k", "10,000 sf_line / cairo anti-aliased strokes"},
      {"BM_quelt_rounded_rect_1000x600", "BM_cairo_rounded_rect_1000x600", "sf_shape rounded rect / cairo fill"},
  };
  std::printf("\nratios of processor time, quelt / comparable (below 1: quelt is faster)\n");
  for (const auto& p : pairs) qbench::ratio(p[2], rec.cpu(p[0]), rec.cpu(p[1]));
  return 0;
}
