// Convolution of a 1920 × 1080 surface of 4-byte pixels: a 5-tap Gaussian along rows then
// columns, and a 5 × 5 square kernel, beside pixman's separable and plain convolution filters
// composited with SRC onto an image of the same size, and beside sf_kernel's own loops at each
// instruction-set level (the scalar one is the reference). The ratios are printed at the end, of
// CPU time (steadier on a shared machine; the median when --benchmark_repetitions is given;
// repetitions run interleaved in random order).
#include <benchmark/benchmark.h>
#include <ratios.h>
#include <pixman.h>
#include <quelt/base/cpu_p.h>
#include <quelt/processing/kernel.h>
#include <quelt/processing/kernel_p.h>
#include <quelt/surface/transform.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kW = 1920, kH = 1080;

struct Picture {
  sf_surface surface{};
  Picture() {
    sf_create(&surface, kW, kH, 4);
    // Smooth gradients with noise, opaque: the kind of picture one blurs.
    std::mt19937 gen(5);
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) {
        uint8_t* p = surface.pixels + (size_t(y) * kW + x) * 4;
        p[0] = uint8_t(x / 8 + gen() % 16), p[1] = uint8_t(y / 5 + gen() % 16), p[2] = uint8_t((x + y) / 12), p[3] = 255;
      }
  }
  ~Picture() { sf_release(&surface); }
};

struct Weights {
  sf_surface row{}, square{};
  Weights() {
    sf_kernel_gaussian(&row, 5);
    sf_kernel_gaussian(&square, -5);
  }
  ~Weights() {
    sf_release(&row);
    sf_release(&square);
  }
  const float* row_weights() const { return reinterpret_cast<const float*>(row.pixels); }
  const float* square_weights() const { return reinterpret_cast<const float*>(square.pixels); }
  // pixman takes 16.16 weights, normalised, as sf_kernel normalises by the sum.
  std::vector<pixman_fixed_t> fixed(const float* w, int n) const {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += w[i];
    std::vector<pixman_fixed_t> f;
    for (int i = 0; i < n; ++i) f.push_back(pixman_double_to_fixed(w[i] / sum));
    return f;
  }
};

void quelt_gaussian_rows_then_columns(benchmark::State& state) {
  Picture pic;
  Weights w;
  for (auto _ : state) {
    sf_kernel(&pic.surface, w.row_weights(), 5, 1);
    sf_kernel(&pic.surface, w.row_weights(), 1, 5);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

void quelt_square_5x5(benchmark::State& state) {
  Picture pic;
  Weights w;
  for (auto _ : state) {
    sf_kernel(&pic.surface, w.square_weights(), 5, 5);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

// sf_kernel's work with the interior loop of one level: the copy, the sum, the filter.
void kernel_at(sf_surface* s, const float* weights, int32_t kw, int32_t kh, quelt::interior_fn interior) {
  sf_surface copy;
  sf_duplicate(&copy, s);
  quelt::kernel::job j{copy.pixels, s->pixels, copy.width, copy.height, 4, weights, kw, kh, -(kw / 2), -(kh / 2), 0.0};
  for (int32_t i = 0; i < kw * kh; ++i) j.sum += weights[i];
  quelt::kernel::filter(j, interior);
  sf_release(&copy);
}

void level_square_5x5(benchmark::State& state, quelt::cpu_level level) {
  Picture pic;
  Weights w;
  const quelt::interior_fn interior = quelt::level_for(level)->kernel_interior;
  for (auto _ : state) {
    kernel_at(&pic.surface, w.square_weights(), 5, 5, interior);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

void level_rows_then_columns(benchmark::State& state, quelt::cpu_level level) {
  Picture pic;
  Weights w;
  const quelt::interior_fn interior = quelt::level_for(level)->kernel_interior;
  for (auto _ : state) {
    kernel_at(&pic.surface, w.row_weights(), 5, 1, interior);
    kernel_at(&pic.surface, w.row_weights(), 1, 5, interior);
    benchmark::DoNotOptimize(pic.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
}

// Composites the picture through a convolution filter onto a second image with SRC.
void pixman_filtered(benchmark::State& state, pixman_filter_t filter, const std::vector<pixman_fixed_t>& params) {
  Picture pic, out;
  pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH,
                                                 reinterpret_cast<uint32_t*>(pic.surface.pixels), kW * 4);
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH,
                                                 reinterpret_cast<uint32_t*>(out.surface.pixels), kW * 4);
  pixman_image_set_filter(src, filter, params.data(), int(params.size()));
  std::memset(out.surface.pixels, 0, size_t(kW) * kH * 4);
  pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kW, kH);
  // The filter really ran: the result isn't a plain copy of the source.
  if (std::memcmp(out.surface.pixels, pic.surface.pixels, size_t(kW) * kH * 4) == 0)
    state.SkipWithError("pixman copied instead of filtering");
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kW, kH);
    benchmark::DoNotOptimize(out.surface.pixels);
  }
  state.SetItemsProcessed(state.iterations() * kW * kH);
  pixman_image_unref(src);
  pixman_image_unref(dst);
}

void pixman_separable_5(benchmark::State& state) {
  Weights w;
  const std::vector<pixman_fixed_t> taps = w.fixed(w.row_weights(), 5);
  std::vector<pixman_fixed_t> params = {pixman_int_to_fixed(5), pixman_int_to_fixed(5), 0, 0};
  params.insert(params.end(), taps.begin(), taps.end());  // x table
  params.insert(params.end(), taps.begin(), taps.end());  // y table
  pixman_filtered(state, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, params);
}

void pixman_square_5x5(benchmark::State& state) {
  Weights w;
  std::vector<pixman_fixed_t> params = {pixman_int_to_fixed(5), pixman_int_to_fixed(5)};
  const std::vector<pixman_fixed_t> taps = w.fixed(w.square_weights(), 25);
  params.insert(params.end(), taps.begin(), taps.end());
  pixman_filtered(state, PIXMAN_FILTER_CONVOLUTION, params);
}

void register_all() {
  auto add = [](const std::string& name, auto&&... f) {
    benchmark::RegisterBenchmark(name.c_str(), f...)->Unit(benchmark::kMillisecond);
  };
  add("quelt_gaussian_rows_then_columns", quelt_gaussian_rows_then_columns);
  add("pixman_separable_5", pixman_separable_5);
  add("quelt_square_5x5", quelt_square_5x5);
  add("pixman_square_5x5", pixman_square_5x5);
  for (int l = 0; l < quelt::cpu_level_count; ++l) {
    const auto level = static_cast<quelt::cpu_level>(l);
    if (!quelt::level_for(level)) continue;
    const std::string name = quelt::cpu_level_name(level);
    add("level_gaussian_rows_then_columns/" + name, level_rows_then_columns, level);
    add("level_square_5x5/" + name, level_square_5x5, level);
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
  auto at = [&](const std::string& k) { return rec.cpu(k); };
  std::printf("\nRatios of CPU time; best level: %s\n", quelt::cpu_level_name(quelt::cpu_best_level()));
  const std::pair<const char*, const char*> pairs[] = {
      {"quelt_gaussian_rows_then_columns", "pixman_separable_5"},
      {"quelt_square_5x5", "pixman_square_5x5"},
  };
  for (auto [q, p] : pairs)
    qbench::ratio((std::string("quelt/pixman (time ratio), ") + q + " vs " + p).c_str(), at(q), at(p));
  // Speed of sf_kernel (the best level) over each level's loop; the scalar loop is the reference.
  for (const char* shape : {"square_5x5", "gaussian_rows_then_columns"}) {
    const double q = at(std::string("quelt_") + shape);
    if (q <= 0) continue;
    std::printf("sf_kernel %-26s", shape);
    for (int l = 0; l < quelt::cpu_level_count; ++l) {
      const char* ln = quelt::cpu_level_name(static_cast<quelt::cpu_level>(l));
      const double t = at(std::string("level_") + shape + "/" + ln);
      if (t <= 0) continue;
      std::printf("  x %s %5.2f", ln, t / q);
      if (l == 0 && std::string(shape) == "square_5x5") std::printf(t / q >= 4.0 ? " (>= 4 ok)" : " (< 4)");
    }
    std::printf("\n");
  }
  return 0;
}
